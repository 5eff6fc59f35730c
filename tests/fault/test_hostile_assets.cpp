// Override files the loader would read wrongly are refused with one line,
// and the effect renders exactly as with the system asset.

#include "ByteIo.h"
#include "FaultCamera.h"

namespace {

using pe::test::Camera;
using Bytes = std::string;

// The cross curve (256 x 4, 24 bits, data at 54) with fields rewritten.
Bytes Curve(uint32_t width, uint32_t sizeField, uint32_t offset, uint16_t bits, size_t dataBytes) {
  Bytes f = pe::test::ReadFile(pe::ref::AssetPath("CurveCross.bmp"));
  f.resize(54 + dataBytes, 7);
  auto* p = reinterpret_cast<unsigned char*>(f.data());
  pe::io::Put32(p + 2, sizeField ? sizeField : static_cast<uint32_t>(f.size()));
  pe::io::Put32(p + 10, offset);
  pe::io::Put32(p + 18, width);
  pe::io::Put16(p + 28, bits);
  return f;
}

TEST(HostileAssets, OverridesTheLoaderWouldMisreadAreRefused) {
  pe::test::ErrorLog log;
  pe::test::ScopedEnv display{"POSTEFFECT_DISPLAY", "1920x1080"};
  std::vector<uint8_t> system;
  {
    pe::test::ScopedEnv none{"POSTEFFECT_OVERRIDE_DIR", nullptr};
    Camera cam(1);
    system = cam.Preview().frame;
  }
  struct Case {
    const char* name;
    Bytes file;
    const char* line;  // null: a good file, taken
  } const cases[] = {
      {"the system asset itself", Curve(256, 0, 54, 24, 3072), nullptr},
      // 765-byte rows padded to 768 in the file: read unpadded, they skew.
      {"rows not a multiple of 4", Curve(255, 0, 54, 24, 3072), "rows of 765 bytes"},
      {"size field not the length", Curve(256, 4000, 54, 24, 3072), "header says 4000 bytes"},
      {"offset past the data", Curve(256, 0, 100, 24, 3072), "exceeds the file"},
      {"data short of the rows", Curve(256, 0, 54, 24, 3000), "exceeds the file"},
      {"grey where colour is", Curve(256, 0, 54, 8, 1024), "8 bpp file where 24 bpp"},
      {"alpha where none is", Curve(256, 0, 54, 32, 4096), "32 bpp file where 24 bpp"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    pe::test::TempDir dir;
    dir.Put("CurveCross.bmp", c.file);
    // The look's other files, so that only the hostile one has a line.
    for (const char* f :
         {"CurveCold.bmp", "CurveWarm.bmp", "CurveSepia.bmp", "mask_vignette_legacy.bmp"})
      dir.Put(f, pe::test::ReadFile(pe::ref::AssetPath(f)));
    pe::test::ScopedEnv over{"POSTEFFECT_OVERRIDE_DIR", dir.path()};
    log.Clear();
    Camera cam(1);
    const pe::test::Outcome got = cam.Preview();
    EXPECT_EQ(got.rc, 0);
    EXPECT_TRUE(got.frame == system) << "the effect differs from the system asset's";
    EXPECT_EQ(log.Lines().size(), c.line ? 1u : 0u) << log.Dump();
    EXPECT_EQ(log.Naming(c.line ? c.line : "-"), c.line ? 1 : 0) << log.Dump();
  }
}

}  // namespace

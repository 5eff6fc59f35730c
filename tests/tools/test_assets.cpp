// The generated effect bitmaps, judged from the outside: parsed by an
// independent strict reader and held to what the loaders and shaders need.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "TestEnv.h"

namespace {

using pe::test::ReadFile;

struct Bmp {
  int width = 0, height = 0, bpp = 0;
  std::string pixels;  // rows as stored, no padding
  int RowBytes() const { return width * bpp / 8; }
  std::string Row(int y) const {
    return pixels.substr(static_cast<size_t>(y) * RowBytes(), RowBytes());
  }
  const uint8_t* At(int x, int y) const {
    return reinterpret_cast<const uint8_t*>(pixels.data()) + static_cast<size_t>(y) * RowBytes() +
           x * bpp / 8;
  }
  // A 5-6-5 texel as grey 0..1, from its green field.
  double Grey565(int x, int y) const { return ((At(x, y)[0] | At(x, y)[1] << 8) >> 5 & 63) / 63.0; }
};

uint32_t Le(const std::string& b, size_t at, int bytes) {
  uint32_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = v << 8 | static_cast<uint8_t>(b[at + i]);
  return v;
}

// A standard header whose fields agree with the file, the grey palette or
// 5-6-5 bit fields the depth calls for, and rows already a multiple of 4
// bytes, so that the loader's unpadded block read and a viewer agree.
std::string ParseStrict(const std::string& f, Bmp* out) {
  if (f.size() < 54 || f.compare(0, 2, "BM") != 0) return "no BMP header";
  const auto w = static_cast<int32_t>(Le(f, 18, 4)), h = static_cast<int32_t>(Le(f, 22, 4));
  const int bpp = static_cast<int>(Le(f, 28, 2));
  if (w <= 0 || h <= 0) return "size not positive (rows must be bottom-up)";
  if (bpp != 8 && bpp != 16 && bpp != 24) return std::to_string(bpp) + " bits per pixel";
  const size_t rowBytes = static_cast<size_t>(w) * bpp / 8;
  if (rowBytes % 4 != 0) return "rows of " + std::to_string(rowBytes) + " bytes";
  const size_t offset = 54 + (bpp == 8 ? 1024 : bpp == 16 ? 12 : 0);
  if (offset + rowBytes * h != f.size()) return "pixel block does not fill the file";
  // Each field's position, its width in bytes and the value it must hold.
  const size_t fields[][3] = {{2, 4, f.size()},     {6, 4, 0},  {10, 4, offset},
                              {14, 4, 40},          {26, 2, 1}, {30, 4, bpp == 16 ? 3u : 0u},
                              {34, 4, rowBytes * h}};
  for (const auto& [at, bytes, value] : fields)
    if (Le(f, at, static_cast<int>(bytes)) != value) return "field at byte " + std::to_string(at);
  for (uint32_t i = 0; bpp == 8 && i < 256; ++i)
    if (Le(f, 54 + 4 * i, 4) != i * 0x010101u) return "palette is not a grey ramp";
  if (bpp == 16 && (Le(f, 54, 4) != 0xF800 || Le(f, 58, 4) != 0x07E0 || Le(f, 62, 4) != 0x001F))
    return "bit fields are not 5-6-5";
  *out = Bmp{w, h, bpp, f.substr(offset)};
  return "";
}

// The depth each loader's texture format asks for.
const std::map<std::string, int> kLoaderDepth = {
    {"CurveCross.bmp", 24},          {"CurveCold.bmp", 24},         {"CurveWarm.bmp", 24},
    {"CurveSepia.bmp", 24},          {"mask_vignette_wide.bmp", 8}, {"mask_vignette_legacy.bmp", 8},
    {"dot_mask_0.bmp", 16},          {"dot_mask_1.bmp", 16},        {"dot_mask_2.bmp", 16},
    {"dot_mask_3.bmp", 16},          {"ContrastCurveSet.bmp", 24},  {"stylizeColorRamp.bmp", 24},
    {"stylizeContrastRamp.bmp", 24}, {"twoToneMaskV.bmp", 24},      {"twoToneMaskH.bmp", 24},
};

// The generator's output, written once for all the tests.
const pe::test::TempDir& Generated() {
  static const pe::test::TempDir dir;
  static const int rc = pe::test::Run(std::string(PE_ASSETGEN_EXE) + " " + dir.path());
  EXPECT_EQ(rc, 0);
  return dir;
}

Bmp Load(const std::string& name) {
  Bmp b;
  EXPECT_EQ(ParseStrict(ReadFile(Generated().File(name)), &b), "") << name;
  return b;
}

TEST(GeneratedAssets, EveryLoadedFileExistsInTheLayoutItsLoaderReadsAndTwoRunsAgree) {
  pe::test::TempDir again;
  ASSERT_EQ(pe::test::Run(std::string(PE_ASSETGEN_EXE) + " " + again.File("new/dir")), 0);
  std::vector<std::string> names;
  for (const auto& [name, depth] : kLoaderDepth) {
    names.push_back(name);
    const Bmp b = Load(name);
    EXPECT_EQ(b.bpp, depth) << name;
    // A streaming texture takes the block in one piece with 32-pixel rows.
    EXPECT_EQ(b.width % 32, 0) << name;
    EXPECT_TRUE(ReadFile(Generated().File(name)) == ReadFile(again.File("new/dir/" + name)))
        << name;
  }
  EXPECT_EQ(pe::test::ListDir(Generated().path()), names);
}

TEST(GeneratedAssets, ToneCurvesNeverInvertTheTones) {
  // Byte positions the shaders read: all three of the curves and the colour
  // ramp, the third of the whiteboard curve, the third then the second of
  // the luma ramp.
  const std::map<std::string, std::vector<int>> read = {
      {"CurveCross.bmp", {0, 1, 2}},       {"CurveCold.bmp", {0, 1, 2}},
      {"CurveWarm.bmp", {0, 1, 2}},        {"CurveSepia.bmp", {0, 1, 2}},
      {"stylizeColorRamp.bmp", {0, 1, 2}}, {"ContrastCurveSet.bmp", {2}},
      {"stylizeContrastRamp.bmp", {1, 2}}};
  for (const auto& [name, channels] : read) {
    const Bmp b = Load(name);
    for (int y = 0; y < b.height; ++y)
      for (int c : channels)
        for (int x = 1; x < b.width; ++x)
          ASSERT_GE(b.At(x, y)[c], b.At(x - 1, y)[c]) << name << " row " << y << " x " << x;
  }
  // Luma curves keep the range: black stays black and white stays white.
  const Bmp luma = Load("stylizeContrastRamp.bmp");
  for (int y = 0; y < luma.height; ++y)
    for (int c : {1, 2}) EXPECT_EQ(luma.At(0, y)[c] + 255 - luma.At(luma.width - 1, y)[c], 0);
}

TEST(GeneratedAssets, CurvesGiveTheLooksTheirEffectsPromise) {
  const Bmp cold = Load("CurveCold.bmp"), warm = Load("CurveWarm.bmp");
  const Bmp sepia = Load("CurveSepia.bmp"), cross = Load("CurveCross.bmp");
  // The output for level x: blue in the first byte, red in the third.
  const auto at = [](const Bmp& b, int x) { return b.At(x * (b.width - 1) / 255, 0); };
  for (int x = 16; x <= 240; x += 16) {
    EXPECT_GT(at(cold, x)[0], at(cold, x)[2] + 8) << x;
    EXPECT_GT(at(warm, x)[2], at(warm, x)[0] + 8) << x;
    EXPECT_TRUE(at(sepia, x)[2] > at(sepia, x)[1] && at(sepia, x)[1] > at(sepia, x)[0]) << x;
  }
  // Cross processing: blue shadows, yellow highlights, steep red mid-tones.
  EXPECT_GT(at(cross, 0)[0], 20);
  EXPECT_LT(at(cross, 255)[0], 235);
  EXPECT_GT(at(cross, 144)[2] - at(cross, 112)[2], 40);
  // Only the first row is sampled; the others must not disagree with it.
  for (const Bmp* b : {&cold, &warm, &sepia, &cross})
    for (int y = 1; y < b->height; ++y) EXPECT_TRUE(b->Row(y) == b->Row(0)) << y;

  // Whiteboard, third byte at v = 0.5: light paper (after the shader's
  // pow(x, 0.7)) turns white, ink stays black.
  const Bmp board = Load("ContrastCurveSet.bmp");
  EXPECT_GE(board.At(int(0.85 * (board.width - 1)), board.height / 2)[2], 250);
  EXPECT_LE(board.At(int(0.25 * (board.width - 1)), board.height / 2)[2], 16);
}

TEST(GeneratedAssets, StylizeRampHoldsOneLookAroundEachSampledRow) {
  const Bmp ramp = Load("stylizeColorRamp.bmp");
  // Linear filtering at v reads the rows either side of v * height - 0.5:
  // they must hold the same curve, or the look would be a blend of two.
  const int maple = int(0.5 * ramp.height - 0.5), nash = int(0.9 * ramp.height - 0.5);
  ASSERT_LT(nash + 1, ramp.height);
  EXPECT_TRUE(ramp.Row(maple) == ramp.Row(maple + 1) && ramp.Row(nash) == ramp.Row(nash + 1));
  // Maple and Nash differ from each other and from doing nothing.
  int dMaple = 0, dNash = 0, dBoth = 0;
  for (int i = 0; i < ramp.RowBytes(); ++i) {
    const int level = (i / 3) * 255 / (ramp.width - 1), m = ramp.At(0, maple)[i],
              n = ramp.At(0, nash)[i];
    dMaple = std::max(dMaple, std::abs(m - level));
    dNash = std::max(dNash, std::abs(n - level));
    dBoth = std::max(dBoth, std::abs(m - n));
  }
  EXPECT_GT(std::min({dMaple, dNash, dBoth}), 20);
}

TEST(GeneratedAssets, VignetteMasksFallFromTheCentreTowardsTheEdges) {
  for (const char* name : {"mask_vignette_wide.bmp", "mask_vignette_legacy.bmp"}) {
    const Bmp b = Load(name);
    const int w = b.width, h = b.height;
    EXPECT_EQ(*b.At(w / 2, h / 2), 255) << name;
    EXPECT_TRUE(*b.At(0, 0) >= 60 && *b.At(0, 0) <= 140) << name;  // darkened, not black
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x) {
        // Symmetric, and never brighter one step further from the centre.
        const uint8_t v = *b.At(x, y);
        ASSERT_TRUE(v == *b.At(w - 1 - x, y) && v == *b.At(x, h - 1 - y)) << name;
        ASSERT_FALSE(x > 0 && x <= w / 2 && v < *b.At(x - 1, y)) << name << " " << x << "," << y;
        ASSERT_FALSE(y > 0 && y <= h / 2 && v < *b.At(x, y - 1)) << name << " " << x << "," << y;
      }
    }
  }
}

TEST(GeneratedAssets, DotMasksTileWithoutSeams) {
  for (const char* name :
       {"dot_mask_0.bmp", "dot_mask_1.bmp", "dot_mask_2.bmp", "dot_mask_3.bmp"}) {
    const Bmp b = Load(name);
    const int n = b.width;
    // Square, and a power of two: ES 2.0 wraps only those.
    ASSERT_TRUE(b.height == n && (n & (n - 1)) == 0) << name;
    // No step across the wrap, where the repeat joins opposite edges, may be
    // larger than the largest step between neighbours inside the tile.
    double inside = 0, across = 0, darkest = 1;
    const auto step = [&](int x0, int y0, int x1, int y1) {
      return std::abs(b.Grey565(x0, y0) - b.Grey565(x1, y1));
    };
    for (int y = 0; y < n; ++y) {
      for (int x = 0; x < n; ++x) {
        darkest = std::min(darkest, b.Grey565(x, y));
        if (x + 1 < n) inside = std::max({inside, step(x, y, x + 1, y), step(y, x, y, x + 1)});
        const int v = b.At(x, y)[0] | b.At(x, y)[1] << 8;
        ASSERT_EQ(v >> 11, v & 31) << name;  // grey: red and blue agree
      }
      across = std::max({across, step(n - 1, y, 0, y), step(y, n - 1, y, 0)});
    }
    EXPECT_LE(across, inside) << name;
    // A white dot in the middle of the cell on a black ground.
    EXPECT_TRUE(b.Grey565(n / 2, n / 2) == 1.0 && darkest == 0.0) << name;
  }
}

TEST(GeneratedAssets, TwoToneMasksTintOneSideAndLeaveTheOtherWhite) {
  for (const char* name : {"twoToneMaskV.bmp", "twoToneMaskH.bmp"}) {
    const Bmp b = Load(name);
    const uint8_t* shaded = b.At(0, 0);
    const uint8_t* clear = b.At(0, b.height - 1);
    EXPECT_EQ(clear[0] + clear[1] + clear[2], 3 * 255) << name;
    EXPECT_LT(shaded[0] + shaded[1] + shaded[2], 3 * 210) << name;
    // A tint, not only a darkening.
    EXPECT_GT(*std::max_element(shaded, shaded + 3) - *std::min_element(shaded, shaded + 3), 60);
    for (int y = 1; y < b.height; ++y)
      for (int c = 0; c < 3; ++c) ASSERT_GE(b.At(0, y)[c], b.At(0, y - 1)[c]) << name;
  }
}

}  // namespace

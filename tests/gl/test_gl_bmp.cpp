#include <android/log.h>

#include <optional>
#include <string>

#include "GLFbo.h"
#include "GLTexture.h"
#include "GlTest.h"
#include "Pixels.h"
#include "TestEnv.h"

namespace pe {
namespace test {
namespace {

class GLBmpTest : public GLTest {
 protected:
  void SetUp() override {
    GLTest::SetUp();
    m_dump.emplace("POSTEFFECT_DUMP_DIR", m_dir.path());
    m_template = Write("template.bmp", Bmp(1, 1, 32, {0, 0, 0, 0}));
  }
  std::string Write(const std::string& name, const Bytes& bytes) {
    m_dir.Put(name, std::string(bytes.begin(), bytes.end()));
    return m_dir.File(name);
  }
  Bytes Read(const std::string& name) {
    const std::string bytes = ReadFile(m_dir.File(name));
    return Bytes(bytes.begin(), bytes.end());
  }
  int Errors() {
    int n = 0;
    for (const LogLine& l : m_log.Lines()) n += l.priority == ANDROID_LOG_ERROR;
    return n;
  }

  TempDir m_dir;
  std::optional<ScopedEnv> m_dump;
  std::string m_template;
};

// Widths off a multiple of 32 leave streaming rows padded: the texels must
// land at the texture's allocated stride.
TEST_F(GLBmpTest, EveryDepthLoadsIntoBothKindsRowsAtTheTextureStride) {
  struct Kind {
    uint16_t bits;
    unsigned format, type;
    int w;
  };
  const Kind kinds[] = {{32, GL_RGBA, GL_UNSIGNED_BYTE, 100},
                        {24, GL_RGB, GL_UNSIGNED_BYTE, 36},
                        {16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 40},
                        {8, GL_LUMINANCE, GL_UNSIGNED_BYTE, 40}};
  const int h = 3;
  for (const Kind& k : kinds) {
    const int w = k.w;
    const Bytes data = Ramp(w * h * k.bits / 8);
    const std::string path = Write("in.bmp", Bmp(w, h, k.bits, data, 70));
    for (unsigned char streaming : {0, 1}) {
      SCOPED_TRACE(testing::Message() << k.bits << " bpp, streaming " << int(streaming));
      GLTexture tex;
      if (k.bits == 8 && streaming) {
        EXPECT_EQ(tex.LoadBMP(path.c_str(), k.format, k.type, streaming), 0u);
        EXPECT_TRUE(m_log.Contains("[LoadBMP] Can't init texture\n"));
        continue;
      }
      ASSERT_EQ(tex.LoadBMP(path.c_str(), k.format, k.type, streaming), 1u);
      EXPECT_EQ(tex.IsStreaming(), streaming != 0);
      const Bytes px = Sample(tex);
      const size_t pitch = tex.GetAllocWidth();
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
          for (int c = 0; c < 4; ++c)
            ASSERT_EQ(px[(y * pitch + x) * 4 + c], Decoded(data, k.bits, y * w + x, c))
                << x << "," << y << " channel " << c;
    }
  }
}

TEST_F(GLBmpTest, OnlyADoubleKindMismatchIsRefused) {
  const std::string rgb = Write("rgb.bmp", Bmp(32, 2, 24, Ramp(32 * 2 * 3)));
  GLTexture tex;
  EXPECT_EQ(tex.LoadBMP(rgb.c_str(), GL_RGBA, GL_UNSIGNED_SHORT_5_6_5, 0), 0u);
  EXPECT_TRUE(m_log.Contains("[LoadBMP] 24 bpp, format 0x1908 and type 0x8363 mismatch"));
  EXPECT_EQ(tex.LoadBMP(rgb.c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 0), 1u);

  // An 8-bit file into an RGBA texture: the file fills the first row, the
  // rest of what GL reads is zeros, never memory past the file's data.
  const Bytes grey = Ramp(32 * 4);
  const std::string path = Write("grey.bmp", Bmp(32, 4, 8, grey));
  ASSERT_EQ(tex.LoadBMP(path.c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 0), 1u);
  Bytes want(32 * 4 * 4, 0);
  std::copy(grey.begin(), grey.end(), want.begin());
  EXPECT_EQ(Sample(tex), want);
}

TEST_F(GLBmpTest, MalformedFilesAreRefusedWithOneLine) {
  const Bytes good = Bmp(32, 2, 32, Ramp(32 * 2 * 4));
  auto with = [](Bytes b, size_t at, uint32_t v, size_t size = 4) {
    for (size_t i = 0; i < size; ++i) b.at(at + i) = static_cast<uint8_t>(v >> (8 * i));
    return b;
  };
  struct Case {
    const char* name;
    Bytes file;
    const char* line;  // null: refused without a line
  };
  const Case cases[] = {
      {"not BM", with(good, 0, 0x4D58, 2), "Can't open bmp: Header fail"},
      {"truncated header", Bytes(good.begin(), good.begin() + 30), "Header fail"},
      {"zero width", with(good, 18, 0), "invalid size 0x2"},
      {"negative height", with(good, 22, static_cast<uint32_t>(-2)), "invalid size 32x-2"},
      {"absurd depth", with(good, 28, 0xFFFF, 2), "unsupported 65535 bpp"},
      {"odd depth", with(good, 28, 12, 2), "unsupported 12 bpp"},
      {"offset past the end", with(good, 10, 1u << 30), "exceeds the file"},
      {"rows past the end", with(good, 22, 3), "exceeds the file"},
      {"overflowing size", with(good, 18, 0x7FFFFFFF), "exceeds the file"},
      // 2^30 x 2^29 texels of 32 bits are 2^64 bytes: zero in 64-bit arithmetic.
      {"wrapping size", with(with(good, 18, 1u << 30), 22, 1u << 29), "exceeds the file"},
      {"truncated data", Bytes(good.begin(), good.end() - 1), "exceeds the file"},
      {"palette depth", with(good, 28, 4, 2), nullptr},
  };
  for (const Case& c : cases) {
    const std::string path = Write("bad.bmp", c.file);
    for (unsigned char streaming : {0, 1}) {
      SCOPED_TRACE(testing::Message() << c.name << ", streaming " << int(streaming));
      m_log.Clear();
      GLTexture tex;
      EXPECT_EQ(tex.LoadBMP(path.c_str(), GL_RGBA, GL_UNSIGNED_BYTE, streaming), 0u);
      EXPECT_EQ(Errors(), c.line ? 1 : 0) << m_log.Dump();
      if (c.line) {
        EXPECT_TRUE(m_log.Contains(c.line, "GLTexture")) << m_log.Dump();
      }
    }
  }
  GLTexture tex;
  EXPECT_EQ(tex.LoadBMP(m_dir.File("absent.bmp").c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 0), 0u);
  EXPECT_TRUE(m_log.Contains("Can't open BMP"));
}

TEST_F(GLBmpTest, StreamingDumpsRoundTripAndRewriteTheTextureInPlace) {
  const int w = 40, h = 2;
  GLTexture st;
  ASSERT_EQ(st.Init(GL_RGBA, GL_UNSIGNED_BYTE, w, h, 1), 1u);
  auto* mem = static_cast<uint8_t*>(st.GetSTDataBuf());
  const size_t pitch = st.GetAllocWidth() * 4;
  const Bytes ramp = Ramp(pitch * h);
  std::copy(ramp.begin(), ramp.end(), mem);

  ASSERT_EQ(st.SaveBMP_yuvx(m_template.c_str(), "yuvx.bmp"), 1u);
  ASSERT_EQ(st.SaveBMP(m_template.c_str(), "rgba.bmp"), 1u);
  const Bytes y = Read("yuvx.bmp"), rgba = Read("rgba.bmp");
  ASSERT_GE(y.size(), 54u + w * h);
  ASSERT_GE(rgba.size(), 54u + w * h * 4);
  EXPECT_EQ(io::Get16(&y[28]), 8);
  for (int r = 0; r < h; ++r) {
    for (int x = 0; x < w; ++x) {
      const uint8_t* src = &ramp[r * pitch + x * 4];
      const uint8_t* dst = &rgba[54 + (r * w + x) * 4];
      EXPECT_EQ(y[54 + r * w + x], src[3]);
      EXPECT_EQ(Bytes(dst, dst + 4), (Bytes{src[2], src[1], src[0], 255}));
      EXPECT_EQ(Bytes(mem + r * pitch + x * 4, mem + r * pitch + x * 4 + 4), Bytes(dst, dst + 4));
    }
  }
  // The saved file, header included, loads back as the texture now holds
  // it; saving again swaps red and blue back.
  GLTexture back;
  ASSERT_EQ(back.LoadBMP(m_dir.File("rgba.bmp").c_str(), GL_RGBA, GL_UNSIGNED_BYTE, 1), 1u);
  const auto* loaded = static_cast<const uint8_t*>(back.GetSTDataBuf());
  for (int r = 0; r < h; ++r)
    EXPECT_EQ(Bytes(loaded + r * pitch, loaded + r * pitch + w * 4),
              Bytes(mem + r * pitch, mem + r * pitch + w * 4));
  ASSERT_EQ(st.SaveBMP(m_template.c_str(), "again.bmp"), 1u);
  EXPECT_EQ(mem[0], ramp[0]);
  EXPECT_EQ(mem[2], ramp[2]);

  GLTexture rgb;  // three-byte texels have no fourth byte to dump
  ASSERT_EQ(rgb.Init(GL_RGB, GL_UNSIGNED_BYTE, 32, 2, 1), 1u);
  EXPECT_EQ(rgb.SaveBMP_yuvx(m_template.c_str(), "x.bmp"), 0u);
  EXPECT_EQ(st.SaveBMP(Write("not.bmp", Bytes(200, 'x')).c_str(), "x.bmp"), 0u);
  EXPECT_TRUE(m_log.Contains("[SaveBMP] not a BMP file\n"));
}

TEST_F(GLBmpTest, FramebufferDumpHoldsTheRenderedRowsBottomUp) {
  GLTexture tex;
  GLFbo fbo;
  ASSERT_EQ(tex.Init(GL_RGBA, GL_UNSIGNED_BYTE, 3, 2, 0), 1u);
  ASSERT_TRUE(fbo.Init() && fbo.SetColorAttachment(&tex) && fbo.Bind());
  glEnable(GL_SCISSOR_TEST);
  const float rows[2][3] = {{0.2f, 0.4f, 0.6f}, {1.f, 0.f, 0.8f}};
  for (int r = 0; r < 2; ++r) {
    glScissor(0, r, 3, 1);
    glClearColor(rows[r][0], rows[r][1], rows[r][2], 1.f);
    glClear(GL_COLOR_BUFFER_BIT);
  }
  glDisable(GL_SCISSOR_TEST);
  ASSERT_EQ(fbo.SaveBMP(m_template.c_str(), "fbo.bmp"), 1u);
  const Bytes f = Read("fbo.bmp");
  ASSERT_EQ(f.size(), 54u + 3 * 2 * 4);
  EXPECT_EQ(io::Get32(&f[18]), 3u);
  EXPECT_EQ(io::Get32(&f[22]), 2u);
  for (int r = 0; r < 2; ++r) {
    const Bytes want = {255, static_cast<uint8_t>(rows[r][2] * 255 + 0.5f),
                        static_cast<uint8_t>(rows[r][1] * 255 + 0.5f),
                        static_cast<uint8_t>(rows[r][0] * 255 + 0.5f)};
    for (int x = 0; x < 3; ++x)
      EXPECT_EQ(Bytes(&f[54 + (r * 3 + x) * 4], &f[54 + (r * 3 + x) * 4 + 4]), want) << r << x;
  }
}

}  // namespace
}  // namespace test
}  // namespace pe

#include <GLES2/gl2.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "EffectTable.h"
#include "EngineFixture.h"
#include "GEShader.h"
#include "GEShaderBypass.h"
#include "GLTexture.h"
#include "LogCapture.h"
#include "TextureModel.h"

namespace pe {
namespace test {
namespace {

// Bypass has no effect number of its own; tests reach it through number 1.
GEShader* NewBypass() { return new GEShaderBypass(); }
const GEEffectEntry kBypassTable[] = {{1, "Bypass", NewBypass, nullptr}};
const GEEffectTable kBypass{kBypassTable, 1};

// An effect whose RGB result the test writes directly, to check the output
// converter on its own.
class ProbeShader : public GEShader {
 public:
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char cap, IYUVConverter* conv) override {
    m_pSrcTexture = src;
    m_uWidth = w;
    m_uHeight = h;
    m_captureMode = cap;
    m_bInited = GEShader::Init(src, dst, x, y, w, h, cap, conv);
    return m_bInited;
  }
  bool ProcBlock(unsigned, unsigned, int, int) override { return true; }
  bool ProcFrame(unsigned, unsigned, int, int) override { return true; }
  bool ProcFrame(unsigned char*, unsigned char*, int, int) override { return true; }
  bool SetParam(unsigned, int, int, int, int) override { return true; }

  void WriteRgb(const std::vector<uint8_t>& rgba) {
    RgbTexture()->Bind();
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, m_nRGBWidth, m_nRGBHeight, GL_RGBA, GL_UNSIGNED_BYTE,
                    rgba.data());
  }
  int YStride() const { return m_nYStride; }
  GLTexture* YTexture() const { return m_pYTexture; }
  GLTexture* UVTexture() const { return m_pUVTexture; }
};

GEShader* NewProbe() { return new ProbeShader(); }
const GEEffectEntry kProbeTable[] = {{1, "Probe", NewProbe, nullptr}};

class Converter : public EngineTest {
 protected:
  ProbeShader* Probe(int w, int h) {
    MakeManager(w, h, GEEffectTable{kProbeTable, 1});
    EXPECT_TRUE(m_manager->ChooseEffect(1, 0));
    return static_cast<ProbeShader*>(m_manager->CurrentShader());
  }

  // Writes rgba, converts, copies out and returns the largest difference
  // from the CPU model's output conversion.
  int RoundTrip(ProbeShader* p, int w, int h, const std::vector<uint8_t>& rgba) {
    p->WriteRgb(rgba);
    p->ConvertYUV(0, 0, w, h);
    ref::Nv21 out(w, h);
    EXPECT_TRUE(p->MemcpyYUV(out.y(), out.uv()));
    const ref::Diff d = ref::Compare(out, ref::Render(w, h, [&](int x, int y) {
                                       const uint8_t* px =
                                           &rgba[(static_cast<size_t>(y) * w + x) * 4];
                                       return ref::Rgb{px[0] / 255.f, px[1] / 255.f, px[2] / 255.f};
                                     }));
    return std::max(d.maxY, d.maxUV);
  }
};

TEST_F(Converter, PlanesMatchTheCpuModelAndStridesArePadded) {
  for (int w : {640, 100}) {
    const int h = 480;
    ProbeShader* p = Probe(w, h);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->YStride(), w == 640 ? 640 : 128);
    EXPECT_EQ(p->YTexture()->GetWidth(), static_cast<unsigned>(p->YStride() / 4));
    EXPECT_EQ(p->UVTexture()->GetHeight(), static_cast<unsigned>(h / 2));
    std::vector<uint8_t> rgba(w * h * 4);
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w; ++i) {
        uint8_t* px = &rgba[(j * w + i) * 4];
        px[0] = static_cast<uint8_t>(i * 255 / (w - 1));
        px[1] = static_cast<uint8_t>(j * 255 / (h - 1));
        px[2] = static_cast<uint8_t>(((i / 3) ^ (j / 5)) * 37);
        px[3] = 255;
      }
    EXPECT_LE(RoundTrip(p, w, h, rgba), 1) << "width " << w;
    m_manager.reset();
  }
}

TEST_F(Converter, NullDestinationsAreRefusedBeforeAnyWrite) {
  ProbeShader* p = Probe(64, 32);
  ASSERT_NE(p, nullptr);
  LogCapture log;
  std::vector<uint8_t> y(64 * 32, 7);
  EXPECT_FALSE(p->BlockCopyYUV(y.data(), nullptr, 64, 32, 0, 0, 64, 32));
  EXPECT_TRUE(log.Contains("is NULL"));
  EXPECT_EQ(y[0], 7);
}

class Bypass : public EngineTest {};

TEST_F(Bypass, PreviewEqualsTheRoundTripModel) {
  for (auto size : {std::pair<int, int>{640, 480}, {1280, 720}, {720, 480}}) {
    MakeManager(size.first, size.second, kBypass);
    ASSERT_TRUE(m_manager->ChooseEffect(1, 0));
    // Two different frames in a row: the second must not show the first.
    for (uint32_t seed : {1u, 2u}) {
      ref::Nv21 frame = ref::MakeFrame(size.first, size.second, seed);
      ref::Diff d = ref::Compare(RunPreview(frame), ref::RoundTrip(frame));
      EXPECT_LE(d.maxY, 2) << size.first << "x" << size.second << " at " << d.worstX << ","
                           << d.worstY;
      EXPECT_LE(d.maxUV, 2) << size.first << "x" << size.second;
    }
    m_manager.reset();
  }
}

TEST_F(Bypass, CaptureInBlocksOfA1280x720SourceHasNoSeam) {
  MakeManager(1280, 720, kBypass);
  ASSERT_TRUE(m_manager->ChooseEffect(1, 1));
  ref::Nv21 still = ref::MakeFrame(4000, 3000, 7), out;
  ASSERT_TRUE(RunCapture(still, &out));
  EXPECT_EQ(m_source.calls, 20);
  ref::Diff d = ref::Compare(out, ref::RoundTrip(still));
  EXPECT_LE(d.maxY, 2) << "at " << d.worstX << "," << d.worstY;
  EXPECT_LE(d.maxUV, 2);
}

TEST_F(Bypass, CaptureWithA720WideSourceWritesTheBlocksItPlaces) {
  // A 720-wide source widens each row's first block to 736 and moves it to
  // the right edge; the columns it places are exact, the rest stay unwritten.
  MakeManager(720, 480, kBypass);
  ASSERT_TRUE(m_manager->ChooseEffect(1, 1));
  ref::Nv21 still = ref::MakeFrame(4000, 3000, 9), out;
  ASSERT_TRUE(RunCapture(still, &out));
  ref::Nv21 model = ref::RoundTrip(still);
  int worst = 0;
  for (int y = 0; y < 3000; ++y)
    for (int x = 4000 - 736; x < 4000; ++x)
      worst = std::max(worst, std::abs(out.y()[y * 4000 + x] - model.y()[y * 4000 + x]));
  EXPECT_LE(worst, 2);
  EXPECT_EQ(out.y()[1500 * 4000 + 100], 0);
}

TEST_F(Bypass, ModeRefusalsAndParameters) {
  MakeManager(640, 480, kBypass);
  ASSERT_TRUE(m_manager->ChooseEffect(1, 1));
  LogCapture log;
  EXPECT_FALSE(m_manager->CurrentShader()->ProcFrame(0u, 0u, 0, 0));
  EXPECT_TRUE(log.Contains("Preview mode only", "GEShaderBypass"));
  ASSERT_TRUE(m_manager->ChooseEffect(1, 0));
  std::vector<uint8_t> buf(64);
  EXPECT_FALSE(m_manager->ProcFrame(buf.data(), buf.data(), buf.data(), 8, 8));
  EXPECT_TRUE(log.Contains("only capture mode use this method"));
  EXPECT_FALSE(m_manager->CurrentShader()->ProcFrame(buf.data(), buf.data(), 8, 8));
  EXPECT_TRUE(log.Contains("Capture mode only", "GEShaderBypass"));
  EXPECT_TRUE(m_manager->SetParam(0, 1, 2, 3, 4));
}

class Manager : public EngineTest {};

TEST_F(Manager, EffectNumbersOutsideTheBoundOrTableAreRefused) {
  MakeManager(640, 480, kBypass);
  LogCapture log;
  ASSERT_TRUE(m_manager->ChooseEffect(1, 0));
  EXPECT_FALSE(m_manager->ChooseEffect(17, 0));
  EXPECT_TRUE(log.Contains("index 17 should less than 17"));
  EXPECT_FALSE(m_manager->ChooseEffect(18, 0));
  EXPECT_NE(m_manager->CurrentShader(), nullptr) << "bound refusals keep the effect";
  EXPECT_FALSE(m_manager->ChooseEffect(0, 0));
  EXPECT_TRUE(log.Contains("wrong index 0"));
  EXPECT_EQ(m_manager->CurrentShader(), nullptr);
  EXPECT_FALSE(m_manager->ChooseEffect(99, 0));
  EXPECT_TRUE(log.Contains("wrong index 99"));
  EXPECT_FALSE(m_manager->ChooseEffect(5, 0)) << "a number whose effect is not built";
  EXPECT_FALSE(m_manager->ProcFrame(0u, 0u, 0, 0));
  EXPECT_TRUE(log.Contains("no shader selected"));
  EXPECT_FALSE(m_manager->SetParam(0, 0, 0, 0, 0));
}

TEST_F(Manager, RefusesWorkBeforeInitAndAfterDeinit) {
  GEManager manager(kBypass);
  ASSERT_TRUE(manager.IsEGLReady());
  LogCapture log;
  EXPECT_FALSE(manager.SetParam(0, 0, 0, 0, 0));
  EXPECT_TRUE(log.Contains("not inited"));
  EXPECT_FALSE(manager.ChooseEffect(1, 0));
  EXPECT_FALSE(manager.ProcFrame(0u, 0u, 0, 0));
  EXPECT_FALSE(manager.MemcpyYUV(nullptr, nullptr));
  EXPECT_TRUE(manager.Deinit());
}

}  // namespace
}  // namespace test
}  // namespace pe

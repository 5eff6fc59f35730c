#include <gtest/gtest.h>

#include <cmath>

#include "EffectTable.h"
#include "EngineFixture.h"
#include "GEShaderVignette.h"
#include "LogCapture.h"

namespace pe {
namespace test {
namespace {

// CPU model of the vignette: the picture darkened by a smoothstep of the
// distance from the centre, y scaled by the screen ratio.
struct VignetteModel {
  float cx, cy, radius, strength, ratio;
  ref::Shade AsShade(int W, int H) const {
    return [=](int x, int y, ref::Rgb p) {
      float sx = (x + 0.5f) / W - cx - 0.5f;
      float sy = ((y + 0.5f) / H - cy - 0.5f) / ratio;
      const float w =
          ref::Smoothstep(radius - strength, radius + strength, std::sqrt(sx * sx + sy * sy));
      return ref::Rgb{p.r * (1 - w), p.g * (1 - w), p.b * (1 - w)};
    };
  }
  static VignetteModel Of(const GEShaderVignette* v, float ratio) {
    return {v->CenterX(), v->CenterY(), v->Radius(), v->Strength(), ratio};
  }
};

class Vignette : public EngineTest {
 protected:
  GEShaderVignette* Effect() { return static_cast<GEShaderVignette*>(m_manager->CurrentShader()); }
};

// User circles are checked through the public interface; this is the one
// check of the circle an effect starts with.
TEST_F(Vignette, PreviewMatchesTheModelForTheDefaultCircle) {
  MakeManager(640, 480, BuiltinEffects());
  ASSERT_TRUE(m_manager->ChooseEffect(4, 0));
  const ref::Nv21 frame = ref::MakeFrame(640, 480, 3);
  // The initial centre offset puts the circle at the far corner.
  const ref::Diff d = ref::Compare(
      RunPreview(frame),
      ref::RoundTrip(frame, VignetteModel::Of(Effect(), 640.f / 480).AsShade(640, 480)));
  EXPECT_LE(d.maxY, 2) << d.worstX << "," << d.worstY;
  EXPECT_LE(d.maxUV, 2);
}

TEST_F(Vignette, ZeroRadiusBlackensBeyondTheStrength) {
  MakeManager(320, 240, BuiltinEffects());
  ASSERT_TRUE(m_manager->ChooseEffect(4, 0));
  ASSERT_TRUE(Effect()->SetParam(0, 0, 0, 0, 0));  // strength 0.40
  ASSERT_TRUE(Effect()->SetParam(1, 160, 120, 160, 120));
  ref::Nv21 frame(320, 240);
  std::fill(frame.data.begin(), frame.data.end(), 200);
  std::fill(frame.data.begin() + 320 * 240, frame.data.end(), 128);
  ref::Nv21 out = RunPreview(frame);
  EXPECT_EQ(out.y()[0], 0) << "corner is beyond 0.4";
  // smoothstep(-s, s, 0) is one half: even the centre is dimmed.
  EXPECT_NEAR(out.y()[120 * 320 + 160], 100, 3);
  EXPECT_LT(out.y()[120 * 320 + 230], out.y()[120 * 320 + 170]) << "dims outward";
}

TEST_F(Vignette, RefusalsBeforeInitAndAcrossModes) {
  GEShaderVignette idle;
  LogCapture log;
  EXPECT_FALSE(idle.SetParam(0, 1, 2, 3, 4));
  EXPECT_TRUE(log.Contains("effect not initialized", "GEShaderVignette"));
  MakeManager(640, 480, BuiltinEffects());
  ASSERT_TRUE(m_manager->ChooseEffect(4, 1));
  EXPECT_FALSE(Effect()->ProcFrame(0u, 0u, 0, 0));
  EXPECT_TRUE(log.Contains("Preview mode only"));
}

}  // namespace
}  // namespace test
}  // namespace pe

#include <gtest/gtest.h>

#include <cmath>
#include <ostream>
#include <string>
#include <tuple>

#include "LookModels.h"
#include "PublicService.h"

namespace pe {
namespace test {
namespace {

using ref::Nv21;

// Depth of field (2), tilt-shift (7), sketch (17) and colour sketch (18):
// the code, strength (-1: no parameters) and the drag as the service sets
// them.
struct Look {
  int number;
  const char* code;
  int strength;
  const char* points;
  std::string Params(int p0) const {
    std::string s = std::string("GPU-effect=") + code;
    if (strength >= 0) s += ";GE-param0=" + std::to_string(p0) + ",0,0,0;GE-param1=" + points;
    return s;
  }
};
const Look kLooks[] = {{2, "2", 60, "960,540,1400,700"},
                       {7, "7", 100, "960,500,960,800"},
                       {17, "I", -1, ""},
                       {18, "J", -1, ""}};
void PrintTo(const Look& look, std::ostream* os) { *os << "effect " << look.number; }

// The user's strength, centre and edge point as each effect turns them into
// its blur and mix, for a w x h picture (W x H when captured).
struct LookModel {
  ref::BlurSetup setup;
  ref::Mixer mix;
  float clearScale, blurScale;
};

LookModel Describe(int number, int w, int h, int allocW, int W, int H) {
  const float cx = static_cast<float>(Mapped(960, w, 1920)) / w;
  const float cy = static_cast<float>(Mapped(number == 2 ? 540 : 500, h, 1080)) / h;
  const float dx =
      std::fabs(static_cast<float>(Mapped(number == 2 ? 1400 : 960, w, 1920)) / w - cx);
  const float dy = std::fabs(static_cast<float>(Mapped(number == 2 ? 700 : 800, h, 1080)) / h - cy);
  const float crop = static_cast<float>(w) / allocW;
  LookModel s{{ref::GaussianRow(14), w / 4, h * 180 / 768, 1.f / w, 1.f / h},
              ref::SketchMix(number == 18),
              crop,
              1.f};
  if (number == 2) {
    const float q = std::pow(static_cast<float>(h) / w, 2.f),
                ratio = std::pow(static_cast<float>(H) / W, 2.f);
    const bool legacy = std::fabs(q - 0.5625f) < 1e-4f;
    const float r = std::fmax(std::sqrt(dx * dx + dy * dy), legacy ? 0.06f : 0.15f);
    const float R = r + (static_cast<float>(w) / h - 1.f) * dx;
    const float e0 = legacy ? R - 0.075f : R - 0.225f, e1 = legacy ? R + 0.075f : R - 0.075f;
    s.setup = {ref::GaussianRow(60 / 7), w / 2, 192 * h / 360, 1.f / w, 1.f / h};  // row 8
    s.blurScale = crop;
    s.mix = ref::FocusMix(
        [=](float gx, float gy) { return (gx - cx) * (gx - cx) + (gy - cy) * (gy - cy) * ratio; },
        e0 * e0, e1 * e1, 0.8f);  // strength 60: 0.8 of the blur
  } else if (number == 7) {
    const float R = std::fmax(dy, 0.1f);
    s.setup = {ref::GaussianRow(14), w * 320 / 800, 192 * h / 480, 1.f / w, 1.f / h};
    s.mix = ref::FocusMix([=](float, float gy) { return std::fabs(gy - cy); },
                          (R - 0.075f) * (R - 0.075f), (R + 0.075f) * (R + 0.075f), 1.f);
  }
  return s;
}

// The sketches lie beyond the manager's default bound; the host raises it.
class BlurLooksModel : public PublicService,
                       public ::testing::WithParamInterface<std::tuple<Look, Size>> {
  ScopedEnv m_count{"POSTEFFECT_EFFECT_COUNT", "19"};
};

TEST_P(BlurLooksModel, PreviewAndCaptureMatchTheModel) {
  const Look look = std::get<0>(GetParam());
  const int w = std::get<1>(GetParam()).w, h = std::get<1>(GetParam()).h;
  const int allocW = AllocW(w);
  const bool sketch = look.number >= 17;
  ASSERT_EQ(Params(look.Params(look.strength)), 0);
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  SharedNv21 shm(w, h);
  const Nv21 frame = ref::MakeFrame(w, h, 60 + look.number);
  const LookModel s = Describe(look.number, w, h, allocW, w, h);
  ref::MaskedDiff d = ref::CompareMasked(
      Preview(shm, frame),
      ref::PreviewModel(frame, allocW, s.setup, s.clearScale, s.blurScale, s.mix));
  ExpectWithin(d.diff, 4);
  // Only the sketches' thresholds leave pixels out, and not most.
  EXPECT_LT(d.skipped, sketch ? static_cast<size_t>(w) * h / 4 : 1u);
  if (!sketch) {  // strength 0: the sharp picture
    ASSERT_EQ(Params(look.Params(0)), 0);
    ExpectWithin(ref::Compare(Preview(shm, frame), ref::RoundTrip(frame)), 2);
    ASSERT_EQ(Params(look.Params(look.strength)), 0);
  }

  // A still in blocks behind the preview: no seam between them. Tilt-shift
  // shares depth of field's walk, which a 4000x3000 still takes, so its still
  // is smaller. The sketches share all but their last pass, which the
  // previews cover, so one of them is captured.
  if (w != 1280 || look.number == 17) return;
  const int W = look.number == 7 ? 2000 : 4000, H = W * 3 / 4;
  SharedNv21 still(W, H);
  const Nv21 big = ref::MakeFrame(W, H, 70 + look.number);
  ASSERT_EQ(Capture(still, big), 0);
  const LookModel c = Describe(look.number, w, h, allocW, W, H);
  d = ref::CompareMasked(still.Get(),
                         sketch ? ref::OverlapCaptureModel(big, w, h, allocW, c.setup, c.mix)
                                : ref::ApronCaptureModel(big, w, h, c.setup, c.mix));
  ExpectWithin(d.diff, 4);
  EXPECT_LT(d.skipped, sketch ? static_cast<size_t>(W) * H / 4 : 1u);
  // The sketches' overlap is shorter than their kernel's reach: next to a
  // seam a few lines and levels may fall differently, never many.
  EXPECT_LE(d.seamOff, d.seam / 100) << d.seamOff << " of " << d.seam << " seam pixels differ";
}

INSTANTIATE_TEST_SUITE_P(Looks, BlurLooksModel,
                         ::testing::Combine(::testing::ValuesIn(kLooks),
                                            ::testing::ValuesIn(kPreviewSizes)),
                         [](const auto& info) {
                           return "Effect" + std::to_string(std::get<0>(info.param).number) + "_" +
                                  std::to_string(std::get<1>(info.param).w);
                         });

// Without the host setting the sketches stay behind the manager's bound:
// refused, with the frame and the still left as they were.
class BlurLooksBound : public PublicService {
  ScopedEnv m_count{"POSTEFFECT_EFFECT_COUNT", nullptr};
};

TEST_F(BlurLooksBound, SketchesAreRefusedUnlessTheHostRaisesTheBound) {
  for (const char* code : {"I", "J"}) {
    SCOPED_TRACE(code);
    ASSERT_EQ(Params(std::string("GPU-effect=") + code), 0);
    ASSERT_EQ(m_fx->startPreview(640, 480), 0);
    ExpectRefused();
  }
  EXPECT_TRUE(m_log.Contains("index 17 should less than 17"));
  EXPECT_TRUE(m_log.Contains("index 18 should less than 17"));
}

}  // namespace
}  // namespace test
}  // namespace pe

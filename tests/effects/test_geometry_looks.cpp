#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>
#include <vector>

#include "LookModels.h"
#include "PublicService.h"

namespace pe {
namespace test {
namespace {

using ref::Expected;
using ref::Nv21;

ref::Fisheye FisheyeAt(int w, int h, int strength) {
  auto clamp = [](float v) { return std::fmin(std::fmax(v, 0.1f), 0.9f); };
  return {clamp(static_cast<float>(Mapped(700, w, 1920)) / w),
          clamp(static_cast<float>(Mapped(620, h, 1080)) / h),
          static_cast<float>(0.6 + strength * 1.2 * 0.01)};
}

double DotSize(int h, int strength) {
  const float H = static_cast<float>(h), smallest = H / 68.f, largest = H / 30.f;
  return smallest + strength * ((largest - smallest) / 100.f);
}

const ref::TextureModel& Mask(int index) {
  static ref::TextureModel masks[3];
  if (masks[index].Empty()) {
    masks[index] = ref::TextureModel::FromBmp("dot_mask_" + std::to_string(index) + ".bmp",
                                              ref::TextureModel::kRgb565);
    masks[index].repeat = true;
  }
  return masks[index];
}

Expected All(Nv21 f) {
  const size_t n = static_cast<size_t>(f.width) * f.height;
  return {std::move(f), std::vector<char>(n)};
}

// Parameters set in turn, and the model of what the frame then becomes.
struct Step {
  std::vector<std::string> params;
  std::function<Expected(const Nv21&)> model;
};
struct Look {
  std::vector<Step> previews;
  Step still;
  int tolerance;
};

// Each look at a w x h preview, and its still of W x H.
Look Describe(int effect, int w, int h, int W, int H) {
  const int a = AllocW(w);
  auto strength = [](int effect, int p0, const char* rest = "") {
    return "GPU-effect=" + std::to_string(effect) + ";GE-param0=" + std::to_string(p0) + ",0,0,0" +
           rest;
  };
  const std::string fish10 = strength(3, 10, ";GE-param1=700,620,0,0");
  const std::string fish80 = strength(3, 80, ";GE-param1=700,620,0,0");
  switch (effect) {
    case 3:  // the bulge, then the expanding branch
      return {{{{fish10}, [=](const Nv21& f) { return FisheyeAt(w, h, 10).Preview(f, a); }},
               {{fish80}, [=](const Nv21& f) { return FisheyeAt(w, h, 80).Preview(f, a); }}},
              {{fish80}, [=](const Nv21& f) { return FisheyeAt(w, h, 80).Still(f); }},
              3};
    case 5:  // small dots through mask 1, large dots through mask 2
      return {{{{strength(5, 30)},
                [=](const Nv21& f) { return All(ref::Dots(f, a, DotSize(h, 30), Mask(1))); }},
               {{strength(5, 70)},
                [=](const Nv21& f) { return All(ref::Dots(f, a, DotSize(h, 70), Mask(2))); }}},
              {{strength(5, 70)},
               [=](const Nv21& f) {
                 return All(ref::Dots(f, W, static_cast<double>(H) / h * DotSize(h, 70), Mask(2)));
               }},
              3};
    case 8:  // the landscape flag comes with the effect's choice, here while the preview runs
      return {
          {{{strength(8, 0)}, [=](const Nv21& f) { return All(ref::MirrorPreview(f, a, false)); }},
           {{"GPU-effect=9", strength(8, 1)},
            [=](const Nv21& f) { return All(ref::MirrorPreview(f, a, true)); }}},
          {{strength(8, 0)}, [=](const Nv21& f) { return All(ref::MirrorStill(f, w, h, false)); }},
          2};
    default: {  // bloom
      const Step bloom{{}, [](const Nv21& f) { return All(ref::RoundTrip(f, ref::BloomShade())); }};
      return {{bloom}, bloom, 2};
    }
  }
}

class GeometryLooks : public PublicService,
                      public ::testing::WithParamInterface<std::tuple<int, Size>> {};

// The preview at each size, then (behind 1280x720 only) a still: 4000x3000
// for the paths of their own, smaller for mirror and bloom, whose plain walk
// the vignette takes at 4000x3000.
TEST_P(GeometryLooks, PreviewAndStillMatchTheModel) {
  const int effect = std::get<0>(GetParam());
  const int w = std::get<1>(GetParam()).w, h = std::get<1>(GetParam()).h;
  const int W = effect >= 8 ? 2000 : 4000, H = W * 3 / 4;
  const Look look = Describe(effect, w, h, W, H);
  auto check = [&](const Step& step, SharedNv21& shm, const Nv21& in, bool still) {
    SCOPED_TRACE(step.params.empty() ? "" : step.params.back());
    for (const std::string& p : step.params) ASSERT_EQ(Params(p), 0);
    if (still) {
      ASSERT_EQ(Capture(shm, in), 0);
    }
    const Nv21 got = still ? shm.Get() : Preview(shm, in);
    ExpectWithin(ref::CompareMasked(got, step.model(in)).diff, look.tolerance);
  };
  ASSERT_EQ(Params("GPU-effect=" + std::to_string(effect)), 0);
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  SharedNv21 shm(w, h);
  const Nv21 frame = ref::MakeFrame(w, h, 7 + effect);
  for (const Step& step : look.previews) check(step, shm, frame, false);
  if (w != 1280) return;
  SharedNv21 big(W, H);
  check(look.still, big, ref::MakeFrame(W, H, 17 + effect), true);
}

INSTANTIATE_TEST_SUITE_P(Sizes, GeometryLooks,
                         ::testing::Combine(::testing::Values(3, 5, 8, 9),
                                            ::testing::ValuesIn(kPreviewSizes)),
                         [](const ::testing::TestParamInfo<std::tuple<int, Size>>& info) {
                           return "effect" + std::to_string(std::get<0>(info.param)) + "_" +
                                  Name(std::get<1>(info.param));
                         });

using GeometryBehaviour = PublicService;

// Fisheye's planes and Dot's buffer (sized by its dots) must fit one
// texture; a lowered limit stands in for a still too large for the GPU.
TEST_F(GeometryBehaviour, StillsBeyondTheTextureLimitFailUntouched) {
  ScopedEnv limit("POSTEFFECT_MAX_TEXTURE_SIZE", "512");
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 big(2560, 1440);
  const Nv21 picture = ref::MakeFrame(2560, 1440, 99);
  for (const char* effect : {"3;GE-param0=0,0,0,0", "5;GE-param0=100,0,0,0"}) {
    ASSERT_EQ(Params(std::string("GPU-effect=") + effect), 0);
    EXPECT_EQ(Capture(big, picture), 3) << effect;
    EXPECT_EQ(big.Get().data, picture.data) << effect;
  }
  EXPECT_EQ(m_log.Count("beyond the largest texture", "GEShaderDot"), 1);
  EXPECT_EQ(m_log.Count("exceeds the largest texture", "GEShaderFisheye"), 1);
}

}  // namespace
}  // namespace test
}  // namespace pe

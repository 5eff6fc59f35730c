#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "GeometryModel.h"
#include "PublicService.h"

namespace {

using pe::ref::Diff;
using pe::ref::Nv21;
using pe::test::AllocW;
using pe::test::Mapped;
using pe::test::SharedNv21;
using pe::test::Size;

pe::ref::Fisheye FisheyeFor(int w, int h, int strength, int px, int py) {
  auto clamp = [](float v) { return std::fmin(std::fmax(v, 0.1f), 0.9f); };
  return {clamp(static_cast<float>(Mapped(px, w, 1920)) / w),
          clamp(static_cast<float>(Mapped(py, h, 1080)) / h),
          static_cast<float>(0.6 + strength * 1.2 * 0.01)};
}

// The centre's own row and column are left to the GPU (unguarded divisions).
std::function<bool(int, int)> OffCentre(const pe::ref::Fisheye& f, int w, int h) {
  return [=](int x, int y) {
    return std::fabs(x + 0.5 - f.cx * w) < 1.5 || std::fabs(y + 0.5 - f.cy * h) < 1.5;
  };
}

float DotSize(int h, int strength) {
  const float H = static_cast<float>(h), smallest = H / 68.f, largest = H / 30.f;
  return smallest + strength * ((largest - smallest) / 100.f);
}

const pe::ref::TextureModel& Mask(int index) {
  static pe::ref::TextureModel masks[3];
  if (masks[index].Empty()) {
    masks[index] = pe::ref::TextureModel::FromBmp(
        pe::ref::AssetPath("dot_mask_" + std::to_string(index) + ".bmp"),
        pe::ref::TextureModel::kRgb565);
    masks[index].repeat = true;
  }
  return masks[index];
}

void ExpectWithin(const Diff& d, int tolerance, const std::string& what) {
  SCOPED_TRACE(what);
  pe::test::ExpectWithin(d, tolerance);
}

class GeometryLooks : public pe::test::PublicService,
                      public ::testing::WithParamInterface<std::tuple<int, Size>> {
 protected:
  // The preview at w x h, then (behind 1280x720 only) a still: 4000x3000
  // for the paths of their own, smaller for mirror and bloom, whose plain
  // walk the vignette takes at 4000x3000.
  void Check(int effect, int w, int h) {
    SharedNv21 shm(w, h);
    const Nv21 frame = pe::ref::MakeFrame(w, h, 7 + effect);
    const bool still = w == 1280 && h == 720;
    const int W = !still ? 2 : effect >= 8 ? 2000 : 4000, H = still ? W * 3 / 4 : 2;
    SharedNv21 big(W, H);
    const Nv21 picture = still ? pe::ref::MakeFrame(W, H, 17 + effect) : Nv21(W, H);
    switch (effect) {
      case 3:
        for (int strength : {10, 80}) {  // the bulge, then the expanding branch
          ASSERT_EQ(Params("GPU-effect=3;GE-param0=" + std::to_string(strength) +
                           ",0,0,0;GE-param1=700,620,0,0"),
                    0);
          const pe::ref::Fisheye f = FisheyeFor(w, h, strength, 700, 620);
          ExpectWithin(pe::ref::CompareExcept(Preview(shm, frame), f.Preview(frame, AllocW(w)),
                                              OffCentre(f, w, h)),
                       3, "fisheye preview " + std::to_string(strength));
        }
        if (still) {
          ASSERT_EQ(Capture(big, picture), 0);
          const pe::ref::Fisheye f = FisheyeFor(w, h, 80, 700, 620);
          ExpectWithin(pe::ref::CompareExcept(big.Get(), f.Still(picture), OffCentre(f, W, H)), 3,
                       "fisheye still");
        }
        break;
      case 5:
        for (int strength : {30, 70}) {  // small dots, mask 1; large dots, mask 2
          ASSERT_EQ(Params("GPU-effect=5;GE-param0=" + std::to_string(strength) + ",0,0,0"), 0);
          const pe::ref::Dots dots{DotSize(h, strength), &Mask(strength < 51 ? 1 : 2)};
          ExpectWithin(pe::ref::Compare(Preview(shm, frame), dots.Preview(frame, AllocW(w))), 3,
                       "dot preview " + std::to_string(strength));
        }
        if (still) {
          ASSERT_EQ(Capture(big, picture), 0);
          const pe::ref::Dots dots{static_cast<double>(H) / h * DotSize(h, 70), &Mask(2)};
          ExpectWithin(pe::ref::Compare(big.Get(), dots.Still(picture)), 3, "dot still");
        }
        break;
      case 8:
        // The landscape flag comes with the effect's choice: portrait first,
        // then landscape chosen while the preview runs.
        ASSERT_EQ(Params("GPU-effect=8;GE-param0=0,0,0,0"), 0);
        ExpectWithin(
            pe::ref::Compare(Preview(shm, frame), pe::ref::MirrorPreview(frame, AllocW(w), false)),
            2, "portrait mirror");
        ASSERT_EQ(Params("GPU-effect=9"), 0);
        ASSERT_EQ(Params("GPU-effect=8;GE-param0=1,0,0,0"), 0);
        ExpectWithin(
            pe::ref::Compare(Preview(shm, frame), pe::ref::MirrorPreview(frame, AllocW(w), true)),
            2, "landscape mirror");
        if (still) {
          ASSERT_EQ(Params("GPU-effect=8;GE-param0=0,0,0,0"), 0);
          ASSERT_EQ(Capture(big, picture), 0);
          ExpectWithin(pe::ref::Compare(big.Get(), pe::ref::MirrorStill(picture, w, h, false)), 2,
                       "mirror still");
        }
        break;
      case 9:
        ASSERT_EQ(Params("GPU-effect=9"), 0);
        ExpectWithin(
            pe::ref::Compare(Preview(shm, frame), pe::ref::RoundTrip(frame, pe::ref::BloomShade())),
            2, "bloom preview");
        if (still) {
          ASSERT_EQ(Capture(big, picture), 0);
          ExpectWithin(
              pe::ref::Compare(big.Get(), pe::ref::RoundTrip(picture, pe::ref::BloomShade())), 2,
              "bloom still");
        }
        break;
    }
  }
};

TEST_P(GeometryLooks, PreviewAndStillMatchTheModel) {
  const int effect = std::get<0>(GetParam());
  const int w = std::get<1>(GetParam()).w, h = std::get<1>(GetParam()).h;
  ASSERT_EQ(Params("GPU-effect=" + std::to_string(effect)), 0);
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  Check(effect, w, h);
}

INSTANTIATE_TEST_SUITE_P(Sizes, GeometryLooks,
                         ::testing::Combine(::testing::Values(3, 5, 8, 9),
                                            ::testing::ValuesIn(pe::test::kPreviewSizes)),
                         [](const ::testing::TestParamInfo<std::tuple<int, Size>>& info) {
                           return "effect" + std::to_string(std::get<0>(info.param)) + "_" +
                                  pe::test::Name(std::get<1>(info.param));
                         });

using GeometryBehaviour = pe::test::PublicService;

// Fisheye's planes and Dot's buffer (sized by its dots) must fit one
// texture; a lowered limit stands in for a still too large for the GPU.
TEST_F(GeometryBehaviour, StillsBeyondTheTextureLimitFailUntouched) {
  pe::test::ScopedEnv limit("POSTEFFECT_MAX_TEXTURE_SIZE", "512");
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 big(2560, 1440);
  const Nv21 picture = pe::ref::MakeFrame(2560, 1440, 99);
  for (const char* effect : {"3;GE-param0=0,0,0,0", "5;GE-param0=100,0,0,0"}) {
    ASSERT_EQ(Params(std::string("GPU-effect=") + effect), 0);
    EXPECT_EQ(Capture(big, picture), 3) << effect;
    EXPECT_EQ(big.Get().data, picture.data) << effect;
  }
  EXPECT_EQ(m_log.Count("beyond the largest texture", "GEShaderDot"), 1);
  EXPECT_EQ(m_log.Count("exceeds the largest texture", "GEShaderFisheye"), 1);
}

}  // namespace

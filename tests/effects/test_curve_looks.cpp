#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "LookModels.h"
#include "PublicService.h"

namespace pe {
namespace test {
namespace {

using ref::Nv21;

const char* const kVintageCurves[] = {"CurveCross.bmp", "CurveCold.bmp", "CurveWarm.bmp",
                                      "CurveSepia.bmp"};

// A masked look over a 640x480 frame, uncropped.
Nv21 Model640(const char* curve, bool grey, const Nv21& frame) {
  return ref::CurveLookPreview(ref::LoadCurveLook(curve, grey, true, 640, 480), frame, 640,
                               nullptr);
}

void ExpectNear(const Nv21& got, const Nv21& want) { ExpectWithin(ref::Compare(got, want), 3); }

enum Effect { kVintage, kContrast, kWhiteboard };
const char* const kNames[] = {"Vintage", "Contrast", "Whiteboard"};

class CurvePreview : public PublicService,
                     public ::testing::WithParamInterface<std::tuple<Effect, Size>> {};

// Each look at the plain frame, then with a zoom crop, which the colour
// looks and the whiteboard follow and the black and white ignores.
TEST_P(CurvePreview, MatchesTheModelWithAndWithoutACrop) {
  const Effect effect = std::get<0>(GetParam());
  const int w = std::get<1>(GetParam()).w, h = std::get<1>(GetParam()).h;
  ASSERT_EQ(Params(std::string("GPU-effect=") + "16B"[effect]), 0);
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  SharedNv21 shm(w, h);
  const Nv21 frame = ref::MakeFrame(w, h, 70 + effect);
  const float crop[4] = {static_cast<float>(w / 4) / w, static_cast<float>(h / 4) / h,
                         static_cast<float>(w / 2) / w, static_cast<float>(h / 2) / h};
  for (const float* c : {static_cast<const float*>(nullptr), crop}) {
    if (c) {
      ASSERT_EQ(m_fx->setCrop(w / 4, h / 4, w / 2, h / 2), 0);
    }
    for (int look = 0; look < (effect == kVintage ? 4 : 1); ++look) {
      SCOPED_TRACE(testing::Message() << "look " << look << (c ? " cropped" : ""));
      if (effect == kVintage) {
        ASSERT_EQ(Params("GPU-effect=1;GE-param0=" + std::to_string(look) + ",0,0,0"), 0);
      }
      ExpectNear(Preview(shm, frame),
                 effect == kWhiteboard
                     ? ref::WhiteboardPreview(frame, AllocW(w), c)
                     : ref::CurveLookPreview(
                           ref::LoadCurveLook(kVintageCurves[effect == kVintage ? look : 0],
                                              effect == kContrast, look != 3, w, h),
                           frame, AllocW(w), c));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Looks, CurvePreview,
                         ::testing::Combine(::testing::Values(kVintage, kContrast, kWhiteboard),
                                            ::testing::ValuesIn(kPreviewSizes)),
                         [](const ::testing::TestParamInfo<std::tuple<Effect, Size>>& info) {
                           return std::string(kNames[std::get<0>(info.param)]) + "_" +
                                  Name(std::get<1>(info.param));
                         });

using CurveLooks = PublicService;

// At 2000x1500: the plain walk takes a 4000x3000 still in the vignette's
// test, the crop walk in the ramp looks'.
TEST_F(CurveLooks, CapturesMatchTheWholePictureModel) {
  ASSERT_EQ(Params("GPU-effect=1;GE-param0=2,0,0,0"), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 shm(2000, 1500);
  const Nv21 still = ref::MakeFrame(2000, 1500, 81);
  ASSERT_EQ(Capture(shm, still), 0);
  ExpectNear(shm.Get(), ref::CurveLookCapture(
                            ref::LoadCurveLook("CurveWarm.bmp", false, true, 1280, 720), still));
  // The whiteboard's crop-aware walk, whole and with the middle quarter
  // stretched over the still.
  ASSERT_EQ(Params("GPU-effect=B"), 0);
  const float full[4] = {0, 0, 1, 1}, half[4] = {0.25f, 0.25f, 0.5f, 0.5f};
  for (const float* crop : {full, half}) {
    if (crop == half) {
      ASSERT_EQ(m_fx->setCrop(500, 375, 1000, 750), 0);
    }
    ASSERT_EQ(Capture(shm, still), 0);
    ExpectNear(shm.Get(), ref::WhiteboardCapture(still, 1280, 720, 1280, crop));
  }
}

TEST_F(CurveLooks, UnknownLooksAreRefusedAndTheCurrentLookKept) {
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = ref::MakeFrame(640, 480, 91);
  const Nv21 warm = Model640("CurveWarm.bmp", false, frame);
  for (const char* p0 : {"2", "4", "-1"}) {
    SCOPED_TRACE(p0);
    ASSERT_EQ(Params(std::string("GPU-effect=1;GE-param0=") + p0 + ",0,0,0"), 0);
    ExpectNear(Preview(shm, frame), warm);
  }
  EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderVintage"));
  ASSERT_EQ(Params("GPU-effect=6;GE-param0=1,0,0,0"), 0);
  ExpectNear(Preview(shm, frame), Model640("CurveCross.bmp", true, frame));
  EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderContrast"));
}

TEST_F(CurveLooks, AnOverrideFileWinsAndABrokenOneFallsBackToTheSystemFile) {
  TempDir over;
  ScopedEnv env("POSTEFFECT_OVERRIDE_DIR", over.path());
  // The warm curve standing in for the cross one.
  std::string warm = ReadFile(ref::AssetPath("CurveWarm.bmp"));
  over.Put("CurveCross.bmp", warm);
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = ref::MakeFrame(640, 480, 95);
  ExpectNear(Preview(shm, frame), Model640("CurveWarm.bmp", false, frame));
  warm.resize(200);
  over.Put("CurveCross.bmp", warm);
  // A new effect number is taken at once, so the pair reloads the assets.
  ASSERT_EQ(Params("GPU-effect=6"), 0);
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ExpectNear(Preview(shm, frame), Model640("CurveCross.bmp", false, frame));
}

}  // namespace
}  // namespace test
}  // namespace pe

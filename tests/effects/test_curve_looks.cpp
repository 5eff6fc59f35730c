#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "CurveModel.h"
#include "PublicService.h"

namespace {

using pe::ref::CurveLook;
using pe::ref::Nv21;
using pe::test::AllocW;
using pe::test::ReadFile;
using pe::test::SharedNv21;
using pe::test::Size;

const char* const kVintageCurves[] = {"CurveCross.bmp", "CurveCold.bmp", "CurveWarm.bmp",
                                      "CurveSepia.bmp"};

std::string SystemDir() { return pe::ref::AssetPath(""); }
CurveLook Load(const char* curve, bool grey, bool masked, int w, int h) {
  return pe::ref::LoadCurveLook(SystemDir(), curve, grey, masked, w, h);
}
// A masked look over a 640x480 frame, uncropped.
Nv21 Model640(const char* curve, bool grey, const Nv21& frame) {
  return pe::ref::CurveLookPreview(Load(curve, grey, true, 640, 480), frame, 640, nullptr);
}
pe::ref::TextureModel ContrastCurve() {
  return pe::ref::TextureModel::FromBmp(SystemDir() + "ContrastCurveSet.bmp",
                                        pe::ref::TextureModel::kRgb);
}

void ExpectNear(const Nv21& got, const Nv21& want) {
  pe::test::ExpectWithin(pe::ref::Compare(got, want), 3);
}

// --- Preview through the public interface against the models --------------

enum Effect { kVintage, kContrast, kWhiteboard };

class CurvePreview : public pe::test::PublicService,
                     public ::testing::WithParamInterface<std::tuple<Effect, Size>> {};

// Each look at the plain frame, then with a zoom crop, which the colour
// looks and the whiteboard follow and the black and white ignores.
TEST_P(CurvePreview, MatchesTheModelWithAndWithoutACrop) {
  const Effect effect = std::get<0>(GetParam());
  const int w = std::get<1>(GetParam()).w, h = std::get<1>(GetParam()).h;
  const char code = "16B"[effect];
  ASSERT_EQ(Params(std::string("GPU-effect=") + code), 0);
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  SharedNv21 shm(w, h);
  const Nv21 frame = pe::ref::MakeFrame(w, h, 70 + effect);
  const float crop[4] = {static_cast<float>(w / 4) / w, static_cast<float>(h / 4) / h,
                         static_cast<float>(w / 2) / w, static_cast<float>(h / 2) / h};
  const pe::ref::TextureModel curve = ContrastCurve();
  const int looks = effect == kVintage ? 4 : 1;
  for (int cropped = 0; cropped < 2; ++cropped) {
    if (cropped) {
      ASSERT_EQ(m_fx->setCrop(w / 4, h / 4, w / 2, h / 2), 0);
    }
    const float* c = cropped ? crop : nullptr;
    for (int look = 0; look < looks; ++look) {
      SCOPED_TRACE(testing::Message() << "look " << look << (cropped ? " cropped" : ""));
      if (effect == kVintage) {
        ASSERT_EQ(Params("GPU-effect=1;GE-param0=" + std::to_string(look) + ",0,0,0"), 0);
      }
      Nv21 want;
      if (effect == kWhiteboard) {
        want = pe::ref::WhiteboardPreview(curve, frame, AllocW(w), c);
      } else {
        const CurveLook model = Load(effect == kVintage ? kVintageCurves[look] : "CurveCross.bmp",
                                     effect == kContrast, look != 3, w, h);
        want = pe::ref::CurveLookPreview(model, frame, AllocW(w), c);
      }
      ExpectNear(Preview(shm, frame), want);
    }
  }
}

std::string PreviewName(const ::testing::TestParamInfo<std::tuple<Effect, Size>>& info) {
  static const char* const kNames[] = {"Vintage", "Contrast", "Whiteboard"};
  return std::string(kNames[std::get<0>(info.param)]) + "_" +
         pe::test::Name(std::get<1>(info.param));
}

INSTANTIATE_TEST_SUITE_P(Looks, CurvePreview,
                         ::testing::Combine(::testing::Values(kVintage, kContrast, kWhiteboard),
                                            ::testing::ValuesIn(pe::test::kPreviewSizes)),
                         PreviewName);

using CurveLooks = pe::test::PublicService;

// --- Capture: the whole still, across the plain and the crop-aware walk ----

// At 2000x1500: the plain walk takes a 4000x3000 still in the vignette's
// test, the crop walk in the ramp looks'.
TEST_F(CurveLooks, CapturesMatchTheWholePictureModel) {
  ASSERT_EQ(Params("GPU-effect=1;GE-param0=2,0,0,0"), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 shm(2000, 1500);
  const Nv21 still = pe::ref::MakeFrame(2000, 1500, 81);
  {
    SCOPED_TRACE("vintage warm, mask over the whole picture");
    ASSERT_EQ(Capture(shm, still), 0);
    ExpectNear(shm.Get(),
               pe::ref::CurveLookCapture(Load("CurveWarm.bmp", false, true, 1280, 720), still));
  }
  const pe::ref::TextureModel curve = ContrastCurve();
  ASSERT_EQ(Params("GPU-effect=B"), 0);
  const float full[4] = {0, 0, 1, 1};
  {
    SCOPED_TRACE("whiteboard, no crop");
    ASSERT_EQ(Capture(shm, still), 0);
    ExpectNear(shm.Get(), pe::ref::WhiteboardCapture(curve, still, 1280, 720, 1280, full));
  }
  {
    SCOPED_TRACE("whiteboard, the middle quarter stretched over the still");
    ASSERT_EQ(m_fx->setCrop(500, 375, 1000, 750), 0);
    const float half[4] = {0.25f, 0.25f, 0.5f, 0.5f};
    ASSERT_EQ(Capture(shm, still), 0);
    ExpectNear(shm.Get(), pe::ref::WhiteboardCapture(curve, still, 1280, 720, 1280, half));
  }
}

// --- Looks picked by parameter 0 -------------------------------------------

TEST_F(CurveLooks, UnknownLooksAreRefusedAndTheCurrentLookKept) {
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = pe::ref::MakeFrame(640, 480, 91);
  const Nv21 warm = Model640("CurveWarm.bmp", false, frame);
  ASSERT_EQ(Params("GPU-effect=1;GE-param0=2,0,0,0"), 0);
  ExpectNear(Preview(shm, frame), warm);
  for (const char* bad : {"4", "-1"}) {
    SCOPED_TRACE(bad);
    ASSERT_EQ(Params(std::string("GPU-effect=1;GE-param0=") + bad + ",0,0,0"), 0);
    ExpectNear(Preview(shm, frame), warm);
    EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderVintage"));
  }
  ASSERT_EQ(Params("GPU-effect=6;GE-param0=1,0,0,0"), 0);
  ExpectNear(Preview(shm, frame), Model640("CurveCross.bmp", true, frame));
  EXPECT_TRUE(m_log.Contains("wrong param", "GEShaderContrast"));
}

// --- Assets ----------------------------------------------------------------

TEST_F(CurveLooks, AnOverrideFileWinsAndABrokenOneFallsBackToTheSystemFile) {
  pe::test::TempDir over;
  pe::test::ScopedEnv env("POSTEFFECT_OVERRIDE_DIR", over.path());
  // The warm curve standing in for the cross one.
  over.Put("CurveCross.bmp", ReadFile(SystemDir() + "CurveWarm.bmp"));
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = pe::ref::MakeFrame(640, 480, 95);
  ExpectNear(Preview(shm, frame), Model640("CurveWarm.bmp", false, frame));

  std::string truncated = ReadFile(SystemDir() + "CurveWarm.bmp");
  truncated.resize(200);
  over.Put("CurveCross.bmp", truncated);
  // A new effect number is taken at once, so the pair reloads the assets.
  ASSERT_EQ(Params("GPU-effect=6"), 0);
  ASSERT_EQ(Params("GPU-effect=1"), 0);
  ExpectNear(Preview(shm, frame), Model640("CurveCross.bmp", false, frame));
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "PublicService.h"

namespace {

using pe::ref::Nv21;

using pe::test::SharedNv21;
using Service = pe::test::PublicService;

// A vignette circle: centre as an offset from the middle, radius and edge
// width, in fractions of the picture.
struct Circle {
  float cx, cy, radius, edge;
};
// The user's strength and two display points (centre, a point on the
// circle) mapped into the w x h preview.
Circle UserCircle(int w, int h, int strength, int cx, int cy, int ex, int ey) {
  using pe::test::Mapped;
  const float px = Mapped(cx, w, 1920), py = Mapped(cy, h, 1080);
  const float qx = Mapped(ex, w, 1920), qy = Mapped(ey, h, 1080);
  return {px / w - 0.5f, py / h - 0.5f,
          std::sqrt(std::pow((qy - py) / h, 2.f) + std::pow((qx - px) / w, 2.f)),
          (100 - strength) * 0.37f / 100.f + 0.03f};
}

// The picture darkened by a smoothstep of the distance from the centre, over
// a W x H picture, y scaled by the preview's ratio.
pe::ref::Shade VignetteShade(const Circle& c, float ratio, int W, int H) {
  return [=](int x, int y, pe::ref::Rgb p) {
    const float dx = (x + 0.5f) / W - c.cx - 0.5f;
    const float dy = ((y + 0.5f) / H - c.cy - 0.5f) / ratio;
    const float k = 1.f - pe::ref::Smoothstep(c.radius - c.edge, c.radius + c.edge,
                                              std::sqrt(dx * dx + dy * dy));
    return pe::ref::Rgb{p.r * k, p.g * k, p.b * k};
  };
}

TEST_F(Service, EffectZeroLeavesPreviewFramesAndStillsUntouched) {
  ASSERT_EQ(Params("GPU-effect=0"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480), still(1600, 1200);
  const Nv21 frame = pe::ref::MakeFrame(640, 480, 11), big = pe::ref::MakeFrame(1600, 1200, 12);
  EXPECT_EQ(Preview(shm, frame).data, frame.data);
  EXPECT_EQ(Capture(still, big), 0);
  EXPECT_EQ(still.Get().data, big.data);
}

// Parameters not given are zeros; a user's circle; a zero radius that leaves
// even the centre half dimmed.
TEST_F(Service, VignettePreviewMatchesTheModel) {
  const int w = 1280, h = 720;
  const struct {
    const char* params;
    Circle circle;
  } kCases[] = {
      {"", UserCircle(w, h, 0, 0, 0, 0, 0)},
      {";GE-param0=70,0,0,0;GE-param1=960,540,960,900", UserCircle(w, h, 70, 960, 540, 960, 900)},
      {";GE-param0=0,0,0,0;GE-param1=960,540,960,540", UserCircle(w, h, 0, 960, 540, 960, 540)}};
  ASSERT_EQ(m_fx->startPreview(w, h), 0);
  SharedNv21 shm(w, h);
  const Nv21 frame = pe::ref::MakeFrame(w, h, 21);
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.params);
    ASSERT_EQ(Params(std::string("GPU-effect=4") + c.params), 0);
    const Nv21 expect = pe::ref::RoundTrip(frame, VignetteShade(c.circle, 16.f / 9, w, h));
    for (int i = 0; i < 2; ++i)  // the second frame runs on the kept manager
      pe::test::ExpectWithin(pe::ref::Compare(Preview(shm, frame), expect), 2);
  }
}

TEST_F(Service, VignetteCaptureIsContinuousAcrossBlockSeams) {
  ASSERT_EQ(Params("GPU-effect=4;GE-param0=40,0,0,0;GE-param1=960,540,960,1000"), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 still(4000, 3000);
  const Nv21 big = pe::ref::MakeFrame(4000, 3000, 31);
  ASSERT_EQ(Capture(still, big), 0);
  const Circle c = UserCircle(1280, 720, 40, 960, 540, 960, 1000);
  pe::test::ExpectWithin(
      pe::ref::Compare(still.Get(),
                       pe::ref::RoundTrip(big, VignetteShade(c, 16.f / 9, 4000, 3000))),
      2);
}

TEST_F(Service, ManagerLifecycleFollowsEffectSizeAndCaptures) {
  pe::test::LogCapture& log = m_log;
  ASSERT_EQ(Params("GPU-effect=4"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 shm(640, 480);
  const Nv21 frame = pe::ref::MakeFrame(640, 480, 41);
  Preview(shm, frame);
  EXPECT_EQ(log.Count("isGEInit == false, internalStartPreview"), 1);

  ASSERT_EQ(m_fx->startPreview(640, 480), 0);  // same size: manager kept
  Preview(shm, frame);
  EXPECT_EQ(log.Count("isGEInit == false, internalStartPreview"), 1);

  SharedNv21 still(1280, 960);
  ASSERT_EQ(Capture(still, pe::ref::MakeFrame(1280, 960, 42)), 0);
  Preview(shm, frame);  // a capture forces re-initialisation
  EXPECT_EQ(log.Count("isGEInit == false, internalStartPreview"), 2);

  ASSERT_EQ(m_fx->startPreview(320, 240), 0);  // new size: re-initialised
  SharedNv21 small(320, 240);
  Preview(small, pe::ref::MakeFrame(320, 240, 43));
  EXPECT_EQ(log.Count("isGEInit == false, internalStartPreview"), 3);

  ASSERT_EQ(Params("GPU-effect=0"), 0);  // effect 0 mid-preview: torn down next frame
  const Nv21 plain = pe::ref::MakeFrame(320, 240, 44);
  EXPECT_EQ(Preview(small, plain).data, plain.data);
  EXPECT_EQ(log.Count("isGEInit == true, internalStopPreview"), 1);
  EXPECT_EQ(m_fx->stopPreview(), 0);
  EXPECT_EQ(m_fx->handlePreview(small.fd(), small.base(), small.offset()), -1);
}

// A capture before any preview frame, refused by the manager's bound (17).
TEST_F(Service, AFailedCaptureLeavesTheStillUntouched) {
  ASSERT_EQ(Params("GPU-effect=I"), 0);
  ASSERT_EQ(m_fx->startPreview(640, 480), 0);
  SharedNv21 still(1280, 960);
  const Nv21 big = pe::ref::MakeFrame(1280, 960, 51);
  EXPECT_EQ(Capture(still, big), 3);
  EXPECT_EQ(still.Get().data, big.data);
}

// A missing system asset fails the effect's Init with its own line, at the
// preview frame and at the capture; a missing mask is reported with the
// warm curve's line, as it always was.
TEST_F(Service, AMissingAssetRefusesTheEffectAndLeavesFramesAlone) {
  const struct {
    char code;
    const char* missing;
    const char* line;
    const char* tag;
  } kCases[] = {
      {'1', "mask_vignette_legacy.bmp", "can't load warm tex", "GEShaderVintage"},
      {'6', "CurveCross.bmp", "can't load cross tex", "GEShaderContrast"},
      {'B', "ContrastCurveSet.bmp", "can't load contrast curve tex", "GEShaderWhiteboard"},
      {'D', "stylizeColorRamp.bmp", "\t\tcan't load LUT tex", "GEShaderStylizeNash"},
      {'F', "stylizeContrastRamp.bmp", "\t\tcan't load contrast tex", "GEShaderTwoToneMaskH"},
      {'G', "mask_vignette_legacy.bmp", "can't load vignette tex", "GEShaderSplitToning"},
      {'H', "mask_vignette_wide.bmp", "\t\tcan't load LUT tex", "GEShaderSplitToningSC"},
  };
  const std::string system = pe::ref::AssetPath("");
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.missing);
    pe::test::TempDir assets;
    for (const std::string& f : pe::test::ListDir(system))
      if (f != c.missing) assets.Put(f, pe::test::ReadFile(system + f));
    pe::test::ScopedEnv env("POSTEFFECT_ASSET_DIR", assets.path());
    ASSERT_EQ(Params(std::string("GPU-effect=") + c.code), 0);
    ASSERT_EQ(m_fx->startPreview(640, 480), 0);
    ExpectRefused();
    EXPECT_EQ(m_log.Count(c.line, c.tag), 2) << m_log.Dump();
    m_log.Clear();
  }
}

}  // namespace

#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "PublicService.h"

namespace {

using pe::ref::Nv21;

using pe::test::SharedNv21;
using Service = pe::test::PublicService;

// The vignette as the user asks for it: a strength and two display points
// (centre, a point on the circle) mapped into the w x h preview; the circle
// is placed in fractions of the W x H picture, with the preview's ratio.
pe::ref::Shade VignetteShade(int w, int h, int W, int H, int strength, int cx, int cy, int ex,
                             int ey) {
  const float sx = w / 1920.f, sy = h / 1080.f;
  const float px = std::floor(cx * sx), py = std::floor(cy * sy);
  const float qx = std::floor(ex * sx), qy = std::floor(ey * sy);
  const float centreX = px / w - 0.5f, centreY = py / h - 0.5f;
  const float radius = std::sqrt(std::pow((qy - py) / h, 2.f) + std::pow((qx - px) / w, 2.f));
  const float edge = (100 - strength) * 0.37f / 100.f + 0.03f;
  const float ratio = static_cast<float>(w) / h;
  return [=](int x, int y, pe::ref::Rgb p) {
    const float dx = (x + 0.5f) / W - centreX - 0.5f;
    const float dy = ((y + 0.5f) / H - centreY - 0.5f) / ratio;
    const float k =
        1.f - pe::ref::Smoothstep(radius - edge, radius + edge, std::sqrt(dx * dx + dy * dy));
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

TEST_F(Service, VignettePreviewMatchesTheModel) {
  ASSERT_EQ(Params("GPU-effect=4;GE-param0=70,0,0,0;GE-param1=960,540,960,900"), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 shm(1280, 720);
  const Nv21 frame = pe::ref::MakeFrame(1280, 720, 21);
  const Nv21 expect =
      pe::ref::RoundTrip(frame, VignetteShade(1280, 720, 1280, 720, 70, 960, 540, 960, 900));
  for (int i = 0; i < 2; ++i)  // the second frame runs on the kept manager
    pe::test::ExpectWithin(pe::ref::Compare(Preview(shm, frame), expect), 2);
}

TEST_F(Service, VignetteCaptureIsContinuousAcrossBlockSeams) {
  ASSERT_EQ(Params("GPU-effect=4;GE-param0=40,0,0,0;GE-param1=960,540,960,1000"), 0);
  ASSERT_EQ(m_fx->startPreview(1280, 720), 0);
  SharedNv21 still(4000, 3000);
  const Nv21 big = pe::ref::MakeFrame(4000, 3000, 31);
  ASSERT_EQ(Capture(still, big), 0);
  pe::test::ExpectWithin(
      pe::ref::Compare(still.Get(), pe::ref::RoundTrip(big, VignetteShade(1280, 720, 4000, 3000, 40,
                                                                          960, 540, 960, 1000))),
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

}  // namespace

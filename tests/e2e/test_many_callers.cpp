// Eight callers share one service and issue every call, stop and start
// included, while frames are in flight. Each result must be one the call can
// give, and each frame ends either as it was handed over or whole as a single
// caller gets it from one of the two looks in play.
#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <vector>

#include "PublicService.h"

namespace {

using pe::ref::Nv21;
using pe::test::SharedNv21;

constexpr int kW = 64, kH = 48, kCallers = 8, kCalls = 60;
const char* const kLooks[] = {"GPU-effect=4;GE-param0=60,0,0,0", "GPU-effect=6;GE-param0=0,0,0,0"};

// A queued call: done, cancelled by a stop, or refused (queue full or no
// worker). 2 and 3 would mean the GL work itself failed.
bool Queued(int rc) { return rc == 0 || rc == 1 || rc == 99; }
bool PreviewResult(int rc) { return Queued(rc) || rc == -1; }

class ManyCallers : public pe::test::PublicService {
 protected:
  void SetUp() override {
    PublicService::SetUp();
    SharedNv21 shm(kW, kH), still(2 * kW, 2 * kH);
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(Params(kLooks[i]), 0);
      ASSERT_EQ(m_fx->setCrop(0, 0, kW, kH), 0);
      ASSERT_EQ(m_fx->startPreview(kW, kH), 0);
      m_preview[i] = Preview(shm, m_frame).data;
      ASSERT_EQ(Capture(still, m_still), 0);
      m_captured[i] = still.Get().data;
      ASSERT_NE(m_preview[i], m_frame.data);
      ASSERT_NE(m_captured[i], m_still.data);
    }
  }

  void Caller(int seed) {
    SharedNv21 shm(kW, kH), still(2 * kW, 2 * kH);
    std::minstd_rand rng(seed);
    for (int i = 0; i < kCalls; ++i) {
      // Mostly frames; a stop now and then, and starts enough to undo it. Out
      // of 40: start, stop, startPreview, stopPreview, setParameters, setCrop,
      // handleCapture, handlePreview.
      static const int kWeights[] = {2, 1, 4, 1, 3, 2, 4, 23};
      int call = 0;
      for (int r = static_cast<int>(rng() % 40); r >= kWeights[call];) r -= kWeights[call++];
      int rc = 0;
      switch (call) {
        case 0:
          EXPECT_EQ(rc = m_fx->start(), 0);
          break;
        case 1:
          EXPECT_EQ(rc = m_fx->stop(), 0);
          break;
        case 2:
          EXPECT_PRED1(Queued, rc = m_fx->startPreview(kW, kH));
          break;
        case 3:
          EXPECT_PRED1(Queued, rc = m_fx->stopPreview());
          break;
        case 4:
          EXPECT_PRED1(Queued, rc = Params(kLooks[rng() % 2]));
          break;
        case 5:
          EXPECT_PRED1(Queued, rc = m_fx->setCrop(0, 0, kW, kH));
          break;
        case 6: {
          EXPECT_PRED1(Queued, rc = Capture(still, m_still));
          const auto out = still.Get().data;
          EXPECT_TRUE(rc == 0 ? out == m_captured[0] || out == m_captured[1] : out == m_still.data)
              << "still after result " << rc;
          break;
        }
        default: {
          shm.Put(m_frame);
          rc = m_fx->handlePreview(shm.fd(), shm.base(), shm.offset());
          EXPECT_PRED1(PreviewResult, rc);
          const auto out = shm.Get().data;
          EXPECT_TRUE(rc == 0 ? out == m_preview[0] || out == m_preview[1] : out == m_frame.data)
              << "preview frame after result " << rc;
        }
      }
      // A refused caller backs off, as a camera service would, so that the
      // calls spread over many frames rather than bouncing off one.
      if (rc == 99) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  const Nv21 m_frame = pe::ref::MakeFrame(kW, kH, 21),
             m_still = pe::ref::MakeFrame(2 * kW, 2 * kH, 22);
  std::vector<unsigned char> m_preview[2], m_captured[2];
};

TEST_F(ManyCallers, EveryCallFromEightThreadsGivesADocumentedResultAndWholeFrames) {
  std::vector<std::thread> callers;
  for (int t = 0; t < kCallers; ++t) callers.emplace_back([this, t] { Caller(t + 1); });
  for (std::thread& t : callers) t.join();

  // And the service works again for one caller.
  ASSERT_EQ(m_fx->start(), 0);
  ASSERT_EQ(Params(kLooks[0]), 0);
  ASSERT_EQ(m_fx->startPreview(kW, kH), 0);
  SharedNv21 shm(kW, kH);
  EXPECT_EQ(Preview(shm, m_frame).data, m_preview[0]);
}

}  // namespace

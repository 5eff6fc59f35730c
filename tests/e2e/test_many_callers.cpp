// Eight callers share one service and issue every call, stop and start
// included, while frames are in flight. Each result must be one the call can
// give, and each frame ends either as it was handed over or whole as a single
// caller gets it from one of the two looks in play. Two services in one
// process, as two cameras would use them, each give a lone service's frames
// while the other stops and starts, and neither complains in the log.
#include <android/log.h>
#include <gtest/gtest.h>

#include <functional>
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
using Bytes = std::vector<unsigned char>;
// Processed whole by one of the looks, or not written at all.
bool Whole(int rc, const Bytes& out, const Bytes& in, const Bytes* looks) {
  return rc == 0 ? out == looks[0] || out == looks[1] : out == in;
}

class ManyCallers : public pe::test::PublicService {
 protected:
  void SetUp() override {
    PublicService::SetUp();
    SharedNv21 shm(kW, kH), still(2 * kW, 2 * kH);
    // The vignette last: a frame after its still shows whether the look survives.
    for (int i = 1; i >= 0; --i) {
      Session(m_fx, i);
      m_preview[i] = Preview(shm, m_frame).data;
      ASSERT_EQ(Capture(still, m_still), 0);
      m_captured[i] = still.Get().data;
      ASSERT_TRUE(m_preview[i] != m_frame.data && m_captured[i] != m_still.data);
    }
  }

  // A camera session on fx showing look, and its frames, which must be what
  // this service gave alone.
  void Session(IPostEffect* fx, int look) {
    ASSERT_EQ(fx->start(), 0);
    ASSERT_EQ(fx->setParameters(android::String8(kLooks[look])), 0);
    ASSERT_EQ(fx->setCrop(0, 0, kW, kH), 0);
    ASSERT_EQ(fx->startPreview(kW, kH), 0);
  }
  void Frames(IPostEffect* fx, int look) {
    SharedNv21 shm(kW, kH);
    for (int n = 0; n < 3; ++n) {
      shm.Put(m_frame);
      ASSERT_EQ(fx->handlePreview(shm.fd(), shm.base(), shm.offset()), 0);
      ASSERT_EQ(shm.Get().data, m_preview[look]) << "look " << look;
    }
  }

  void Caller(int seed) {
    SharedNv21 shm(kW, kH), still(2 * kW, 2 * kH);
    std::minstd_rand rng(seed);
    const std::function<int()> calls[] = {[&] { return m_fx->start(); },
                                          [&] { return m_fx->stop(); },
                                          [&] { return m_fx->startPreview(kW, kH); },
                                          [&] { return m_fx->stopPreview(); },
                                          [&] { return Params(kLooks[rng() % 2]); },
                                          [&] { return m_fx->setCrop(0, 0, kW, kH); },
                                          [&] { return Capture(still, m_still); },
                                          [&] {
                                            shm.Put(m_frame);
                                            return m_fx->handlePreview(shm.fd(), shm.base(),
                                                                       shm.offset());
                                          }};
    // Mostly frames; a stop now and then, and starts enough to undo it.
    static const int kWeights[] = {8, 1, 6, 1, 1, 1, 6, 16};  // out of 40, as calls
    for (int i = 0; i < kCalls; ++i) {
      int call = 0;
      for (int r = static_cast<int>(rng() % 40); r >= kWeights[call];) r -= kWeights[call++];
      const int rc = calls[call]();
      // start and stop always give 0; -1 only comes from a preview frame.
      EXPECT_TRUE(call < 2 ? rc == 0 : Queued(rc) || (call == 7 && rc == -1))
          << "call " << call << " gave " << rc;
      EXPECT_TRUE(call != 6 || Whole(rc, still.Get().data, m_still.data, m_captured)) << rc;
      EXPECT_TRUE(call != 7 || Whole(rc, shm.Get().data, m_frame.data, m_preview)) << rc;
      // A refused caller backs off, as a camera service would, so that the
      // calls spread over many frames rather than bouncing off one.
      if (rc == 99) std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  }

  const Nv21 m_frame = pe::ref::MakeFrame(kW, kH, 21),
             m_still = pe::ref::MakeFrame(2 * kW, 2 * kH, 22);
  Bytes m_preview[2], m_captured[2];
};

TEST_F(ManyCallers, EveryCallFromEightThreadsGivesADocumentedResultAndWholeFrames) {
  std::vector<std::thread> callers;
  for (int t = 0; t < kCallers; ++t) callers.emplace_back([this, t] { Caller(t + 1); });
  for (std::thread& t : callers) t.join();

  // And the service works again for one caller.
  Session(m_fx, 0);
  Frames(m_fx, 0);
}

class TwoServices : public ManyCallers, public ::testing::WithParamInterface<int> {};

// Service i shows look i, each on a thread of its own; one stops under the
// other, which then shows the look the stopped one had, and comes back.
TEST_P(TwoServices, EachGivesALoneServicesFramesWhileTheOtherStopsAndRestarts) {
  IPostEffect* const fx[] = {m_fx, createPostEffect()};
  const int stopper = GetParam(), runner = 1 - stopper;
  auto together = [](const std::function<void()>& a, const std::function<void()>& b) {
    std::thread t(a);
    b();
    t.join();
  };
  // The first service's first frame follows the fixture's still.
  together([&] { Frames(fx[0], 0); }, [&] { Session(fx[1], 1), Frames(fx[1], 1); });
  together([&] { fx[stopper]->stop(); }, [&] { Frames(fx[runner], runner); });
  Session(fx[runner], stopper);  // new GL objects made, old ones deleted, alone
  Frames(fx[runner], stopper);
  together([&] { Session(fx[stopper], runner), Frames(fx[stopper], runner); },
           [&] { Session(fx[runner], runner), Frames(fx[runner], runner); });
  together([&] { fx[1]->stop(); }, [&] { fx[0]->stop(); });
  destroyPostEffect(fx[1]);
  for (const pe::test::LogLine& l : m_log.Lines())
    EXPECT_LT(l.priority, ANDROID_LOG_ERROR) << l.tag << ": " << l.text;
}

INSTANTIATE_TEST_SUITE_P(Stopper, TwoServices, ::testing::Values(0, 1));

}  // namespace

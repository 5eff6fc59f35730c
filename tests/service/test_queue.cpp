#include <gtest/gtest.h>
#include <utils/String8.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <iterator>
#include <mutex>
#include <thread>
#include <vector>

#include "GPUPostEffect.h"
#include "LogCapture.h"

namespace {

using android::String8;
using orvex::EffectSettings;
using orvex::GPUPostEffect;

// What the probe saw, read under its lock.
struct Seen {
  int entered = 0, created = 0, destroyed = 0;
  std::vector<int> order;  // the width of each task, in the order they ran
  EffectSettings settings{};
};

// The service with its worker seams replaced: no manager is made, and each
// task is recorded and may be held at a gate before it runs. With `real` the
// service's own handlers run (on the paths that need no manager); otherwise a
// task returns its width, so each caller can tell its own result.
class Probe : public GPUPostEffect {
 public:
  explicit Probe(bool real = false) : m_real(real) {}
  ~Probe() override {
    Gate(false);
    stop();
  }
  void Gate(bool closed) {
    std::lock_guard<std::mutex> l(m_mutex);
    m_closed = closed;
    m_cv.notify_all();
  }
  // Waits until `n` tasks have reached the handler.
  bool WaitEntered(int n) {
    std::unique_lock<std::mutex> l(m_mutex);
    return m_cv.wait_for(l, std::chrono::seconds(10), [&] { return m_seen.entered >= n; });
  }
  Seen Get() {
    std::lock_guard<std::mutex> l(m_mutex);
    return m_seen;
  }
  int Queued() { return queuedCount(); }
  int Pooled() { return pooledCount(); }

 protected:
  GEManager* createManager() override {
    std::lock_guard<std::mutex> l(m_mutex);
    ++m_seen.created;
    return nullptr;
  }
  void destroyManager(GEManager*) override {
    std::lock_guard<std::mutex> l(m_mutex);
    ++m_seen.destroyed;
  }
  int runHandler(GPUTask* task) override {
    {
      std::unique_lock<std::mutex> l(m_mutex);
      ++m_seen.entered;
      m_seen.order.push_back(task->width);
      if (task->kind == TASK_SET_PARAMETERS) m_seen.settings = task->settings;
      m_cv.notify_all();
      m_cv.wait(l, [&] { return !m_closed; });
    }
    return m_real ? GPUPostEffect::runHandler(task) : task->width;
  }

 private:
  const bool m_real;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_closed = false;
  Seen m_seen;
};

// Waits for a state that another thread reaches through the service's lock.
bool Eventually(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done() && std::chrono::steady_clock::now() < deadline) std::this_thread::yield();
  return done();
}

class Queue : public ::testing::Test {
 protected:
  // Holds the next task at the gate and queues `waiting` more behind it, in
  // order; caller i asks for width 101 + i.
  void HoldOneAndQueue(int waiting) {
    fx.Gate(true);
    const int entered = fx.Get().entered;
    for (int i = 0; i <= waiting; ++i) {
      m_callers.push_back(
          std::async(std::launch::async, [this, i] { return fx.startPreview(101 + i, 2); }));
      ASSERT_TRUE(i == 0 ? fx.WaitEntered(entered + 1)
                         : Eventually([&] { return fx.Queued() == i; }));
    }
  }
  int Result(int i) { return m_callers[i].get(); }

  // Callers go last: the probe opens its gate and stops first.
  std::vector<std::future<int>> m_callers;
  pe::test::LogCapture log;
  Probe fx;
};

TEST_F(Queue, TwoTasksWaitBehindTheRunningOneFurtherCallersGet99AndThePoolKeepsThree) {
  ASSERT_EQ(fx.start(), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(fx.startPreview(2, 2), 2);
  EXPECT_EQ(fx.Pooled(), 1);

  // Refused callers make a fourth task between them, so one task too many
  // comes back to the pool.
  ASSERT_NO_FATAL_FAILURE(HoldOneAndQueue(2));
  EXPECT_EQ(fx.Pooled(), 0);
  EXPECT_EQ(fx.startPreview(104, 2), 99);
  EXPECT_EQ(fx.startPreview(105, 2), 99);
  EXPECT_EQ(fx.Pooled(), 1);
  EXPECT_EQ(log.Count("GPUPostEffect::put(", ""), 2);
  EXPECT_EQ(log.Count("queue overflow.", ""), 2);

  fx.Gate(false);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Result(i), 101 + i);
  EXPECT_EQ(fx.Get().order, (std::vector<int>{2, 2, 2, 2, 101, 102, 103}));
  EXPECT_EQ(fx.Pooled(), 3);
  EXPECT_EQ(log.Count("GPUPostEffect::destroyTask(", ""), 1);
  EXPECT_EQ(log.Count("destroyTask pool overflow.", ""), 1);
  EXPECT_EQ(log.Count("KORAD:GM: ", ""), 3) << log.Dump();
}

TEST_F(Queue, StopCancelsWaitingTasksAndLetsTheRunningOneFinish) {
  ASSERT_EQ(fx.start(), 0);
  ASSERT_NO_FATAL_FAILURE(HoldOneAndQueue(2));
  auto stopper = std::async(std::launch::async, [&] { return fx.stop(); });
  ASSERT_TRUE(Eventually([&] { return fx.Queued() == 3; }));  // the wake-up token
  fx.Gate(false);
  EXPECT_EQ(stopper.get(), 0);
  EXPECT_EQ((std::vector<int>{Result(0), Result(1), Result(2)}), (std::vector<int>{101, 1, 1}));
  EXPECT_EQ(fx.Get().order, (std::vector<int>{101}));
  EXPECT_EQ(fx.Get().destroyed, 1);
  EXPECT_EQ(log.Count("get(): cancel 2 tasks.", ""), 1) << log.Dump();
  EXPECT_EQ(fx.Queued(), 0);
}

TEST_F(Queue, StartAndStopAreIdempotentAndARestartMakesANewManager) {
  EXPECT_EQ(fx.stop(), 0);  // never started
  for (int run = 1; run <= 2; ++run) {
    ASSERT_EQ(fx.start(), 0);
    EXPECT_EQ(fx.start(), 0);
    EXPECT_EQ(fx.startPreview(8, 2), 8);  // the worker is up and served it
    EXPECT_EQ(fx.Get().created, run);
    EXPECT_EQ(fx.stop(), 0);
    EXPECT_EQ(fx.stop(), 0);
    EXPECT_EQ(fx.Get().destroyed, run);
  }
  EXPECT_EQ(log.Count("start(): mGPUThread != 0.", "GPUPostEffect"), 2) << log.Dump();
  EXPECT_EQ(log.Count("get(): cancel 0 tasks.", ""), 2);
}

// The service's own handlers, on the paths that need no manager.
class Handlers : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(fx.start(), 0); }
  pe::test::LogCapture log;
  Probe fx{true};
};

TEST_F(Handlers, CallsThatNeedNoWorkMakeNoTask) {
  unsigned char frame[16 * 4 * 3 / 2] = {};
  const auto params = [&](const char* p) {
    return [this, p] { return fx.setParameters(String8(p)); };
  };
  const auto effect0 = params("GPU-effect=0"), effect4 = params("GPU-effect=4");
  const auto preview = [&] { return fx.handlePreview(-1, frame, 0); };
  const auto stopPreview = [&] { return fx.stopPreview(); };
  const auto capture = [&] { return fx.handleCapture(16, 4, -1, frame, 0, 64); };
  const auto crop = [&] { return fx.setCrop(0, 0, 8, 2); };
  const auto startPreview = [&] { return fx.startPreview(16, 4); };
  const auto restart = [&] { return fx.stop() + fx.start(); };  // stop() ends the preview too
  // A new service holds effect 0 and no preview.
  const struct {
    std::function<int()> call;
    int result;
    bool task;
  } kSteps[] = {{preview, -1, false},    {stopPreview, 0, false}, {capture, 0, false},
                {crop, 0, false},        {effect0, 0, true},      {capture, 0, false},
                {crop, 0, false},        {effect4, 0, true},      {crop, 0, true},
                {startPreview, 0, true}, {effect0, 0, true},      {preview, 0, true},
                {stopPreview, 0, true},  {preview, -1, false},    {stopPreview, 0, false},
                {startPreview, 0, true}, {restart, 0, false},     {preview, -1, false}};
  for (size_t i = 0; i < std::size(kSteps); ++i) {
    const int entered = fx.Get().entered;
    EXPECT_EQ(kSteps[i].call(), kSteps[i].result) << "step " << i;
    EXPECT_EQ(fx.Get().entered - entered, kSteps[i].task ? 1 : 0) << "step " << i;
  }
}

std::vector<int> Quad(const int* p) { return {p, p + 4}; }

TEST_F(Handlers, SetParametersTaskCarriesTheParsedSettingsAndKeepsWhatIsMissing) {
  ASSERT_EQ(fx.setParameters(String8("GPU-effect=4;GE-param0=1,2,3,4;GE-param1=5,6,7,8")), 0);
  EffectSettings s = fx.Get().settings;
  EXPECT_EQ(s.effect, 4);
  EXPECT_EQ(Quad(s.params0), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(Quad(s.params1), (std::vector<int>{5, 6, 7, 8}));
  EXPECT_TRUE(s.params0Changed && s.params1Changed);
  EXPECT_TRUE(log.Contains("doSetParameters: old effect = 0, new effect = 4.", "GPUPostEffect"));

  // The pooled task comes back with the quadruples of its last use.
  ASSERT_EQ(fx.setParameters(String8("GPU-effect=B;GE-param1=9,8,7")), 0);
  s = fx.Get().settings;
  EXPECT_EQ(s.effect, 10);
  EXPECT_EQ(Quad(s.params0), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(Quad(s.params1), (std::vector<int>{5, 6, 7, 8}));
  EXPECT_TRUE(log.Contains("old effect = 4, new effect = 10.", "GPUPostEffect"));

  ASSERT_EQ(fx.setParameters(String8("other=1")), 0);
  EXPECT_EQ(fx.Get().settings.effect, -1);
  unsigned char still[16 * 4 * 3 / 2] = {};
  EXPECT_EQ(fx.handleCapture(16, 4, -1, still, 0, 64), 0);  // -1: nothing to do
  EXPECT_EQ(fx.Get().entered, 3);
}

// Frames and stills the handlers must refuse before any GPU work; the
// caller's memory stays as it was.
TEST_F(Handlers, RefuseBadSizesAndPointersWithoutTouchingTheFrame) {
  for (const auto& [bw, bh] : {std::pair{0, 48}, {64, -2}, {63, 48}, {64, 47}, {20000, 2}}) {
    EXPECT_EQ(fx.startPreview(bw, bh), 2) << bw << "x" << bh;
    EXPECT_TRUE(log.Contains("doStartPreview: invalid preview size " + std::to_string(bw) + " x " +
                             std::to_string(bh) + "."));
  }
  EXPECT_EQ(fx.handlePreview(-1, nullptr, 0), -1);  // never previewing

  const int w = 64, h = 48;
  std::vector<unsigned char> mem(4096 + w * h * 3 / 2);
  for (size_t i = 0; i < mem.size(); ++i) mem[i] = static_cast<unsigned char>(i * 7);
  const std::vector<unsigned char> original = mem;

  ASSERT_EQ(fx.setParameters(String8("GPU-effect=4")), 0);
  // The capture buffer has the preview's size: none is known yet.
  EXPECT_EQ(fx.handleCapture(w, h, -1, mem.data(), 4096, w * h), 3);

  ASSERT_EQ(fx.startPreview(w, h), 0);
  EXPECT_EQ(fx.handlePreview(-1, nullptr, 0), 2);
  EXPECT_EQ(fx.handlePreview(-1, mem.data(), -4), 2);
  EXPECT_EQ(log.Count("doHandlePreview: invalid frame base"), 2);

  log.Clear();
  EXPECT_EQ(fx.handleCapture(w + 1, h, -1, mem.data(), 4096, w * h), 3);
  EXPECT_EQ(fx.handleCapture(w, 0, -1, mem.data(), 4096, w * h), 3);
  EXPECT_EQ(fx.handleCapture(w, h, -1, nullptr, 4096, w * h), 3);
  EXPECT_EQ(fx.handleCapture(w, h, -1, mem.data(), -1, w * h), 3);
  EXPECT_EQ(fx.handleCapture(w, h, -1, mem.data(), 4096, w * h - 2), 3);
  EXPECT_EQ(fx.handleCapture(40000, 2, -1, mem.data(), 0, 80000), 3);
  EXPECT_EQ(log.Count("doHandleCapture: invalid capture"), 6) << log.Dump();
  EXPECT_EQ(mem, original);

  // With effect 0 the frame passes untouched.
  ASSERT_EQ(fx.setParameters(String8("GPU-effect=0")), 0);
  EXPECT_EQ(fx.handlePreview(-1, mem.data(), 4096), 0);
  EXPECT_EQ(mem, original);

  // Outside a capture there is no still to copy from.
  std::vector<unsigned char> block(32 * 16 * 4, 0xEE);
  EXPECT_EQ(fx.convertRect(block.data(), 32, 16, 0, 0, 32, 16), 0);
  EXPECT_EQ(block, std::vector<unsigned char>(32 * 16 * 4, 0xEE));
}

}  // namespace

#include <gtest/gtest.h>
#include <utils/String8.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "GPUPostEffect.h"
#include "LogCapture.h"

namespace {

using orvex::EffectSettings;
using orvex::GPUPostEffect;

// The service with its worker seams replaced: no manager is made, and each
// task is recorded and may be held at a gate before it runs. Kinds listed in
// `real` run the service's own handler (on the paths that need no manager);
// the others return the task's width, so each caller can tell its own result.
class Probe : public GPUPostEffect {
 public:
  explicit Probe(std::vector<int> real = {}) : m_real(std::move(real)) {}
  ~Probe() override {
    Open();
    stop();
  }

  void Close() {
    std::lock_guard<std::mutex> l(m_mutex);
    m_closed = true;
  }
  void Open() {
    std::lock_guard<std::mutex> l(m_mutex);
    m_closed = false;
    m_cv.notify_all();
  }
  // Waits until `n` tasks have reached the handler.
  bool WaitEntered(int n) {
    std::unique_lock<std::mutex> l(m_mutex);
    return m_cv.wait_for(l, std::chrono::seconds(10), [&] { return m_entered >= n; });
  }
  int Entered() { return Read(m_entered); }
  std::vector<int> Order() { return Read(m_order); }
  int Created() { return Read(m_created); }
  int Destroyed() { return Read(m_destroyed); }
  EffectSettings LastSettings() { return Read(m_settings); }
  int Queued() { return queuedCount(); }
  int Pooled() { return pooledCount(); }

 protected:
  GEManager* createManager() override {
    std::lock_guard<std::mutex> l(m_mutex);
    ++m_created;
    return nullptr;
  }
  void destroyManager(GEManager*) override {
    std::lock_guard<std::mutex> l(m_mutex);
    ++m_destroyed;
  }
  int runHandler(GPUTask* task) override {
    {
      std::unique_lock<std::mutex> l(m_mutex);
      ++m_entered;
      m_order.push_back(task->width);
      if (task->kind == TASK_SET_PARAMETERS) m_settings = task->settings;
      m_cv.notify_all();
      m_cv.wait(l, [&] { return !m_closed; });
    }
    for (int k : m_real)
      if (k == task->kind) return GPUPostEffect::runHandler(task);
    return task->width;
  }

 private:
  template <class T>
  T Read(const T& field) {
    std::lock_guard<std::mutex> l(m_mutex);
    return field;
  }

  std::vector<int> m_real;
  std::mutex m_mutex;
  std::condition_variable m_cv;
  bool m_closed = false;
  int m_entered = 0;
  std::vector<int> m_order;
  int m_created = 0;
  int m_destroyed = 0;
  EffectSettings m_settings{};
};

// Waits for a state that another thread reaches through the service's lock.
bool Eventually(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

const std::vector<int> kAllKinds = {0, 1, 2, 3, 4, 5};

class Queue : public ::testing::Test {
 protected:
  // Holds the next task at the gate and queues `waiting` more behind it, in
  // order; caller i asks for width 101 + i.
  void HoldOneAndQueue(int waiting) {
    fx.Close();
    const int entered = fx.Entered();
    for (int i = 0; i <= waiting; ++i) {
      m_callers.push_back(
          std::async(std::launch::async, [this, i] { return fx.startPreview(101 + i, 2); }));
      ASSERT_TRUE(i == 0 ? fx.WaitEntered(entered + 1)
                         : Eventually([&] { return fx.Queued() == i; }));
    }
  }
  int Result(int i) { return m_callers[i].get(); }

  pe::test::LogCapture log;
  Probe fx;
  std::vector<std::future<int>> m_callers;
};

TEST_F(Queue, TwoTasksWaitWhileOneRunsAndTheThirdCallerGets99) {
  ASSERT_EQ(fx.start(), 0);
  ASSERT_NO_FATAL_FAILURE(HoldOneAndQueue(2));
  EXPECT_EQ(fx.startPreview(104, 2), 99);
  EXPECT_EQ(log.Count("KORAD:GM: ", ""), 1);
  EXPECT_EQ(log.Count("queue overflow.", ""), 1);
  EXPECT_EQ(log.Count("GPUPostEffect::put(", ""), 1) << log.Dump();

  fx.Open();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Result(i), 101 + i);
  EXPECT_EQ(fx.Order(), (std::vector<int>{101, 102, 103}));
}

TEST_F(Queue, StopCancelsWaitingTasksAndLetsTheRunningOneFinish) {
  ASSERT_EQ(fx.start(), 0);
  ASSERT_NO_FATAL_FAILURE(HoldOneAndQueue(2));
  auto stopper = std::async(std::launch::async, [&] { return fx.stop(); });
  ASSERT_TRUE(Eventually([&] { return fx.Queued() == 3; }));  // the wake-up token
  fx.Open();
  EXPECT_EQ(stopper.get(), 0);
  EXPECT_EQ(Result(0), 101);
  EXPECT_EQ(Result(1), 1);
  EXPECT_EQ(Result(2), 1);
  EXPECT_EQ(fx.Order(), (std::vector<int>{101}));
  EXPECT_EQ(fx.Destroyed(), 1);
  EXPECT_EQ(log.Count("get(): cancel 2 tasks.", ""), 1) << log.Dump();
  EXPECT_EQ(fx.Queued(), 0);
}

TEST_F(Queue, StartAndStopAreIdempotentAndARestartMakesANewManager) {
  EXPECT_EQ(fx.stop(), 0);  // never started
  for (int run = 1; run <= 2; ++run) {
    ASSERT_EQ(fx.start(), 0);
    EXPECT_EQ(fx.start(), 0);
    EXPECT_EQ(fx.startPreview(8, 2), 8);  // the worker is up and served it
    EXPECT_EQ(fx.Created(), run);
    EXPECT_EQ(fx.stop(), 0);
    EXPECT_EQ(fx.stop(), 0);
    EXPECT_EQ(fx.Destroyed(), run);
  }
  EXPECT_EQ(log.Count("start(): mGPUThread != 0.", "GPUPostEffect"), 2) << log.Dump();
  EXPECT_EQ(log.Count("get(): cancel 0 tasks.", ""), 2);
}

TEST_F(Queue, PoolKeepsAtMostThreeTasks) {
  ASSERT_EQ(fx.start(), 0);
  for (int i = 0; i < 4; ++i) EXPECT_EQ(fx.startPreview(2, 2), 2);
  EXPECT_EQ(fx.Pooled(), 1);

  // One task runs and two wait; refused callers make a fourth task between
  // them, so one task too many comes back to the pool.
  ASSERT_NO_FATAL_FAILURE(HoldOneAndQueue(2));
  EXPECT_EQ(fx.Pooled(), 0);
  EXPECT_EQ(fx.startPreview(104, 2), 99);
  EXPECT_EQ(fx.startPreview(105, 2), 99);
  EXPECT_EQ(fx.Pooled(), 1);
  fx.Open();
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Result(i), 101 + i);
  EXPECT_EQ(fx.Pooled(), 3);
  EXPECT_EQ(log.Count("destroyTask pool overflow.", ""), 1);
  EXPECT_EQ(log.Count("GPUPostEffect::destroyTask(", ""), 1) << log.Dump();
}

TEST(Preconditions, CallsThatNeedNoWorkMakeNoTask) {
  Probe fx(kAllKinds);
  ASSERT_EQ(fx.start(), 0);
  unsigned char frame[16 * 4 * 3 / 2] = {};
  // A new service holds effect 0 and no preview.
  EXPECT_EQ(fx.handlePreview(-1, frame, 0), -1);
  EXPECT_EQ(fx.stopPreview(), 0);
  EXPECT_EQ(fx.handleCapture(16, 4, -1, frame, 0, 64), 0);
  EXPECT_EQ(fx.setCrop(0, 0, 8, 2), 0);
  EXPECT_EQ(fx.Entered(), 0);

  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=0")), 0);
  EXPECT_EQ(fx.handleCapture(16, 4, -1, frame, 0, 64), 0);
  EXPECT_EQ(fx.setCrop(0, 0, 8, 2), 0);
  EXPECT_EQ(fx.Entered(), 1);

  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=4")), 0);
  EXPECT_EQ(fx.setCrop(0, 0, 8, 2), 0);
  EXPECT_EQ(fx.Entered(), 3);

  ASSERT_EQ(fx.startPreview(16, 4), 0);
  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=0")), 0);
  EXPECT_EQ(fx.handlePreview(-1, frame, 0), 0);
  EXPECT_EQ(fx.stopPreview(), 0);
  EXPECT_EQ(fx.Entered(), 7);
  EXPECT_EQ(fx.handlePreview(-1, frame, 0), -1);
  EXPECT_EQ(fx.stopPreview(), 0);
  EXPECT_EQ(fx.Entered(), 7);

  // stop() ends the preview too.
  ASSERT_EQ(fx.startPreview(16, 4), 0);
  ASSERT_EQ(fx.stop(), 0);
  ASSERT_EQ(fx.start(), 0);
  EXPECT_EQ(fx.handlePreview(-1, frame, 0), -1);
}

TEST(Parameters, TaskCarriesTheParsedSettingsAndKeepsWhatIsMissing) {
  pe::test::LogCapture log;
  Probe fx(kAllKinds);
  ASSERT_EQ(fx.start(), 0);
  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=4;GE-param0=1,2,3,4;GE-param1=5,6,7,8")),
            0);
  EffectSettings s = fx.LastSettings();
  EXPECT_EQ(s.effect, 4);
  EXPECT_EQ(std::vector<int>(s.params0, s.params0 + 4), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<int>(s.params1, s.params1 + 4), (std::vector<int>{5, 6, 7, 8}));
  EXPECT_TRUE(s.params0Changed && s.params1Changed);
  EXPECT_TRUE(log.Contains("doSetParameters: old effect = 0, new effect = 4.", "GPUPostEffect"));
  EXPECT_TRUE(log.Contains("isGEInit == false: no call to ChooseEffect.", "GPUPostEffect"));

  // The pooled task comes back with the quadruples of its last use.
  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=B;GE-param1=9,8,7")), 0);
  s = fx.LastSettings();
  EXPECT_EQ(s.effect, 10);
  EXPECT_EQ(std::vector<int>(s.params0, s.params0 + 4), (std::vector<int>{1, 2, 3, 4}));
  EXPECT_EQ(std::vector<int>(s.params1, s.params1 + 4), (std::vector<int>{5, 6, 7, 8}));
  EXPECT_TRUE(log.Contains("old effect = 4, new effect = 10.", "GPUPostEffect"));

  ASSERT_EQ(fx.setParameters(android::String8("other=1")), 0);
  EXPECT_EQ(fx.LastSettings().effect, -1);
  unsigned char still[16 * 4 * 3 / 2] = {};
  EXPECT_EQ(fx.handleCapture(16, 4, -1, still, 0, 64), 0);  // -1: nothing to do
  EXPECT_EQ(fx.Entered(), 3);
}

// Frames and stills the handlers must refuse before any GPU work; the
// caller's memory stays as it was.
TEST(Handlers, RefuseBadSizesAndPointersWithoutTouchingTheFrame) {
  pe::test::LogCapture log;
  Probe fx(kAllKinds);
  ASSERT_EQ(fx.start(), 0);
  const std::vector<std::pair<int, int>> badSizes = {
      {0, 48}, {64, -2}, {63, 48}, {64, 47}, {20000, 2}};
  for (const auto& [bw, bh] : badSizes) {
    EXPECT_EQ(fx.startPreview(bw, bh), 2) << bw << "x" << bh;
    EXPECT_TRUE(log.Contains("doStartPreview: invalid preview size " + std::to_string(bw) + " x " +
                             std::to_string(bh) + "."));
  }
  EXPECT_EQ(fx.handlePreview(-1, nullptr, 0), -1);  // never previewing

  const int w = 64, h = 48;
  std::vector<unsigned char> mem(4096 + w * h * 3 / 2);
  for (size_t i = 0; i < mem.size(); ++i) mem[i] = static_cast<unsigned char>(i * 7);
  const std::vector<unsigned char> original = mem;

  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=4")), 0);
  // The capture buffer has the preview's size: none is known yet.
  EXPECT_EQ(fx.handleCapture(w, h, -1, mem.data(), 4096, w * h), 3);

  ASSERT_EQ(fx.startPreview(w, h), 0);
  EXPECT_TRUE(log.Contains("doStartPreview: preview 64 x 48 started ok."));
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
  ASSERT_EQ(fx.setParameters(android::String8("GPU-effect=0")), 0);
  EXPECT_EQ(fx.handlePreview(-1, mem.data(), 4096), 0);
  EXPECT_EQ(mem, original);

  // Outside a capture there is no still to copy from.
  std::vector<unsigned char> block(32 * 16 * 4, 0xEE);
  EXPECT_EQ(fx.convertRect(block.data(), 32, 16, 0, 0, 32, 16), 0);
  EXPECT_EQ(block, std::vector<unsigned char>(32 * 16 * 4, 0xEE));
}

}  // namespace

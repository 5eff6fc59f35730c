// Every fallible step beneath the library fails once, for every effect and
// every operation a camera service runs: the call answers with its result
// code, the caller's frame is either untouched or exactly what a clean run
// makes, nothing leaks, and the next call, with the fault lifted, succeeds.

#include <cstdio>

#include "FaultCamera.h"
#include "Interposer.h"

namespace {

using pe::fault::Live;
using pe::test::Camera;
using pe::test::Outcome;

struct Operation {
  const char* name;
  int failCode;  // what the call answers when the step it needs fails
  void (*prepare)(Camera&);
  Outcome (*act)(Camera&);
  Outcome (*next)(Camera&);
  bool still;  // the act's frame is the still
};

Outcome Preview(Camera& c) { return c.Preview(); }
Outcome Capture(Camera& c) { return c.Capture(); }
// A second effect to switch to: any other number.
int Other(int effect) { return effect % 16 + 1; }

// Counts one leak, and says what leaked, when live objects differ.
int Leaked(const Live& want) {
  const Live live = pe::fault::LiveObjects();
  EXPECT_EQ(live, want) << "live textures, fbos, programs, shaders, buffers";
  return live != want;
}

const Operation kOperations[] = {
    // The worker sets EGL up before it runs the first task.
    {"start", 0, [](Camera& c) { c.fx->stop(); },
     [](Camera& c) {
       c.fx->start();
       return Outcome{c.fx->startPreview(c.w, c.h), {}};
     },
     Preview, false},
    {"preview start", 2,
     [](Camera& c) {
       c.fx->stopPreview();
       c.fx->startPreview(c.w, c.h);
     },
     Preview, Preview, false},
    {"preview frame", 2, [](Camera& c) { c.Preview(); }, Preview, Preview, false},
    {"capture", 3, [](Camera&) {}, Capture, Capture, true},
    {"effect switch", 2,
     [](Camera& c) {
       c.Select(c.effect);
       c.Preview();
     },
     [](Camera& c) {
       c.Select(Other(c.effect));
       return c.Preview();
     },
     Preview, false},
    // A new strength while the preview runs: the blur looks' passes of fewer
    // taps and the fisheye's other branch take programs made on the frame.
    {"strength change", 2,
     [](Camera& c) {
       c.Select(Other(c.effect));
       c.Preview();
       c.Select(c.effect, 100);
       c.Preview();
     },
     [](Camera& c) {
       c.Select(c.effect, 10);
       return c.Preview();
     },
     Preview, false},
};

class FaultInjection : public ::testing::TestWithParam<int> {
 protected:
  pe::test::ErrorLog m_log;
  pe::test::ScopedEnv m_count{"POSTEFFECT_EFFECT_COUNT", "19"};
  pe::test::ScopedEnv m_display{"POSTEFFECT_DISPLAY", "1920x1080"};
  pe::test::ScopedEnv m_override{"POSTEFFECT_OVERRIDE_DIR", nullptr};
  // Each step is counted in a clean run and failed in a later one: memory
  // kept from one run would let the next skip its allocations.
  pe::test::ScopedEnv m_kept{"POSTEFFECT_KEPT_MEMORY_MB", "0"};
  // Likewise kept programs would let it skip compiling and linking.
  pe::test::ScopedEnv m_keptPrograms{"POSTEFFECT_KEPT_PROGRAMS", "0"};
};

TEST_P(FaultInjection, EveryStepFailsOnceAndTheNextCallRecovers) {
  const int effect = GetParam();
  int modified = 0, leaks = 0, recovered = 0, total = 0;
  std::string steps;
  {
    Camera cam(effect);
    for (const Operation& op : kOperations) {
      op.prepare(cam);
      pe::fault::Arm(0);
      const Outcome clean = op.act(cam);
      const int count = pe::fault::Disarm();
      const Outcome cleanNext = op.next(cam);
      const Live live = pe::fault::LiveObjects();
      ASSERT_EQ(clean.rc, 0) << op.name << m_log.Dump();
      ASSERT_EQ(cleanNext.rc, 0) << op.name;
      const std::vector<uint8_t>& input = op.still ? cam.big.data : cam.frame.data;
      steps += std::string(" ") + op.name + "=" + std::to_string(count);
      total += count;

      for (int n = 1; n <= count; ++n) {
        op.prepare(cam);
        m_log.Clear();
        pe::fault::Arm(n);
        const Outcome got = op.act(cam);
        pe::fault::Disarm();
        const char* call = pe::fault::FailedCall();
        ASSERT_NE(call, nullptr) << op.name << " step " << n << " not reached";
        SCOPED_TRACE(testing::Message() << op.name << ", step " << n << ": " << call);
        const bool untouched = got.frame.empty() || got.frame == input;
        if (!(got == clean)) {
          EXPECT_TRUE(got.rc == 0 || got.rc == op.failCode) << got.rc;
          if (!untouched && (got.rc != 0 || got.frame != clean.frame)) ++modified;
        }
        const char* line = pe::fault::ExpectedLine();
        if (line || !(got == clean)) {
          EXPECT_EQ(m_log.Naming(line ? line : call), 1) << m_log.Dump();
        }
        const Outcome next = op.next(cam);
        if (next == cleanNext) ++recovered;
        EXPECT_EQ(next.rc, 0);
        EXPECT_TRUE(next.frame == cleanNext.frame) << "the next call's frame differs";
        leaks += Leaked(live);
      }
    }
    cam.fx->stop();
    // Only the camera's own two frames are left.
    leaks += Leaked(Live{0, 0, 0, 0, 2});
  }
  EXPECT_EQ(modified, 0);
  EXPECT_EQ(leaks, 0);
  EXPECT_EQ(recovered, total);
  std::printf(
      "fault injection, effect %d:%s; points %d, frames modified %d, leaks %d, "
      "recoveries %d/%d\n",
      effect, steps.c_str(), total, modified, leaks, recovered, total);
}

INSTANTIATE_TEST_SUITE_P(Effects, FaultInjection, ::testing::Range(1, 19),
                         [](const testing::TestParamInfo<int>& p) {
                           return "effect" + std::to_string(p.param);
                         });

}  // namespace

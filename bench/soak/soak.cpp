// Soak: the library as a camera service drives it for a long time. Each
// cycle creates and starts a service, runs every effect on preview frames
// (switching effect, crop and parameters while the preview runs) and on a
// still, stops and starts the worker once under a running preview, then stops
// and destroys the service. Prints resident memory, open descriptors and live
// GL objects before the first cycle and after each fifth of the run; the first
// fifth is the warm-up (the driver, its caches and the allocator's per-thread
// arenas fill up), so the check compares the end with its figures. Exits 1 when
// descriptors or GL objects moved, when memory grew past the tolerance at the
// pace of a leak, or when a call did not return 0.

#include <dirent.h>
#include <malloc.h>
#include <posteffect/PostEffect.h>
#include <unistd.h>
#include <utils/String8.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "BenchFrame.h"
#include "GlCount.h"

namespace {

using pe::bench::EffectParam;
using pe::bench::SharedFrame;

constexpr int kEffects = 18;  // 1..18, sketch and colour sketch included

struct Options {
  double minutes = 0;
  long cycles = 20;
  int fullEvery = 1;
  int width = 320, height = 240;
  long rssSlackKb = 16384;
};

const char kUsage[] =
    "usage: soak [--minutes N | --cycles N] [--full-every K] [--size WxH] [--rss-slack-kb KB]\n"
    "  --minutes N       run cycles for N minutes (overrides --cycles)\n"
    "  --cycles N        run N cycles (default 20)\n"
    "  --full-every K    only every K-th cycle processes frames; the others create, start,\n"
    "                    switch effect, start and stop the preview, stop and destroy (default 1)\n"
    "  --size WxH        preview size (default 320x240); stills are twice as wide and high\n"
    "  --rss-slack-kb KB resident memory growth allowed after the warm-up (default 16384)\n"
    "Figures: resident memory from /proc/self/statm, open descriptors in /proc/self/fd,\n"
    "and live GL objects: the library's calls that create and delete textures,\n"
    "framebuffers, renderbuffers, buffers, programs, shaders, EGL contexts and pbuffer\n"
    "surfaces are counted on their way to the driver (this program defines those entry\n"
    "points); a name the library leaves to die with its context stays counted.\n"
    "Figures are printed before the first cycle and after each fifth of the run. The first\n"
    "fifth is the warm-up (driver caches, the allocator's per-thread arenas); at the end,\n"
    "descriptors and GL objects must be where they were after it. Memory fails when the\n"
    "median growth of the last four fifths, times four, exceeds the slack: a leak grows\n"
    "in every fifth, while the allocator taking a new region once is a single step.\n"
    "Released shared memory is not kept for reuse unless POSTEFFECT_KEPT_MEMORY_MB is set\n"
    "(kept memory grows to its bound, which the slack must then allow for).\n"
    "The last stop in the process terminates the EGL display. Mesa unloads its driver then\n"
    "without giving all of its memory back, so the library keeps the driver's modules\n"
    "loaded; the figures are the library's own.\n";

struct Figures {
  long rssKb, fds;
  pe::bench::GlObjects gl;
};

// Present when the build has a sanitizer's allocator.
extern "C" void __sanitizer_purge_allocator() __attribute__((weak));

// Freed memory goes back to the system before each measure, so resident memory
// is what is live: the sanitizer's allocator otherwise hands it back on its
// own timer, which swings the figures by tens of megabytes from one measure to
// the next.
void ReleaseFreeMemory() {
  if (__sanitizer_purge_allocator)
    __sanitizer_purge_allocator();
  else
    malloc_trim(0);
}

Figures Measure() {
  ReleaseFreeMemory();
  Figures f{};
  long pages = 0, resident = 0;
  if (FILE* statm = std::fopen("/proc/self/statm", "r")) {
    if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = 0;
    std::fclose(statm);
  }
  f.rssKb = resident * (sysconf(_SC_PAGESIZE) / 1024);
  if (DIR* dir = opendir("/proc/self/fd")) {
    while (dirent* e = readdir(dir)) f.fds += e->d_name[0] != '.';
    closedir(dir);
    --f.fds;  // the directory itself
  }
  f.gl = pe::bench::LiveGlObjects();
  return f;
}

void Print(const char* when, const Figures& f) {
  const pe::bench::GlObjects& g = f.gl;
  std::printf(
      "%-9s rss %7ld kB  fds %3ld  gl %3ld (textures %ld, framebuffers %ld, renderbuffers %ld, "
      "buffers %ld, programs %ld, shaders %ld, contexts %ld, surfaces %ld)\n",
      when, f.rssKb, f.fds, g.Total(), g.textures, g.framebuffers, g.renderbuffers, g.buffers,
      g.programs, g.shaders, g.contexts, g.surfaces);
  std::fflush(stdout);  // long runs are watched through a log
}

long g_failures = 0;

void Expect(int rc, const char* call, long cycle, int effect) {
  if (rc == 0) return;
  ++g_failures;
  std::fprintf(stderr, "soak: cycle %ld effect %d: %s returned %d\n", cycle, effect, call, rc);
}

int Params(IPostEffect* fx, int effect, long cycle) {
  // Parameters vary with the cycle so that every set is handed over anew.
  const int v = static_cast<int>(cycle % 2);
  const std::string s = EffectParam(effect) + ";GE-param0=" + std::to_string(v) + "," +
                        std::to_string(v % 2) + ",1,0;GE-param1=" + std::to_string(400 + v) +
                        ",300," + std::to_string(1500 - v) + ",800";
  return fx->setParameters(android::String8(s.c_str()));
}

void Cycle(const Options& o, long cycle, SharedFrame& frame, SharedFrame& still) {
  const int w = o.width, h = o.height;
  IPostEffect* fx = createPostEffect();
  Expect(fx->start(), "start", cycle, 0);
  const int first = 1 + static_cast<int>(cycle % kEffects);
  Expect(Params(fx, first, cycle), "setParameters", cycle, first);
  Expect(fx->startPreview(w, h), "startPreview", cycle, first);
  if (cycle % o.fullEvery == 0) {
    for (int i = 0; i < kEffects; ++i) {
      const int effect = 1 + (first - 1 + i) % kEffects;
      Expect(Params(fx, effect, cycle), "setParameters", cycle, effect);
      Expect(fx->setCrop(i, i / 2, w - 2 * i, h - i), "setCrop", cycle, effect);
      Expect(fx->handlePreview(frame.fd, frame.base, 0), "handlePreview", cycle, effect);
      Expect(fx->handlePreview(frame.fd, frame.base, 0), "handlePreview", cycle, effect);
      Expect(fx->handleCapture(2 * w, 2 * h, still.fd, still.base, 0, 4L * w * h), "handleCapture",
             cycle, effect);
    }
    // The worker stopped and started under a running preview.
    Expect(fx->stop(), "stop", cycle, first);
    Expect(fx->start(), "start", cycle, first);
    Expect(fx->startPreview(w, h), "startPreview", cycle, first);
    Expect(fx->handlePreview(frame.fd, frame.base, 0), "handlePreview", cycle, first);
  }
  Expect(fx->stopPreview(), "stopPreview", cycle, first);
  Expect(fx->stop(), "stop", cycle, first);
  destroyPostEffect(fx);
}

bool Parse(int argc, char** argv, Options* o) {
  for (int i = 1; i < argc; ++i) {
    const std::string a = argv[i];
    const char* v = i + 1 < argc ? argv[i + 1] : nullptr;
    if (a == "--help" || a == "-h") return false;
    if (!v) {
      std::fprintf(stderr, "soak: %s needs a value\n", a.c_str());
      return false;
    }
    ++i;
    if (a == "--minutes") {
      o->minutes = std::atof(v);
    } else if (a == "--cycles") {
      o->cycles = std::atol(v);
    } else if (a == "--full-every") {
      o->fullEvery = std::atoi(v);
    } else if (a == "--rss-slack-kb") {
      o->rssSlackKb = std::atol(v);
    } else if (a == "--size") {
      if (std::sscanf(v, "%dx%d", &o->width, &o->height) != 2) o->width = 0;
    } else {
      std::fprintf(stderr, "soak: unknown option %s\n", a.c_str());
      return false;
    }
  }
  const bool ok = o->cycles > 0 && o->fullEvery > 0 && o->width > 0 && o->height > 0 &&
                  o->width % 2 == 0 && o->height % 2 == 0 && o->minutes >= 0;
  if (!ok) std::fprintf(stderr, "soak: bad value\n");
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  Options o;
  if (!Parse(argc, argv, &o)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  // Sketch and colour sketch lie beyond the default bound.
  setenv("POSTEFFECT_EFFECT_COUNT", "19", 0);
  // Released shared memory kept for reuse fills its bound (64 MiB) over a
  // run, growth a leak would show too: off unless asked for.
  setenv("POSTEFFECT_KEPT_MEMORY_MB", "0", 0);
  SharedFrame frame(static_cast<size_t>(o.width) * o.height * 3 / 2);
  SharedFrame still(static_cast<size_t>(o.width) * o.height * 6);

  using Clock = std::chrono::steady_clock;
  const auto t0 = Clock::now();
  auto elapsed = [&] { return std::chrono::duration<double>(Clock::now() - t0).count() / 60; };
  Print("start", Measure());
  Figures base{}, end{};
  long growthKb[4] = {};
  long previousRssKb = 0;
  long cycles = 0;
  for (int fifth = 1; fifth <= 5; ++fifth) {
    // At least one cycle a fifth.
    do Cycle(o, cycles++, frame, still);
    while (o.minutes > 0 ? elapsed() < o.minutes * fifth / 5 : cycles < o.cycles * fifth / 5);
    end = Measure();
    char when[32];
    std::snprintf(when, sizeof(when), "%ld cyc", cycles);
    Print(fifth == 1 ? "baseline" : fifth == 5 ? "end" : when, end);
    if (fifth > 1) growthKb[fifth - 2] = end.rssKb - previousRssKb;
    previousRssKb = end.rssKb;
    if (fifth == 1) base = end;
  }
  const double minutes = elapsed();
  std::printf("at most %ld GL objects were live at once\n", pe::bench::PeakGlObjects());
  std::printf("%ld cycles in %.2f min, %ld with frames; %ld calls failed\n", cycles, minutes,
              (cycles + o.fullEvery - 1) / o.fullEvery, g_failures);

  bool ok = g_failures == 0;
  std::sort(growthKb, growthKb + 4);
  const long paceKb = (growthKb[1] + growthKb[2]) * 2;  // median fifth, over four fifths
  if (paceKb > o.rssSlackKb) {
    std::printf(
        "FAIL: resident memory grew by %ld kB, at a pace of %ld kB over the run (slack "
        "%ld kB)\n",
        end.rssKb - base.rssKb, paceKb, o.rssSlackKb);
    ok = false;
  }
  if (end.fds != base.fds) {
    std::printf("FAIL: open descriptors went from %ld to %ld\n", base.fds, end.fds);
    ok = false;
  }
  if (end.gl.Total() != base.gl.Total()) {
    std::printf("FAIL: live GL objects went from %ld to %ld\n", base.gl.Total(), end.gl.Total());
    ok = false;
  }
  return ok ? 0 : 1;
}

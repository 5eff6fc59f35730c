#pragma once

// What the benchmarks share: a frame in shared memory as a camera service
// hands it over, and the parameter string that selects an effect.

#include <binder/MemoryHeapBase.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace pe {
namespace bench {

struct SharedFrame {
  android::sp<android::MemoryHeapBase> heap;
  int fd;
  unsigned char* base;
  explicit SharedFrame(size_t bytes) : heap(new android::MemoryHeapBase(bytes, 0, "bench-frame")) {
    fd = heap->getHeapID();
    if (fd < 0) std::abort();
    base = static_cast<unsigned char*>(heap->getBase());
    for (size_t i = 0; i < bytes; ++i) base[i] = static_cast<unsigned char>(i * 7 + (i >> 10));
  }
  // A w x h NV21 picture that looks alike at every size, as camera pictures
  // do: waves a few tens of pixels long with a little grain, in pixel units.
  // Table looks cost what their lookups' locality costs, so a pattern whose
  // rows lined up at one width and not at another would weigh the sizes
  // unevenly.
  SharedFrame(int w, int h) : SharedFrame(static_cast<size_t>(w) * h * 3 / 2) {
    auto level = [](double v, uint32_t grain) {
      v += static_cast<double>(grain % 13) - 6.0;
      return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v);
    };
    auto grain = [](uint32_t x, uint32_t y) { return (x * 2654435761u) ^ (y * 40503u); };
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x)
        base[static_cast<size_t>(y) * w + x] =
            level(128 + 70 * std::sin(x * 0.05 + y * 0.02) + 40 * std::cos(y * 0.043), grain(x, y));
    unsigned char* vu = base + static_cast<size_t>(w) * h;
    for (int y = 0; y < h / 2; ++y)
      for (int x = 0; x < w / 2; ++x) {
        unsigned char* p = vu + static_cast<size_t>(y) * w + 2 * x;
        p[0] = level(128 + 50 * std::sin(x * 0.062 - y * 0.034), grain(y, x));
        p[1] = level(128 + 50 * std::cos(x * 0.026 + y * 0.058), grain(x + 7, y));
      }
  }
};

// The "GPU-effect" character of an effect number: digits, then B to J.
inline std::string EffectParam(int effect) {
  const char c =
      effect < 10 ? static_cast<char>('0' + effect) : static_cast<char>('B' + effect - 10);
  return std::string("GPU-effect=") + c;
}

// Short names of effects 0..18, for tables.
inline const char* EffectName(int effect) {
  static const char* const kNames[] = {"Bypass",     "Vintage",  "DoF",    "Fisheye",  "Vignette",
                                       "Dot",        "Contrast", "TS",     "Mirror",   "Bloom",
                                       "Whiteboard", "Maple",    "Nash",   "TwoToneV", "TwoToneH",
                                       "SplitCM",    "SplitSC",  "Sketch", "ColSketch"};
  return effect >= 0 && effect <= 18 ? kNames[effect] : "?";
}

// A frame bench's command line: [frames] [capture runs] [effect ...], every
// effect 1..18 when none is named. Also sets what every run needs: the
// sketches raised past the manager's default bound, and the library's log
// off (a refused effect shows in the table).
struct BenchArgs {
  int frames, runs;
  std::vector<int> effects;
};
inline BenchArgs ParseArgs(int argc, char** argv, int defaultFrames) {
  BenchArgs a{argc > 1 ? std::atoi(argv[1]) : defaultFrames, argc > 2 ? std::atoi(argv[2]) : 3, {}};
  for (int i = 3; i < argc; ++i) a.effects.push_back(std::atoi(argv[i]));
  if (a.effects.empty())
    for (int e = 1; e <= 18; ++e) a.effects.push_back(e);
  setenv("POSTEFFECT_EFFECT_COUNT", "19", 0);
  setenv("POSTEFFECT_LOG_MASK", "0", 0);
  return a;
}

}  // namespace bench
}  // namespace pe

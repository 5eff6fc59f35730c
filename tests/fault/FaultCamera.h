#pragma once

// One service driven as a camera service drives it, on frames small enough
// that a sweep over every fallible step stays quick.

#include <pe/Log.h>

#include <regex>
#include <string>
#include <vector>

#include "PublicService.h"

namespace pe {
namespace test {

// A call's result and the caller's frame after it (empty: the call has none).
struct Outcome {
  int rc;
  std::vector<uint8_t> frame;
  bool operator==(const Outcome& o) const { return rc == o.rc && frame == o.frame; }
};

class Camera {
 public:
  // Depth of field and tilt-shift walk stills in blocks trimmed by 192
  // pixels: their preview is larger than that, and their still only a
  // little wider, which still takes eight blocks.
  explicit Camera(int effect)
      : effect(effect),
        apron(effect == 2 || effect == 7),
        w(apron ? 448 : 64),
        h(apron ? 256 : 48),
        sw(apron ? 512 : 2 * w),
        sh(apron ? h : 2 * h) {
    fx = createPostEffect();
    fx->start();
    Select(effect);
    fx->startPreview(w, h);
  }
  ~Camera() {
    fx->stop();
    destroyPostEffect(fx);
  }
  Camera(const Camera&) = delete;
  Camera& operator=(const Camera&) = delete;

  // p0 >= 0 also sets parameter quadruple 0 to (p0, 0, 0, 0); some looks
  // refuse some values.
  int Select(int number, int p0 = -1) {
    static const char kCodes[] = "0123456789BCDEFGHIJ";
    std::string s = std::string("GPU-effect=") + kCodes[number];
    if (p0 >= 0) s += ";GE-param0=" + std::to_string(p0) + ",0,0,0";
    return fx->setParameters(android::String8(s.c_str()));
  }
  Outcome Preview() {
    shm.Put(frame);
    const int rc = fx->handlePreview(shm.fd(), shm.base(), shm.offset());
    return {rc, shm.Get().data};
  }
  Outcome Capture() {
    still.Put(big);
    const int rc = fx->handleCapture(sw, sh, still.fd(), still.base(), still.offset(),
                                     static_cast<long>(sw) * sh);
    return {rc, still.Get().data};
  }

  IPostEffect* fx = nullptr;
  const int effect;
  const bool apron;
  const int w, h, sw, sh;
  SharedNv21 shm{w, h}, still{sw, sh};
  const ref::Nv21 frame = ref::MakeFrame(w, h, 7);
  const ref::Nv21 big = ref::MakeFrame(sw, sh, 8);
};

// Every log line captured, the library writing errors only: the sweep reads
// nothing else and runs thousands of calls.
class ErrorLog : public LogCapture {
 public:
  ErrorLog() {
    setenv("POSTEFFECT_LOG_MASK", "10", 1);
    ResetLogMasks();
  }
  // Error lines that match the pattern ("a|b": either).
  int Naming(const std::string& pattern) const {
    const std::regex re(pattern);
    int n = 0;
    for (const LogLine& l : Lines()) n += l.priority >= 6 && std::regex_search(l.text, re);
    return n;
  }
};

}  // namespace test
}  // namespace pe

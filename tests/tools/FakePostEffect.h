#pragma once

#include <posteffect/IPostEffect.h>
#include <unistd.h>
#include <utils/String8.h>

#include <cstring>
#include <string>
#include <vector>

#include "Service.h"

namespace pe::test {

// A stand-in service, checked as a camera service's partner would be: each
// frame must read the same through the file descriptor at its offset as at
// base + offset. Frames it processes get their luma inverted.
struct FakeState {
  std::string params;
  char effect = '0';
  int previewW = 0, previewH = 0, captureW = 0, captureH = 0;
  int cropX = -1, cropY = -1, cropW = -1, cropH = -1;
  long uvOffset = 0;
  std::vector<long> offsets;  // of every frame handed over
  int framesProcessed = 0, fdMismatches = 0;
  int created = 0, destroyed = 0, started = 0, stopped = 0;
  bool previewing = false;
  std::string refused = "IJ";  // effects answered with "preview start failed"
  int captureResult = 0;
};

inline FakeState& Fake() {
  static FakeState state;
  return state;
}

class FakePostEffect : public IPostEffect {
 public:
  int start() override { return ++Fake().started, 0; }
  int stop() override { return ++Fake().stopped, 0; }
  int startPreview(int w, int h) override {
    Fake().previewW = w;
    Fake().previewH = h;
    Fake().previewing = true;
    return 0;
  }
  int handlePreview(int fd, void* base, int offset) override {
    FakeState& s = Fake();
    if (!s.previewing) return PE_RESULT_NOT_PREVIEWING;
    if (s.refused.find(s.effect) != std::string::npos) return PE_RESULT_PREVIEW_START_FAILED;
    Process(fd, static_cast<uint8_t*>(base), offset, s.previewW, s.previewH);
    return 0;
  }
  int stopPreview() override { return Fake().previewing = false, 0; }
  int handleCapture(int w, int h, int fd, void* base, long yOffset, long uvOffset) override {
    FakeState& s = Fake();
    if (s.effect == '0') return 0;
    s.captureW = w;
    s.captureH = h;
    s.uvOffset = uvOffset;
    if (s.captureResult == 0) Process(fd, static_cast<uint8_t*>(base), yOffset, w, h);
    return s.captureResult;
  }
  int setParameters(const android::String8& params) override {
    Fake().params = params.c_str();
    const size_t at = Fake().params.find("GPU-effect=");
    Fake().effect = at == std::string::npos ? '?' : Fake().params[at + 11];
    return 0;
  }
  int setCrop(int x, int y, int w, int h) override {
    Fake().cropX = x, Fake().cropY = y, Fake().cropW = w, Fake().cropH = h;
    return 0;
  }

  static cli::Backend Backend() {
    return {[]() -> IPostEffect* { return ++Fake().created, new FakePostEffect; },
            [](IPostEffect* p) { ++Fake().destroyed, delete p; }};
  }

 private:
  static void Process(int fd, uint8_t* base, long offset, int w, int h) {
    FakeState& s = Fake();
    s.offsets.push_back(offset);
    const size_t bytes = static_cast<size_t>(w) * h * 3 / 2;
    std::vector<uint8_t> viaFd(bytes);
    if (pread(fd, viaFd.data(), bytes, offset) != static_cast<ssize_t>(bytes) ||
        std::memcmp(viaFd.data(), base + offset, bytes) != 0)
      ++s.fdMismatches;
    if (s.effect == '0') return;
    for (size_t i = 0; i < static_cast<size_t>(w) * h; ++i) base[offset + i] ^= 0xFF;
    ++s.framesProcessed;
  }
};

}  // namespace pe::test

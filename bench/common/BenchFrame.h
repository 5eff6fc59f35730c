#pragma once

// What the benchmarks share: a frame in shared memory as a camera service
// hands it over, and the parameter string that selects an effect.

#include <binder/MemoryHeapBase.h>

#include <cstdlib>
#include <string>

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
};

// The "GPU-effect" character of an effect number: digits, then B to J.
inline std::string EffectParam(int effect) {
  const char c =
      effect < 10 ? static_cast<char>('0' + effect) : static_cast<char>('B' + effect - 10);
  return std::string("GPU-effect=") + c;
}

}  // namespace bench
}  // namespace pe

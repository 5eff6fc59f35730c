#pragma once

// Cache maintenance of CPU-written buffers. On the host this is where a
// buffer's CPU memory and its GL texture are brought back in step.

#include <utils/RefBase.h>
#include <utils/StrongPointer.h>

#include <cstddef>

namespace gralloc {

class IMemAlloc : public android::RefBase {
 public:
  virtual int clean_buffer(void* base, size_t size, int offset, int fd) = 0;
};

class IAllocController : public android::RefBase {
 public:
  static android::sp<IAllocController> getInstance(bool useMasterHeap);
  virtual android::sp<IMemAlloc> getAllocator(int flags) = 0;
};

// The allocator that owns buffers of `flags` cleans (base, size, offset, fd):
// the one lookup every cache clean makes. Negative when there is no
// allocator or the clean failed.
int CleanBuffer(int flags, void* base, size_t size, int offset, int fd);

}  // namespace gralloc

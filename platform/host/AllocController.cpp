#include <gralloc/IAllocController.h>
#include <pe/Platform.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "SharedMemory.h"

namespace pe {
namespace platform {

int MapSharedMemory(const char* name, size_t size, void** base, size_t* mappedSize) {
  if (size == 0) return -EINVAL;
  const long page = sysconf(_SC_PAGESIZE);
  const size_t rounded = (size + page - 1) / page * page;
  int fd = memfd_create(name, MFD_CLOEXEC);
  if (fd < 0) return -errno;
  if (ftruncate(fd, static_cast<off_t>(rounded)) != 0) {
    int err = errno;
    close(fd);
    return -err;
  }
  void* p = mmap(nullptr, rounded, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (p == MAP_FAILED) {
    int err = errno;
    close(fd);
    return -err;
  }
  // Every buffer is written whole soon after it is made (a frame, a plane,
  // a still): its pages are made writable in one go rather than by a fault
  // each. Only a hint: a kernel without it faults them in as before.
#ifdef MADV_POPULATE_WRITE
  madvise(p, rounded, MADV_POPULATE_WRITE);
#endif
  *base = p;
  *mappedSize = rounded;
  return fd;
}

void UnmapSharedMemory(int fd, void* base, size_t mappedSize) {
  if (base) munmap(base, mappedSize);
  if (fd >= 0) close(fd);
}

}  // namespace platform
}  // namespace pe

namespace gralloc {
namespace {

class HostAllocator : public IMemAlloc {
 public:
  int clean_buffer(void* base, size_t size, int offset, int fd) override {
    return pe::platform::CleanBuffer(base, size, offset, fd);
  }
};

class HostAllocController : public IAllocController {
 public:
  android::sp<IMemAlloc> getAllocator(int) override { return m_allocator; }

 private:
  android::sp<IMemAlloc> m_allocator = new HostAllocator();
};

}  // namespace

android::sp<IAllocController> IAllocController::getInstance(bool) {
  static android::sp<IAllocController> instance = new HostAllocController();
  return instance;
}

int CleanBuffer(int flags, void* base, size_t size, int offset, int fd) {
  android::sp<IAllocController> controller = IAllocController::getInstance(true);
  android::sp<IMemAlloc> allocator =
      controller != nullptr ? controller->getAllocator(flags) : nullptr;
  return allocator != nullptr ? allocator->clean_buffer(base, size, offset, fd) : -1;
}

}  // namespace gralloc

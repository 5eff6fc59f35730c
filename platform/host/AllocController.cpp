#include <gralloc/IAllocController.h>
#include <pe/Platform.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

#include "SharedMemory.h"

namespace pe {
namespace platform {

namespace {

// Shared memory the library released, kept for its next request of the same
// size: every still makes the same buffers and heap again, and a fresh page
// costs a fault and a clear, on a virtual machine several microseconds more
// on its first touch (about 25 ms for a 12-megapixel still's output). A
// bounded amount is kept (KeptMemoryBytes); the oldest goes first.
class Recycler {
 public:
  // A kept region of exactly this size, cleared as a new one would be.
  int Take(size_t size, void** base) {
    Region r{};
    {
      std::lock_guard<std::mutex> lock(m_lock);
      auto it = std::find_if(m_kept.begin(), m_kept.end(),
                             [size](const Region& k) { return k.size == size; });
      if (it == m_kept.end()) return -1;
      r = *it;
      m_kept.erase(it);
      m_bytes -= size;
    }
    std::memset(r.base, 0, size);
    *base = r.base;
    return r.fd;
  }

  // Keeps the region, or returns false when it can't be kept at all.
  bool Keep(int fd, void* base, size_t size) {
    const size_t bound = KeptMemoryBytes();
    if (size > bound) return false;
    std::vector<Region> evicted;
    {
      std::lock_guard<std::mutex> lock(m_lock);
      while (m_bytes + size > bound) {
        evicted.push_back(m_kept.front());
        m_bytes -= m_kept.front().size;
        m_kept.pop_front();
      }
      m_kept.push_back({fd, base, size});
      m_bytes += size;
    }
    for (const Region& r : evicted) Release(r.fd, r.base, r.size);
    return true;
  }

  static void Release(int fd, void* base, size_t size) {
    if (base) munmap(base, size);
    if (fd >= 0) close(fd);
  }

 private:
  struct Region {
    int fd;
    void* base;
    size_t size;
  };
  std::mutex m_lock;
  std::deque<Region> m_kept;
  size_t m_bytes = 0;
};

// Never destroyed: buffers may still be released while the process exits.
Recycler& Kept() {
  static Recycler* recycler = new Recycler();
  return *recycler;
}

}  // namespace

int MapSharedMemory(const char* name, size_t size, void** base, size_t* mappedSize) {
  if (size == 0) return -EINVAL;
  const long page = sysconf(_SC_PAGESIZE);
  const size_t rounded = (size + page - 1) / page * page;
  const int kept = Kept().Take(rounded, base);
  if (kept >= 0) {
    *mappedSize = rounded;
    return kept;
  }
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
  if (fd >= 0 && base && Kept().Keep(fd, base, mappedSize)) return;
  Recycler::Release(fd, base, mappedSize);
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

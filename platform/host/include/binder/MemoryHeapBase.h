#pragma once

// Host shared-memory heap: memfd_create + mmap. getHeapID() is the fd, or
// the negated errno of the step that failed.

#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

namespace android {

class MemoryHeapBase : public virtual RefBase {
 public:
  enum { READ_ONLY = 0x1, DONT_MAP_LOCALLY = 0x100, NO_CACHING = 0x200 };

  MemoryHeapBase(size_t size, uint32_t flags = 0, const char* name = nullptr);

  int getHeapID() const { return m_fd; }
  void* getBase() const { return m_base; }
  size_t getSize() const { return m_size; }
  uint32_t getFlags() const { return m_flags; }

 protected:
  ~MemoryHeapBase() override;

 private:
  int m_fd = -1;
  void* m_base = nullptr;
  size_t m_size = 0;
  uint32_t m_flags = 0;
};

}  // namespace android

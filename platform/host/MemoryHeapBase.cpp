#include <binder/MemoryHeapBase.h>

#include "SharedMemory.h"

namespace android {

MemoryHeapBase::MemoryHeapBase(size_t size, uint32_t flags, const char* name) : m_flags(flags) {
  void* base = nullptr;
  size_t mapped = 0;
  m_fd = pe::platform::MapSharedMemory(name ? name : "posteffect-heap", size, &base, &mapped);
  if (m_fd >= 0) {
    m_base = base;
    m_size = mapped;
  }
}

MemoryHeapBase::~MemoryHeapBase() {
  if (m_fd >= 0) pe::platform::UnmapSharedMemory(m_fd, m_base, m_size);
}

}  // namespace android

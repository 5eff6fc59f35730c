#include <ui/GraphicBuffer.h>

#include <cerrno>
#include <climits>
#include <cstdint>

#include "SharedMemory.h"

namespace android {

int GraphicBuffer::BytesPerPixel(int format) {
  switch (format) {
    case PIXEL_FORMAT_RGBA_8888:
      return 4;
    case PIXEL_FORMAT_RGB_888:
      return 3;
    case PIXEL_FORMAT_RGB_565:
      return 2;
    default:
      return 0;
  }
}

GraphicBuffer::GraphicBuffer(uint32_t width, uint32_t height, int format, uint32_t usage) {
  m_buffer.width = static_cast<int>(width);
  m_buffer.height = static_cast<int>(height);
  m_buffer.format = format;
  m_buffer.usage = static_cast<int>(usage);
  m_buffer.handle = &m_handle;
  m_handle.version = sizeof(native_handle_t);
  m_handle.numFds = 1;
  m_handle.numInts = 4;
  m_handle.fd = -1;
  m_handle.flags = static_cast<int>(usage);

  const int bpp = BytesPerPixel(format);
  // Rows are padded to 32 pixels, as the device allocator does for textures.
  const uint64_t stride = (static_cast<uint64_t>(width) + 31) & ~uint64_t{31};
  const uint64_t bytes = stride * height * static_cast<uint64_t>(bpp);
  if (bpp == 0 || width == 0 || height == 0 || width > 16384 || height > 16384 || bytes > INT_MAX) {
    m_status = -EINVAL;
    return;
  }
  m_buffer.stride = static_cast<int>(stride);
  void* base = nullptr;
  size_t mapped = 0;
  int fd = pe::platform::MapSharedMemory("posteffect-gbuf", bytes, &base, &mapped);
  if (fd < 0) {
    m_status = fd;
    return;
  }
  m_handle.fd = fd;
  m_handle.size = static_cast<int>(mapped);
  m_handle.offset = 0;
  m_handle.base = reinterpret_cast<uintptr_t>(base);
  m_status = 0;
}

GraphicBuffer::~GraphicBuffer() {
  if (m_handle.fd >= 0)
    pe::platform::UnmapSharedMemory(m_handle.fd, reinterpret_cast<void*>(m_handle.base),
                                    static_cast<size_t>(m_handle.size));
}

}  // namespace android

#pragma once

// Host graphics buffer: CPU memory from memfd_create + mmap, rows padded to
// the requested width, described by the same handle values the device
// allocator hands out (fd, base, size, offset, flags).

#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

struct native_handle_t {
  int version;
  int numFds;
  int numInts;
};

// The allocator's private handle; only these five values are read.
struct private_handle_t : public native_handle_t {
  int fd;
  int flags;
  int size;
  int offset;
  uintptr_t base;
};

struct ANativeWindowBuffer {
  int width;
  int height;
  int stride;  // in pixels
  int format;
  int usage;
  const native_handle_t* handle;
};

namespace android {

enum {
  PIXEL_FORMAT_RGBA_8888 = 1,
  PIXEL_FORMAT_RGB_888 = 3,
  PIXEL_FORMAT_RGB_565 = 4,
};

class GraphicBuffer : public RefBase {
 public:
  enum {
    USAGE_SW_WRITE_OFTEN = 0x00000030,
    USAGE_HW_TEXTURE = 0x00000100,
  };

  GraphicBuffer(uint32_t width, uint32_t height, int format, uint32_t usage);

  // 0 when the memory was allocated, a negative errno otherwise.
  int initCheck() const { return m_status; }
  uint32_t getWidth() const { return m_buffer.width; }
  uint32_t getHeight() const { return m_buffer.height; }
  uint32_t getStride() const { return m_buffer.stride; }
  int getPixelFormat() const { return m_buffer.format; }
  uint32_t getUsage() const { return m_buffer.usage; }
  ANativeWindowBuffer* getNativeBuffer() { return &m_buffer; }
  const private_handle_t* handle() const { return &m_handle; }

  static int BytesPerPixel(int format);

 protected:
  ~GraphicBuffer() override;

 private:
  ANativeWindowBuffer m_buffer{};
  private_handle_t m_handle{};
  int m_status = -1;
};

}  // namespace android

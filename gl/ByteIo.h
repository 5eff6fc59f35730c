#pragma once

// Little-endian fields, owned C files and malloc'd buffers: the pieces the
// BMP and program-binary code share. Allocation failures come back as null,
// never as exceptions.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace pe {
namespace io {

inline uint32_t Get32(const unsigned char* p) {
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}
inline uint16_t Get16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | p[1] << 8); }
inline void Put32(unsigned char* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}
inline void Put16(unsigned char* p, uint16_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
}

struct FileCloser {
  void operator()(FILE* f) const { std::fclose(f); }
};
using File = std::unique_ptr<FILE, FileCloser>;

struct FreeDeleter {
  void operator()(void* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<unsigned char[], FreeDeleter>;
// Zero-filled; null when out of memory.
inline Buffer Alloc(size_t size) {
  return Buffer(static_cast<unsigned char*>(std::calloc(size ? size : 1, 1)));
}

}  // namespace io
}  // namespace pe

#pragma once

// Packed pixels as BMP assets and streaming textures hold them, and what
// the GPU samples from them.

#include <cstdint>
#include <vector>

#include "ByteIo.h"

namespace pe {
namespace test {

using Bytes = std::vector<uint8_t>;

inline Bytes Bmp(int32_t w, int32_t h, uint16_t bits, const Bytes& data, uint32_t offset = 54) {
  Bytes f(offset, 0);
  f[0] = 'B';
  f[1] = 'M';
  io::Put32(&f[2], static_cast<uint32_t>(offset + data.size()));
  io::Put32(&f[10], offset);
  io::Put32(&f[14], 40);
  io::Put32(&f[18], static_cast<uint32_t>(w));
  io::Put32(&f[22], static_cast<uint32_t>(h));
  io::Put16(&f[26], 1);
  io::Put16(&f[28], bits);
  f.insert(f.end(), data.begin(), data.end());
  return f;
}

inline Bytes Ramp(size_t n) {
  Bytes b(n);
  for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i * 37 + 11);
  return b;
}

// What the GPU samples (RGBA) for channel c of texel i of packed texels of
// this depth: 8 luminance, 16 RGB 5-6-5, 24 RGB, 32 RGBA.
inline uint8_t Decoded(const Bytes& d, int bits, size_t i, int c) {
  if (bits == 8) return c == 3 ? 255 : d[i];
  if (bits == 24) return c == 3 ? 255 : d[3 * i + c];
  if (bits == 32) return d[4 * i + c];
  const int v = d[2 * i] | d[2 * i + 1] << 8;
  if (c == 3) return 255;
  const int field = c == 0 ? v >> 11 : c == 1 ? (v >> 5) & 63 : v & 31;
  return static_cast<uint8_t>(c == 1 ? field << 2 | field >> 4 : field << 3 | field >> 2);
}

}  // namespace test
}  // namespace pe

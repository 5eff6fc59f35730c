#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace pe::assetgen {

// An uncompressed bitmap as the library's loader consumes it: rows in the
// order they are stored (row 0 first, which the texture sees as t = 0), bytes
// of each pixel in the texture's channel order. The loader copies the pixel
// block verbatim, so every row must be a multiple of 4 bytes long.
struct Bitmap {
  int width = 0;
  int height = 0;
  int bitsPerPixel = 0;  // 8 (luminance), 16 (RGB 5-6-5), 24 (RGB)
  std::vector<uint8_t> pixels;

  Bitmap(int w, int h, int bpp);
  int RowBytes() const { return width * bitsPerPixel / 8; }
  uint8_t* Row(int y) { return pixels.data() + static_cast<size_t>(y) * RowBytes(); }
  const uint8_t* Row(int y) const { return pixels.data() + static_cast<size_t>(y) * RowBytes(); }
};

// Encodes a complete BMP file. The header is standard (BITMAPINFOHEADER,
// grey palette for 8 bits, 5-6-5 bit fields for 16 bits) so that ordinary
// viewers open the assets too. Returns an empty vector for a bitmap the
// loader could not take row by row (row length not a multiple of 4).
std::vector<uint8_t> EncodeBmp(const Bitmap& bmp);

// Writes through a temporary file and a rename, so a reader never sees half
// a file. Returns false with errno set on failure.
bool WriteFileAtomically(const std::string& path, const std::vector<uint8_t>& bytes);

}  // namespace pe::assetgen

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace pe::cli {

// Interleaved 8-bit R, G, B, rows top to bottom without padding.
struct RgbImage {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> rgb;

  RgbImage() = default;
  RgbImage(int w, int h) : width(w), height(h), rgb(static_cast<size_t>(w) * h * 3, 0) {}
  uint8_t* At(int x, int y) { return rgb.data() + (static_cast<size_t>(y) * width + x) * 3; }
  const uint8_t* At(int x, int y) const {
    return rgb.data() + (static_cast<size_t>(y) * width + x) * 3;
  }
};

// A camera frame: the Y plane, then one V, U pair per 2 x 2 block, rows of
// the chroma plane as long as luma rows. Width and height are even.
struct Nv21Frame {
  int width = 0;
  int height = 0;
  std::vector<uint8_t> data;

  Nv21Frame() = default;
  Nv21Frame(int w, int h) : width(w), height(h), data(Bytes(w, h), 0) {}
  static size_t Bytes(int w, int h) { return static_cast<size_t>(w) * h * 3 / 2; }
  uint8_t* Y() { return data.data(); }
  const uint8_t* Y() const { return data.data(); }
  uint8_t* VU() { return data.data() + static_cast<size_t>(width) * height; }
  const uint8_t* VU() const { return data.data() + static_cast<size_t>(width) * height; }
};

}  // namespace pe::cli

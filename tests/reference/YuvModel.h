#pragma once

// Independent CPU model of the GPU math: NV21 -> RGB through the YUV-to-RGB
// matrix, RGB quantised as the 8-bit render target stores it, and back to Y
// and 2x2-averaged chroma with the output converter's coefficients.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

namespace pe {
namespace ref {

struct Rgb {
  float r, g, b;
};

struct Nv21 {
  int width = 0, height = 0;
  std::vector<uint8_t> data;  // Y plane then V/U plane
  Nv21() = default;
  Nv21(int w, int h) : width(w), height(h), data(static_cast<size_t>(w) * h * 3 / 2) {}
  uint8_t* y() { return data.data(); }
  uint8_t* uv() { return data.data() + static_cast<size_t>(width) * height; }
  const uint8_t* y() const { return data.data(); }
  const uint8_t* uv() const { return data.data() + static_cast<size_t>(width) * height; }
};

// Deterministic test frame: gradients, colour blocks and fine detail.
Nv21 MakeFrame(int w, int h, uint32_t seed);

// The effect programs' YUV-to-RGB matrix, for levels as 0..1 (unclamped).
Rgb YuvToRgb(float y, float v, float u);
// GLSL's smoothstep.
float Smoothstep(float e0, float e1, float x);
// What an RGBA8 render target stores.
Rgb Quantise(Rgb c);

// The output of a frame whose RGB at each pixel is given: quantised as the
// render target stores it, converted back to NV21.
Nv21 Render(int w, int h, const std::function<Rgb(int x, int y)>& pixel);
// Every pixel of in through shade(x, y, rgb) (identity for Bypass), rendered.
using Shade = std::function<Rgb(int x, int y, Rgb in)>;
Nv21 RoundTrip(const Nv21& in, const Shade& shade = nullptr);

// A frame where some pixels may be left out of the comparison: per pixel
// kAmbiguous or kSeam (none where skip is empty); chroma is left out where
// any of its four is.
constexpr char kCompared = 0, kAmbiguous = 1, kSeam = 2;
struct Expected {
  Expected(Nv21 f = {}, std::vector<char> s = {}) : frame(std::move(f)), skip(std::move(s)) {}
  Nv21 frame;
  std::vector<char> skip;
};

// Largest absolute differences over the Y and the chroma plane outside the
// skipped pixels, with the position of the worst Y difference; how many
// pixels were skipped, and how many seam pixels differ by more than 4.
struct Diff {
  int maxY = 0, maxUV = 0, worstX = -1, worstY = -1;
  size_t skipped = 0, seam = 0, seamOff = 0;
};
Diff Compare(const Nv21& actual, const Expected& expected);

}  // namespace ref
}  // namespace pe

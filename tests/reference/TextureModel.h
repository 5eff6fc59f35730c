#pragma once

// Independent CPU model of the GPU's arithmetic: NV21 -> RGB through the
// YUV-to-RGB matrix, RGB quantised as the 8-bit render target stores it, and
// back to Y and 2x2-averaged chroma with the output converter's coefficients;
// textures sampled as the GPU samples them (texels as 0..1 floats, clamped to
// the edge or repeated, GL's bilinear rule) from the frame in its "yuvx"
// layout or from the BMP assets, read independently of the library's loader.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
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
float Smoothstep(float e0, float e1, float x);
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
constexpr char kAmbiguous = 1, kSeam = 2;
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

using Texel = Rgb;  // channels as 0..1
// Pixel (x, y) of a frame as its source texel: (Y, V, U).
Texel PixelTexel(const Nv21& f, int x, int y);
// A source texel through the effect programs' YUV-to-RGB matrix; the matrix
// is linear, so filtered, fractional levels go straight through.
inline Rgb ToRgb(const Texel& t) { return YuvToRgb(t.r, t.g, t.b); }

class TextureModel {
 public:
  enum Kind { kLuminance, kRgb, kRgb565 };

  TextureModel() = default;
  TextureModel(int w, int h) : m_w(w), m_h(h), m_texels(static_cast<size_t>(w) * h) {}

  // An asset loaded the way the effects load it: the file's bytes in their
  // stored order (first byte to red), first stored row at t = 0. Empty()
  // when the file cannot be read.
  static TextureModel FromBmp(const std::string& file, Kind kind);
  // The frame in the source texture: rows allocW wide, the padding columns
  // repeating the last pixel, as the frame's expansion writes them.
  static TextureModel FromFrame(const Nv21& frame, int allocW);
  // The vignette drawn for frames within tolerance of 16:9 or 5:3, or the
  // legacy one.
  static TextureModel Vignette(int w, int h, float tolerance);

  bool Empty() const { return m_texels.empty(); }
  Texel& At(int x, int y) { return m_texels[static_cast<size_t>(y) * m_w + x]; }
  const Texel& At(int x, int y) const { return m_texels[static_cast<size_t>(y) * m_w + x]; }

  // GL's linear filter of the four texels around (s, t), with 8-bit weights
  // and results as GPUs filter 8-bit textures.
  Texel Linear(float s, float t) const;
  bool repeat = false;

 private:
  int m_w = 0, m_h = 0;
  std::vector<Texel> m_texels;
};

// The asset directory the library under test reads.
std::string AssetPath(const std::string& file);

}  // namespace ref
}  // namespace pe

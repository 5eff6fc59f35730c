#pragma once

// Textures as the GPU samples them, for the CPU models of effect shaders:
// texels as 0..1 floats, coordinates clamped to the edge (or repeated), GL's
// nearest and bilinear rules. Sources are the frame in its "yuvx" layout and
// the BMP assets, read here independently of the library's loader.

#include <functional>
#include <string>
#include <vector>

#include "YuvModel.h"

namespace pe {
namespace ref {

struct Texel {
  float r = 0, g = 0, b = 0, a = 1;
};

class TextureModel {
 public:
  enum Kind { kLuminance, kRgb, kRgb565 };

  TextureModel() = default;
  TextureModel(int w, int h) : m_w(w), m_h(h), m_texels(static_cast<size_t>(w) * h) {}

  // A BMP asset loaded the way the effects load it: the file's bytes in
  // their stored order (first byte to red), first stored row at t = 0.
  // Returns an empty model (Empty()) when the file cannot be read.
  static TextureModel FromBmp(const std::string& path, Kind kind);
  // The frame in the source texture: texels (Y, V, U, 1), rows allocW wide;
  // the padding columns repeat the last pixel, as the frame's expansion
  // writes them.
  static TextureModel FromFrame(const Nv21& frame, int allocW);

  bool Empty() const { return m_texels.empty(); }
  int Width() const { return m_w; }
  int Height() const { return m_h; }
  Texel& At(int x, int y) { return m_texels[static_cast<size_t>(y) * m_w + x]; }
  const Texel& At(int x, int y) const { return m_texels[static_cast<size_t>(y) * m_w + x]; }

  Texel Linear(float s, float t) const;
  bool repeat = false;

 private:
  int Wrap(int i, int n) const;
  int m_w = 0, m_h = 0;
  std::vector<Texel> m_texels;
};

// A source texel (Y, V, U) through the effect programs' YUV-to-RGB matrix;
// the matrix is linear, so filtered, fractional levels go straight through.
inline Rgb ToRgb(const Texel& t) { return YuvToRgb(t.r, t.g, t.b); }

// GL's linear filter of the four texels around a sample, a and b its
// fractions across and down, with 8-bit weights and results as GPUs filter
// 8-bit textures.
Texel Bilinear(const Texel& p00, const Texel& p10, const Texel& p01, const Texel& p11, float a,
               float b);

// The full output model of a frame whose RGB at each pixel is given:
// quantised as the render target stores it, converted back to NV21.
Nv21 Render(int w, int h, const std::function<Rgb(int x, int y)>& pixel);

// The asset directory the library under test reads.
std::string AssetPath(const std::string& file);

}  // namespace ref
}  // namespace pe

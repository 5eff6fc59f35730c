#pragma once

// Textures as the GPU samples them, for the CPU models of effect shaders:
// texels as 0..1 floats, coordinates clamped to the edge (or repeated), GL's
// bilinear rule. Sources are the frame in its "yuvx" layout and the BMP
// assets, read here independently of the library's loader.

#include <string>
#include <vector>

#include "YuvModel.h"

namespace pe {
namespace ref {

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
  int Wrap(int i, int n) const;
  int m_w = 0, m_h = 0;
  std::vector<Texel> m_texels;
};

// The asset directory the library under test reads.
std::string AssetPath(const std::string& file);

}  // namespace ref
}  // namespace pe

#include "TextureModel.h"

#include <pe/Platform.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>

namespace pe {
namespace ref {
namespace {

uint32_t Le32(const uint8_t* p) { return p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24; }

// One linear step between two 8-bit texels with a weight of 8 fractional
// bits, rounded back to 8 bits: how GPUs filter 8-bit textures (llvmpipe
// among them). A float blend differs by up to half a level per step, which
// steep tone curves after the lookup turn into several.
float Lerp8(float p, float q, int w) {
  const long a = std::lround(p * 255.f), b = std::lround(q * 255.f);
  return static_cast<float>(a + (((b - a) * w + 128) >> 8)) / 255.f;
}

Texel Mix8(const Texel& a, const Texel& b, float f) {
  const int w = static_cast<int>(std::lround(f * 256.f));
  return {Lerp8(a.r, b.r, w), Lerp8(a.g, b.g, w), Lerp8(a.b, b.b, w), Lerp8(a.a, b.a, w)};
}

}  // namespace

Texel Lerp(const Texel& a, const Texel& b, float f) {
  return {a.r + (b.r - a.r) * f, a.g + (b.g - a.g) * f, a.b + (b.b - a.b) * f,
          a.a + (b.a - a.a) * f};
}

Texel PixelTexel(const Nv21& f, int x, int y) {
  const uint8_t* c = f.vu(x, y);
  return {f.y()[static_cast<size_t>(y) * f.width + x] / 255.f, c[0] / 255.f, c[1] / 255.f, 1};
}

TextureModel TextureModel::FromBmp(const std::string& file, Kind kind) {
  std::ifstream f(AssetPath(file), std::ios::binary);
  const std::vector<uint8_t> bytes(std::istreambuf_iterator<char>(f), {});
  if (bytes.size() < 54 || bytes[0] != 'B' || bytes[1] != 'M') return {};
  const uint32_t offset = Le32(&bytes[10]);
  const int w = static_cast<int>(Le32(&bytes[18])), h = static_cast<int>(Le32(&bytes[22]));
  const int bpp = kind == kLuminance ? 1 : kind == kRgb565 ? 2 : 3;
  if (w <= 0 || h <= 0 || offset + static_cast<size_t>(w) * h * bpp > bytes.size()) return {};
  TextureModel t(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const uint8_t* p = &bytes[offset + (static_cast<size_t>(y) * w + x) * bpp];
      const unsigned v = kind == kRgb565 ? p[0] | p[1] << 8 : 0;
      t.At(x, y) = kind == kLuminance ? Texel{p[0] / 255.f, p[0] / 255.f, p[0] / 255.f}
                   : kind == kRgb565
                       ? Texel{(v >> 11) / 31.f, ((v >> 5) & 63) / 63.f, (v & 31) / 31.f}
                       : Texel{p[0] / 255.f, p[1] / 255.f, p[2] / 255.f};
    }
  return t;
}

TextureModel TextureModel::FromFrame(const Nv21& frame, int allocW) {
  TextureModel t(allocW, frame.height);
  for (int y = 0; y < frame.height; ++y)
    for (int x = 0; x < allocW; ++x)
      t.At(x, y) = PixelTexel(frame, std::min(x, frame.width - 1), y);
  return t;
}

TextureModel TextureModel::Vignette(int w, int h, float tolerance) {
  const float r = static_cast<float>(w) / h;
  const bool wide = std::fabs(r - 16.f / 9) < tolerance || std::fabs(r - 5.f / 3) < tolerance;
  return FromBmp(wide ? "mask_vignette_wide.bmp" : "mask_vignette_legacy.bmp", kLuminance);
}

int TextureModel::Wrap(int i, int n) const {
  return repeat ? ((i % n) + n) % n : std::min(std::max(i, 0), n - 1);
}

Texel TextureModel::Linear(float s, float t) const {
  const float u = s * m_w - 0.5f, v = t * m_h - 0.5f;
  const float fu = std::floor(u), fv = std::floor(v);
  const int x0 = Wrap(static_cast<int>(fu), m_w), y0 = Wrap(static_cast<int>(fv), m_h);
  const int x1 = Wrap(static_cast<int>(fu) + 1, m_w), y1 = Wrap(static_cast<int>(fv) + 1, m_h);
  return Mix8(Mix8(At(x0, y0), At(x1, y0), u - fu), Mix8(At(x0, y1), At(x1, y1), u - fu), v - fv);
}

std::string AssetPath(const std::string& file) { return pe::platform::AssetDir() + file; }

}  // namespace ref
}  // namespace pe

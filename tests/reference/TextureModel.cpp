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

Texel Mix(const Texel& a, const Texel& b, int w) {
  return {Lerp8(a.r, b.r, w), Lerp8(a.g, b.g, w), Lerp8(a.b, b.b, w), Lerp8(a.a, b.a, w)};
}

}  // namespace

TextureModel TextureModel::FromBmp(const std::string& path, Kind kind) {
  std::ifstream f(path, std::ios::binary);
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
      Texel& o = t.At(x, y);
      switch (kind) {
        case kLuminance:
          o = {p[0] / 255.f, p[0] / 255.f, p[0] / 255.f, 1};
          break;
        case kRgb565: {
          const unsigned v = p[0] | p[1] << 8;
          o = {(v >> 11) / 31.f, ((v >> 5) & 63) / 63.f, (v & 31) / 31.f, 1};
          break;
        }
        case kRgb:
          o = {p[0] / 255.f, p[1] / 255.f, p[2] / 255.f, 1};
          break;
      }
    }
  return t;
}

TextureModel TextureModel::FromFrame(const Nv21& frame, int allocW) {
  TextureModel t(allocW, frame.height);
  for (int y = 0; y < frame.height; ++y)
    for (int x = 0; x < allocW; ++x) {
      const int sx = std::min(x, frame.width - 1);
      const uint8_t* c = frame.uv() + static_cast<size_t>(y / 2) * frame.width + (sx & ~1);
      t.At(x, y) = {frame.y()[static_cast<size_t>(y) * frame.width + sx] / 255.f, c[0] / 255.f,
                    c[1] / 255.f, 1};
    }
  return t;
}

int TextureModel::Wrap(int i, int n) const {
  if (repeat) return ((i % n) + n) % n;
  return std::min(std::max(i, 0), n - 1);
}

Texel TextureModel::Linear(float s, float t) const {
  const float u = s * m_w - 0.5f, v = t * m_h - 0.5f;
  const float fu = std::floor(u), fv = std::floor(v);
  const int x0 = static_cast<int>(fu), y0 = static_cast<int>(fv);
  return Bilinear(At(Wrap(x0, m_w), Wrap(y0, m_h)), At(Wrap(x0 + 1, m_w), Wrap(y0, m_h)),
                  At(Wrap(x0, m_w), Wrap(y0 + 1, m_h)), At(Wrap(x0 + 1, m_w), Wrap(y0 + 1, m_h)),
                  u - fu, v - fv);
}

Texel Bilinear(const Texel& p00, const Texel& p10, const Texel& p01, const Texel& p11, float a,
               float b) {
  const int wa = static_cast<int>(std::lround(a * 256.f));
  const int wb = static_cast<int>(std::lround(b * 256.f));
  return Mix(Mix(p00, p10, wa), Mix(p01, p11, wa), wb);
}

Nv21 Render(int w, int h, const std::function<Rgb(int x, int y)>& pixel) {
  // The round trip's own back half: a frame whose every pixel the shade
  // replaces by the given colour.
  Nv21 blank(w, h);
  return RoundTrip(blank, [&pixel](int x, int y, Rgb) { return pixel(x, y); });
}

std::string AssetPath(const std::string& file) { return pe::platform::AssetDir() + file; }

}  // namespace ref
}  // namespace pe

#include "TextureModel.h"

#include <pe/Platform.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace pe {
namespace ref {
namespace {

float Clamp01(float v) { return std::min(1.f, std::max(0.f, v)); }
uint8_t ToByte(float v) { return static_cast<uint8_t>(std::lround(Clamp01(v) * 255.f)); }

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
  return {Lerp8(a.r, b.r, w), Lerp8(a.g, b.g, w), Lerp8(a.b, b.b, w)};
}

}  // namespace

Nv21 MakeFrame(int w, int h, uint32_t seed) {
  Nv21 f(w, h);
  uint32_t s = seed * 2654435761u + 1;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      s = s * 1103515245u + 12345u;
      int v = (x * 255) / std::max(1, w - 1);
      if ((y / 16) % 3 == 1) v = ((x / 8 + y / 8) % 2) ? 235 : 16;    // fine detail
      if ((y / 16) % 3 == 2) v = static_cast<int>((s >> 16) & 0xFF);  // noise
      f.y()[static_cast<size_t>(y) * w + x] = static_cast<uint8_t>(v);
    }
  for (int y = 0; y < h / 2; ++y)
    for (int x = 0; x < w / 2; ++x) {
      uint8_t* p = f.uv() + static_cast<size_t>(y) * w + 2 * x;
      p[0] = static_cast<uint8_t>(64 + (x * 128) / std::max(1, w / 2));   // V
      p[1] = static_cast<uint8_t>(192 - (y * 128) / std::max(1, h / 2));  // U
    }
  return f;
}

Rgb YuvToRgb(float y, float v, float u) {
  return {y + 1.402f * v - 0.701f, y - 0.714f * v - 0.344f * u + 0.529f, y + 1.772f * u - 0.886f};
}

float Smoothstep(float e0, float e1, float x) {
  const float t = Clamp01((x - e0) / (e1 - e0));
  return t * t * (3.f - 2.f * t);
}

Rgb Quantise(Rgb c) { return {ToByte(c.r) / 255.f, ToByte(c.g) / 255.f, ToByte(c.b) / 255.f}; }

Nv21 Render(int w, int h, const std::function<Rgb(int x, int y)>& pixel) {
  std::vector<Rgb> rgb(static_cast<size_t>(w) * h);
  Nv21 out(w, h);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const Rgb p = rgb[static_cast<size_t>(y) * w + x] = Quantise(pixel(x, y));
      out.y()[static_cast<size_t>(y) * w + x] = ToByte(0.299f * p.r + 0.587f * p.g + 0.114f * p.b);
    }
  for (int y = 0; y < h / 2; ++y)
    for (int x = 0; x < w / 2; ++x) {
      Rgb m{0, 0, 0};
      for (int dy = 0; dy < 2; ++dy)
        for (int dx = 0; dx < 2; ++dx) {
          const Rgb& p = rgb[static_cast<size_t>(2 * y + dy) * w + 2 * x + dx];
          m = {m.r + p.r / 4, m.g + p.g / 4, m.b + p.b / 4};
        }
      uint8_t* o = out.uv() + static_cast<size_t>(y) * w + 2 * x;
      o[0] = ToByte(0.5f * m.r - 0.4186829f * m.g - 0.0813089f * m.b + 0.5f);
      o[1] = ToByte(-0.168727f * m.r - 0.33126147f * m.g + 0.5f * m.b + 0.5f);
    }
  return out;
}

Nv21 RoundTrip(const Nv21& in, const Shade& shade) {
  return Render(in.width, in.height, [&](int x, int y) {
    const Rgb p = ToRgb(PixelTexel(in, x, y));
    return shade ? shade(x, y, p) : p;
  });
}

Diff Compare(const Nv21& actual, const Expected& expected) {
  Diff d;
  const Nv21& want = expected.frame;
  if (actual.width != want.width || actual.height != want.height) {
    d.maxY = d.maxUV = 256;
    return d;
  }
  const int w = want.width, h = want.height;
  auto skipped = [&](int x, int y) {
    return !expected.skip.empty() && expected.skip[static_cast<size_t>(y) * w + x] != 0;
  };
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      const size_t i = static_cast<size_t>(y) * w + x;
      const int diff = std::abs(actual.y()[i] - want.y()[i]);
      if (skipped(x, y)) {
        ++d.skipped;
        d.seam += expected.skip[i] == kSeam;
        d.seamOff += expected.skip[i] == kSeam && diff > 4;
      } else if (diff > d.maxY) {
        d.maxY = diff;
        d.worstX = x;
        d.worstY = y;
      }
    }
  for (int y = 0; y + 1 < h; y += 2)
    for (int x = 0; x + 1 < w; x += 2) {
      if (skipped(x, y) || skipped(x + 1, y) || skipped(x, y + 1) || skipped(x + 1, y + 1))
        continue;
      for (int c = 0; c < 2; ++c) {
        const size_t i = static_cast<size_t>(y / 2) * w + x + c;
        d.maxUV = std::max(d.maxUV, std::abs(actual.uv()[i] - want.uv()[i]));
      }
    }
  return d;
}

Texel PixelTexel(const Nv21& f, int x, int y) {
  const uint8_t* c = f.uv() + static_cast<size_t>(y / 2) * f.width + (x & ~1);
  return {f.y()[static_cast<size_t>(y) * f.width + x] / 255.f, c[0] / 255.f, c[1] / 255.f};
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

Texel TextureModel::Linear(float s, float t) const {
  const float u = s * m_w - 0.5f, v = t * m_h - 0.5f;
  const float fu = std::floor(u), fv = std::floor(v);
  auto wrap = [this](int i, int n) {
    return repeat ? ((i % n) + n) % n : std::min(std::max(i, 0), n - 1);
  };
  const int x0 = wrap(static_cast<int>(fu), m_w), y0 = wrap(static_cast<int>(fv), m_h);
  const int x1 = wrap(static_cast<int>(fu) + 1, m_w), y1 = wrap(static_cast<int>(fv) + 1, m_h);
  return Mix8(Mix8(At(x0, y0), At(x1, y0), u - fu), Mix8(At(x0, y1), At(x1, y1), u - fu), v - fv);
}

std::string AssetPath(const std::string& file) { return pe::platform::AssetDir() + file; }

}  // namespace ref
}  // namespace pe

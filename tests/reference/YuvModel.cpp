#include "YuvModel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace pe {
namespace ref {
namespace {

float Clamp01(float v) { return std::min(1.f, std::max(0.f, v)); }
uint8_t ToByte(float v) { return static_cast<uint8_t>(std::lround(Clamp01(v) * 255.f)); }

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
    const uint8_t* c = in.vu(x, y);
    const Rgb p =
        YuvToRgb(in.y()[static_cast<size_t>(y) * in.width + x] / 255.f, c[0] / 255.f, c[1] / 255.f);
    return shade ? shade(x, y, p) : p;
  });
}

Diff Compare(const Nv21& a, const Nv21& b) { return CompareMasked(a, b).diff; }

MaskedDiff CompareMasked(const Nv21& actual, const Expected& expected) {
  MaskedDiff d;
  const Nv21& want = expected.frame;
  if (actual.width != want.width || actual.height != want.height) {
    d.diff.maxY = d.diff.maxUV = 256;
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
      } else if (diff > d.diff.maxY) {
        d.diff = {diff, d.diff.maxUV, x, y};
      }
    }
  for (int y = 0; y + 1 < h; y += 2)
    for (int x = 0; x + 1 < w; x += 2) {
      if (skipped(x, y) || skipped(x + 1, y) || skipped(x, y + 1) || skipped(x + 1, y + 1))
        continue;
      for (int c = 0; c < 2; ++c) {
        const size_t i = static_cast<size_t>(y / 2) * w + x + c;
        d.diff.maxUV = std::max(d.diff.maxUV, std::abs(actual.uv()[i] - want.uv()[i]));
      }
    }
  return d;
}

}  // namespace ref
}  // namespace pe

#include "ColorConvert.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>

namespace pe::cli {

namespace {

// std::lround (halves away from zero), clamped to a byte, inline: the call
// was a third of a photo's round trip. For v >= 0, v - trunc(v) is exact.
inline uint8_t ToByte(double v) {
  if (!(v > 0)) return 0;
  if (v >= 255) return 255;
  const int t = static_cast<int>(v);
  return static_cast<uint8_t>(t + (v - t >= 0.5));
}

// 0.299 R + 0.587 G + 0.114 B rounded half away from zero, in thousandths:
// exact but where the sum lies halfway, which the decimal weights in double
// precision settle either way, so those few take the double sum.
inline uint8_t Luma(const uint8_t* p) {
  const int n = 299 * p[0] + 587 * p[1] + 114 * p[2], rem = n % 1000;
  if (rem == 500) return ToByte(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]);
  return static_cast<uint8_t>(n / 1000 + (rem > 500));
}

}  // namespace

Nv21Frame RgbToNv21(const RgbImage& image, int width, int height) {
  Nv21Frame frame(width, height);
  if (image.width <= 0 || image.height <= 0) return frame;
  // Columns and rows past the picture repeat its last ones.
  const int lastX = image.width - 1, lastY = image.height - 1;
  auto at = [&](int x, int y) { return image.At(std::min(x, lastX), std::min(y, lastY)); };
  const int inside = std::min(width, image.width);
  for (int y = 0; y < height; ++y) {
    uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * width;
    const uint8_t* src = image.At(0, std::min(y, lastY));
    for (int x = 0; x < inside; ++x) yRow[x] = Luma(src + 3 * x);
    if (inside < width) std::memset(yRow + inside, Luma(src + 3 * lastX), width - inside);
  }
  for (int y = 0; y < height; y += 2) {
    uint8_t* vu = frame.VU() + static_cast<size_t>(y / 2) * width;
    for (int x = 0; x < width; x += 2) {
      double r = 0, g = 0, b = 0;
      for (int dy = 0; dy < 2; ++dy) {
        for (int dx = 0; dx < 2; ++dx) {
          const uint8_t* p = at(x + dx, y + dy);
          r += p[0];
          g += p[1];
          b += p[2];
        }
      }
      r /= 4;
      g /= 4;
      b /= 4;
      vu[x] = ToByte(0.5 * r - 0.4186829 * g - 0.0813089 * b + 127.5);
      vu[x + 1] = ToByte(-0.168727 * r - 0.33126147 * g + 0.5 * b + 127.5);
    }
  }
  return frame;
}

Nv21Frame RgbToNv21(const RgbImage& image) { return RgbToNv21(image, image.width, image.height); }

RgbImage Nv21ToRgb(const Nv21Frame& frame, int width, int height) {
  // Each channel is luma plus a whole offset of the pair's chroma: the
  // formula, rounded half away from zero, comes out so for every byte. Red's
  // offset hangs on V, blue's on U, green's on both.
  struct Offsets {
    int16_t red[256], blue[256], green[256 * 256];
  };
  static const Offsets* const kOffsets = [] {
    auto* o = new Offsets;
    auto whole = [](double d) { return static_cast<int16_t>(std::floor(d + 0.5)); };
    for (int c = 0; c < 256; ++c) {
      o->red[c] = whole(1.402 * (c - 127.5));
      o->blue[c] = whole(1.772 * (c - 127.5));
      for (int u = 0; u < 256; ++u)
        o->green[c * 256 + u] = whole(-0.714 * (c - 127.5) - 0.344 * (u - 127.5));
    }
    return o;
  }();
  width = std::min(width, frame.width);
  height = std::min(height, frame.height);
  RgbImage image(width, height);
  for (int y = 0; y < height; ++y) {
    const uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * frame.width;
    const uint8_t* vu = frame.VU() + static_cast<size_t>(y / 2) * frame.width;
    uint8_t* p = image.At(0, y);
    for (int x = 0; x < width; x += 2) {
      const int k[3] = {kOffsets->red[vu[x]], kOffsets->green[vu[x] * 256 + vu[x + 1]],
                        kOffsets->blue[vu[x + 1]]};
      for (int i = x; i < std::min(x + 2, width); ++i, p += 3)
        for (int c = 0; c < 3; ++c) p[c] = static_cast<uint8_t>(std::clamp(yRow[i] + k[c], 0, 255));
    }
  }
  return image;
}

RgbImage Nv21ToRgb(const Nv21Frame& frame) { return Nv21ToRgb(frame, frame.width, frame.height); }

}  // namespace pe::cli

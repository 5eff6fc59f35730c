#include "ColorConvert.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

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

}  // namespace

Nv21Frame RgbToNv21(const RgbImage& image, int width, int height) {
  Nv21Frame frame(width, height);
  if (image.width <= 0 || image.height <= 0) return frame;
  // Columns and rows past the picture repeat its last ones.
  const int lastX = image.width - 1, lastY = image.height - 1;
  auto at = [&](int x, int y) { return image.At(std::min(x, lastX), std::min(y, lastY)); };
  for (int y = 0; y < height; ++y) {
    uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * width;
    for (int x = 0; x < width; ++x) {
      const uint8_t* p = at(x, y);
      yRow[x] = ToByte(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]);
    }
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
  // Red hangs on luma and V alone, blue on luma and U: one table each, made
  // by the same arithmetic.
  static const auto kTables = [] {
    std::vector<uint8_t> t(2 * 256 * 256);
    for (int c = 0; c < 256; ++c)
      for (int l = 0; l < 256; ++l) {
        t[c * 256 + l] = ToByte(l + 1.402 * (c - 127.5));
        t[65536 + c * 256 + l] = ToByte(l + 1.772 * (c - 127.5));
      }
    return t;
  }();
  width = std::min(width, frame.width);
  height = std::min(height, frame.height);
  RgbImage image(width, height);
  for (int y = 0; y < height; ++y) {
    const uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * frame.width;
    const uint8_t* vu = frame.VU() + static_cast<size_t>(y / 2) * frame.width;
    uint8_t* p = image.At(0, y);
    for (int x = 0; x < width; ++x, p += 3) {
      const int l = yRow[x], cv = vu[x & ~1], cu = vu[(x & ~1) + 1];
      const double luma = l, v = cv - 127.5, u = cu - 127.5;
      p[0] = kTables[cv * 256 + l];
      p[1] = ToByte(luma - 0.714 * v - 0.344 * u);
      p[2] = kTables[65536 + cu * 256 + l];
    }
  }
  return image;
}

RgbImage Nv21ToRgb(const Nv21Frame& frame) { return Nv21ToRgb(frame, frame.width, frame.height); }

}  // namespace pe::cli

#include "ColorConvert.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace pe::cli {

namespace {

uint8_t ToByte(double v) {
  const long r = std::lround(v);
  return static_cast<uint8_t>(r < 0 ? 0 : (r > 255 ? 255 : r));
}

}  // namespace

Nv21Frame RgbToNv21(const RgbImage& image) {
  Nv21Frame frame(image.width, image.height);
  for (int y = 0; y < image.height; ++y) {
    uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * image.width;
    for (int x = 0; x < image.width; ++x) {
      const uint8_t* p = image.At(x, y);
      yRow[x] = ToByte(0.299 * p[0] + 0.587 * p[1] + 0.114 * p[2]);
    }
  }
  for (int y = 0; y < image.height; y += 2) {
    uint8_t* vu = frame.VU() + static_cast<size_t>(y / 2) * image.width;
    for (int x = 0; x < image.width; x += 2) {
      double r = 0, g = 0, b = 0;
      for (int dy = 0; dy < 2; ++dy) {
        for (int dx = 0; dx < 2; ++dx) {
          const uint8_t* p = image.At(x + dx, y + dy);
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

RgbImage Nv21ToRgb(const Nv21Frame& frame) {
  RgbImage image(frame.width, frame.height);
  for (int y = 0; y < frame.height; ++y) {
    const uint8_t* yRow = frame.Y() + static_cast<size_t>(y) * frame.width;
    const uint8_t* vu = frame.VU() + static_cast<size_t>(y / 2) * frame.width;
    for (int x = 0; x < frame.width; ++x) {
      const double luma = yRow[x];
      const double v = vu[x & ~1] - 127.5;
      const double u = vu[(x & ~1) + 1] - 127.5;
      uint8_t* p = image.At(x, y);
      p[0] = ToByte(luma + 1.402 * v);
      p[1] = ToByte(luma - 0.714 * v - 0.344 * u);
      p[2] = ToByte(luma + 1.772 * u);
    }
  }
  return image;
}

RgbImage CropToEven(const RgbImage& image) {
  return Resized(image, image.width & ~1, image.height & ~1);
}

RgbImage Resized(const RgbImage& image, int width, int height) {
  if (width == image.width && height == image.height) return image;
  RgbImage out(width, height);
  for (int y = 0; y < height; ++y) {
    const uint8_t* src = image.At(0, std::min(y, image.height - 1));
    const int copied = std::min(width, image.width);
    uint8_t* dst = out.At(0, y);
    std::memcpy(dst, src, static_cast<size_t>(copied) * 3);
    for (int x = copied; x < width; ++x) std::memcpy(dst + x * 3, src + (image.width - 1) * 3, 3);
  }
  return out;
}

}  // namespace pe::cli

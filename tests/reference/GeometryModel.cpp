#include <algorithm>
#include <cmath>

#include "LookModels.h"

namespace pe {
namespace ref {
namespace {

Rgb Pixel(const Nv21& f, int x, int y) { return ToRgb(PixelTexel(f, x, y)); }

// Texel index a folded texture coordinate lands on, in a texture n texels
// long: coordinates above one half read their reflection.
int Fold(int i, int n) { return (i + 0.5) / n > 0.5 ? n - 1 - i : i; }

// A w x h picture of what the fisheye shows at each pixel, the centre's own
// row and column left out of the comparison.
Expected Draw(const Fisheye& e, int w, int h, const std::function<Rgb(float s, float t)>& sample) {
  std::vector<char> skip(static_cast<size_t>(w) * h);
  Nv21 out = Render(w, h, [&](int x, int y) {
    skip[static_cast<size_t>(y) * w + x] =
        std::fabs(x + 0.5 - e.cx * w) < 1.5 || std::fabs(y + 0.5 - e.cy * h) < 1.5;
    double su, sv;
    e.Map((x + 0.5) / w, (y + 0.5) / h, &su, &sv);
    return sample(static_cast<float>(su), static_cast<float>(sv));
  });
  return {std::move(out), std::move(skip)};
}

}  // namespace

void Fisheye::Map(double u, double v, double* su, double* sv) const {
  const double tx = u - cx, ty = v - cy;
  const double rr = std::hypot(tx, ty);
  // Half-axes: from the centre to the picture's edge on each side.
  const double a = tx > 0 ? 1 - cx : cx, b = ty > 0 ? 1 - cy : cy;
  // Distance from the centre to that ellipse along the ray through t.
  const double ang = std::atan2(ty, tx);
  const double nr =
      1.0 / std::sqrt(std::pow(std::cos(ang) / a, 2) + std::pow(std::sin(ang) / b, 2));
  const double f = level - 1;
  const double pf = 2 / (1 + std::pow(std::max(0.0, rr - 0.7), 1.6) * 15);
  const double r = rr * rr * pf * f;
  const double swell = f < 0 ? 1 + std::sqrt(-f) * 0.72 : 1 - std::sqrt(f) * 0.72;
  const double expanding = (1 + r * 1.5 + r * rr * rr) * swell;
  const double bulge = std::pow(rr / nr, f);
  // Weighed by ceil(f): the bulge alone up to level 1, the expanding branch
  // alone up to 2, a blend of both outside.
  const double c = std::ceil(f);
  const double scale = (c == 0 ? 0 : c * expanding) + (1 - c) * bulge;
  *su = cx + tx * scale;
  *sv = cy + ty * scale;
}

Expected Fisheye::Preview(const Nv21& frame, int allocW) const {
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  const float scale = static_cast<float>(frame.width) / allocW;
  return Draw(*this, frame.width, frame.height,
              [&](float s, float t) { return ToRgb(src.Linear(s * scale, t)); });
}

Expected Fisheye::Still(const Nv21& still) const {
  TextureModel y(still.width, still.height), vu(still.width / 2, still.height / 2);
  for (int j = 0; j < still.height; ++j)
    for (int i = 0; i < still.width; ++i) {
      const Texel p = PixelTexel(still, i, j);
      y.At(i, j).r = p.r;
      vu.At(i / 2, j / 2) = {p.g, p.b, 0};
    }
  return Draw(*this, still.width, still.height, [&](float s, float t) {
    const Texel c = vu.Linear(s, t);
    return YuvToRgb(y.Linear(s, t).r, c.r, c.g);
  });
}

Nv21 Dots(const Nv21& frame, int allocW, double dot, const TextureModel& mask) {
  const int w = frame.width, h = frame.height;
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  return Render(w, h, [&](int x, int y) {
    const double cx = std::floor((x + 0.5) / dot), cy = std::floor((y + 0.5) / dot);
    // The reduced texel is stored in 8 bits before it is enlarged.
    const Rgb c = Quantise(ToRgb(src.Linear(static_cast<float>((cx + 0.5) * dot / allocW),
                                            static_cast<float>((cy + 0.5) * dot / h))));
    const Texel m =
        mask.Linear(static_cast<float>((x + 0.5) / dot), static_cast<float>((y + 0.5) / dot));
    return Rgb{c.r * m.r, c.g * m.g, c.b * m.b};
  });
}

Nv21 MirrorPreview(const Nv21& frame, int allocW, bool landscape) {
  return Render(frame.width, frame.height, [&](int x, int y) {
    return landscape ? Pixel(frame, Fold(x, allocW), y) : Pixel(frame, x, Fold(y, frame.height));
  });
}

Nv21 MirrorStill(const Nv21& still, int procW, int procH, bool landscape) {
  const int W = still.width;
  return Render(W, still.height, [&](int x, int y) {
    int x0 = x / procW * procW;
    const int w = std::min(procW, W - x0);
    if (w % 32) x0 = W - (w + 31) / 32 * 32;
    const int y0 = y / procH * procH;
    return landscape ? Pixel(still, x0 + Fold(x - x0, procW), y)
                     : Pixel(still, x, y0 + Fold(y - y0, procH));
  });
}

}  // namespace ref
}  // namespace pe

#include "CurveModel.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "BlockWalk.h"

namespace pe {
namespace ref {
namespace {

Rgb Toned(const CurveLook& look, Rgb p, float ms, float mt) {
  const Texel c1 = look.curve.Linear(p.r, 0.f);
  const Texel c2 = look.curve.Linear(p.g, 0.f);
  const Texel c3 = look.curve.Linear(p.b, 0.f);
  const float grey = c1.r * 0.299f + c2.g * 0.587f + c3.b * 0.114f;
  const Rgb out = look.grey ? Rgb{grey, grey, grey} : Rgb{c1.b, c2.g, c3.r};
  const float m = look.mask.Empty() ? 1.f : look.mask.Linear(ms, mt).r;
  return {out.r * m, out.g * m, out.b * m};
}

// Sharpened luma, converted, each channel brightened through the curve, and
// bright areas pushed towards paper white.
Rgb Whiteboard(const TextureModel& src, const TextureModel& curve, float s, float t, float dx,
               float dy) {
  const Texel cc = src.Linear(s, t);
  const float ring = src.Linear(s + dx, t + dy).r + src.Linear(s + dx, t - dy).r +
                     src.Linear(s - dx, t - dy).r + src.Linear(s - dx, t + dy).r;
  const Rgb p = YuvToRgb(1.3f * cc.r - 0.075f * ring, cc.g, cc.b);
  const float d[3] = {p.r, p.g, p.b};
  float c[3];
  for (int i = 0; i < 3; ++i)
    c[i] = curve.Linear(std::pow(std::min(1.f, std::max(0.f, d[i])), 0.7f), 0.5f).b;
  const float white = 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2];
  const float lift = 1.f + 0.3f * std::max(white - 0.2f, 0.f);
  const float cap[3] = {0.96f, 0.965f, 0.95f};
  float o[3];
  for (int i = 0; i < 3; ++i) o[i] = c[i] + (std::min(c[i] * lift, cap[i]) - c[i]) * 0.6f;
  return {o[0], o[1], o[2]};
}

float Centre(int i, int n) { return (i + 0.5f) / n; }

}  // namespace

CurveLook LoadCurveLook(const std::string& dir, const std::string& curveFile, bool grey,
                        bool masked, int w, int h) {
  CurveLook look;
  look.grey = grey;
  look.curve = TextureModel::FromBmp(dir + curveFile, TextureModel::kRgb);
  const double ratio = static_cast<double>(w) / h;
  const bool wide = std::fabs(ratio - 16.0 / 9) < 1e-4 || std::fabs(ratio - 5.0 / 3) < 1e-4;
  if (masked)
    look.mask =
        TextureModel::FromBmp(dir + (wide ? "mask_vignette_wide.bmp" : "mask_vignette_legacy.bmp"),
                              TextureModel::kLuminance);
  return look;
}

Nv21 CurveLookPreview(const CurveLook& look, const Nv21& frame, int allocW, const float* crop) {
  const int w = frame.width, h = frame.height;
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  const float def[4] = {0, 0, static_cast<float>(w) / allocW, 1};
  const float* c = crop ? crop : def;
  return Render(w, h, [&](int x, int y) {
    if (look.grey) {
      // Coordinates kept to the frame's columns, the mask read at them too.
      const float s = Centre(x, w) * w / allocW, t = Centre(y, h);
      return Toned(look, ToRgb(src.Linear(s, t)), s, t);
    }
    const float s = Centre(x, w), t = Centre(y, h);
    return Toned(look, ToRgb(src.Linear(s * c[2] + c[0], t * c[3] + c[1])), s, t);
  });
}

Nv21 CurveLookCapture(const CurveLook& look, const Nv21& still) {
  const int w = still.width, h = still.height;
  return RoundTrip(still,
                   [&](int x, int y, Rgb p) { return Toned(look, p, Centre(x, w), Centre(y, h)); });
}

Nv21 WhiteboardPreview(const TextureModel& curve, const Nv21& frame, int allocW,
                       const float* crop) {
  const int w = frame.width, h = frame.height;
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  const float def[4] = {0, 0, static_cast<float>(w) / allocW, 1};
  const float* c = crop ? crop : def;
  return Render(w, h, [&](int x, int y) {
    return Whiteboard(src, curve, c[0] + Centre(x, w) * c[2], c[1] + Centre(y, h) * c[3], 1.f / w,
                      1.f / h);
  });
}

Nv21 WhiteboardCapture(const TextureModel& curve, const Nv21& still, int procW, int procH,
                       int allocW, const float* crop) {
  const int W = still.width, H = still.height;
  std::vector<Rgb> out(static_cast<size_t>(W) * H);
  TextureModel tex(allocW, procH);
  // Blocks and their sources as the crop-aware walk places them.
  const CropBlockWalk walk(W, H, procW, procH, allocW, crop);
  for (unsigned run = 0; run < walk.MaxRuns(); ++run) {
    const CropBlock b = walk.Place(run);
    const int x0 = b.out.x, y0 = b.out.y, w = b.out.w, h = b.out.h;
    // Filled as the service expands a block: whole 16-pixel groups and row
    // pairs, chroma rows counted from the first one, the rest of each row
    // and the rows below repeating the last pixel and row written.
    const int cols = b.sw / 16 * 16, rows = b.sh / 2 * 2;
    for (int r = 0; r < procH; ++r)
      for (int c = 0; c < allocW; ++c) {
        const int rr = std::min(r, rows - 1), cc = std::min(c, cols - 1);
        const int px = b.sx + cc, py = b.sy + rr;
        const uint8_t* uv = still.uv() + static_cast<size_t>(b.sy / 2 + rr / 2) * W + (px & ~1);
        tex.At(c, r) = {still.y()[static_cast<size_t>(py) * W + px] / 255.f, uv[0] / 255.f,
                        uv[1] / 255.f, 1};
      }
    const float s0 = b.out.s0, t0 = b.out.t0, s1 = b.out.s1 - s0, t1 = b.out.t1 - t0;
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w && x0 + i < W; ++i)
        out[static_cast<size_t>(y0 + j) * W + x0 + i] = Whiteboard(
            tex, curve, s0 + Centre(i, w) * s1, t0 + Centre(j, h) * t1, 1.f / w, 1.f / h);
  }
  return Render(W, H, [&](int x, int y) { return out[static_cast<size_t>(y) * W + x]; });
}

}  // namespace ref
}  // namespace pe

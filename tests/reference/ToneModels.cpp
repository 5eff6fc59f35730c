// The tone looks: curves, whiteboard and contrast ramps.

#include <algorithm>
#include <cmath>

#include "BlockWalk.h"
#include "LookModels.h"

namespace pe {
namespace ref {
namespace {

// Sharpened luma, converted, each channel brightened through the curve, and
// bright areas pushed towards paper white; taps (dx, dy) apart.
Rgb Whiteboard(const TextureModel& src, float s, float t, float dx, float dy) {
  static const TextureModel curve =
      TextureModel::FromBmp("ContrastCurveSet.bmp", TextureModel::kRgb);
  const Texel cc = src.Linear(s, t);
  const float ring = src.Linear(s + dx, t + dy).r + src.Linear(s + dx, t - dy).r +
                     src.Linear(s - dx, t - dy).r + src.Linear(s - dx, t + dy).r;
  const Rgb p = YuvToRgb(1.3f * cc.r - 0.075f * ring, cc.g, cc.b);
  const float d[3] = {p.r, p.g, p.b}, cap[3] = {0.96f, 0.965f, 0.95f};
  float c[3], o[3];
  for (int i = 0; i < 3; ++i)
    c[i] = curve.Linear(std::pow(std::min(1.f, std::max(0.f, d[i])), 0.7f), 0.5f).b;
  const float white = 0.299f * c[0] + 0.587f * c[1] + 0.114f * c[2];
  const float lift = 1.f + 0.3f * std::max(white - 0.2f, 0.f);
  for (int i = 0; i < 3; ++i) o[i] = c[i] + (std::min(c[i] * lift, cap[i]) - c[i]) * 0.6f;
  return {o[0], o[1], o[2]};
}

float Centre(int i, int n) { return (i + 0.5f) / n; }

// Per look, in RampLook's order: the luma range, the ramp rows and mix
// constants, and the table the look reads (CM's mask follows the frame).
struct LookConstants {
  float clip[4], control[4];
  const char* table;
};
const LookConstants kLooks[] = {
    {{0.f, 0.859f, 0.0976f, 1.f}, {0.6f, 0.5f, 0.5f, 0.f}, "stylizeColorRamp.bmp"},
    {{0.f, 1.f, 0.117f, 1.f}, {0.6f, 0.6f, 0.9f, 0.f}, "stylizeColorRamp.bmp"},
    {{0.f, 1.f, 0.f, 1.f}, {0.7f, 0.6f, 0.f, -0.15f}, "twoToneMaskV.bmp"},
    {{0.f, 1.f, 0.f, 1.f}, {1.f, 0.8f, 0.f, -0.3f}, "twoToneMaskH.bmp"},
    {{0.f, 1.f, 0.f, 1.f}, {0.8f, 0.7f, 0.6f, 1.f}, nullptr},
    {{0.f, 1.f, 0.f, 1.f}, {0.6f, 0.8f, 0.4f, 1.f}, "mask_vignette_wide.bmp"},
};

// CM's tone pair: five sets from p0 = 0 (the last) to p0 = 99 (the first),
// each stretch of 25 positions reaching its end one position early.
void TonesAt(int p0, float tones[4]) {
  static const float kSets[5][4] = {
      {0.475f, 0.525f, 0.352f, 0.75f},  {0.412f, 0.577f, 0.3f, 0.607f},
      {0.354f, 0.656f, 0.5f, 0.35f},    {0.409f, 0.63f, 0.645f, 0.257f},
      {0.455f, 0.556f, 0.705f, 0.365f},
  };
  const int p = std::min(std::max(p0, 0), 99);
  const int stretch = std::min(p / 25, 3);
  const float along = static_cast<float>(p - 25 * stretch) / 24.f;
  for (int i = 0; i < 4; ++i) {
    const float from = kSets[4 - stretch][i], to = kSets[3 - stretch][i];
    tones[i] = from + (to - from) * along;
  }
}

}  // namespace

Nv21 Cropped(
    const Nv21& frame, int allocW, const float* crop,
    const std::function<Rgb(const TextureModel& src, float s, float t, float u, float v)>& shade) {
  const int w = frame.width, h = frame.height;
  const TextureModel src = TextureModel::FromFrame(frame, allocW);
  const float whole[4] = {0, 0, static_cast<float>(w) / allocW, 1};
  const float* c = crop ? crop : whole;
  return Render(w, h, [&](int x, int y) {
    const float u = Centre(x, w), v = Centre(y, h);
    return shade(src, c[0] + u * c[2], c[1] + v * c[3], u, v);
  });
}

CurveLook::CurveLook(const std::string& curveFile, bool grey, bool masked, int w, int h)
    : grey(grey), curve(TextureModel::FromBmp(curveFile, TextureModel::kRgb)) {
  if (masked) mask = TextureModel::Vignette(w, h, 1e-4f);
}

Nv21 CurveLook::Apply(const Nv21& frame, int allocW, const float* crop) const {
  // The grey look keeps to the frame's columns and reads the mask there too.
  return Cropped(frame, allocW, grey ? nullptr : crop,
                 [&](const TextureModel& src, float s, float t, float u, float v) {
                   const Rgb p = ToRgb(src.Linear(s, t));
                   const Texel c1 = curve.Linear(p.r, 0), c2 = curve.Linear(p.g, 0),
                               c3 = curve.Linear(p.b, 0);
                   const float y = c1.r * 0.299f + c2.g * 0.587f + c3.b * 0.114f;
                   const Rgb out = grey ? Rgb{y, y, y} : Rgb{c1.b, c2.g, c3.r};
                   const float m = mask.Empty() ? 1.f : mask.Linear(grey ? s : u, v).r;
                   return Rgb{out.r * m, out.g * m, out.b * m};
                 });
}

Nv21 WhiteboardPreview(const Nv21& frame, int allocW, const float* crop) {
  const float dx = 1.f / frame.width, dy = 1.f / frame.height;
  return Cropped(frame, allocW, crop, [&](const TextureModel& src, float s, float t, float, float) {
    return Whiteboard(src, s, t, dx, dy);
  });
}

Nv21 WhiteboardCapture(const Nv21& still, int procW, int procH, int allocW, const float* crop) {
  const int W = still.width, H = still.height;
  std::vector<Rgb> out(static_cast<size_t>(W) * H);
  TextureModel tex(allocW, procH);
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
        const int rr = std::min(r, rows - 1), px = b.sx + std::min(c, cols - 1);
        const Texel luma = PixelTexel(still, px, b.sy + rr);
        const Texel chroma = PixelTexel(still, px, b.sy + rr / 2 * 2);
        tex.At(c, r) = {luma.r, chroma.g, chroma.b};
      }
    const float s0 = b.out.s0, t0 = b.out.t0, s1 = b.out.s1 - s0, t1 = b.out.t1 - t0;
    for (int j = 0; j < h; ++j)
      for (int i = 0; i < w && x0 + i < W; ++i)
        out[static_cast<size_t>(y0 + j) * W + x0 + i] =
            Whiteboard(tex, s0 + Centre(i, w) * s1, t0 + Centre(j, h) * t1, 1.f / w, 1.f / h);
  }
  return Render(W, H, [&](int x, int y) { return out[static_cast<size_t>(y) * W + x]; });
}

RampModel::RampModel(RampLook look, int viewportW, int viewportH, int p0)
    : m_look(look),
      m_contrast(TextureModel::FromBmp("stylizeContrastRamp.bmp", TextureModel::kRgb)),
      m_clip(kLooks[static_cast<int>(look)].clip),
      m_control(kLooks[static_cast<int>(look)].control) {
  TonesAt(p0, m_tones);
  const char* table = kLooks[static_cast<int>(look)].table;
  const bool tone = look == RampLook::kToneCM || look == RampLook::kToneSC;
  m_table = table
                ? TextureModel::FromBmp(table, tone ? TextureModel::kLuminance : TextureModel::kRgb)
                : TextureModel::Vignette(viewportW, viewportH, 0.1f);
}

Rgb RampModel::Shade(const Texel& yuv, float ms, float mt) const {
  const float* c = m_clip;
  const float* k = m_control;
  float y =
      std::min(std::max(yuv.r - c[0], 0.f), c[1] - c[0]) * (c[3] - c[2]) / (c[1] - c[0]) + c[2];
  y = m_contrast.Linear(y, k[0]).b;
  y = m_contrast.Linear(y, k[1]).g;
  float v = yuv.g, u = yuv.b;
  if (m_look == RampLook::kToneCM) {
    const float t = std::pow(y, k[2]);
    u = m_tones[2] + (m_tones[0] - m_tones[2]) * t;
    v = m_tones[3] + (m_tones[1] - m_tones[3]) * t;
  } else if (m_look == RampLook::kToneSC) {
    v = 0.5f * (v - 0.5f + k[2] * (y - 0.5f)) + 0.5f;
    u = 0.5f * (u - 0.5f - k[2] * (y - 0.5f)) + 0.5f;
  }
  const Rgb rgb = YuvToRgb(y, v, u);
  if (m_look == RampLook::kMaple || m_look == RampLook::kNash) {
    // Red is looked up in the ramp's third channel, blue in its first; the
    // tint weight is 0 for both grades.
    return {m_table.Linear(rgb.r, k[2]).b, m_table.Linear(rgb.g, k[2]).g,
            m_table.Linear(rgb.b, k[2]).r};
  }
  if (m_look == RampLook::kToneCM || m_look == RampLook::kToneSC) {
    const float m = m_table.Linear(ms, mt).r * k[3];
    return {rgb.r * m, rgb.g * m, rgb.b * m};
  }
  const Texel mask =
      m_look == RampLook::kTwoToneH ? m_table.Linear(mt, ms) : m_table.Linear(ms, mt);
  const float f = 1.f + k[3];
  return {rgb.r * std::min(mask.r * f, 1.f), rgb.g * std::min(mask.g * f, 1.f),
          rgb.b * std::min(mask.b * f, 1.f)};
}

Nv21 RampModel::Apply(const Nv21& f, int allocW, const float* crop) const {
  return Cropped(f, allocW, crop, [&](const TextureModel& src, float s, float t, float u, float v) {
    // CM's mask over the whole picture, the others' at the source's place.
    return Shade(src.Linear(s, t), m_look == RampLook::kToneCM ? u : s, v);
  });
}

}  // namespace ref
}  // namespace pe

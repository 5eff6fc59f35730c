#include <algorithm>
#include <cmath>

#include "LookModels.h"

namespace pe {
namespace ref {
namespace {

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
    // CM's mask lies over the whole picture, the others' at the source's
    // coordinates.
    return Shade(src.Linear(s, t), m_look == RampLook::kToneCM ? u : s, v);
  });
}

}  // namespace ref
}  // namespace pe

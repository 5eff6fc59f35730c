#pragma once

// CPU model of the looks built on the contrast ramp (two stylized grades, two
// two-tone masks, two split tones): the frame's luma through a range and two
// ramp rows, back to RGB, then a colour ramp, a mask or a tone pair, each
// texture read with GL's bilinear rule.

#include "TextureModel.h"
#include "YuvModel.h"

namespace pe {
namespace ref {

enum class RampLook { kMaple, kNash, kTwoToneV, kTwoToneH, kToneCM, kToneSC };

class RampModel {
 public:
  // The look as the effect sets it up for a viewportW x viewportH preview,
  // with p0 the last parameter 0 (it only moves CM's tone pair).
  RampModel(RampLook look, int viewportW, int viewportH, int p0);
  bool Loaded() const { return !m_contrast.Empty() && !m_table.Empty(); }

  // A preview frame; crop (x, y, w, h) as the service hands it on in
  // fractions, or null for none.
  Nv21 Preview(const Nv21& frame, const float* crop = nullptr) const;
  // A whole still: masks over the whole picture; the crop (fractions of the
  // still) zooms the looks captured through the crop-aware walk and is
  // ignored by the others.
  Nv21 Capture(const Nv21& still, const float* crop = nullptr) const;

 private:
  // Colour of a source texel (Y, V, U) whose mask or ramp is read at (ms, mt).
  Rgb Shade(const Texel& yuv, float ms, float mt) const;

  RampLook m_look;
  TextureModel m_contrast, m_table;
  float m_clip[4], m_control[4], m_tones[4];
};

}  // namespace ref
}  // namespace pe

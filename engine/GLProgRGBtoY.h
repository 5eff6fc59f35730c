#pragma once

#include "GLProgram.h"

// Packs the luma of four neighbouring RGB pixels into one RGBA texel.
class GLProgRGBtoY : public GLProgram {
 public:
  enum { UNIFORM_SHIFT = 0, UNIFORM_VEC_RGBTOY = 1 };
  // The luma weights of R, G, B and alpha, whichever pass writes the plane.
  static const float kRgbToY[4];
  ~GLProgRGBtoY() override;
  unsigned Load() override;
  unsigned Use() override;
  void SetShift(const float shift[8]);

 private:
  float m_fShift[8] = {};
};

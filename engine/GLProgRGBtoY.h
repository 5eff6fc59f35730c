#pragma once

#include "GLProgram.h"

// Packs the luma of four neighbouring RGB pixels into one RGBA texel.
class GLProgRGBtoY : public GLProgram {
 public:
  enum { UNIFORM_SHIFT = 0, UNIFORM_VEC_RGBTOY = 1 };
  ~GLProgRGBtoY() override;
  unsigned Load() override;
  unsigned Use() override;
  void SetShift(const float shift[8]);

 private:
  float m_fShift[8] = {};
};

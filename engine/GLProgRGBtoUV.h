#pragma once

#include "GLProgram.h"

// Packs V, U of two 2x2 pixel groups into one RGBA texel.
class GLProgRGBtoUV : public GLProgram {
 public:
  enum { UNIFORM_SHIFT = 0 };
  ~GLProgRGBtoUV() override;
  unsigned Load() override;
  unsigned Use() override;
  void SetShift(const float shift[4]);

 private:
  float m_fShift[4] = {};
};

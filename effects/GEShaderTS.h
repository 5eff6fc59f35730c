#pragma once

#include "GEBlurPasses.h"

class GLProgTSPassBlur : public GLProgBlurPass {};

// Mixes the sharp source with the blurred picture by the distance from a
// band through the finger; the Large form measures it in the whole picture.
class GLProgTSPassSizeUp : public GLProgBlurMix {
 public:
  enum {
    UNIFORM_FINGER = 0,  // u_center in the Large form
    UNIFORM_SLOPE,
    UNIFORM_DIST_SQUARE,
    UNIFORM_MIX_WEIGHT,
  };
  explicit GLProgTSPassSizeUp(bool large = false);
};

class GLProgTSPassSizeUpLarge : public GLProgTSPassSizeUp {
 public:
  GLProgTSPassSizeUpLarge() : GLProgTSPassSizeUp(true) {}
};

// Imitates a tilt-shift lens: a straight band through the finger stays sharp
// and the picture blurs away from it.
class GEShaderTS : public GEBlurShader {
 public:
  GEShaderTS();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;
  bool SharpSpan(float y0, float y1, float* x0, float* x1) const override;

  const float* DistSquare() const { return m_fDistSquare; }

 private:
  float m_fFinger[2] = {0.5f, 0.5f};
  float m_fDistSquare[2] = {0.36f, 0.49f};
  float m_fSlope = 0.f;
};

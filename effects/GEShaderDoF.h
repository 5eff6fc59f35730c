#pragma once

#include "GEBlurPasses.h"

class GLProgPassBlur : public GLProgBlurPass {};

// Mixes the sharp source with the blurred picture by a smooth radial weight;
// the Large form places each capture block in the whole picture.
class GLProgPassSizeUp : public GLProgBlurMix {
 public:
  enum {
    UNIFORM_CENTER = 0,
    UNIFORM_DIST_SQUARE,
    UNIFORM_WH_RATIO_SQ,
    UNIFORM_MIX_WEIGHT,
    UNIFORM_CROP,
  };
  explicit GLProgPassSizeUp(bool large = false);
};

class GLProgPassSizeUpLarge : public GLProgPassSizeUp {
 public:
  GLProgPassSizeUpLarge() : GLProgPassSizeUp(true) {}
};

// Keeps a round area sharp and blurs the rest, as a shallow depth of field.
class GEShaderDoF : public GEBlurShader {
 public:
  enum RatioMode { kWide = 0, kLegacy = 1, kTundrelWide = 2 };

  GEShaderDoF();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  int Ratio() const { return m_nRatioMode; }

 protected:
  void OnCapture(int width, int height) override;
  bool SharpSpan(float y0, float y1, float* x0, float* x1) const override;
  void MixBlurCoord(float out[8]) const override;
  const float* DistSquare() const { return m_fDistSquare; }

 private:
  int m_nRatioMode = kWide;
  float m_fWHRatioSquare = 1.f;
  float m_fCenter[2] = {0.5f, 0.5f};
  float m_fDistSquare[2] = {0.36f, 0.49f};
};

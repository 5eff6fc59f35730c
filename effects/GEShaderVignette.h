#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"

// Darkens outside a circle with a soft edge; the Large form is the capture
// variant, placing each block by its position in the whole picture.
class GLProgVignette : public GLProgEffect {
 public:
  enum {
    UNIFORM_CENTER = 0,
    UNIFORM_RADIUS,
    UNIFORM_SCREEN_RATIO,
    UNIFORM_CROP,
    UNIFORM_STRENGTH,
  };
  enum { ATTRIB_GLOBAL_TEX_COORD = 0 };
  explicit GLProgVignette(bool large = false);
  unsigned Load() override;
};

class GLProgVignetteLarge : public GLProgVignette {
 public:
  GLProgVignetteLarge() : GLProgVignette(true) {}
};

class GEShaderVignette : public GEShader {
 public:
  GEShaderVignette();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  float CenterX() const { return m_fCenter[0]; }
  float CenterY() const { return m_fCenter[1]; }
  float Radius() const { return m_fRadius; }
  float Strength() const { return m_fStrength; }

 private:
  GEOwned<GLProgVignette> m_pProgram{this};
  float m_fCenter[2] = {0.5f, 0.5f};
  float m_fRadius = 0.3f;
  float m_fStrength = 0.5f;
  float m_fScreenRatio = 1.f;
};

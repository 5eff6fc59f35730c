#pragma once

#include "GEShader.h"
#include "GLProgram.h"

// Darkens outside a circle with a soft edge; the Large form is the capture
// variant, placing each block by its position in the whole picture.
class GLProgVignette : public GLProgram {
 public:
  enum {
    UNIFORM_CENTER = 0,
    UNIFORM_RADIUS,
    UNIFORM_SCREEN_RATIO,
    UNIFORM_CROP,
    UNIFORM_STRENGTH,
  };
  enum { ATTRIB_GLOBAL_TEX_COORD = 0 };
  explicit GLProgVignette(bool large = false) : m_bLarge(large) {}
  ~GLProgVignette() override;
  unsigned Load() override;

 private:
  bool m_bLarge;
};

class GLProgVignetteLarge : public GLProgVignette {
 public:
  GLProgVignetteLarge() : GLProgVignette(true) {}
};

class GEShaderVignette : public GEShader {
 public:
  GEShaderVignette();
  ~GEShaderVignette() override;
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool Deinit() override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned char* src, unsigned char* dst, int W, int H) override;
  using GEShader::ProcFrame;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  float CenterX() const { return m_fCenter[0]; }
  float CenterY() const { return m_fCenter[1]; }
  float Radius() const { return m_fRadius; }
  float Strength() const { return m_fStrength; }

 protected:
  void OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) override;

 private:
  GLProgVignette* m_pProgram = nullptr;
  float m_fCenter[2] = {0.5f, 0.5f};
  float m_fRadius = 0.3f;
  float m_fStrength = 0.5f;
  float m_fScreenRatio = 1.f;
  float m_fTexCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  float m_fGlobalCoord[8] = {0, 1, 0, 0, 1, 0, 1, 1};
  int m_nImgW = 0, m_nImgH = 0;
};

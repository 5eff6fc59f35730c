#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"

// The pass-through program: the source frame through the YUV-to-RGB matrix.
class GLProgBypass : public GLProgEffect {
 public:
  GLProgBypass();
};

// Draws the source unchanged. It has no effect number: it is the plainest
// instance of the processing pattern every effect follows.
class GEShaderBypass : public GEShader {
 public:
  GEShaderBypass();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;
  using GEShader::SetCrop;
  virtual bool SetCrop(int x, int y, int w, int h);

 private:
  GEOwned<GLProgBypass> m_pProgram{this};
};

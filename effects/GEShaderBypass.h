#pragma once

#include "GEShader.h"
#include "GLProgram.h"

// The pass-through program: the source frame through the YUV-to-RGB matrix.
class GLProgBypass : public GLProgram {
 public:
  ~GLProgBypass() override;
  unsigned Load() override;
};

// Draws the source unchanged. It has no effect number: it is the plainest
// instance of the processing pattern every effect follows.
class GEShaderBypass : public GEShader {
 public:
  GEShaderBypass();
  ~GEShaderBypass() override;
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool Deinit() override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned char* src, unsigned char* dst, int W, int H) override;
  using GEShader::ProcFrame;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;
  using GEShader::SetCrop;
  virtual bool SetCrop(int x, int y, int w, int h);

 protected:
  void OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) override;

 private:
  GLProgBypass* m_pProgram = nullptr;
  static float s_texCoord[8];
};

#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

// Sharpened luma through a contrast curve, bright areas pushed to paper
// white. It converts YUV itself, so it holds no YUV-to-RGB matrix.
class GLProgWhiteboard : public GLProgEffect {
 public:
  enum { SAMPLER_CURVE = 1 };
  enum { UNIFORM_LOC_TEXELSIZE = 0, UNIFORM_LOC_CONTROLLER, UNIFORM_LOC_CROP };
  GLProgWhiteboard();
};

// Makes a photographed board or page look clean. The capture honours the
// crop: each block is filled from the cropped area and stretched over it.
class GEShaderWhiteboard : public GEShader {
 public:
  GEShaderWhiteboard();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  using GEShader::ProcFrame;
  bool ProcFrame(unsigned char* src, unsigned char* dst, int width, int height) override;
  // No parameters; returns 0 in every case.
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

 private:
  GEOwned<GLProgWhiteboard> m_pProgram{this};
  GEOwned<GLTexture> m_pCurve{this};
  GEOwned<GLTexture> m_pTable{this};
  float m_fController = 0.6f;
};

#pragma once

#include "GEShader.h"
#include "GLFbo.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

namespace pe {
struct DotBlock;
class DotGridWalk;
}  // namespace pe

// Size-down pass: one texel a dot, turned into RGB.
class GLProgDotPass1 : public GLProgEffect {
 public:
  enum { UNIFORM_CROP = 0 };
  GLProgDotPass1();
};

// Size-up pass: each dot cell's texel, nearest, times a tile of the mask.
class GLProgDotPass2 : public GLProgEffect {
 public:
  enum { SAMPLER_TEX_DOT_MASK = 1 };
  enum { ATTRIB_MASK_TEX_COORD = 0 };
  explicit GLProgDotPass2(bool large = false);
};

class GLProgDotPass2Large : public GLProgDotPass2 {
 public:
  GLProgDotPass2Large() : GLProgDotPass2(true) {}
};

// A screen of coloured dots: the picture reduced to one texel a dot, then
// enlarged through a tiled dot mask.
class GEShaderDot : public GEShader {
 public:
  GEShaderDot();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  // The old snapshot entry; stills go through the one below.
  bool ProcFrame(unsigned char* y, unsigned char* uv, int width, int height) override;
  bool ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int W,
                 int H) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  float DotSize() const { return m_fDotSize; }
  int MaskIndex() const { return m_nMask; }

 private:
  bool MakeSizeDown(unsigned w, unsigned h);
  bool LoadPasses(GLTexture* src, bool large);
  bool PrepareCapture(const pe::DotGridWalk& walk);
  bool CaptureBlock(const pe::DotGridWalk& walk, const pe::DotBlock& b, unsigned char* out, int W,
                    int H);
  bool DrawDots(const float* pass1, int sizeDownW, int sizeDownH, const float* crop);

  GEOwned<GLProgDotPass1> m_pPass1{this};
  GEOwned<GLProgDotPass2> m_pPass2{this};
  GEOwned<GLFbo> m_pSizeDownFbo{this};
  GEOwned<GLTexture> m_pSizeDown{this};
  GEOwned<GLTexture> m_pPrivSrc{this};
  GEOwned<GLTexture> m_pMasks[4]{GEOwned<GLTexture>{this}, GEOwned<GLTexture>{this},
                                 GEOwned<GLTexture>{this}, GEOwned<GLTexture>{this}};
  int m_nMask = 1;
  float m_fScreenRatio = 1.f;
  float m_fDotSize = 1.f;
  float m_fMidDotSize = -1.f;
  float m_fPass1[8] = {};
  float m_fPass2[8] = {};
  float m_fMaskCoord[8] = {};
};

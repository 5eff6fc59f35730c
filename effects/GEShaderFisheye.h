#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

// Radial distortion about a movable centre. The Large form samples a still's
// Y plane (slot 0) and chroma plane (slot 1) in place of the frame.
class GLProgFisheye : public GLProgEffect {
 public:
  enum { UNIFORM_SCALE = 0, UNIFORM_SHIFT, UNIFORM_CENTER, UNIFORM_DISTORT, UNIFORM_CROP };
  enum { SAMPLER_INPUT_TEX_UV = 1 };
  // Which of the shader's two branches a level takes: the bulge alone (levels
  // up to 1), the expanding one alone (above 1 up to 2), or both (beyond).
  enum Branch { kBulge, kExpanding, kBothBranches };
  static Branch BranchFor(float level);
  explicit GLProgFisheye(bool large = false, Branch branch = kBulge);
  Branch GetBranch() const { return m_eBranch; }
  // Values kept in the program and uploaded by Use(); uniform is one of
  // scale, shift, centre and distortion.
  void Set(int uniform, float a, float b);
  unsigned Use() override;

 private:
  Branch m_eBranch;
  float m_fValues[UNIFORM_DISTORT + 1][2] = {{1.f, 1.f}, {0.5f, 0.5f}, {0.5f, 0.5f}, {0.6f, 0.f}};
};

class GLProgFisheyeLarge : public GLProgFisheye {
 public:
  explicit GLProgFisheyeLarge(Branch branch = kBulge) : GLProgFisheye(true, branch) {}
};

class GEShaderFisheye : public GEShader {
 public:
  GEShaderFisheye();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  // One capture block: the output is shifted so that the block lands at its
  // place in the still.
  bool ProcBlock(unsigned a, unsigned b, int w, int h, float shiftX, float shiftY);
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  // Captures: the still in one buffer (chroma plane at in + W x H), or in two.
  bool ProcFrame(unsigned char* in, unsigned char* out, int W, int H) override;
  bool ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int W,
                 int H) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;
  bool SetCrop(float x, float y, float width, float height) override;

  float CenterX() const { return m_fCenter[0]; }
  float CenterY() const { return m_fCenter[1]; }
  float Level() const { return m_fLevel; }

  // Capture blocks are at most this size.
  static constexpr int kBlockW = 768, kBlockH = 480;

 private:
  bool Capture(const unsigned char* y, const unsigned char* uv, unsigned char* out, int W, int H);
  bool UploadPlanes(const unsigned char* y, const unsigned char* uv, int W, int H);
  // The preview program for the current level's branch, made anew when the
  // level has crossed into another; false when it cannot be made (tried
  // again next frame).
  bool ProgramForLevel();

  GEOwned<GLProgFisheye> m_pProgram{this};
  GEOwned<GLTexture> m_pCaptureY{this};
  GEOwned<GLTexture> m_pCaptureUV{this};
  float m_fCenter[2] = {0.5f, 0.5f};
  float m_fLevel = 0.6f;
  float m_fRange = 0.f;
  int m_nLastX = 480, m_nLastY = 272;
};

#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"

namespace pe {
struct LogModule;
}

// The shape Bypass, Mirror and Bloom share: one program over the source
// texture (its Large form in capture, where the look has one), no
// parameters, the plain block walk.
class GEShaderSingleTexture : public GEShader {
 public:
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;
  using GEShader::SetCrop;
  virtual bool SetCrop(int x, int y, int w, int h);

  // What tells the effects apart: the class named in the banner and the
  // lines logged before the program is made (null: none).
  struct Names {
    const char* className;
    const char* creating;
    const char* creatingLarge;
  };

 protected:
  GEShaderSingleTexture(pe::LogModule* log, const Names& names);
  virtual GLProgEffect* NewProgram(bool large) = 0;

 private:
  const Names& m_names;
  GEOwned<GLProgEffect> m_pProgram{this};
};

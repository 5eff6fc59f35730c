#pragma once

#include "GEBlurPasses.h"

class GLProgSketchBlur : public GLProgBlurPass {};
class GLProgColorSketchBlur : public GLProgBlurPass {};

// Posterises the blurred luma and draws a line where the sharp luma falls
// below it: grey, or with the blurred colour kept.
class GLProgSketchSizeUp : public GLProgBlurMix {
 public:
  GLProgSketchSizeUp();

 protected:
  explicit GLProgSketchSizeUp(const GLProgDesc& desc) : GLProgBlurMix(desc, false) {}
};

class GLProgColorSketchSizeUp : public GLProgSketchSizeUp {
 public:
  GLProgColorSketchSizeUp();
};

// Pencil drawing in grey.
class GEShaderSketch : public GEBlurShader {
 public:
  GEShaderSketch();
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  // No parameters: always 0.
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

 protected:
  GEShaderSketch(pe::LogModule* log, bool colour);

 private:
  bool m_bColour;
};

// Coloured-pencil drawing: the same passes keeping the blurred colour.
class GEShaderColorSketch : public GEShaderSketch {
 public:
  GEShaderColorSketch();
};

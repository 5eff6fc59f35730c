#pragma once

#include "GEShader.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

namespace pe {
struct LogModule;
}

// The looks built on the frame's luma bent through the contrast ramp: two
// stylized grades, two two-tone masks, two split tones. One program design
// with three textures (source, a colour ramp or mask, the contrast ramp) and
// constant uniform vectors; each look is a row of a descriptor table.
class GLProgRampLook : public GLProgEffect {
 public:
  enum { SAMPLER_TEX_LUT = 1, SAMPLER_TEX_MASK = 1, SAMPLER_TEX_CONTRAST = 2 };
  enum { UNIFORM_CLIP = 0, UNIFORM_CONTROL, UNIFORM_TINT, UNIFORM_SPLIT = 2, UNIFORM_CROP };
  enum { ATTRIB_GLOBAL_TEX_COORD = 0 };
  // variant: a define that picks the look inside a shared fragment source.
  GLProgRampLook(const GLProgDesc& desc, const char* variant, bool large);
  unsigned Load() override;

 private:
  const GLProgDesc& m_rampDesc;
};

// Stylize programs have no capture form: the one program serves both modes.
class GLProgStylizeNash : public GLProgRampLook {
 public:
  GLProgStylizeNash();
};
class GLProgStylizeMaple : public GLProgRampLook {
 public:
  GLProgStylizeMaple();
};
class GLProgTwoToneMaskV : public GLProgRampLook {
 public:
  explicit GLProgTwoToneMaskV(bool large = false);
};
class GLProgTwoToneMaskVLarge : public GLProgTwoToneMaskV {
 public:
  GLProgTwoToneMaskVLarge() : GLProgTwoToneMaskV(true) {}
};
class GLProgTwoToneMaskH : public GLProgRampLook {
 public:
  explicit GLProgTwoToneMaskH(bool large = false);
};
class GLProgTwoToneMaskHLarge : public GLProgTwoToneMaskH {
 public:
  GLProgTwoToneMaskHLarge() : GLProgTwoToneMaskH(true) {}
};
class GLProgSplitToningCM : public GLProgRampLook {
 public:
  explicit GLProgSplitToningCM(bool large = false);
};
class GLProgSplitToningCMLarge : public GLProgSplitToningCM {
 public:
  GLProgSplitToningCMLarge() : GLProgSplitToningCM(true) {}
};
class GLProgSplitToningSC : public GLProgRampLook {
 public:
  explicit GLProgSplitToningSC(bool large = false);
};
class GLProgSplitToningSCLarge : public GLProgSplitToningSC {
 public:
  GLProgSplitToningSCLarge() : GLProgSplitToningSC(true) {}
};

// What tells one ramp look from another.
struct RampLookDesc {
  const char* className;
  pe::LogModule* log;
  const char* createLine;       // preview
  const char* createLargeLine;  // capture
  GLProgRampLook* (*makeProgram)(bool capture);
  // Texture of sampler 1 (colour ramp or mask). A null file means the mask
  // is picked by the viewport's aspect ratio.
  const char* table;
  unsigned tableFormat;
  const char* tableFailLine;
  float clipping[4];
  float controller[4];
  float tint[4];
  unsigned flags;
};

// RampLookDesc::flags.
enum RampLookFlags : unsigned {
  kRampTint = 1u << 0,  // the tint uniform is set
  // Capture through the crop-aware walk instead of the plain one.
  kRampCropWalk = 1u << 1,
  // Preview coordinates rebuilt from the crop at every frame, unscaled by the
  // padded row width.
  kRampCropCoords = 1u << 2,
  // p0 moves the tone pair, and the crop goes to the preview shader (u_crop),
  // so the coordinates span the whole picture.
  kRampTonePair = 1u << 3,
  // Keeps the picture's aspect ratio and traces each capture block.
  kRampTraced = 1u << 4,
  // Sampler 1 is a colour ramp read at one row (controller z): the program
  // reads that row as a curve table drawn when the look is made.
  kRampRowTable = 1u << 5,
};

class GERampLook : public GEShader {
 public:
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned a, unsigned b, int w, int h) override;
  bool ProcFrame(unsigned char* y, unsigned char* uv, int width, int height) override;
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  float Strength() const { return m_fStrength; }
  const float* SplitTones() const { return m_fSplitTones; }

 protected:
  explicit GERampLook(const RampLookDesc& desc);
  void OnBlock(unsigned x, unsigned y, unsigned w, unsigned h, float s1, float t1) override;

 private:
  bool Has(unsigned flag) const { return (m_desc.flags & flag) != 0; }

  // Draws the contrast ramp's curve per luma level into m_pComposed, which
  // the look's program then reads in its place.
  bool ComposeRamp();
  // The colour ramp's row drawn as a curve table into m_pRowTable; null when
  // drawn, else the line to log.
  const char* DrawRowTable();
  // The range and controller uniforms, the look's constants.
  void SetCurve(GLProgram* prog) const;

  const RampLookDesc& m_desc;
  GEOwned<GLProgRampLook> m_pProgram{this};
  GEOwned<GLProgEffect> m_pComposer{this};
  GEOwned<GLTexture> m_pTable{this};
  GEOwned<GLTexture> m_pRowTable{this};
  GEOwned<GLTexture> m_pContrast{this};
  GEOwned<GLTexture> m_pComposed{this};
  float m_fRatio = 0.f;
  float m_fStrength = 0.f;
  float m_fSplitTones[4] = {0.5f, 0.5f, 0.5f, 0.5f};
};

class GEShaderStylizeMaple : public GERampLook {
 public:
  GEShaderStylizeMaple();
};
class GEShaderStylizeNash : public GERampLook {
 public:
  GEShaderStylizeNash();
};
class GEShaderTwoToneMaskV : public GERampLook {
 public:
  GEShaderTwoToneMaskV();
};
class GEShaderTwoToneMaskH : public GERampLook {
 public:
  GEShaderTwoToneMaskH();
};
class GEShaderSplitToningCM : public GERampLook {
 public:
  GEShaderSplitToningCM();
};
class GEShaderSplitToningSC : public GERampLook {
 public:
  GEShaderSplitToningSC();
};

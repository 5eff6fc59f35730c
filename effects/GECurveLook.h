#pragma once

#include <cstddef>

#include "GEShader.h"
#include "GLProgEffect.h"
#include "GLTexture.h"

namespace pe {
struct LogModule;
}

// Program of the tone-curve looks: the source through a curve per channel,
// multiplied by a vignette mask. The Large form is the capture variant,
// placing the mask by the block's position in the whole picture.
class GLProgCurveLook : public GLProgEffect {
 public:
  enum { SAMPLER_CURVE = 1, SAMPLER_VIGNETTE = 2 };
  enum { UNIFORM_CROP = 0 };
  enum { ATTRIB_GLOBAL_TEX_COORD = 0 };
  GLProgCurveLook(const GLProgDesc& desc, const char* variant, bool large)
      : GLProgEffect(desc, large, variant) {}
};

// What Vintage and Contrast share: curve textures, the vignette mask chosen
// by the frame's aspect ratio, the neutral texture, one program, and looks
// picked by parameter 0.
class GECurveLook : public GEShader {
 public:
  bool Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
            unsigned char captureMode, IYUVConverter* converter) override;
  bool ProcBlock(unsigned a, unsigned b, int w, int h) override;
  // Set 0 picks a look by p0 (compared unsigned); other sets are ignored.
  // Returns 0 in every case, also after a change, as callers of these
  // effects have always seen.
  bool SetParam(unsigned set, int p0, int p1, int p2, int p3) override;

  struct Curve {
    const char* file;
    const char* creating;  // log line before the load
    const char* failLine;
  };
  struct Look {
    const char* line;  // info line when chosen
    int curve;         // index into the effect's curves
    bool masked;       // false: the neutral texture stands in for the mask
  };

 protected:
  // name: the effect's class name for the banner; program: its sources and
  // locations, preview ones holding u_crop when the preview honours the crop;
  // variant: the define that picks its form of the shader (may be null).
  // Look 0 is bound at Init.
  template <size_t C, size_t L>
  GECurveLook(pe::LogModule& log, const char* name, const char* programName,
              const GLProgDesc& program, const char* variant, const Curve (&curves)[C],
              const Look (&looks)[L])
      : GECurveLook(log, name, programName, program, variant, curves, C, looks, L) {}

  static constexpr size_t kMaxCurves = 4;
  // A curve per channel with the crop honoured in preview; the grey look
  // (variant "GREY") with no crop uniform.
  static const GLProgDesc kColourProgram;
  static const GLProgDesc kGreyProgram;

 private:
  GECurveLook(pe::LogModule& log, const char* name, const char* programName,
              const GLProgDesc& program, const char* variant, const Curve* curves,
              size_t curveCount, const Look* looks, size_t lookCount);
  // Each curve drawn into its table, which the look's program reads; a
  // failure is logged here.
  bool DrawTables();
  void Bind(const Look& look);

  const char* m_szName;
  const char* m_szProgramName;
  const GLProgDesc& m_desc;
  const char* m_szVariant;
  const Curve* m_pCurveFiles;
  size_t m_nCurves;
  const Look* m_pLooks;
  size_t m_nLooks;

  // Released in this order: program, curves, mask, neutral texture, then
  // the curves' tables.
  GEOwned<GLProgCurveLook> m_pProgram{this};
  GEOwned<GLTexture> m_pCurves[kMaxCurves] = {GEOwned<GLTexture>(this), GEOwned<GLTexture>(this),
                                              GEOwned<GLTexture>(this), GEOwned<GLTexture>(this)};
  GEOwned<GLTexture> m_pMask{this};
  GEOwned<GLTexture> m_pNeutral{this};
  GEOwned<GLTexture> m_pTables[kMaxCurves] = {GEOwned<GLTexture>(this), GEOwned<GLTexture>(this),
                                              GEOwned<GLTexture>(this), GEOwned<GLTexture>(this)};
};

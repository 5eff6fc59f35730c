#include "GEShaderTS.h"

#include <pe/Log.h>

#include <algorithm>
#include <cmath>

#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderTS");

namespace {

const GLProgram::Location kPreview[] = {
    {GLProgram::kUniform, GLProgTSPassSizeUp::UNIFORM_FINGER, "u_finger",
     "m_nUniformLoc[UNIFORM_FINGER]"},
    {GLProgram::kUniform, GLProgTSPassSizeUp::UNIFORM_SLOPE, "u_fM", "m_nUniformLoc[UNIFORM_M]"},
    {GLProgram::kUniform, GLProgTSPassSizeUp::UNIFORM_DIST_SQUARE, "u_distSquare",
     "m_nUniformLoc[UNIFORM_DIST_SQUARE]"},
    {GLProgram::kUniform, GLProgTSPassSizeUp::UNIFORM_MIX_WEIGHT, "u_fMixWeight",
     "m_nUniformLoc[UNIFORM_MIX_WEIGHT]"},
    {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
     "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
};
// The capture form measures from the finger's place in the whole picture;
// its orientation switch u_fIsPortrait is never looked up.
const GLProgram::Location kLarge[] = {
    {GLProgram::kUniform, GLProgTSPassSizeUp::UNIFORM_FINGER, "u_center",
     "m_nUniformLoc[UNIFORM_CENTER]"},
    kPreview[2],
    kPreview[3],
    kPreview[4],
    {GLProgram::kAttrib, GLProgBlurMix::ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord",
     "ATTRIB_GLOBAL_TEX_COORD"},
};
const GLProgDesc kSizeUp = MakeProgDesc(kShader_blurmix_vert, kShader_ts_frag, nullptr,
                                        GLProgBlurMix::kLocations, kPreview, kLarge);

// The band's angle in degrees. Nothing turns it, so the band is horizontal;
// the hook stays for a caller that would.
float s_fAngle = 0.f;

}  // namespace

GLProgTSPassSizeUp::GLProgTSPassSizeUp(bool large) : GLProgBlurMix(kSizeUp, large) {}

GEShaderTS::GEShaderTS() : GEBlurShader(&s_peLogModule, kApronWalk) { m_bCropScalesStep = true; }

bool GEShaderTS::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
                      unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  m_fFinger[0] = m_fFinger[1] = 0.5f;
  m_fDistSquare[0] = 0.36f;
  m_fDistSquare[1] = 0.49f;
  if (!InitCommon("GEShaderTS", src, dst, x, y, w, h, captureMode, converter)) return false;
  if (!InitPasses(w * 320 / 800, 192 * h / 480, new GLProgTSPassBlur(),
                  captureMode ? new GLProgTSPassSizeUpLarge() : new GLProgTSPassSizeUp(),
                  captureMode ? "[%s] Creating prog pass size-up large"
                              : "[%s] Creating prog pass size-up"))
    return false;
  m_pKernel = pe::blur::GaussianRow(14);
  m_fMixWeight = 1.f;
  m_fSlope = 0.f;
  return FinishInit();
}

bool GEShaderTS::SetParam(unsigned set, int p0, int p1, int p2, int p3) {
  float R = 0.f;
  if (set == 0) {
    SetStrength(p0);
  } else if (set == 1 && MeasureDrag(p0, p1, p2, p3, 0.1f, m_fFinger, &R)) {
    m_fDistSquare[0] = (R - 0.075f) * (R - 0.075f);
    m_fDistSquare[1] = (R + 0.075f) * (R + 0.075f);
  }
  return false;
}

bool GEShaderTS::SharpSpan(float y0, float y1, float* x0, float* x1) const {
  // The mix weighs by the distance to the band's line; a still's band is
  // level through the finger.
  double inner;
  if (!ZeroWeightUpTo(m_fDistSquare, &inner)) return false;
  const double m = m_pMixProg->IsLarge() ? 0.0 : m_fSlope;
  const double b = -(m * m_fFinger[0] + m_fFinger[1]);
  // |m x + y + b| <= inner * sqrt(m^2 + 1) for every y of [y0, y1]: m x
  // within [lo, hi].
  const double reach = inner * std::sqrt(m * m + 1);
  const double lo = -reach - y0 - b, hi = reach - y1 - b;
  if (!(lo <= hi)) return false;
  if (m == 0) {
    if (!(lo <= 0 && 0 <= hi)) return false;
    *x0 = -1e9f;
    *x1 = 1e9f;
    return true;
  }
  *x0 = static_cast<float>(std::min(lo / m, hi / m));
  *x1 = static_cast<float>(std::max(lo / m, hi / m));
  return true;
}

bool GEShaderTS::ProcBlock(unsigned, unsigned, int, int) {
  // A vertical band has no slope; the nudged angle is kept.
  if (s_fAngle == 90.f) s_fAngle = 89.99f;
  if (s_fAngle == 180.f) s_fAngle = 179.99f;
  m_fSlope = std::tan(static_cast<float>(s_fAngle * 3.1415926 / 180));
  LOGI("[%s] angle %f, slope %f", "ProcBlock", s_fAngle, m_fSlope);
  if (!RunBlurPasses()) return false;
  GLProgBlurMix* mix = m_pMixProg.get();
  return DrawMix(m_fTexCoord, [&] {
    if (!mix->IsLarge()) mix->Uniform1f(GLProgTSPassSizeUp::UNIFORM_SLOPE, m_fSlope);
    mix->Uniform1f(GLProgTSPassSizeUp::UNIFORM_MIX_WEIGHT, m_fMixWeight);
    mix->Uniform2f(GLProgTSPassSizeUp::UNIFORM_FINGER, m_fFinger[0], m_fFinger[1]);
    mix->Uniform2f(GLProgTSPassSizeUp::UNIFORM_DIST_SQUARE, m_fDistSquare[0], m_fDistSquare[1]);
  });
}

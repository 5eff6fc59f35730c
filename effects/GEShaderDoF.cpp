#include "GEShaderDoF.h"

#include <pe/Log.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderDoF");

namespace {

const GLProgram::Location kPreview[] = {
    {GLProgram::kUniform, GLProgPassSizeUp::UNIFORM_CENTER, "u_center",
     "m_nUniformLoc[UNIFORM_CENTER]"},
    {GLProgram::kUniform, GLProgPassSizeUp::UNIFORM_DIST_SQUARE, "u_distSquare",
     "m_nUniformLoc[UNIFORM_DIST_SQUARE]"},
    {GLProgram::kUniform, GLProgPassSizeUp::UNIFORM_WH_RATIO_SQ, "u_fWHRatioSquare",
     "m_nUniformLoc[UNIFORM_WH_RATIO_SQ]"},
    {GLProgram::kUniform, GLProgPassSizeUp::UNIFORM_MIX_WEIGHT, "u_fMixWeight",
     "m_nUniformLoc[UNIFORM_MIX_WEIGHT]"},
    {GLProgram::kUniform, GLProgPassSizeUp::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
    {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
     "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
};
// The capture form places blocks by their global coordinates instead of
// cropping.
const GLProgram::Location kLarge[] = {
    kPreview[0],
    kPreview[1],
    kPreview[2],
    kPreview[3],
    kPreview[5],
    {GLProgram::kAttrib, GLProgBlurMix::ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord",
     "ATTRIB_GLOBAL_TEX_COORD"},
};
const GLProgDesc kSizeUp = MakeProgDesc(kShader_blurmix_vert, kShader_dof_frag, nullptr,
                                        GLProgBlurMix::kLocations, kPreview, kLarge);

}  // namespace

GLProgPassSizeUp::GLProgPassSizeUp(bool large) : GLProgBlurMix(kSizeUp, large) {}

GEShaderDoF::GEShaderDoF() : GEBlurShader(&s_peLogModule, kApronWalk) { m_bCropScalesStep = true; }

bool GEShaderDoF::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
                       unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  m_fDistSquare[0] = 0.36f;
  m_fDistSquare[1] = 0.49f;
  m_fCenter[0] = m_fCenter[1] = 0.5f;
  if (!InitCommon("GEShaderDoF", src, dst, x, y, w, h, captureMode, converter)) return false;
  // Unequal reductions across and down, as the look was tuned with.
  if (!InitPasses(w * 320 / 640, 192 * h / 360, new GLProgPassBlur(),
                  captureMode ? new GLProgPassSizeUpLarge() : new GLProgPassSizeUp(),
                  captureMode ? "[%s] Creating prog pass size-up large"
                              : "[%s] Creating prog pass size-up"))
    return false;
  // The preview's mix reads its own texel through the crop uniform.
  m_sourceReads = kReadsCroppedTexel;
  const float q = std::pow(static_cast<float>(src->GetHeight()) / src->GetWidth(), 2.f);
  m_fWHRatioSquare = q;
  if (std::fabs(q - 0.36f) < 0.0001f)
    m_nRatioMode = kWide;
  else if (std::fabs(q - 0.5625f) < 0.0001f)
    m_nRatioMode = kLegacy;
  else if (std::fabs(q - 0.316406f) < 0.0001f)
    m_nRatioMode = kTundrelWide;
  FinishInit();
  m_pKernel = pe::blur::GaussianRow(14);
  m_fMixWeight = 1.f;
  // The crop restricts the mix to the valid columns, so its coordinates span
  // the whole picture; the blur passes keep the stride-corrected ones.
  std::memcpy(m_fTexCoord, kQuadTexCoords, sizeof(m_fTexCoord));
  GEShader::SetCrop(-1.f, -1.f, 0.f, 0.f);
  return true;
}

bool GEShaderDoF::SetParam(unsigned set, int p0, int p1, int p2, int p3) {
  float R = 0.f;
  if (set == 0)
    SetStrength(p0);
  else if (set == 1 &&
           MeasureDrag(p0, p1, p2, p3, m_nRatioMode == kLegacy ? 0.06f : 0.15f, m_fCenter, &R)) {
    if (m_nRatioMode == kLegacy) {
      LOGI("[%s] RATIO legacy %f", "SetParam", m_fWHRatioSquare);
      m_fDistSquare[0] = (R - 0.075f) * (R - 0.075f);
      m_fDistSquare[1] = (R + 0.075f) * (R + 0.075f);
    } else {
      LOGI(m_nRatioMode == kTundrelWide ? "[%s] RATIO Tundrel wide %f" : "[%s] RATIO wide %f",
           "SetParam", m_fWHRatioSquare);
      // Squared without a sign test: a small radius may swap the edges.
      const float inner = static_cast<float>(R - (0.15 + 0.075));
      m_fDistSquare[0] = inner * inner;
      m_fDistSquare[1] = (R - 0.075f) * (R - 0.075f);
    }
  }
  return false;
}

void GEShaderDoF::OnCapture(int width, int height) {
  if (IsInited() && width > 0)
    m_fWHRatioSquare = std::pow(static_cast<float>(height) / static_cast<float>(width), 2.f);
}

bool GEShaderDoF::SharpSpan(float y0, float y1, float* x0, float* x1) const {
  // The mix weighs by the squared distance, with y in units of the width.
  double inner;
  if (!ZeroWeightUpTo(m_fDistSquare, &inner)) return false;
  const double dy = std::max(std::fabs(y0 - m_fCenter[1]), std::fabs(y1 - m_fCenter[1]));
  const double rest = inner - dy * dy * m_fWHRatioSquare;
  if (!(rest > 0)) return false;
  *x0 = static_cast<float>(m_fCenter[0] - std::sqrt(rest));
  *x1 = static_cast<float>(m_fCenter[0] + std::sqrt(rest));
  return true;
}

void GEShaderDoF::MixBlurCoord(float out[8]) const {
  GEBlurShader::MixBlurCoord(out);
  // The preview mix reads the blur through the crop.
  if (m_pMixProg->IsLarge()) return;
  for (int i = 0; i < 8; i += 2) {
    out[i] = out[i] * m_fCrop[2] + m_fCrop[0];
    out[i + 1] = out[i + 1] * m_fCrop[3] + m_fCrop[1];
  }
}

bool GEShaderDoF::ProcBlock(unsigned, unsigned, int, int) {
  if (!RunBlurPasses()) return false;
  GLProgBlurMix* mix = m_pMixProg.get();
  return DrawMix(m_fTexCoord, [&] {
    if (!mix->IsLarge())
      mix->Uniform4f(GLProgPassSizeUp::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                     m_fCrop[3]);
    mix->Uniform1f(GLProgPassSizeUp::UNIFORM_WH_RATIO_SQ, m_fWHRatioSquare);
    mix->Uniform1f(GLProgPassSizeUp::UNIFORM_MIX_WEIGHT, m_fMixWeight);
    mix->Uniform2f(GLProgPassSizeUp::UNIFORM_CENTER, m_fCenter[0], m_fCenter[1]);
    mix->Uniform2f(GLProgPassSizeUp::UNIFORM_DIST_SQUARE, m_fDistSquare[0], m_fDistSquare[1]);
  });
}

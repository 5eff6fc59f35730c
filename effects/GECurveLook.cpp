#include "GECurveLook.h"

#include <pe/Log.h>

#include <cmath>

#include "CurveTable.h"
#include "EffectShaders.h"
#include "GLTexture.h"

GECurveLook::GECurveLook(pe::LogModule& log, const char* name, const char* programName,
                         const GLProgDesc& program, const char* variant, const Curve* curves,
                         size_t curveCount, const Look* looks, size_t lookCount)
    : GEShader(&log),
      m_szName(name),
      m_szProgramName(programName),
      m_desc(program),
      m_szVariant(variant),
      m_pCurveFiles(curves),
      m_nCurves(curveCount < kMaxCurves ? curveCount : kMaxCurves),
      m_pLooks(looks),
      m_nLooks(lookCount) {}

bool GECurveLook::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w, unsigned h,
                       unsigned char captureMode, IYUVConverter* converter) {
  pe::ScopedTrace trace(Log(), "Init");
  if (!InitCommon(m_szName, src, dst, x, y, w, h, captureMode, converter)) return false;
  for (size_t i = 0; i < m_nCurves; ++i) {
    PE_LOG(Log(), pe::kLogInfo, m_pCurveFiles[i].creating, "Init");
    if (!LoadAsset(m_pCurves[i], m_pCurveFiles[i].file, GL_RGB, kOverrideFirst,
                   m_pCurveFiles[i].failLine))
      return false;
  }

  PE_LOG(Log(), pe::kLogInfo, "[%s] Creating vignette texture", "Init");
  const float ratio = h ? static_cast<float>(w) / static_cast<float>(h) : 0.f;
  PE_LOG(Log(), pe::kLogInfo, "[%s] ratio %f", "Init", ratio);
  // The wide mask is drawn for 16:9 and 5:3 frames; every other shape gets
  // the legacy one stretched over it.
  const bool wide =
      std::fabs(ratio - 1.7777778f) < 0.0001f || std::fabs(ratio - 1.6666666f) < 0.0001f;
  // A missing mask has always been reported with the warm curve's line.
  if (!LoadAsset(m_pMask, wide ? "mask_vignette_wide.bmp" : "mask_vignette_legacy.bmp",
                 GL_LUMINANCE, kOverrideFirst, "[%s] can't load warm tex"))
    return false;
  if (!MakeNeutralTexture(m_pNeutral)) return false;

  PE_LOG(Log(), pe::kLogInfo,
         captureMode ? "[%s] Creating %s-Cross large shader" : "[%s] Creating %s-Cross shader",
         "Init", m_szProgramName);
  if (!LoadProgram(m_pProgram, new GLProgCurveLook(m_desc, m_szVariant, captureMode != 0),
                   "[%s] can't load program cross"))
    return false;
  if (!DrawTables()) return false;
  m_pProgram->SetTextures(0, src);
  Bind(m_pLooks[0]);
  // With a crop uniform the crop restricts the preview to the valid columns;
  // without one the coordinates themselves must.
  const bool cropped = m_desc.previewCount > 0;
  PartialTexCoords(src ? (cropped ? src->GetWidth() : src->GetAllocWidth()) : 0, "Init");
  m_sourceReads = cropped ? kReadsCroppedTexel : kReadsOwnTexel;
  return FinishInit();
}

bool GECurveLook::DrawTables() {
  GLTexture* curves[kMaxCurves];
  GLTexture* tables[kMaxCurves];
  for (size_t i = 0; i < m_nCurves; ++i) {
    m_pTables[i].reset(new GLTexture());
    curves[i] = m_pCurves[i].get();
    tables[i] = m_pTables[i].get();
  }
  const char* failed = pe::DrawCurveTables(nullptr, curves, tables, m_nCurves);
  if (failed) LogError(failed, "Init");
  return !failed;
}

void GECurveLook::Bind(const Look& look) {
  m_pProgram->SetTextures(GLProgCurveLook::SAMPLER_CURVE, m_pTables[look.curve].get());
  m_pProgram->SetTextures(GLProgCurveLook::SAMPLER_VIGNETTE,
                          look.masked ? m_pMask.get() : m_pNeutral.get());
}

bool GECurveLook::SetParam(unsigned set, int p0, int, int, int) {
  if (RefuseUninited("SetParam") || set != 0) return false;
  const unsigned look = static_cast<unsigned>(p0);
  if (look >= m_nLooks) {
    LogError("[%s] wrong param", "SetParam");
    return false;
  }
  PE_LOG(Log(), pe::kLogInfo, m_pLooks[look].line, "SetParam");
  Bind(m_pLooks[look]);
  return false;
}

bool GECurveLook::ProcBlock(unsigned, unsigned, int, int) {
  return DrawAndConvert(m_pProgram.get(), m_fTexCoord, [this] {
    if (m_captureMode)
      m_pProgram->VertexAttribPointer(GLProgCurveLook::ATTRIB_GLOBAL_TEX_COORD, 2, m_fGlobalCoord);
    else if (m_desc.previewCount > 0)
      m_pProgram->Uniform4f(GLProgCurveLook::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                            m_fCrop[3]);
  });
}

namespace {

const GLProgram::Location kCommon[] = {
    {GLProgram::kSampler, GLProgCurveLook::SAMPLER_CURVE, "s_curve",
     "m_nSamplerLoc[SAMPLER_CURVE]"},
    {GLProgram::kSampler, GLProgCurveLook::SAMPLER_VIGNETTE, "s_vignette",
     "m_nSamplerLoc[SAMPLER_VIGNETTE]"},
};
const GLProgram::Location kCrop[] = {
    {GLProgram::kUniform, GLProgCurveLook::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
};
const GLProgram::Location kLarge[] = {
    {GLProgram::kAttrib, GLProgCurveLook::ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord",
     "ATTRIB_GLOBAL_TEX_COORD"},
};

}  // namespace

const GLProgDesc GECurveLook::kColourProgram =
    WithSource(MakeProgDesc(kShader_curvelook_vert, kShader_curvelook_frag,
                            kShader_curve_table_glsl, kCommon, kCrop, kLarge));
const GLProgDesc GECurveLook::kGreyProgram =
    WithSource(GLProgDesc{kShader_curvelook_vert, kShader_curvelook_frag, kShader_curve_table_glsl,
                          kCommon, sizeof(kCommon) / sizeof(kCommon[0]), nullptr, 0, kLarge, 1});

#include "GEShaderVignette.h"

#include <pe/Log.h>
#include <posteffect/Globals.h>

#include <cmath>

#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderVignette");

namespace {

const GLProgram::Location kCommon[] = {
    {GLProgram::kUniform, GLProgVignette::UNIFORM_CENTER, "u_center",
     "m_nUniformLoc[UNIFORM_CENTER]"},
    {GLProgram::kUniform, GLProgVignette::UNIFORM_RADIUS, "u_fRadius",
     "m_nUniformLoc[UNIFORM_RADIUS]"},
    {GLProgram::kUniform, GLProgVignette::UNIFORM_SCREEN_RATIO, "u_fScreenRatio",
     "m_nUniformLoc[UNIFORM_SCREEN_RATIO]"},
};
const GLProgram::Location kPreview[] = {
    {GLProgram::kUniform, GLProgVignette::UNIFORM_CROP, "u_crop", "m_nUniformLoc[UNIFORM_CROP]"},
};
const GLProgram::Location kLarge[] = {
    {GLProgram::kAttrib, GLProgVignette::ATTRIB_GLOBAL_TEX_COORD, "a_globalTexCoord",
     "m_nAttribLoc[ATTRIB_GLOBAL_TEX_COORD]"},
};
const GLProgDesc kVignette = WithSource(
    MakeProgDesc(kShader_vignette_vert, kShader_vignette_frag, nullptr, kCommon, kPreview, kLarge));

}  // namespace

GLProgVignette::GLProgVignette(bool large) : GLProgEffect(kVignette, large) {}

unsigned GLProgVignette::Load() {
  if (!GLProgEffect::Load()) return 0;
  // Declared for the strength but unread, so the compiler may drop it.
  m_nUniformLoc[UNIFORM_STRENGTH] = glGetUniformLocation(ProgramId(), "u_fStrength");
  return 1;
}

GEShaderVignette::GEShaderVignette() : GEShader(&s_peLogModule) {}

bool GEShaderVignette::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                            unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  if (!InitCommon("GEShaderVignette", src, dst, x, y, w, h, captureMode, converter, g_Disp_Width,
                  g_Disp_Height))
    return false;
  LOGI(captureMode ? "[%s] Creating vignette large shader" : "[%s] Creating vignette shader",
       "Init");
  if (!LoadProgram(m_pProgram, captureMode ? new GLProgVignetteLarge() : new GLProgVignette(),
                   "[%s] can't load program"))
    return false;
  m_pProgram->SetTextures(0, src);
  m_fCenter[0] = m_fCenter[1] = 0.5f;
  m_fRadius = 0.3f;
  m_fStrength = 0.5f;
  m_fScreenRatio = h ? static_cast<float>(w) / static_cast<float>(h) : 1.f;
  LOGI("[%s] screen ratio = %u/%u = %f", "Init", w, h, m_fScreenRatio);
  // The crop uniform restricts the preview to the valid columns, so the
  // coordinates themselves span the whole picture.
  PartialTexCoords(src ? src->GetWidth() : 0, "Init");
  m_sourceReads = kReadsCroppedTexel;
  return FinishInit();
}

bool GEShaderVignette::SetParam(unsigned set, int p0, int p1, int p2, int p3) {
  if (RefuseUninited("SetParam")) return false;
  if (set == 0) {
    m_fStrength = (100 - p0) * 0.37f / 100.f + 0.03f;
    return true;
  }
  const float W = static_cast<float>(m_uWidth), H = static_cast<float>(m_uHeight);
  if (W <= 0 || H <= 0) return true;
  m_fCenter[0] = p0 / W - 0.5f;
  m_fCenter[1] = p1 / H - 0.5f;
  const double dy = (p3 - p1) / static_cast<double>(H), dx = (p2 - p0) / static_cast<double>(W);
  m_fRadius = static_cast<float>(std::sqrt(dy * dy + dx * dx));
  return true;
}

bool GEShaderVignette::ProcBlock(unsigned, unsigned, int, int) {
  return DrawAndConvert(m_pProgram.get(), m_fTexCoord, [this] {
    m_pProgram->Uniform1f(GLProgVignette::UNIFORM_SCREEN_RATIO, m_fScreenRatio);
    m_pProgram->Uniform2f(GLProgVignette::UNIFORM_CENTER, m_fCenter[0], m_fCenter[1]);
    m_pProgram->Uniform2f(GLProgVignette::UNIFORM_RADIUS, m_fRadius - m_fStrength,
                          m_fRadius + m_fStrength);
    if (m_captureMode)
      m_pProgram->VertexAttribPointer(GLProgVignette::ATTRIB_GLOBAL_TEX_COORD, 2, m_fGlobalCoord);
    else
      m_pProgram->Uniform4f(GLProgVignette::UNIFORM_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                            m_fCrop[3]);
  });
}

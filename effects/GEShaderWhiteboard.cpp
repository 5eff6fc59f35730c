#include "GEShaderWhiteboard.h"

#include <pe/Log.h>

#include "CurveTable.h"
#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderWhiteboard");

namespace {

const GLProgram::Location kLocations[] = {
    {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
    {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
    {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "g_sImageTexture",
     "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
    {GLProgram::kSampler, GLProgWhiteboard::SAMPLER_CURVE, "g_sLUTTexture",
     "m_nSamplerLoc[SAMPLER_CURVE]"},
    {GLProgram::kUniform, GLProgWhiteboard::UNIFORM_LOC_TEXELSIZE, "g_vTexelSize",
     "m_pnUniLoc[UNIFORM_LOC_TEXELSIZE]"},
    {GLProgram::kUniform, GLProgWhiteboard::UNIFORM_LOC_CONTROLLER, "g_fController",
     "m_pnUniLoc[UNIFORM_LOC_CONTROLLER]"},
};
const GLProgDesc kWhiteboard = MakeProgDesc(kShader_whiteboard_vert, kShader_whiteboard_frag,
                                            kShader_curve_table_glsl, kLocations);

}  // namespace

GLProgWhiteboard::GLProgWhiteboard() : GLProgEffect(kWhiteboard, false) {}

GEShaderWhiteboard::GEShaderWhiteboard() : GEShader(&s_peLogModule) {}

bool GEShaderWhiteboard::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                              unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  if (!InitCommon("GEShaderWhiteboard", src, dst, x, y, w, h, captureMode, converter)) return false;
  LOGI("[%s] Creating cross curve texture", "Init");
  if (!LoadAsset(m_pCurve, "ContrastCurveSet.bmp", GL_RGB, kOverrideFirst,
                 "[%s] can't load contrast curve tex"))
    return false;
  LOGI("[%s] Creating Whiteboard shader", "Init");
  if (!LoadProgram(m_pProgram, new GLProgWhiteboard(), "[%s] can't load program whiteboard"))
    return false;
  m_pProgram->SetTextures(0, src);
  if (const char* failed = pe::DrawCurveTable("GAMMA_LUT", m_pCurve.get(), &m_pTable)) {
    LogError(failed, "Init");
    return false;
  }
  m_pProgram->SetTextures(GLProgWhiteboard::SAMPLER_CURVE, m_pTable.get());
  PartialTexCoords(src ? src->GetAllocWidth() : 0, "Init");
  m_sourceReads = kReadsTexelKernel;
  return FinishInit();
}

bool GEShaderWhiteboard::SetParam(unsigned, int, int, int, int) {
  RefuseUninited("SetParam");
  return false;
}

bool GEShaderWhiteboard::ProcFrame(unsigned char*, unsigned char* dst, int width, int height) {
  LOGI("[%s] enter", "ProcFrame");
  return RunCropCapture("ProcFrame", dst, width, height);
}

bool GEShaderWhiteboard::ProcBlock(unsigned, unsigned, int, int) {
  if (!m_captureMode) {
    // The preview follows the crop, read afresh every frame. The crop is in
    // source-texture terms and its default already keeps to the frame's
    // columns, so the stride is not applied a second time (that would squeeze
    // a frame whose width is not a multiple of 32).
    static const float kCorners[8] = {0, 1, 0, 0, 1, 0, 1, 1};
    for (int i = 0; i < 4; ++i) {
      m_fTexCoord[2 * i] = m_fCrop[0] + kCorners[2 * i] * m_fCrop[2];
      m_fTexCoord[2 * i + 1] = m_fCrop[1] + kCorners[2 * i + 1] * m_fCrop[3];
    }
  }
  return DrawAndConvert(m_pProgram.get(), m_fTexCoord, [this] {
    m_fController = 0.6f;
    // The program has no crop uniform; the upload finds no location and is
    // ignored, as it always has been.
    m_pProgram->Uniform4f(GLProgWhiteboard::UNIFORM_LOC_CROP, m_fCrop[0], m_fCrop[1], m_fCrop[2],
                          m_fCrop[3]);
    m_pProgram->Uniform1f(GLProgWhiteboard::UNIFORM_LOC_CONTROLLER, m_fController);
    // The kernel spans one viewport pixel, whatever the texture's size.
    m_pProgram->Uniform2f(GLProgWhiteboard::UNIFORM_LOC_TEXELSIZE,
                          1.f / static_cast<float>(m_uWidth), 1.f / static_cast<float>(m_uHeight));
  });
}

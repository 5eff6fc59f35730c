#include "GEShaderBypass.h"

#include <pe/Log.h>

#include "EffectShaders.h"
#include "GLTexture.h"

PE_LOG_MODULE("GEShaderBypass");

namespace {

const GLProgram::Location kLocations[] = {
    {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
    {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
    {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "s_texture0",
     "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
    {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
     "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
};
const GLProgDesc kBypass =
    MakeProgDesc(kShader_bypass_vert, kShader_bypass_frag, nullptr, kLocations);

}  // namespace

GLProgBypass::GLProgBypass() : GLProgEffect(kBypass, false) {}

GEShaderBypass::GEShaderBypass() : GEShader(&s_peLogModule) {}

bool GEShaderBypass::Init(GLTexture* src, unsigned dst, unsigned x, unsigned y, unsigned w,
                          unsigned h, unsigned char captureMode, IYUVConverter* converter) {
  TRACE("Init");
  InitCommon("GEShaderBypass", src, dst, x, y, w, h, captureMode, converter);
  LOGI("[%s] Creating bypass shader", "Init");
  if (!LoadProgram(m_pProgram, new GLProgBypass(), "[%s] can't load program")) return false;
  m_pProgram->SetTextures(0, src);
  PartialTexCoords(src ? src->GetAllocWidth() : 0, "Init");
  return FinishInit();
}

bool GEShaderBypass::SetParam(unsigned, int, int, int, int) { return !RefuseUninited("SetParam"); }

bool GEShaderBypass::SetCrop(int, int, int, int) { return true; }

bool GEShaderBypass::ProcBlock(unsigned, unsigned, int, int) {
  return DrawAndConvert(m_pProgram.get(), m_fTexCoord);
}

#include "GLProgEffect.h"

#include <pe/Log.h>

#include <string>

#include "PlanesOutput.h"
#include "ShaderSource.h"

PE_LOG_MODULE("GLProgEffect");

const GLProgram::Location kSourceLocations[4] = {
    {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
    {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
    {GLProgram::kSampler, GLProgram::SAMPLER_INPUT_TEX, "s_texture0",
     "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
    {GLProgram::kSampler, GLProgram::SAMPLER_MAT_YUV2RGB, "u_mat_yuv2rgb",
     "m_nSamplerLoc[SAMPLER_MAT_YUV2RGB]"},
};

unsigned GLProgEffect::Load() { return LoadWith(m_desc.fragment); }

unsigned GLProgEffect::LoadWith(const char* fragment) {
  TRACE("Load");
  const char* define = m_bLarge ? "CAPTURE" : nullptr;
  const std::string vs = pe::ComposeShader(m_desc.vertex, define, nullptr);
  const std::string variant = pe::ComposeShader(fragment, m_pVariant, nullptr);
  const std::string fs = pe::ComposeShader(variant.c_str(), define, m_desc.prelude);
  const std::string planes = PlanesRequested() ? pe::PlanesShader(fs) : std::string();
  m_bDrawsPlanes = false;
  if (!GLProgram::Load(vs.c_str(), planes.empty() ? fs.c_str() : planes.c_str())) {
    LOGE("[%s] can't load shader", "Load");
    return 0;
  }
  m_bDrawsPlanes = !planes.empty();
  m_nStretchLoc = m_bDrawsPlanes ? glGetUniformLocation(ProgramId(), pe::kPlanesStretch) : -1;
  LOGI("[%s] get locations", "Load");
  if (m_desc.withSource && !LoadLocations(kSourceLocations, 4)) return 0;
  if (m_desc.common && !LoadLocations(m_desc.common, m_desc.commonCount)) return 0;
  const GLProgram::Location* own = m_bLarge ? m_desc.large : m_desc.preview;
  const size_t ownCount = m_bLarge ? m_desc.largeCount : m_desc.previewCount;
  if (own && !LoadLocations(own, ownCount)) return 0;
  LOGI("[%s] program id %d", "Load", ProgramId());
  return 1;
}

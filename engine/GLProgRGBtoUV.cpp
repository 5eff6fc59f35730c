#include "GLProgRGBtoUV.h"

#include <pe/Log.h>

#include <cstring>
#include <string>

#include "EngineShaders.h"
#include "ShaderSource.h"

PE_LOG_MODULE("GEShader");

GLProgRGBtoUV::~GLProgRGBtoUV() { TRACE("~GLProgRGBtoUV"); }

void GLProgRGBtoUV::SetShift(const float shift[4]) {
  std::memcpy(m_fShift, shift, sizeof(m_fShift));
}

unsigned GLProgRGBtoUV::Load() {
  TRACE("Load");
  const std::string fs =
      pe::ComposeShader(kShader_rgb2uv_frag, nullptr, kShader_chroma_weights_glsl);
  if (!GLProgram::Load(kShader_quad_vert, fs.c_str())) {
    LOGE("[%s] can't load shader", "Load");
    return 0;
  }
  static const GLProgram::Location kLocations[] = {
      {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
      {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
      {GLProgram::kSampler, SAMPLER_INPUT_TEX, "s_texture0", "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
      {GLProgram::kUniform, UNIFORM_SHIFT, "u_shift", "m_nUniformLoc[UNIFORM_SHIFT]"},
  };
  return LoadLocations(kLocations, sizeof(kLocations) / sizeof(kLocations[0]));
}

unsigned GLProgRGBtoUV::Use() {
  if (!GLProgram::Use()) return 0;
  glUniform2fv(m_nUniformLoc[UNIFORM_SHIFT], 2, m_fShift);
  return 1;
}

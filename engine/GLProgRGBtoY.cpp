#include "GLProgRGBtoY.h"

#include <pe/Log.h>

#include <cstring>

#include "EngineShaders.h"

PE_LOG_MODULE("GEShader");

// Full-range luma, no offset; alpha ignored.
const float GLProgRGBtoY::kRgbToY[4] = {0.299f, 0.587f, 0.114f, 0.0f};

GLProgRGBtoY::~GLProgRGBtoY() { TRACE("~GLProgRGBtoY"); }

void GLProgRGBtoY::SetShift(const float shift[8]) {
  std::memcpy(m_fShift, shift, sizeof(m_fShift));
}

unsigned GLProgRGBtoY::Load() {
  TRACE("Load");
  if (!GLProgram::Load(kShader_quad_vert, kShader_rgb2y_frag)) {
    LOGE("[%s] can't load shader", "Load");
    return 0;
  }
  static const GLProgram::Location kLocations[] = {
      {GLProgram::kVertexCoord, 0, "a_vertexCoord", "m_nVerCoordLoc"},
      {GLProgram::kTexCoord, 0, "a_textureCoord", "m_nTexCoordLoc"},
      {GLProgram::kSampler, SAMPLER_INPUT_TEX, "s_texture0", "m_nSamplerLoc[SAMPLER_INPUT_TEX]"},
      {GLProgram::kUniform, UNIFORM_SHIFT, "u_shift", "m_nUniformLoc[UNIFORM_SHIFT]"},
      {GLProgram::kUniform, UNIFORM_VEC_RGBTOY, "u_vec_rgb2y", "m_nUniformLoc[UNIFORM_VEC_RGBTOY]"},
  };
  return LoadLocations(kLocations, sizeof(kLocations) / sizeof(kLocations[0]));
}

unsigned GLProgRGBtoY::Use() {
  if (!GLProgram::Use()) return 0;
  glUniform2fv(m_nUniformLoc[UNIFORM_SHIFT], 4, m_fShift);
  glUniform4fv(m_nUniformLoc[UNIFORM_VEC_RGBTOY], 1, kRgbToY);
  return 1;
}

#include "CurveTable.h"

#include "DrawPass.h"
#include "EffectShaders.h"
#include "GLFbo.h"

namespace {

constexpr unsigned kSide = 256;

const GLProgDesc kTable = {kShader_bypass_vert,
                           kShader_curve_table_frag,
                           kShader_curve_table_glsl,
                           kSourceLocations,
                           3,
                           nullptr,
                           0,
                           nullptr,
                           0};

}  // namespace

GLProgCurveTable::GLProgCurveTable(const char* variant) : GLProgEffect(kTable, false, variant) {}

namespace pe {

bool DrawCurveTable(GLProgEffect* prog, GLTexture* curve, GLTexture* table) {
  if (!table->Init(GL_RGBA, GL_UNSIGNED_BYTE, kSide, kSide, 0) ||
      !table->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST))
    return false;
  GLFbo fbo;
  if (!fbo.Init() || !fbo.SetColorAttachment(table)) return false;
  prog->SetTextures(GLProgram::SAMPLER_INPUT_TEX, curve);
  return DrawPass(&fbo, kSide, kSide, prog, kQuadTexCoords);
}

}  // namespace pe

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

namespace {

bool DrawInto(GLProgEffect* prog, GLTexture* curve, GLTexture* table) {
  if (!table->Init(GL_RGBA, GL_UNSIGNED_BYTE, kSide, kSide, 0) ||
      !table->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST))
    return false;
  GLFbo fbo;
  if (!fbo.Init() || !fbo.SetColorAttachment(table)) return false;
  prog->SetTextures(GLProgram::SAMPLER_INPUT_TEX, curve);
  return pe::DrawPass(&fbo, kSide, kSide, prog, kQuadTexCoords);
}

}  // namespace

namespace pe {

const char* DrawCurveTables(const char* variant, GLTexture* const* curves, GLTexture* const* tables,
                            size_t n) {
  GLProgCurveTable prog(variant);
  if (!prog.Load()) return "[%s] can't load curve table program";
  for (size_t i = 0; i < n; ++i)
    if (!DrawInto(&prog, curves[i], tables[i])) return "[%s] can't draw curve tables";
  return nullptr;
}

const char* DrawCurveTable(const char* variant, GLTexture* curve, GEOwned<GLTexture>* table) {
  table->reset(new GLTexture());
  GLTexture* made = table->get();
  return DrawCurveTables(variant, &curve, &made, 1);
}

}  // namespace pe

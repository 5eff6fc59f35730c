#pragma once

#include "GLProgEffect.h"
#include "GLTexture.h"

// The program that draws a curve table (shaders/curve_table.glsl) from a
// curve bitmap bound at slot 0. variant: null for a plain curve, "GAMMA_LUT"
// for the whiteboard's.
class GLProgCurveTable : public GLProgEffect {
 public:
  explicit GLProgCurveTable(const char* variant);
};

namespace pe {

// Makes table (a texture not yet made) a 256 x 256 one read nearest and draws
// curve into it with prog, a loaded GLProgCurveTable. False on any GL failure.
bool DrawCurveTable(GLProgEffect* prog, GLTexture* curve, GLTexture* table);

}  // namespace pe

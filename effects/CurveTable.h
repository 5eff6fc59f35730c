#pragma once

#include <cstddef>

#include "GEShader.h"
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

// Makes each of the n tables (textures not yet made) a 256 x 256 one read
// nearest and draws its curve into it, with one GLProgCurveTable of the
// variant made for the purpose and dropped after. Null when every table is
// drawn, else the line to log: the program could not be made, or a table not
// drawn.
const char* DrawCurveTables(const char* variant, GLTexture* const* curves, GLTexture* const* tables,
                            size_t n);
// The same for one curve, its table made anew in *table.
const char* DrawCurveTable(const char* variant, GLTexture* curve, GEOwned<GLTexture>* table);

}  // namespace pe

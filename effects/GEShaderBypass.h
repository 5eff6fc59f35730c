#pragma once

#include "GEShaderSingleTexture.h"

// The pass-through program: the source frame through the YUV-to-RGB matrix.
class GLProgBypass : public GLProgEffect {
 public:
  GLProgBypass();
};

// Draws the source unchanged. It has no effect number: it is the plainest
// instance of the processing pattern every effect follows.
class GEShaderBypass : public GEShaderSingleTexture {
 public:
  GEShaderBypass();

 protected:
  // The one program serves preview and capture.
  GLProgEffect* NewProgram(bool large) override;
};

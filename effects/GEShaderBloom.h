#pragma once

#include "GEShaderSingleTexture.h"

// Brightens each pixel in proportion to its own luminance.
class GLProgBloom : public GLProgEffect {
 public:
  explicit GLProgBloom(bool large = false);
};

class GLProgBloomLarge : public GLProgBloom {
 public:
  GLProgBloomLarge() : GLProgBloom(true) {}
};

class GEShaderBloom : public GEShaderSingleTexture {
 public:
  GEShaderBloom();

 protected:
  GLProgEffect* NewProgram(bool large) override;
};

#pragma once

#include "GECurveLook.h"

// A punchy black and white: the cross curve per channel folded into one grey
// under the vignette. The preview shows the whole frame whatever the crop.
class GEShaderContrast : public GECurveLook {
 public:
  GEShaderContrast();
  using GEShader::SetCrop;
  // Kept for callers that hand a crop in pixels; the effect has no use for it.
  virtual bool SetCrop(int, int, int, int) { return true; }
};

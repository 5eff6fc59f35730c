#pragma once

#include "GECurveLook.h"

// Old-photograph looks: cross-processed, cold, warm and sepia film, the
// first three with a vignette.
class GEShaderVintage : public GECurveLook {
 public:
  GEShaderVintage();
};

#include "GEShaderVintage.h"

#include <pe/Log.h>

PE_LOG_MODULE("GEShaderVintage");

namespace {

const GECurveLook::Curve kCurves[] = {
    {"CurveCross.bmp", "[%s] Creating cross curve texture", "[%s] can't load cross tex"},
    {"CurveCold.bmp", "[%s] Creating cold curve texture", "[%s] can't load hc tex"},
    {"CurveWarm.bmp", "[%s] Creating warm curve texture", "[%s] can't load warm tex"},
    {"CurveSepia.bmp", "[%s] Creating sepia curve texture", "[%s] can't load sepia tex"},
};
// Sepia is a print tone of its own: no vignette over it.
const GECurveLook::Look kLooks[] = {
    {"[%s] Vintage - cross", 0, true},
    {"[%s] Vintage - cold", 1, true},
    {"[%s] Vintage - warm", 2, true},
    {"[%s] Vintage - Sepia", 3, false},
};

}  // namespace

GEShaderVintage::GEShaderVintage()
    : GECurveLook(s_peLogModule, "GEShaderVintage", "Vintage", kColourProgram, nullptr, kCurves,
                  kLooks) {}

#include "GEShaderContrast.h"

#include <pe/Log.h>

PE_LOG_MODULE("GEShaderContrast");

namespace {

const GECurveLook::Curve kCurves[] = {
    {"CurveCross.bmp", "[%s] Creating cross curve texture", "[%s] can't load cross tex"},
};
const GECurveLook::Look kLooks[] = {
    {"[%s] Contrast - cross", 0, true},
};

}  // namespace

GEShaderContrast::GEShaderContrast()
    : GECurveLook(s_peLogModule, "GEShaderContrast", "Contrast", kGreyProgram, "GREY", kCurves,
                  kLooks) {}

#include "EffectTable.h"

#include "GEShaderDoF.h"
#include "GEShaderSketch.h"
#include "GEShaderTS.h"
#include "GEShaderVignette.h"

namespace pe {
namespace {

template <typename T>
GEShader* Create() {
  return new T();
}

// Numbers whose effect is not built yet are absent: the manager refuses them
// with its "wrong index" line.
const GEEffectEntry kEffects[] = {
    {2, "DoF", Create<GEShaderDoF>, nullptr},
    {4, "Vignette", Create<GEShaderVignette>, nullptr},
    {7, "TS", Create<GEShaderTS>, nullptr},
    {17, "Sketch", Create<GEShaderSketch>, nullptr},
    {18, "Color Sketch", Create<GEShaderColorSketch>, nullptr},
};

}  // namespace

GEEffectTable BuiltinEffects() {
  return GEEffectTable{kEffects, sizeof(kEffects) / sizeof(kEffects[0])};
}

}  // namespace pe

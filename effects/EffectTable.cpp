#include "EffectTable.h"

#include "GEShaderContrast.h"
#include "GEShaderVignette.h"
#include "GEShaderVintage.h"
#include "GEShaderWhiteboard.h"

namespace pe {
namespace {

template <typename T>
GEShader* Create() {
  return new T();
}

// Numbers whose effect is not built yet are absent: the manager refuses them
// with its "wrong index" line.
const GEEffectEntry kEffects[] = {
    {1, "Vintage", Create<GEShaderVintage>, nullptr},
    {4, "Vignette", Create<GEShaderVignette>, nullptr},
    {6, "Contrast", Create<GEShaderContrast>, nullptr},
    {10, "Whiteboard", Create<GEShaderWhiteboard>, nullptr},
};

}  // namespace

GEEffectTable BuiltinEffects() {
  return GEEffectTable{kEffects, sizeof(kEffects) / sizeof(kEffects[0])};
}

}  // namespace pe

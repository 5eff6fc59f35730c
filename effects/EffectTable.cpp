#include "EffectTable.h"

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
    {4, "Vignette", Create<GEShaderVignette>, nullptr},
};

}  // namespace

GEEffectTable BuiltinEffects() {
  return GEEffectTable{kEffects, sizeof(kEffects) / sizeof(kEffects[0])};
}

}  // namespace pe

#include "EffectTable.h"

#include "GERampLook.h"
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
    {11, "Stylized_Maple", Create<GEShaderStylizeMaple>, nullptr},
    {12, "Stylized_Nash", Create<GEShaderStylizeNash>, nullptr},
    {13, "TwoToneMask_V", Create<GEShaderTwoToneMaskV>, nullptr},
    {14, "TwoToneMask_H", Create<GEShaderTwoToneMaskH>, nullptr},
    {15, "SplitToning_Mono", Create<GEShaderSplitToningCM>, nullptr},
    {16, "SplitToning_Color", Create<GEShaderSplitToningSC>, nullptr},
};

}  // namespace

GEEffectTable BuiltinEffects() {
  return GEEffectTable{kEffects, sizeof(kEffects) / sizeof(kEffects[0])};
}

}  // namespace pe

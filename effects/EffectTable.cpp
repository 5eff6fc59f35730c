#include "EffectTable.h"

#include "GEManager.h"
#include "GERampLook.h"
#include "GEShaderBloom.h"
#include "GEShaderContrast.h"
#include "GEShaderDoF.h"
#include "GEShaderDot.h"
#include "GEShaderFisheye.h"
#include "GEShaderMirror.h"
#include "GEShaderSketch.h"
#include "GEShaderTS.h"
#include "GEShaderVignette.h"
#include "GEShaderVintage.h"
#include "GEShaderWhiteboard.h"

namespace pe {
namespace {

template <typename T>
GEShader* Create() {
  return new T();
}

// The fold follows how the device is held, as the service last told the
// manager.
void ConfigureMirror(GEShader* shader, const GEManager& manager) {
  static_cast<GEShaderMirror*>(shader)->SetLandscaped(manager.m_bLandscaped);
}

// Numbers whose effect is not built yet are absent: the manager refuses them
// with its "wrong index" line.
const GEEffectEntry kEffects[] = {
    {1, "Vintage", Create<GEShaderVintage>, nullptr},
    {2, "DoF", Create<GEShaderDoF>, nullptr},
    {3, "Distortion", Create<GEShaderFisheye>, nullptr},
    {4, "Vignette", Create<GEShaderVignette>, nullptr},
    {5, "DOTS", Create<GEShaderDot>, nullptr},
    {6, "Contrast", Create<GEShaderContrast>, nullptr},
    {7, "TS", Create<GEShaderTS>, nullptr},
    {8, "Mirror", Create<GEShaderMirror>, ConfigureMirror},
    {9, "Bloom", Create<GEShaderBloom>, nullptr},
    {10, "Whiteboard", Create<GEShaderWhiteboard>, nullptr},
    {11, "Stylized_Maple", Create<GEShaderStylizeMaple>, nullptr},
    {12, "Stylized_Nash", Create<GEShaderStylizeNash>, nullptr},
    {13, "TwoToneMask_V", Create<GEShaderTwoToneMaskV>, nullptr},
    {14, "TwoToneMask_H", Create<GEShaderTwoToneMaskH>, nullptr},
    {15, "SplitToning_Mono", Create<GEShaderSplitToningCM>, nullptr},
    {16, "SplitToning_Color", Create<GEShaderSplitToningSC>, nullptr},
    {17, "Sketch", Create<GEShaderSketch>, nullptr},
    {18, "Color Sketch", Create<GEShaderColorSketch>, nullptr},
};

}  // namespace

GEEffectTable BuiltinEffects() {
  return GEEffectTable{kEffects, sizeof(kEffects) / sizeof(kEffects[0])};
}

}  // namespace pe

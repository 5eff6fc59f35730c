#pragma once

#include <posteffect/Export.h>

#include <memory>

namespace android {

class CameraParameters;
class String8;

// Keys and value parsing of the effect camera parameters.
class PE_EXPORT GECameraParameters {
 public:
  static const char KEY_GPU_EFFECT[];
  static const char KEY_GPU_EFFECT_PARAM_0[];
  static const char KEY_GPU_EFFECT_PARAM_1[];
  static const char KEY_GPU_EFFECT_PARAM_2[];
  static const char KEY_GPU_EFFECT_PARAM_3[];

  // Reads a parameter set the caller owns; it must outlive this object.
  explicit GECameraParameters(const CameraParameters& params);
  // Unflattens "key=value;key=value" into a parameter set of its own.
  explicit GECameraParameters(const String8& flattened);
  ~GECameraParameters();
  GECameraParameters(const GECameraParameters&) = delete;
  GECameraParameters& operator=(const GECameraParameters&) = delete;

  bool getGPUEffect(int* pnEffectNo) const;
  bool getGPUEffectParam(int nIdx, int* p0, int* p1, int* p2, int* p3) const;
  void setGPUEffect(int effect);
  void setGPUEffectParam(int nIdx, float p0, float p1, float p2, float p3);

 private:
  std::unique_ptr<CameraParameters> m_owned;
  const CameraParameters* m_params;
};

}  // namespace android

#include <camera/CameraParameters.h>
#include <pe/Log.h>
#include <posteffect/GECameraParameters.h>
#include <utils/String8.h>

#include <climits>
#include <cstdlib>

// Parameter messages carry no tag and have a mask of their own.
PE_LOG_MODULE("");

namespace android {
namespace {

struct EffectName {
  char first;
  int number;
  const char* name;
};

// "A" is not an effect: the letters continue the digits from 10.
const EffectName kEffects[] = {
    {'0', 0, "Bypass"},
    {'1', 1, "Vintage"},
    {'2', 2, "DoF"},
    {'3', 3, "Distortion"},
    {'4', 4, "Vignette"},
    {'5', 5, "DOTS"},
    {'6', 6, "Contrast"},
    {'7', 7, "TS"},
    {'8', 8, "Mirror"},
    {'9', 9, "Bloom"},
    {'B', 10, "Whiteboard"},
    {'C', 11, "Stylized_Maple"},
    {'D', 12, "Stylized_Nash"},
    {'E', 13, "TwoToneMask_V"},
    {'F', 14, "TwoToneMask_H"},
    {'G', 15, "SplitToning_Mono"},
    {'H', 16, "SplitToning_Color"},
    {'I', 17, "Sketch"},
    {'J', 18, "Color Sketch"},
};

// strtol in base 10, saturated to the int range so that the result does not
// depend on the width of long.
int ParseInt(const char* text, const char** end) {
  char* stop = nullptr;
  long v = std::strtol(text, &stop, 10);
  *end = stop;
  if (v > INT_MAX) return INT_MAX;
  if (v < INT_MIN) return INT_MIN;
  return static_cast<int>(v);
}

// Four numbers, a comma right after each of the first three; whatever
// follows the fourth is ignored.
bool ParseQuad(const char* text, int out[4]) {
  const char* p = text;
  for (int i = 0; i < 4; ++i) {
    const char* end = nullptr;
    out[i] = ParseInt(p, &end);
    if (i < 3) {
      if (*end != ',') return false;
      p = end + 1;
    }
  }
  return true;
}

}  // namespace

const char GECameraParameters::KEY_GPU_EFFECT[] = "GPU-effect";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_0[] = "GE-param0";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_1[] = "GE-param1";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_2[] = "GE-param2";
const char GECameraParameters::KEY_GPU_EFFECT_PARAM_3[] = "GE-param3";

GECameraParameters::GECameraParameters(const CameraParameters& params) : m_params(&params) {}

GECameraParameters::GECameraParameters(const String8& flattened)
    : m_owned(new CameraParameters(flattened)), m_params(m_owned.get()) {}

GECameraParameters::~GECameraParameters() = default;

bool GECameraParameters::getGPUEffect(int* pnEffectNo) const {
  LOGD("[GECameraParameters::getGPUEffect] enter");
  if (!pnEffectNo) {
    LOGD("[GECameraParameters::getGPUEffect] null pnEffectNo, leave");
    return false;
  }
  *pnEffectNo = -1;
  const char* value = m_params->get(KEY_GPU_EFFECT);
  if (!value) {
    LOGD("[GECameraParameters::getGPUEffect] leave. no key %s", KEY_GPU_EFFECT);
    return false;
  }
  int effect = -1;
  for (const EffectName& e : kEffects) {
    if (e.first == value[0]) {
      effect = e.number;
      LOGD("[GECameraParameters::getGPUEffect] %s", e.name);
      break;
    }
  }
  if (effect < 0) LOGD("[GECameraParameters::getGPUEffect] invalid value");
  *pnEffectNo = effect;
  LOGD("[GECameraParameters::getGPUEffect] leave");
  return true;
}

bool GECameraParameters::getGPUEffectParam(int nIdx, int* p0, int* p1, int* p2, int* p3) const {
  static const char* const kKeys[] = {KEY_GPU_EFFECT_PARAM_0, KEY_GPU_EFFECT_PARAM_1,
                                      KEY_GPU_EFFECT_PARAM_2, KEY_GPU_EFFECT_PARAM_3};
  // Compared unsigned so that negative indices are out of range too.
  if (static_cast<unsigned>(nIdx) > 3u) {
    LOGD("[GECameraParameters::getGPUEffectParam] nIdx %d out of range, return", nIdx);
    return false;
  }
  const char* value = m_params->get(kKeys[nIdx]);
  if (!value) {
    LOGD("[GECameraParameters::getGPUEffectParam] leave. no key %s", kKeys[nIdx]);
    return false;
  }
  int v[4];
  if (!ParseQuad(value, v)) {
    LOGD("[GECameraParameters::getGPUEffectParam] parse_params format error");
    return false;
  }
  int* const out[4] = {p0, p1, p2, p3};
  for (int i = 0; i < 4; ++i)
    if (out[i]) *out[i] = v[i];
  return true;
}

// The service only reads the effect parameters; the setters stay inert.
void GECameraParameters::setGPUEffect(int) {}

void GECameraParameters::setGPUEffectParam(int, float, float, float, float) {}

}  // namespace android

// Feeds arbitrary bytes to the parameter parser as a flattened parameter
// string and traps on any result the parser must never give.
#include <posteffect/GECameraParameters.h>
#include <utils/String8.h>

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // String8 stops at the first NUL, as the camera service's strings do.
  const std::string text(reinterpret_cast<const char*>(data), size);
  android::GECameraParameters params{android::String8(text.c_str())};
  int effect = 1234;
  const bool found = params.getGPUEffect(&effect);
  if (effect < -1 || effect > 18 || (!found && effect != -1)) __builtin_trap();
  for (int idx = -1; idx <= 4; ++idx) {
    int v[4] = {7, 7, 7, 7};
    const bool ok = params.getGPUEffectParam(idx, &v[0], &v[1], &v[2], &v[3]);
    // Indices outside 0..3 are refused; a refused value leaves every output as it was.
    if ((ok && (idx < 0 || idx > 3)) || (!ok && (v[0] != 7 || v[1] != 7 || v[2] != 7 || v[3] != 7)))
      __builtin_trap();
  }
  return 0;
}

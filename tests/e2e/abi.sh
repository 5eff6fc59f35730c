#!/usr/bin/env bash
# The binary interface a camera service links against: the soname it opens
# and exactly the documented symbols, no internal class.
# usage: abi.sh LIBRARY
set -euo pipefail
lib=$1
soname=$(readelf -d "$lib" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
[ "$soname" = libposteffect.so ] || { echo "soname is '$soname'" >&2; exit 1; }
got=$(nm -D --defined-only "$lib" | awk '{print $3}' | c++filt | sed 's/(.*//' | sort -u)
want="android::GECameraParameters::GECameraParameters
android::GECameraParameters::KEY_GPU_EFFECT
android::GECameraParameters::KEY_GPU_EFFECT_PARAM_0
android::GECameraParameters::KEY_GPU_EFFECT_PARAM_1
android::GECameraParameters::KEY_GPU_EFFECT_PARAM_2
android::GECameraParameters::KEY_GPU_EFFECT_PARAM_3
android::GECameraParameters::getGPUEffect
android::GECameraParameters::getGPUEffectParam
android::GECameraParameters::setGPUEffect
android::GECameraParameters::setGPUEffectParam
android::GECameraParameters::~GECameraParameters
createPostEffect
destroyPostEffect
g_Disp_Height
g_Disp_Width
g_eglContext
g_eglDisplay"
if [ "$got" != "$(sort -u <<<"$want")" ]; then
  diff <(sort -u <<<"$want") <(echo "$got") >&2 || true
  exit 1
fi

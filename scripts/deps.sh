#!/usr/bin/env bash
# Installs the build and test dependencies on Debian (skipped when present).
set -euo pipefail
pkgs=(build-essential cmake pkg-config clang libclang-rt-14-dev
      libegl-dev libgles-dev libegl-mesa0 libgl1-mesa-dri
      android-libutils-dev android-liblog-dev
      libgtest-dev libgmock-dev googletest libbenchmark-dev glslang-tools
      libturbojpeg0-dev libpng-dev libexiv2-dev ffmpeg libyuv-dev
      g++-aarch64-linux-gnu qemu-user
      libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev gstreamer1.0-tools
      gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-gl
      gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly gstreamer1.0-libav
      libcpp-httplib-dev nlohmann-json3-dev chromium chromium-driver)
missing=()
for p in "${pkgs[@]}"; do
  [[ "$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null)" == *"ok installed"* ]] || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

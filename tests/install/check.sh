#!/usr/bin/env bash
# Installs the build into a scratch prefix and builds a consumer against it
# twice: with find_package(PostEffect) and with pkg-config.
# usage: check.sh BUILD_DIR SOURCE_DIR "CXX FLAGS"
set -euo pipefail
build=$1
src=$2
flags=${3:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/prefix" >/dev/null
for f in lib/libposteffect.so include/posteffect/PostEffect.h lib/pkgconfig/posteffect.pc \
  share/posteffect/mask_vignette_wide.bmp; do
  [ -e "$work/prefix/$f" ] || { echo "not installed: $f" >&2; exit 1; }
done

cmake -S "$src/consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046,SC2086
c++ -std=c++17 $flags "$src/consumer/main.cpp" $(pkg-config --cflags --libs posteffect) \
  -Wl,-rpath,"$work/prefix/lib" -o "$work/pkgconfig-consumer"
"$work/pkgconfig-consumer"

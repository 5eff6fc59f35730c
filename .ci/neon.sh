#!/usr/bin/env bash
# Cross-compiles the semi-planar YUV routines and their tests for arm64 and
# runs them under qemu, so that the NEON path is compared byte for byte with
# the scalar one on an x86 CI machine. The rest of the library needs arm64
# EGL and Android libraries that the host does not have, so only yuv/ is
# built; the file list mirrors yuv/CMakeLists.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
out=build-neon
cxx=aarch64-linux-gnu-g++
gtest=/usr/src/googletest/googletest
mkdir -p "$out"

# googletest from the sources Debian ships, built once per build folder.
if [ ! -f "$out/libgtest.a" ]; then
  "$cxx" -std=c++17 -O2 -I"$gtest/include" -I"$gtest" -c "$gtest/src/gtest-all.cc" -o "$out/gtest-all.o"
  "$cxx" -std=c++17 -O2 -I"$gtest/include" -c "$gtest/src/gtest_main.cc" -o "$out/gtest_main.o"
  aarch64-linux-gnu-ar rcs "$out/libgtest.a" "$out/gtest-all.o" "$out/gtest_main.o"
fi

"$cxx" -std=c++17 -O2 -g -Wall -Wextra -Werror -fsanitize=undefined -fno-sanitize-recover=all \
  -DPE_YUV_NEON -DPE_TEST_SIMD -Iyuv -I"$gtest/include" \
  yuv/YuvCopy.cpp yuv/YuvKernelsScalar.cpp yuv/YuvKernelsNeon.cpp \
  tests/yuv/test_yuv_copy.cpp "$out/libgtest.a" -lpthread -o "$out/test_yuv"

export UBSAN_OPTIONS="${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}"
qemu-aarch64 -L /usr/aarch64-linux-gnu "$out/test_yuv"

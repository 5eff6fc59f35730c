#!/usr/bin/env bash
# Builds and runs every test: the whole suite under AddressSanitizer +
# UndefinedBehaviorSanitizer, the threading tests under ThreadSanitizer, the
# fuzz targets for a bounded time, and the NEON paths under qemu.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs="$(nproc)"
export LSAN_OPTIONS="suppressions=$(pwd)/scripts/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"

echo "== ASan + UBSan"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Debug -DPE_SANITIZE="address;undefined"
cmake --build build-asan -j"$jobs"
ASAN_OPTIONS=verify_asan_link_order=0 ctest --test-dir build-asan --output-on-failure -j"$jobs"

echo "== TSan (threading tests)"
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Debug -DPE_SANITIZE=thread -DPE_BUILD_TOOLS=OFF
cmake --build build-tsan -j"$jobs" --target test_service_queue test_many_callers
TSAN_OPTIONS="suppressions=$(pwd)/scripts/tsan.supp" \
  ctest --test-dir build-tsan --output-on-failure -L threads

echo "== libFuzzer (clang)"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DPE_BUILD_FUZZERS=ON -DPE_BUILD_TOOLS=OFF
cmake --build build-fuzz -j"$jobs" --target fuzz_params fuzz_bmp fuzz_api
ctest --test-dir build-fuzz --output-on-failure -R "^fuzz_"

echo "== NEON under qemu"
.ci/neon.sh
echo "all tests passed"

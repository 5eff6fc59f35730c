#!/usr/bin/env bash
# Median milliseconds per preview frame through the public interface (effects
# 0 and 4) beside a pass-through GL round trip, and seconds per 4000x3000
# capture. Usage: bench/run_frame_bench.sh [frames]
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DPE_BUILD_BENCH=ON -DPE_BUILD_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target bench_frame >/dev/null
./build-bench/bench/frame/bench_frame "${1:-30}"

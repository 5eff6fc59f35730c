#!/usr/bin/env bash
# Median milliseconds per preview frame through the public interface beside a
# pass-through GL round trip, then every effect's 1280x720 and 1920x1080
# preview and 4000x3000 capture beside Vignette's of the same run.
# Usage: bench/run_frame_bench.sh [frames] [capture runs] [effect ...]
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DPE_BUILD_BENCH=ON -DPE_BUILD_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target bench_frame >/dev/null
./build-bench/bench/frame/bench_frame "$@"

#!/usr/bin/env bash
# Median milliseconds per preview frame through the public interface beside a
# pass-through GL round trip, then every effect's 1280x720 and 1920x1080
# preview and 4000x3000 capture beside Vignette's of the same run.
# Usage: bench/run_frame_bench.sh [frames] [capture runs] [effect ...]
#
# With --stages first: where each frame's time goes (NV21 expansion, upload,
# the look's passes, Y and chroma passes, read-back, copy over the caller's
# frame) beside the floor of the same run (the frame's NV21 bytes uploaded,
# one trivial pass, read back), at 1280x720 and 1920x1080, and 4000x3000
# stills per megapixel beside the 1920x1080 preview's, each still timed right
# after a batch of those previews. PE_BENCH_CLOCK=cpu
# times by CPU time, steadier on a shared machine.
# Usage: bench/run_frame_bench.sh --stages [frames] [capture runs] [effect ...]
set -euo pipefail
cd "$(dirname "$0")/.."
target=bench_frame
if [ "${1:-}" = "--stages" ]; then
  target=bench_stages
  shift
fi
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DPE_BUILD_BENCH=ON -DPE_BUILD_TESTS=OFF >/dev/null
cmake --build build-bench -j"$(nproc)" --target "$target" pe_assets_generate >/dev/null
export POSTEFFECT_ASSET_DIR=${POSTEFFECT_ASSET_DIR:-$PWD/build-bench/assets}
./build-bench/bench/frame/"$target" "$@"

#!/usr/bin/env bash
# Builds the library and the posteffect tool, then renders every effect on
# the built-in test chart into gallery.png.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DPE_BUILD_TESTS=OFF
cmake --build build -j"$(nproc)"
./build/tools/posteffect/posteffect gallery gallery.png
echo "wrote $(pwd)/gallery.png"

#!/usr/bin/env bash
# Largest difference, in levels per byte, between two builds' raw NV21
# outputs of every effect on the built-in test chart, in preview and in
# capture (a still walked in preview-sized blocks).
# Usage: bench/output_diff.sh OLD_TOOL NEW_TOOL [effect ...]
# Each tool finds its assets through POSTEFFECT_ASSET_DIR; set OLD_ASSETS and
# NEW_ASSETS to give each its own (default: assets/ beside its build tree).
set -euo pipefail
old=$1 new=$2
shift 2
effects=("$@")
[ ${#effects[@]} -gt 0 ] || effects=($(seq 1 18))
assets_of() { local d; d=$(cd "$(dirname "$1")/../.." && pwd); echo "$d/assets"; }
old_assets=${OLD_ASSETS:-$(assets_of "$old")}
new_assets=${NEW_ASSETS:-$(assets_of "$new")}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export POSTEFFECT_EFFECT_COUNT=19
# mode: the tool's flags for each run.
declare -A modes=(
  [preview]="--mode preview --size 1280x720"
  # 2000x1500 leaves a narrower last column and a shorter last row of blocks.
  [capture]="--mode capture --size 2000x1500 --preview-size 1280x720"
)
worst=0
printf '%-3s %8s %8s\n' "#" preview capture
for e in "${effects[@]}"; do
  line=$(printf '%-3s' "$e")
  for m in preview capture; do
    # shellcheck disable=SC2086
    POSTEFFECT_ASSET_DIR=$old_assets "$old" apply --effect "$e" ${modes[$m]} "$work/old.nv21"
    # shellcheck disable=SC2086
    POSTEFFECT_ASSET_DIR=$new_assets "$new" apply --effect "$e" ${modes[$m]} "$work/new.nv21"
    d=$(python3 - "$work/old.nv21" "$work/new.nv21" <<'PY'
import sys
a = open(sys.argv[1], 'rb').read()
b = open(sys.argv[2], 'rb').read()
if len(a) != len(b):
    print(999)
else:
    print(max((abs(x - y) for x, y in zip(a, b)), default=0))
PY
)
    line+=$(printf ' %8s' "$d")
    [ "$d" -gt "$worst" ] && worst=$d
  done
  echo "$line"
done
echo "max $worst"

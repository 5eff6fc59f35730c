#!/usr/bin/env bash
# The tool against the real library. Effect 0 leaves the chart as it is; every
# effect the library offers changes it, as a preview and as a still walked in
# blocks of a smaller preview; the ones 'list' marks refused (17, not 4) fail
# with a message naming them and leave no output behind.
# usage: e2e.sh TOOL
set -euo pipefail
tool=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Failures show what the library said it offers, to be read from the log alone.
fail() {
  echo "$*" >&2
  cat "$work/list" >&2
  exit 1
}

"$tool" list >"$work/list"
refused=" $(awk '/^[0-9]+ / { n = $1 } /refused by this library/ { printf "%s ", n }' "$work/list")"
[[ $refused == *" 17 "* && $refused != *" 4 "* ]] || fail "refused:$refused"
"$tool" apply --effect 0 --size 640x360 "$work/chart.nv21"
for n in $(seq 0 18); do
  for mode in "preview" "capture --preview-size 320x240"; do
    rm -f "$work/out.nv21"
    # shellcheck disable=SC2086 # the mode's words are separate arguments
    if ! "$tool" apply --effect "$n" --mode $mode --size 640x360 "$work/out.nv21" 2>"$work/err"; then
      [[ $refused == *" $n "* ]] || fail "effect $n ($mode) is offered but failed: $(cat "$work/err")"
      grep -q "effect $n (" "$work/err" || fail "the error does not name effect $n: $(cat "$work/err")"
      [ ! -e "$work/out.nv21" ] || fail "refused effect $n ($mode) left an output file"
      continue
    fi
    [[ $refused != *" $n "* ]] || fail "effect $n ($mode) was listed as refused but ran"
    [ "$(stat -c %s "$work/out.nv21")" -eq $((640 * 360 * 3 / 2)) ] || fail "effect $n: size"
    cmp -s "$work/chart.nv21" "$work/out.nv21" && same=1 || same=0
    [ "$same" = $((n == 0)) ] || fail "effect $n ($mode): output same as the chart: $same"
  done
done

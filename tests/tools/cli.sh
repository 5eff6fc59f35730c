#!/usr/bin/env bash
# The built tool's command line: the listing, exit codes, and that a failure
# prints one line and leaves no output file. No frame reaches the library.
set -uo pipefail
tool=$1
work=$(mktemp -d)
err=$(mktemp)
trap 'rm -rf "$work" "$err"' EXIT
status=0

# expect_error RC MENTION ARGS...
expect_error() {
  local want=$1 mention=$2
  shift 2
  "$tool" "$@" >/dev/null 2>"$err" <"$work/short.nv21"
  local rc=$? lines
  lines=$(wc -l <"$err")
  if [ $rc -ne "$want" ] || [ "$lines" -ne 1 ] || ! grep -qF -- "$mention" "$err" ||
    [ "$(ls "$work")" != "short.nv21" ]; then
    echo "FAIL: $* -> exit $rc, stderr: $(cat "$err"), files: $(ls "$work")" >&2
    status=1
  fi
}

head -c 1000 /dev/zero >"$work/short.nv21"
[ "$("$tool" list | grep -cE '^[0-9]+ +[0-9B-J] ')" -eq 19 ] || { echo "FAIL: list" >&2; status=1; }
grep -q '^usage: posteffect apply' <<<"$("$tool" apply --help)" || { echo "FAIL: help" >&2; status=1; }
expect_error 1 "missing.png" apply --effect 1 "$work/missing.png" "$work/out.png"
expect_error 1 "holds 1000 bytes" apply --effect 1 --size 64x48 "$work/short.nv21" "$work/o.png"
expect_error 2 "unknown option '--colour'" apply --effect 4 --colour red "$work/out.png"
expect_error 1 "stdin ended inside frame 1: 1000 of 4608 bytes" stream --size 64x48 --effect 4
exit $status

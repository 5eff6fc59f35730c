#!/usr/bin/env bash
# The tool against the real library: frames must come back processed.
# usage: e2e.sh CASE TOOL
set -euo pipefail
case_name=$1
tool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
w=320
h=240

case $case_name in
effects_change_pictures)
  # Effect 0 leaves the chart as it is; every effect the library offers
  # changes it, as a preview and as a still; the ones it refuses fail with a
  # message naming them and leave no output behind. Vignette (4) is offered.
  "$tool" list >"$work/list" 2>"$work/list.err"
  # Failures show what the library said it offers, so a surprise can be read
  # from the test log alone.
  fail() {
    echo "$1" >&2
    cat "$work/list.err" "$work/list" >&2
    exit 1
  }
  refused=$(awk '/^[0-9]+ / { n = $1 } /refused by this library/ { print n }' "$work/list")
  # No pipe into grep -q: under pipefail, grep leaving early makes echo's next
  # line a SIGPIPE and the match read as a miss.
  is_refused() { grep -qx "$1" <<<"$refused"; }
  is_refused 4 && fail "effect 4 is not offered"
  is_refused 17 || fail "effect 17 is not built yet but was offered"
  "$tool" apply --effect 0 --size 640x360 "$work/chart.nv21"
  for n in $(seq 0 18); do
    for mode in preview capture; do
      rm -f "$work/out.nv21"
      if is_refused "$n"; then
        if "$tool" apply --effect "$n" --mode $mode --size 640x360 "$work/out.nv21" 2>"$work/err"; then
          fail "effect $n ($mode) was listed as refused but ran"
        fi
        grep -q "effect $n (" "$work/err" || fail "the error does not name effect $n: $(cat "$work/err")"
        [ ! -e "$work/out.nv21" ] || fail "refused effect $n ($mode) left an output file"
        continue
      fi
      "$tool" apply --effect "$n" --mode $mode --size 640x360 "$work/out.nv21" 2>"$work/err" ||
        fail "effect $n ($mode) is offered but failed: $(cat "$work/err")"
      [ "$(stat -c %s "$work/out.nv21")" -eq $((640 * 360 * 3 / 2)) ]
      if cmp -s "$work/chart.nv21" "$work/out.nv21"; then
        [ "$n" -eq 0 ] || fail "effect $n ($mode) left the chart unchanged"
      elif [ "$n" -eq 0 ]; then
        fail "effect 0 ($mode) changed the chart"
      fi
    done
  done
  ;;
real_jpeg)
  # A camera JPEG through a preview and as a still behind a smaller preview.
  ffmpeg -loglevel error -f lavfi -i "testsrc2=size=1600x1200" -frames:v 1 -q:v 3 "$work/photo.jpg"
  "$tool" apply --effect vignette "$work/photo.jpg" "$work/preview.jpg"
  "$tool" apply --effect 4 --mode capture --preview-size 640x480 "$work/photo.jpg" "$work/still.jpg"
  for out in preview still; do
    size=$(ffprobe -v error -show_entries stream=width,height -of csv=p=0 "$work/$out.jpg")
    [ "$size" = "1600,1200" ] || { echo "$out.jpg is '$size'" >&2; exit 1; }
  done
  if cmp -s "$work/photo.jpg" "$work/preview.jpg"; then
    echo "preview unchanged" >&2
    exit 1
  fi
  ;;
ffmpeg_pipe)
  # ffmpeg -> posteffect stream -> ffmpeg, as a video pipeline runs it.
  frames=12
  ffmpeg -loglevel error -f lavfi -i "testsrc=size=${w}x${h}:rate=10" -frames:v $frames \
    -f rawvideo -pix_fmt nv21 - |
    "$tool" stream --size ${w}x${h} --effect 4 |
    ffmpeg -loglevel error -f rawvideo -pix_fmt nv21 -s ${w}x${h} -i - -c:v ffv1 "$work/out.mkv"
  probe=$(ffprobe -v error -count_frames -select_streams v:0 \
    -show_entries stream=nb_read_frames,width,height -of csv=p=0 "$work/out.mkv")
  [ "$probe" = "$w,$h,$frames" ] || {
    echo "decoded '$probe', wanted '$w,$h,$frames'" >&2
    exit 1
  }
  ;;
*)
  echo "unknown case $case_name" >&2
  exit 2
  ;;
esac

#!/usr/bin/env bash
# The tool against the real library: frames must come back processed.
# usage: e2e.sh CASE TOOL
set -euo pipefail
tool=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# Failures show what the library said it offers, to be read from the log alone.
fail() {
  echo "$*" >&2
  cat "$work/list" >&2 2>/dev/null || true
  exit 1
}

case $1 in
effects_change_pictures)
  # Effect 0 leaves the chart as it is; every effect the library offers
  # changes it, as a preview and as a still; the ones 'list' marks refused
  # (17, not 4) fail with a message naming them and leave no output behind.
  "$tool" list >"$work/list"
  refused=" $(awk '/^[0-9]+ / { n = $1 } /refused by this library/ { printf "%s ", n }' "$work/list")"
  [[ $refused == *" 17 "* && $refused != *" 4 "* ]] || fail "refused:$refused"
  "$tool" apply --effect 0 --size 640x360 "$work/chart.nv21"
  for n in $(seq 0 18); do
    for mode in preview capture; do
      rm -f "$work/out.nv21"
      if [[ $refused == *" $n "* ]]; then
        ! "$tool" apply --effect "$n" --mode $mode --size 640x360 "$work/out.nv21" 2>"$work/err" ||
          fail "effect $n ($mode) was listed as refused but ran"
        grep -q "effect $n (" "$work/err" || fail "the error does not name effect $n: $(cat "$work/err")"
        [ ! -e "$work/out.nv21" ] || fail "refused effect $n ($mode) left an output file"
        continue
      fi
      "$tool" apply --effect "$n" --mode $mode --size 640x360 "$work/out.nv21" 2>"$work/err" ||
        fail "effect $n ($mode) is offered but failed: $(cat "$work/err")"
      [ "$(stat -c %s "$work/out.nv21")" -eq $((640 * 360 * 3 / 2)) ] || fail "effect $n: size"
      cmp -s "$work/chart.nv21" "$work/out.nv21" && same=1 || same=0
      [ "$same" = $((n == 0)) ] || fail "effect $n ($mode): output same as the chart: $same"
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
    [ "$size" = "1600,1200" ] || fail "$out.jpg is '$size'"
  done
  ! cmp -s "$work/photo.jpg" "$work/preview.jpg" || fail "preview unchanged"
  ;;
ffmpeg_pipe)
  # ffmpeg -> posteffect stream -> ffmpeg, as a video pipeline runs it.
  ffmpeg -loglevel error -f lavfi -i "testsrc=size=320x240:rate=10" -frames:v 12 \
    -f rawvideo -pix_fmt nv21 - | "$tool" stream --size 320x240 --effect 4 |
    ffmpeg -loglevel error -f rawvideo -pix_fmt nv21 -s 320x240 -i - -c:v ffv1 "$work/out.mkv"
  probe=$(ffprobe -v error -count_frames -select_streams v:0 \
    -show_entries stream=nb_read_frames,width,height -of csv=p=0 "$work/out.mkv")
  [ "$probe" = "320,240,12" ] || fail "decoded '$probe', wanted 320,240,12"
  ;;
*) fail "unknown case $1" ;;
esac

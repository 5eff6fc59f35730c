#!/usr/bin/env bash
# A short video with audio through 'posteffect apply' into every container:
# frames, duration and audio kept, every frame the library's own within the
# encoder's loss; a file that is no video names itself and leaves nothing.
# usage: test_video.sh TOOL WORK_DIR
set -euo pipefail
tool=$1
work=$2/video
rm -rf "$work" && mkdir -p "$work" && cd "$work"
# GLib drops its first quark block once GStreamer's plugins outgrow it: a
# process-lifetime allocation a sanitized tool would report.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
fail() { echo "$*" >&2 && exit 1; }
streams() { ffprobe -v error -count_frames -show_entries stream=codec_type,nb_read_frames \
  -of csv=p=0 "$1" | sort | paste -sd' ' -; } # "audio,FRAMES video,FRAMES"
seconds() { ffprobe -v error -show_entries format=duration -of csv=p=0 "$1"; }
psnr() { # A B.nv21: mean PSNR over every frame and plane
  ffmpeg -nostdin -i "$1" -f rawvideo -pix_fmt nv21 -s 320x180 -i "$2" -lavfi psnr -f null - 2>&1 |
    sed -n 's/.*average:\([0-9.]*\).*/\1/p'
}

gst-launch-1.0 -q videotestsrc num-buffers=30 pattern=smpte \
  ! video/x-raw,format=I420,width=320,height=180,framerate=30/1 ! x264enc ! queue \
  ! matroskamux name=mux ! filesink location=in.mkv \
  audiotestsrc num-buffers=43 ! audioconvert ! opusenc ! queue ! mux.
# The library's frames on the same decoded frames, through the raw stream
# command; param1 at display scale (1920x1080 is six times 320x180).
ffmpeg -nostdin -v error -i in.mkv -f rawvideo -pix_fmt nv21 in.nv21
"$tool" stream --size 320x180 --effect vignette --param1 600,300,900,300 <in.nv21 >want.nv21 2>/dev/null

# H.264 at quality 18 and VP8 at cq 10 stay above 45 dB of the library's
# frames; the input itself is far below.
for out in out.mp4 out.mov out.mkv out.webm; do
  "$tool" apply --effect vignette --param1 100,50,150,50 in.mkv "$out" 2>err || fail "$out: $(cat err)"
  [ ! -s err ] || fail "$out: stderr off a terminal: $(cat err)"
  [[ $(streams "$out") == "audio,"*" video,30" ]] || fail "$out: streams $(streams "$out")"
  want=$(psnr "$out" want.nv21)
  plain=$(psnr "$out" in.nv21)
  awk -v a="$(seconds "$out")" -v b="$(seconds in.mkv)" -v w="$want" -v p="$plain" \
    'BEGIN { exit !(a - b < 0.034 && b - a < 0.034 && w >= 45 && p < w - 10) }' ||
    fail "$out: $(seconds "$out") s for $(seconds in.mkv) s; $want dB of the library's frames, $plain dB of the input"
done

echo "not a video" >bad.mp4
if "$tool" apply --effect vintage bad.mp4 bad-out.mkv 2>err; then fail "bad.mp4 was taken"; fi
[ "$(wc -l <err)" = 1 ] && grep -q "'bad.mp4'" err || fail "bad.mp4: $(cat err)"
[ -z "$(find . -name '*bad-out*')" ] || fail "bad.mp4 left an output"

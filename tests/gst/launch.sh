#!/usr/bin/env bash
# gst-launch-1.0 with the build tree's element. launch.sh CASE PLUGIN_DIR WORK_DIR [ASAN_RT]
set -euo pipefail
case=$1
export GST_PLUGIN_PATH_1_0=$2
work=$3/$case
runtime=${4:-}
mkdir -p "$work"
export GST_REGISTRY_1_0=$work/registry.bin
if [ -n "$runtime" ]; then
  export LD_PRELOAD="$runtime${LD_PRELOAD:+ $LD_PRELOAD}"
  # GStreamer's and GLib's process-lifetime allocations are not ours to report.
  export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
fi
case $case in
  vignette_720p)
    gst-launch-1.0 -q videotestsrc num-buffers=30 ! video/x-raw,format=NV21,width=1280,height=720 \
      ! posteffect effect=vignette ! fakesink
    ;;
  jpeg_capture_roundtrip)
    gst-launch-1.0 -q videotestsrc num-buffers=1 pattern=smpte ! video/x-raw,width=1600,height=1200 \
      ! jpegenc ! filesink location="$work/in.jpg"
    # jpegdec gives I420: no converter on either side.
    for effect in bypass vintage; do
      gst-launch-1.0 -q filesrc location="$work/in.jpg" ! jpegdec \
        ! posteffect mode=capture preview-size=640x480 effect=$effect \
        ! jpegenc ! filesink location="$work/$effect.jpg"
    done
    # A full-size JPEG came out, and the effect changed it.
    [ "$(stat -c %s "$work/vintage.jpg")" -gt 10000 ]
    ! cmp -s "$work/bypass.jpg" "$work/vintage.jpg"
    ;;
  decoder_formats)
    # What decoders give links straight to the element.
    gst-launch-1.0 -q videotestsrc num-buffers=10 ! video/x-raw,format=I420,width=320,height=180 \
      ! x264enc ! mp4mux ! filesink location="$work/in.mp4"
    gst-launch-1.0 -q filesrc location="$work/in.mp4" ! decodebin ! posteffect effect=vignette \
      ! x264enc ! mp4mux ! filesink location="$work/out.mp4"
    [ "$(ffprobe -v error -count_frames -select_streams v:0 -show_entries stream=nb_read_frames \
      -of csv=p=0 "$work/out.mp4")" = 10 ]
    ;;
  *)
    echo "unknown case $case" >&2
    exit 2
    ;;
esac

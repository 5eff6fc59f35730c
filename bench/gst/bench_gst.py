#!/usr/bin/env python3
"""posteffect against GStreamer's own GL effects, in one run on the same driver.

Every pipeline has the same shape: videotestsrc -> NV21 WxH -> effect -> NV21
-> fakesink. The cost per frame is marginal: (long run - short run) / extra
frames, so start-up (GL context, shader compilation) drops out. Each figure
is the median of --reps runs; the source-only pipeline is subtracted before
the ratios. --formats NV21,NV12,I420 adds a row per format for each effect
(the element takes them all), net of that format's own source.

FFmpeg's CPU filters run in the same run on the same NV21 frames (the
source's frames written to a file once), single-threaded, NV21 in and out,
net of FFmpeg reading the frames alone.

usage: bench/gst/bench_gst.py BUILD_DIR [--reps 3] [--short 5] [--long 25] [--formats NV21]
"""
import argparse
import os
import statistics
import subprocess
import sys
import tempfile
import time

SIZES = [(1280, 720), (1920, 1080)]
SINGLE_PASS = ["vintage", "vignette", "dots", "contrast", "mirror", "whiteboard",
               "stylized-maple", "stylized-nash", "twotonemask-v", "twotonemask-h",
               "splittoning-mono", "splittoning-color", "distortion", "bloom"]
# The looks that blur in several passes; bloom is one pass.
BLURS = ["dof", "ts", "sketch", "color-sketch"]
GL = ("glupload ! glcolorconvert ! gleffects effect={} ! glcolorconvert ! gldownload ! "
      "video/x-raw,format=NV21")


def source(w, h, frames, fmt="NV21"):
    caps = f"video/x-raw,format={fmt},width={w},height={h},framerate=30/1"
    return f"videotestsrc num-buffers={frames} pattern=smpte ! {caps}"


def pipeline(stage, w, h, frames, fmt="NV21"):
    middle = f" ! {stage}" if stage else ""
    return f"{source(w, h, frames, fmt)}{middle} ! fakesink sync=false"


def run(stage, w, h, frames, env, fmt="NV21"):
    cmd = ["gst-launch-1.0", "-q"] + pipeline(stage, w, h, frames, fmt).split()
    t0 = time.monotonic()
    subprocess.run(cmd, env=env, check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - t0


def marginal_ms(stage, w, h, args, env, fmt="NV21"):
    samples = []
    for _ in range(args.reps):
        long_s = run(stage, w, h, args.long, env, fmt)
        short_s = run(stage, w, h, args.short, env, fmt)
        samples.append((long_s - short_s) * 1000.0 / (args.long - args.short))
    return statistics.median(samples)


# FFmpeg's nearest looks, each beside ours.
FFMPEG = [("vignette", "vignette"), ("curves=preset=vintage", "vintage")]


def write_frames(path, w, h, frames, env):
    cmd = ["gst-launch-1.0", "-q"] + f"{source(w, h, frames)} ! filesink location={path}".split()
    subprocess.run(cmd, env=env, check=True, stdout=subprocess.DEVNULL)


def run_ffmpeg(vf, path, w, h, loops):
    cmd = ["ffmpeg", "-nostdin", "-v", "error", "-threads", "1", "-filter_threads", "1",
           "-stream_loop", str(loops), "-f", "rawvideo", "-pix_fmt", "nv21", "-s", f"{w}x{h}",
           "-framerate", "30", "-i", path,
           "-vf", f"{vf},format=nv21" if vf else "format=nv21", "-f", "null", "-"]
    t0 = time.monotonic()
    subprocess.run(cmd, check=True, stdout=subprocess.DEVNULL)
    return time.monotonic() - t0


# FFmpeg's filters take a millisecond or two a frame, less than its start-up
# varies between runs: the short clip is looped into FFMPEG_FRAMES frames.
FFMPEG_FRAMES = 200


def ffmpeg_marginal_ms(vf, w, h, args, clip):
    loops = FFMPEG_FRAMES // args.short
    samples = []
    for _ in range(args.reps):
        long_s = run_ffmpeg(vf, clip, w, h, loops - 1)
        short_s = run_ffmpeg(vf, clip, w, h, 0)
        samples.append((long_s - short_s) * 1000.0 / (loops * args.short - args.short))
    return statistics.median(samples)


def ffmpeg_rows(w, h, args, env, ours):
    with tempfile.TemporaryDirectory() as tmp:
        clip = os.path.join(tmp, "clip.nv21")
        write_frames(clip, w, h, args.short, env)
        base = ffmpeg_marginal_ms(None, w, h, args, clip)
        print(f"{'ffmpeg (1 thread)':<28}{'net ms':>8}{'posteffect ms':>16}{'ffmpeg/ours':>12}")
        for vf, effect in FFMPEG:
            net = ffmpeg_marginal_ms(vf, w, h, args, clip) - base
            mine = ours.get(effect)
            if mine is None:
                mine = ours[effect] = args.measure(effect)
            print(f"{vf:<28}{net:8.2f}{mine:16.2f}{net / max(mine, 1e-3):11.2f}x")
            sys.stdout.flush()


def main():
    p = argparse.ArgumentParser()
    p.add_argument("build")
    p.add_argument("--reps", type=int, default=3)
    p.add_argument("--short", type=int, default=5)
    p.add_argument("--long", type=int, default=25)
    p.add_argument("--effects", default=",".join(SINGLE_PASS + BLURS))
    p.add_argument("--no-ffmpeg", action="store_true", help="skip FFmpeg's rows")
    p.add_argument("--formats", default="NV21", help="posteffect rows per format, NV21 first")
    args = p.parse_args()
    env = dict(os.environ)
    env["GST_PLUGIN_PATH_1_0"] = os.path.join(os.path.abspath(args.build), "gst")
    env["GST_REGISTRY_1_0"] = os.path.join(os.path.abspath(args.build), "gst", "bench-registry.bin")
    env.setdefault("POSTEFFECT_EFFECT_COUNT", "19")
    # GStreamer's GL elements on a headless machine: EGL on the device platform.
    env.setdefault("GST_GL_PLATFORM", "egl")
    env.setdefault("GST_GL_WINDOW", "egl-device")
    effects = args.effects.split(",")

    print(f"marginal ms/frame, median of {args.reps}, frames {args.long} - {args.short}; "
          "net = minus source only")
    for w, h in SIZES:
        base = marginal_ms(None, w, h, args, env)
        bases = {f: marginal_ms(None, w, h, args, env, f) for f in args.formats.split(",")[1:]}
        ident = marginal_ms(GL.format("identity"), w, h, args, env) - base
        blur = marginal_ms(GL.format("blur"), w, h, args, env) - base
        print(f"\n{w}x{h}: source only {base:.2f} ms")
        print(f"{'pipeline':<28}{'net ms':>8}{'vs gl identity':>16}{'vs gl blur':>12}")
        print(f"{'gleffects identity':<28}{ident:8.2f}{1.0:15.2f}x{'':>12}")
        print(f"{'gleffects blur':<28}{blur:8.2f}{ident / blur:15.2f}x{1.0:11.2f}x")
        ours = {}
        for effect in effects:
            net = ours[effect] = marginal_ms(f"posteffect effect={effect}", w, h, args, env) - base
            kind = "blur" if effect in BLURS else "single"
            safe = max(net, 1e-3)
            vs_blur = f"{blur / safe:11.2f}x" if kind == "blur" else f"{'-':>12}"
            print(f"{'posteffect ' + effect:<28}{net:8.2f}{ident / safe:15.2f}x{vs_blur}")
            for fmt, fbase in bases.items():
                fnet = marginal_ms(f"posteffect effect={effect}", w, h, args, env, fmt) - fbase
                print(f"{'  ' + fmt:<28}{fnet:8.2f}{ident / max(fnet, 1e-3):15.2f}x")
            sys.stdout.flush()
        if not args.no_ffmpeg:
            args.measure = lambda e: marginal_ms(f"posteffect effect={e}", w, h, args, env) - base
            ffmpeg_rows(w, h, args, env, ours)


if __name__ == "__main__":
    main()

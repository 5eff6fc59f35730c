#!/usr/bin/env python3
"""Median round trip of a 1280x720 render on the tuning page, split into the
server's render and encoding, beside the library's own frame time for the
same effect, measured in the same run. The live picture is a JPEG: the round
trip should stay within 15 ms of the render.

The frame time comes from 'posteffect stream' (a running preview, frames
through the public interface): (time for 1 + N frames - time for 1) / N.
The round trip is a request to 'posteffect tune' for new param0 values, as
a dragged slider sends them, until the picture has arrived; the server's
own split (render, then encoding) is read from its Server-Timing header.

usage: bench/tune_roundtrip.py [TOOL] [requests]
"""
import os
import statistics
import subprocess
import sys
import tempfile
import time
import urllib.request

TOOL = sys.argv[1] if len(sys.argv) > 1 else "build/tools/posteffect/posteffect"
REQUESTS = int(sys.argv[2]) if len(sys.argv) > 2 else 25
FRAMES = 40
EFFECTS = [(4, "Vignette"), (2, "DoF"), (7, "TS")]
LIMIT_MS = 15  # what the round trip may add to the render


def stream_seconds(effect, frames, chart):
    data = chart * frames
    t0 = time.perf_counter()
    subprocess.run([TOOL, "stream", "--size", "1280x720", "--effect", str(effect)], input=data,
                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=True)
    return time.perf_counter() - t0


def frame_ms(effect, chart):
    runs = []
    for _ in range(3):
        one = stream_seconds(effect, 1, chart)
        many = stream_seconds(effect, 1 + FRAMES, chart)
        runs.append((many - one) / FRAMES * 1000)
    return statistics.median(runs)


def server_timing(header):
    parts = dict(p.strip().split(";dur=") for p in header.split(","))
    return float(parts["render"]), float(parts["encode"])


def main():
    with tempfile.TemporaryDirectory() as tmp:
        path = os.path.join(tmp, "chart.nv21")
        subprocess.run([TOOL, "apply", "--effect", "0", path], check=True)
        chart = open(path, "rb").read()
    tune = subprocess.Popen([TOOL, "tune", "--port", "0"], stdout=subprocess.PIPE, text=True)
    try:
        url = tune.stdout.readline().split()[-1].rstrip("/")
        print(f"{'effect':<10} {'frame ms':>9} {'render':>7} {'encode':>7} {'round trip':>11}"
              f" {'trip-render':>12}  (medians, ms)")
        for number, name in EFFECTS:
            trips, renders, encodes = [], [], []
            for i in range(REQUESTS + 1):
                query = f"effect={number}&param0={40 + i % 30}"
                t0 = time.perf_counter()
                with urllib.request.urlopen(f"{url}/api/render?{query}") as r:
                    r.read()
                    timing = r.headers["Server-Timing"]
                if i == 0:
                    continue  # the effect's first frame starts its preview
                trips.append((time.perf_counter() - t0) * 1000)
                render, encode = server_timing(timing)
                renders.append(render)
                encodes.append(encode)
            frame = frame_ms(number, chart)
            trip, render = statistics.median(trips), statistics.median(renders)
            over = trip - render
            print(f"{name:<10} {frame:9.1f} {render:7.1f} {statistics.median(encodes):7.1f}"
                  f" {trip:11.1f} {over:12.1f}  {'within' if over <= LIMIT_MS else 'OVER'}"
                  f" {LIMIT_MS:.0f} ms")
    finally:
        tune.terminate()
        tune.wait()


if __name__ == "__main__":
    main()

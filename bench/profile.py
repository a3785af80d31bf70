#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures the time of each stage of a frame and how it grows, and draws charts.

usage: profile.py BUILD CLIPS RESULTS.json PICTURE.svg [--draw-only]

BUILD is a build folder with the benchmarks. The streams for decoding come from prores_ks, whose
frames keep to the target sizes.
"""

import json
import pathlib
import subprocess
import sys

import material
from drawing import COLOURS, pyplot, save

SIZES = [(720, 576), (1280, 720), (1920, 1080), (3840, 2160), (7680, 4320)]
THREADS = [1, 2]
STAGES = {
    "decode": ["entropy decoding", "inverse transform", "packing", "rest"],
    "encode": ["unpacking", "activity", "forward transform", "selection", "quantise and count",
               "quantise and write", "rest"],
}  # fmt: skip


def ask(*command):
    answer = subprocess.run([str(word) for word in command], capture_output=True, text=True,
                            check=True)  # fmt: skip
    return json.loads(answer.stdout)


def measure(build, clips):
    files = material.Material(clips)
    results = {"machine": material.machine(), "stages": {}, "sizes": [], "threads": []}
    pictures = files.raw_frames(files.sampled("natural_1080p", 5), "V210")
    for variant in material.VARIANTS:
        stream = files.prores(files.clip("natural_1080p"), variant)
        results["stages"][variant] = ask(build / "bin/stage_times", stream, pictures, variant)
    bench = [build / "bin/vixprores", "bench", "--json"]
    for width, height in SIZES:
        frames = max(2, 40 * 1920 * 1080 // (width * height) // 4)
        results["sizes"].append(
            ask(*bench, "--threads", 1, "--frames", frames, "--size", f"{width}x{height}"))  # fmt: skip
    for threads in THREADS:
        results["threads"].append(ask(*bench, "--threads", threads, "--frames", 40))
    return results


def draw_stages(axes, results, direction):
    """Draws a bar for each variant and CPU level (decoding), or for each level (encoding as HQ)."""
    bars = []
    for variant in reversed(material.VARIANTS):
        levels = results["stages"][variant]["levels"]
        for level in ("avx512", "avx2", "sse4"):
            if level in levels and (direction == "decode" or variant == "hq"):
                name = f"{variant} {level}" if direction == "decode" else level
                bars.append((name, levels[level][direction]))
    bars.reverse()
    left = [0.0] * len(bars)
    for stage, colour in zip(STAGES[direction], COLOURS):
        if stage == "rest":
            colour = COLOURS[-1]
        times = [times.get(stage, 0) for _, times in bars]
        axes.barh([name for name, _ in bars], times, left=left, color=colour, label=stage)
        left = [a + b for a, b in zip(left, times)]
    axes.set_xlabel("ms per frame, one thread")
    axes.legend(fontsize=7, loc="upper center", bbox_to_anchor=(0.5, -0.14), ncol=3)
    what = "Decoding natural 1080p to V210" if direction == "decode" else "Encoding it as HQ"
    axes.set_title(f"{what}: where the time goes")


def draw_bytes(axes, results):
    for level, colour in zip(("avx512", "avx2", "sse4"), COLOURS):
        points = [
            (stream["bytes_per_frame"] * 8 / 1e6, stream["levels"][level]["decode"]["total"])
            for stream in results["stages"].values()
            if level in stream["levels"]
        ]
        if points:
            axes.plot(*zip(*sorted(points)), "o-", color=colour, label=level)
    axes.set_xlabel("Mbit per frame")
    axes.set_ylabel("ms per frame")
    axes.set_xlim(left=0)
    axes.set_ylim(bottom=0)
    axes.legend(fontsize=7)
    axes.set_title("Decoding 1080p: growth with bytes")


def draw_sizes(axes, results):
    pixels = [run["width"] * run["height"] / 1e6 for run in results["sizes"]]
    for direction, colour in zip(("decode", "encode"), COLOURS):
        times = [run[direction]["cpuMillisecondsPerFrame"] for run in results["sizes"]]
        axes.plot(pixels, [1e3 * t / p / 1e3 for t, p in zip(times, pixels)], "o-", color=colour,
                  label=direction)  # fmt: skip
    axes.set_xscale("log")
    axes.set_xticks(pixels, [f"{run['width']}x{run['height']}" for run in results["sizes"]],
                    rotation=20, fontsize=7)  # fmt: skip
    axes.minorticks_off()
    axes.set_ylabel("ms per megapixel")
    axes.set_ylim(bottom=0)
    axes.legend(fontsize=7)
    axes.set_title("HQ: growth with pixels")


def draw_threads(axes, results):
    for direction, colour, shift in (("decode", COLOURS[0], -0.2), ("encode", COLOURS[1], 0.2)):
        rates = [run[direction]["framesPerSecond"] for run in results["threads"]]
        axes.bar([i + shift for i in range(len(rates))], rates, 0.4, color=colour, label=direction)
    axes.set_xticks(range(len(THREADS)), [f"{n} threads" if n > 1 else "1 thread" for n in THREADS])
    axes.set_ylabel("frames per second")
    axes.legend(fontsize=7)
    axes.set_title("HQ 1080p in memory: growth with threads")


def print_costs(results):
    """Prints the core cycles of a coded bit, of a pair of run and level, and of a block."""
    print("| stream | level | ms/frame | cycles/bit | cycles/pair | inverse transform, cycles/block |")
    print("|---|---|---|---|---|---|")
    for variant, stream in results["stages"].items():
        blocks = stream["width"] * stream["height"] * 2 / 64
        for level, times in stream["levels"].items():
            decode = times["decode"]
            cycles = {stage: ms / 1e3 * stream["cycles_per_second"] for stage, ms in decode.items()}
            entropy = cycles["entropy decoding"]
            print(f"| {variant} | {level} | {decode['total']:.2f} | "
                  f"{entropy / stream['bytes_per_frame'] / 8:.2f} | "
                  f"{entropy / stream['pairs_per_frame']:.1f} | "
                  f"{cycles['inverse transform'] / blocks:.1f} |")  # fmt: skip


def draw(results, path):
    figure, axes = pyplot.subplots(3, 2, figsize=(10, 11))
    draw_stages(axes[0][0], results, "decode")
    draw_stages(axes[0][1], results, "encode")
    draw_bytes(axes[1][0], results)
    draw_sizes(axes[1][1], results)
    draw_threads(axes[2][0], results)
    axes[2][1].axis("off")
    machine = results["machine"]
    axes[2][1].text(0, 0.9, f"{machine['processor']}\n{machine['processors']} processors\n"
                            f"{machine['date']}", va="top")  # fmt: skip
    save(figure, path)


def main():
    if len(sys.argv) < 5:
        raise SystemExit(__doc__)
    build, clips, kept, picture = (pathlib.Path(name) for name in sys.argv[1:5])
    if "--draw-only" not in sys.argv:
        kept.write_text(json.dumps(measure(build, clips), indent=2) + "\n")
    results = json.loads(kept.read_text())
    print_costs(results)
    draw(results, picture)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compares the encoding of a camera file with the sum of its parts.

usage: parts.py PROGRAM CLIPS [--pairs N]

The parts are the decoding by libavcodec alone, the conversion by libzimg alone, and the encoding of
the converted pictures alone: processor time of whole processes, in alternation.
"""

import argparse
import pathlib
import statistics

from compare import processor_seconds
from material import FFMPEG, Material


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("clips", type=pathlib.Path)
    parser.add_argument("--pairs", type=int, default=7)
    options = parser.parse_args()

    material = Material(options.clips)
    camera = material.camera_file(material.clip("natural_1080p"))
    converted = material.converted(camera)
    out = options.clips / "encoded.mov"
    encode = f"{options.program.resolve()} encode --quiet --overwrite --threads 1 --variant hq"
    # The conversion alone is what it adds to the decoding.
    decode = f"{FFMPEG} {camera.peer_input} -map 0:v -f null -"
    convert = (f"{FFMPEG} {camera.peer_input} -map 0:v -filter_threads 1 "
               "-vf zscale=filter=spline36,format=yuv422p10le -f null -")  # fmt: skip
    commands = {"whole": f"{encode} {camera.input} {out}", "decode": decode, "convert": convert,
                "encode": f"{encode} {converted} {out}"}  # fmt: skip
    times = {name: [] for name in commands}
    for _ in range(options.pairs):
        for name, command in commands.items():
            times[name].append(processor_seconds(command) / camera.frames * 1000)
    middle = {name: statistics.median(values) for name, values in times.items()}
    # Decoding is a part of converting.
    parts = middle["convert"] + middle["encode"]
    print(f"whole job {middle['whole']:.2f} ms a frame; decoding {middle['decode']:.2f}, converting "
          f"{middle['convert'] - middle['decode']:.2f}, encoding {middle['encode']:.2f}; "
          f"{middle['whole'] / parts:.3f} times their sum")  # fmt: skip


if __name__ == "__main__":
    main()

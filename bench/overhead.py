#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures the processor time per frame that vixprores adds to the codec's own.

usage: overhead.py PROGRAM CODEC_TIME.so CLIPS RESULTS.json [--runs N] [--only TEXT]

Every job runs on one thread. "codec" is the time in calls of the codec library, "ours" the time in
the rest of the program and its libraries, "system" the time in the kernel for reading, writing and
memory. "ours" and "system" exclude the start of the program, which is measured with a tiny frame.
"files alone" is the system time of cat for reading and writing the same bytes.
"""

import argparse
import json
import os
import pathlib
import re
import resource
import statistics
import subprocess
from dataclasses import dataclass

import clips
from material import Material, count_frames, machine


@dataclass
class Job:
    name: str
    command: str  # of the program, with {} for the input
    input: pathlib.Path
    tiny: pathlib.Path
    tiny_command: str
    output: pathlib.Path | None  # None: discarded

    def files_alone(self):
        written = f"cat {self.output} >{self.output}.copy" if self.output else "true"
        return f"cat {self.input} >/dev/null; {written}"


def jobs(material, program):
    clip = material.clip("natural_1080p")
    size = clips.CLIPS["natural_1080p"]
    stream = material.prores(clip, "422")
    tiny = material.tiny()
    tiny_stream = material.prores(tiny, "422")
    raw, tiny_raw = (material.raw_frames(source, "V210") for source in (clip, tiny))
    out = material.folder / "overhead"
    encode = f"{program} encode --quiet --overwrite --threads 1"
    decode = f"{program} decode --quiet --overwrite --threads 1"
    raw_frames = "--fourcc V210 --rate 25 --size"
    mov, frames = out.with_suffix(".mov"), out.with_suffix(".v210")
    return [
        Job("encode .mov to .mov", f"{encode} {{}} {mov}", clip, tiny, f"{encode} {{}} {mov}", mov),
        Job("encode frames to .mov", f"{encode} {raw_frames} {size.width}x{size.height} {{}} {mov}",
            raw, tiny_raw, f"{encode} {raw_frames} 48x32 {{}} {mov}", mov),
        Job("decode .mov to nowhere", f"{decode} {{}} -", stream, tiny_stream, f"{decode} {{}} -",
            None),
        Job("decode .mov to frames", f"{decode} {{}} {frames}", stream, tiny_stream,
            f"{decode} {{}} {frames}", frames),
        Job("decode .mov to .mov", f"{decode} {{}} {mov}", stream, tiny_stream,
            f"{decode} {{}} {mov}", mov),
    ]  # fmt: skip


def spend(command, preload=None):
    """Returns the milliseconds that a command spends in the codec, in user mode, in the kernel."""
    environment = {**os.environ, **({"LD_PRELOAD": str(preload)} if preload else {})}
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    run = subprocess.run(command if preload is None else f"exec {command}", shell=True, check=True,
                         env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                         stderr=subprocess.PIPE, text=True)  # fmt: skip
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    found = re.findall(r"codec: (\d+) ns", run.stderr)
    codec = max(map(int, found), default=0) / 1e6
    return (codec, 1e3 * (after.ru_utime - before.ru_utime),
            1e3 * (after.ru_stime - before.ru_stime))  # fmt: skip


def median(command, runs, preload=None):
    spend(command, preload)  # warms the caches
    return [statistics.median(times)
            for times in zip(*(spend(command, preload) for _ in range(runs)))]  # fmt: skip


def measure(job, preload, runs):
    frames = count_frames(job.tiny.parent / "natural_1080p.mov")
    codec, user, system = median(job.command.format(job.input), runs, preload)
    start_codec, start_user, start_system = median(job.tiny_command.format(job.tiny), runs, preload)
    # Write the whole output again for files_alone().
    spend(job.command.format(job.input))
    _, _, files = median(job.files_alone(), runs)
    ours = user - codec - (start_user - start_codec)
    return {
        "work": job.name,
        "codec_ms": round(codec / frames, 3),
        "ours_ms": round(ours / frames, 3),
        "system_ms": round((system - start_system) / frames, 3),
        "files_alone_ms": round(files / frames, 3),
        "start_ms": round(start_user + start_system, 1),
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("codec_time", type=pathlib.Path)
    parser.add_argument("clips", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--runs", type=int, default=7)
    parser.add_argument("--only", default="", help="measure only jobs that contain this text")
    options = parser.parse_args()
    results = {"machine": machine(), "works": []}
    print("| work | ms/frame in the codec | ours | system | files alone | start, ms |")
    print("|---|---|---|---|---|---|")
    for job in jobs(Material(options.clips), options.program.resolve()):
        if options.only not in job.name:
            continue
        result = measure(job, options.codec_time.resolve(), options.runs)
        results["works"].append(result)
        print("| {work} | {codec_ms:.2f} | {ours_ms:.2f} | {system_ms:.2f} | {files_alone_ms:.2f} "
              "| {start_ms:.0f} |".format(**result), flush=True)  # fmt: skip
    options.results.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()

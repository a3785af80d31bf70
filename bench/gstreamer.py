#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compares the processor time of GStreamer pipelines with the program's, and with other decoders.

usage: gstreamer.py BUILD CLIPS RESULTS.json [--pairs N] [--only TEXT]

BUILD is the folder of a release build with the elements. The pipeline and its peer do the same job on
the same frames in alternation, as in compare.py: on one processor, without their start. The ratio is
the peer's time divided by the pipeline's. "source alone" is the pipeline without the element that
codes: what GStreamer takes to read the file.
"""

import argparse
import json
import os
import pathlib
from dataclasses import dataclass

import clips
from compare import Job, measure
from material import Material, count_frames, machine

CLIP = "natural_1080p"
REPEATS = 4  # of the clip, so that its frames outweigh the start of a pipeline
AS_PROGRAM = 1 / 1.10  # at most 10 % more than the program
RAW = {"V210": "v210", "UYVY": "uyvy"}  # formats with their names in pipelines


@dataclass
class Work:
    """A pipeline, with {} for the source of one input, and the command of its peer."""

    what: str
    goal: float
    pipeline: str
    peer: str
    source: str  # a method of this module's Sources
    argument: str  # of the method

    def name(self):
        return self.what


class Sources:
    """Both inputs of a work, the clip and a tiny frame, as the pipeline and the program name them."""

    def __init__(self, material):
        self.material = material
        size = clips.CLIPS[CLIP]
        # Each input with its size and how often it is repeated.
        self.inputs = {material.clip(CLIP): (size.width, size.height, REPEATS),
                       material.tiny(): (48, 32, 1)}  # fmt: skip

    def raw(self, fourcc):
        for clip, (width, height, times) in self.inputs.items():
            path = self.material.raw_frames(self.material.repeated(clip, times), fourcc)
            yield (f"filesrc location={path} ! rawvideoparse format={RAW[fourcc]} width={width} "
                   f"height={height} framerate=25/1 colorimetry=bt709",
                   f"--fourcc {fourcc} --size {width}x{height} --rate 25 --color bt709 {path}")  # fmt: skip

    def prores(self, variant):
        for clip, (_, _, times) in self.inputs.items():
            path = self.material.repeated(self.material.prores(clip, variant), times)
            yield f"filesrc location={path} ! qtdemux", f"{path}"


def works():
    """Yields the jobs. Commands of the program have {program}, all peers have {{}} for their input."""
    encode = "{program} encode --quiet --overwrite --threads 1 --variant hq {{}} {out}"
    to_mov = "vixproresenc threads=1 variant=hq ! qtmux ! filesink location={out}"
    for fourcc in RAW:
        yield Work(f"encode {fourcc} frames to .mov hq, against vixprores", AS_PROGRAM,
                   to_mov, encode, "raw", fourcc)  # fmt: skip
    for fourcc, format in (("V210", "v210"), ("UYVY", "UYVY")):
        decode = f"{{program}} decode --quiet --threads 1 --fourcc {fourcc} {{{{}}}} -"
        yield Work(f"decode hq to {fourcc}, against vixprores", AS_PROGRAM,
                   f"vixproresdec threads=1 ! video/x-raw,format={format} ! fakesink",
                   decode, "prores", "hq")  # fmt: skip
    for variant in ("hq", "422", "lt", "proxy"):
        yield Work(f"decode {variant}, against avdec_prores", 4.5,
                   "vixproresdec threads=1 ! fakesink",
                   "gst-launch-1.0 -q {{}} ! avdec_prores max-threads=1 ! fakesink",
                   "prores", variant)  # fmt: skip


def prepare(work, sources, program):
    """Returns the job of a work, and that of its source alone."""
    (ours, others), (tiny, other_tiny) = getattr(sources, work.source)(work.argument)
    if work.peer.startswith("gst-launch"):
        others, other_tiny = ours, tiny
    names = {"program": program, "out": sources.material.folder / "encoded.mov"}
    pipeline = "gst-launch-1.0 -q {} ! " + work.pipeline.format(**names)
    alone = "gst-launch-1.0 -q {} ! fakesink"
    peer = work.peer.format(**names)
    frames = REPEATS * count_frames(sources.material.clip(CLIP))
    return (Job(peer.format(others), pipeline.format(ours), peer.format(other_tiny),
                pipeline.format(tiny), frames),
            Job(peer.format(others), alone.format(ours), peer.format(other_tiny),
                alone.format(tiny), frames))  # fmt: skip


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("clips", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--pairs", type=int, default=7)
    parser.add_argument("--only", default="", help="measure only works that contain this text")
    options = parser.parse_args()
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})
    build = options.build.resolve()
    os.environ.update({"GST_PLUGIN_PATH_1_0": str(build / "lib/gstreamer-1.0"),
                       "GST_REGISTRY_1_0": str(options.clips.resolve() / "registry.bin")})  # fmt: skip

    results = {"machine": machine(), "works": []}
    print("| work | ms/frame, peer | pipeline | source alone | ratio | pairs from .. to | wanted |")
    print("|---|---|---|---|---|---|---|")
    sources = Sources(Material(options.clips))
    for work in works():
        if options.only not in work.name():
            continue
        job, alone = prepare(work, sources, build / "bin/vixprores")
        result = measure(work, job, options.pairs)
        result["source_ms"] = measure(work, alone, 3)["ours_ms"]
        results["works"].append(result)
        print("| {work} | {peer_ms:.2f} | {ours_ms:.2f} | {source_ms:.2f} | {ratio:.2f} | "
              "{lowest:.2f} .. {highest:.2f} | {goal:.2f} |".format(**result), flush=True)  # fmt: skip
    options.results.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()

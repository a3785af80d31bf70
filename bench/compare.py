#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compares the speed of vixprores with that of an installed ffmpeg.

usage: compare.py PROGRAM CLIPS RESULTS.json [--pairs N] [--only TEXT]

Both programs do the same job on the same frames in alternation, on one processor. The measure is
the processor time of the whole process per frame, without its start, which is the time of the same
job on one tiny frame. The ratio is that of the medians, the spread that of the pairs.
"""

import argparse
import json
import os
import pathlib
import resource
import statistics
import subprocess
from dataclasses import dataclass

import clips
from material import FFMPEG, FORMATS, VARIANTS, Material, count_frames, machine


@dataclass
class Job:
    """The commands of one job, and the same commands for a single tiny frame."""

    peer: str
    ours: str
    peer_start: str
    ours_start: str
    frames: int


@dataclass
class Decode:
    clip: str
    variant: str
    fourcc: str
    goal: float  # speed to reach, as a multiple of the peer's
    interlaced: bool = False

    def name(self):
        return f"decode {self.clip} {self.variant} to {self.fourcc}"

    def prepare(self, material, program):
        stream = material.prores(material.clip(self.clip), self.variant, self.interlaced)
        tiny = material.prores(material.tiny(self.interlaced), self.variant, self.interlaced)
        peer = FFMPEG + "-c:v prores -i {} " + FORMATS[self.fourcc] + " -"
        ours = f"{program} decode --quiet --threads 1 --fourcc {self.fourcc} {{}} -"
        return Job(peer.format(stream), ours.format(stream), peer.format(tiny), ours.format(tiny),
                   count_frames(stream))  # fmt: skip


ENCODERS = {
    "prores_ks": "-c:v prores_ks -profile:v {profile}",
    "prores_aw": "-c:v prores_aw -profile:v {profile}",
    "prores_ks -qscale 12": "-c:v prores_ks -profile:v {profile} -qscale 12",
}


@dataclass
class Encode:
    clip: str
    variant: str
    encoder: str
    goal: float
    step: int = 1  # every so many frames of the clip, where the peer takes long
    fourcc: str = ""  # of raw frames; a .mov where empty
    interlaced: bool = False

    def name(self):
        source = f"raw {self.fourcc}" if self.fourcc else "V210 .mov"
        return f"encode {self.clip} {self.variant} from {source}, against {self.encoder}"

    def prepare(self, material, program):
        source = material.clip(self.clip)
        if self.step > 1:
            source = material.sampled(self.clip, self.step)
        out = material.folder / "encoded.mov"
        coding = ENCODERS[self.encoder].format(profile=VARIANTS[self.variant])
        fields = "-flags +ildct -top 1" if self.interlaced else ""
        peer = f"{FFMPEG} {{}} {coding} {fields} {out}"
        ours = (f"{program} encode --quiet --overwrite --threads 1 --variant {self.variant} "
                f"{{}} {out}")  # fmt: skip
        clip = clips.CLIPS[self.clip]
        peer_input, our_input = self._input(material, source, f"{clip.width}x{clip.height}")
        peer_tiny, our_tiny = self._input(material, material.tiny(self.interlaced), "48x32")
        return Job(peer.format(peer_input), ours.format(our_input), peer.format(peer_tiny),
                   ours.format(our_tiny), count_frames(source))  # fmt: skip

    def _input(self, material, source, size):
        if not self.fourcc:
            return f"-i {source}", f"{source}"
        raw = material.raw_frames(source, self.fourcc)
        pixels = {"V210": "-f v210", "UYVY": "-f rawvideo -pix_fmt uyvy422"}[self.fourcc]
        return (f"{pixels} -video_size {size} -framerate 25 -i {raw}",
                f"--fourcc {self.fourcc} --size {size} --rate 25 {raw}")  # fmt: skip


@dataclass
class EncodeFootage:
    """A job with another source than uncompressed 4:2:2; sound, if any, becomes PCM."""

    source: str  # a method of Material
    clip: str
    encoder: str
    goal: float
    step: int = 1

    def name(self):
        return f"encode {self.clip} hq from {self.source}, against {self.encoder}"

    def prepare(self, material, program):
        make = getattr(material, self.source)
        source, tiny = make(material.sampled(self.clip, self.step)), make(material.tiny())
        out = material.folder / "encoded.mov"
        coding = ENCODERS[self.encoder].format(profile=VARIANTS["hq"])
        peer = f"{FFMPEG} {{}} -pix_fmt yuv422p10le {coding} -c:a pcm_s24le {out}"
        ours = f"{program} encode --quiet --overwrite --threads 1 --variant hq {{}} {out}"
        return Job(peer.format(source.peer_input), ours.format(source.input),
                   peer.format(tiny.peer_input), ours.format(tiny.input), source.frames)


WORKS = [
    Decode("natural_1080p", "hq", "V210", 5.5),
    Decode("natural_1080p", "hq", "UYVY", 6),
    Decode("natural_1080p", "422", "V210", 5),
    Decode("natural_1080p", "lt", "V210", 4.8),
    Decode("natural_1080p", "proxy", "V210", 4.5),
    Decode("natural_2160p", "hq", "V210", 5.5),
    Decode("natural_1080i", "hq", "V210", 5.5, interlaced=True),
    Encode("natural_1080p", "hq", "prores_ks", 60, step=5),
    Encode("natural_1080p", "hq", "prores_aw", 8),
    Encode("natural_1080p", "hq", "prores_ks -qscale 12", 5.5),
    # The other variants, sizes and inputs: within 15 % of the factors above.
    Encode("natural_1080p", "422", "prores_ks", 51, step=5),
    Encode("natural_1080p", "lt", "prores_ks", 51, step=5),
    Encode("natural_1080p", "proxy", "prores_ks", 51, step=5),
    Encode("natural_1080p", "422", "prores_aw", 6.8),
    Encode("natural_1080p", "lt", "prores_aw", 6.8),
    Encode("natural_1080p", "proxy", "prores_aw", 6.8),
    Encode("natural_1080p", "hq", "prores_ks", 51, step=5, fourcc="V210"),
    Encode("natural_1080p", "hq", "prores_ks", 51, step=5, fourcc="UYVY"),
    Encode("natural_2160p", "hq", "prores_ks", 51, step=2),
    Encode("natural_2160p", "hq", "prores_aw", 6.8),
    Encode("natural_1080i", "hq", "prores_ks", 51, step=5, interlaced=True),
    EncodeFootage("camera_file", "natural_1080p", "prores_ks", 9, step=5),
    EncodeFootage("camera_file", "natural_1080p", "prores_aw", 2.4),
    EncodeFootage("dpx_sequence", "natural_1080p", "prores_ks", 10, step=5),
]


def processor_seconds(command):
    def total():
        usage = resource.getrusage(resource.RUSAGE_CHILDREN)
        return usage.ru_utime + usage.ru_stime

    before = total()
    subprocess.run(command, shell=True, check=True, stdout=subprocess.DEVNULL,
                   stdin=subprocess.DEVNULL)  # fmt: skip
    return total() - before


def measure(work, job, pairs):
    starts = []
    for command in (job.peer_start, job.ours_start):
        processor_seconds(command)
        starts.append(statistics.median(processor_seconds(command) for _ in range(pairs)))
    commands = (job.peer, job.ours)
    for command in commands:
        processor_seconds(command)  # brings files and code into memory
    times = ([], [])
    for pair in range(pairs):
        for which in (0, 1) if pair % 2 == 0 else (1, 0):
            seconds = processor_seconds(commands[which]) - starts[which]
            times[which].append(seconds / job.frames * 1000)
    ratios = [peer / ours for peer, ours in zip(*times)]
    peer, ours = (statistics.median(values) for values in times)
    return {
        "work": work.name(),
        "frames": job.frames,
        "pairs": pairs,
        "peer_ms": round(peer, 3),
        "ours_ms": round(ours, 3),
        "ratio": round(peer / ours, 2),
        "lowest": round(min(ratios), 2),
        "highest": round(max(ratios), 2),
        "goal": work.goal,
        "peer_start_ms": round(starts[0] * 1000, 1),
        "ours_start_ms": round(starts[1] * 1000, 1),
    }


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("clips", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("--pairs", type=int, default=7)
    parser.add_argument("--only", default="", help="measure only jobs that contain this text")
    options = parser.parse_args()
    os.sched_setaffinity(0, {max(os.sched_getaffinity(0))})

    results = {"machine": machine(), "works": []}
    print("| work | ms/frame, peer | ours | ratio | pairs from .. to | wanted |")
    print("|---|---|---|---|---|---|")
    material = Material(options.clips)
    for work in WORKS:
        if options.only not in work.name():
            continue
        job = work.prepare(material, options.program.resolve())
        result = measure(work, job, options.pairs)
        results["works"].append(result)
        print("| {work} | {peer_ms:.2f} | {ours_ms:.2f} | {ratio:.2f} | {lowest:.2f} .. "
              "{highest:.2f} | {goal} |".format(**result), flush=True)  # fmt: skip
    options.results.write_text(json.dumps(results, indent=2) + "\n")


if __name__ == "__main__":
    main()

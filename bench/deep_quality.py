#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compares the picture quality of 4444 and 4444 XQ with prores_ks at equal bytes, frame by frame.

Pictures of 4:4:4 are compared in 12 bits. Every peer frame is measured at the sizes of its profile
and of several quantisers; its value at the bytes of our frame is interpolated between them.
"""

import argparse
import json
import pathlib
import tempfile
from concurrent.futures import ThreadPoolExecutor
from statistics import mean

import clips
from curves import VALUES, gains
from material import FFMPEG, Material
from pictures import compare_pictures, frame_bytes, run
from tables import as_table

ROOT = pathlib.Path(__file__).resolve().parent.parent
CLIPS = [name for name, clip in clips.CLIPS.items() if isinstance(clip, clips.DeepClip)]
PROFILES = {"4444": "4444", "4444xq": "4444xq"}  # names of both programs
QUANTISERS = [1, 2, 3, 4, 6, 8, 12, 16, 24]
FORMAT = {"pixels": "yuv444p12le", "peak": 4095}


def settings(profile):
    """Returns the arguments of every setting of the peer."""
    start = f"-c:v prores_ks -profile:v {profile} -pix_fmt yuv444p10le"
    return [start, *(f"{start} -qscale:v {quantiser}" for quantiser in QUANTISERS)]


def measure(command, reference, folder):
    """Runs an encoder that writes {out}; returns bytes and quality of all frames."""
    with tempfile.TemporaryDirectory(dir=folder) as work:
        out = pathlib.Path(work) / "stream.mov"
        run(command.format(out=out))
        pictures = compare_pictures(out, reference, 1, work, **FORMAT)
        return [{"bytes": size} | picture for size, picture in zip(frame_bytes(out), pictures)]


def compare(program, reference, variant, folder, pool):
    """Returns our frames with their gains over the peer."""
    encode = f"{program} encode --quiet --variant {variant} {reference} {{out}}"
    peers = [f"{FFMPEG}-i {reference} {arguments} {{out}}"
             for arguments in settings(PROFILES[variant])]  # fmt: skip
    ours, *points = pool.map(lambda command: measure(command, reference, folder), [encode, *peers])
    for i, frame in enumerate(ours):
        frame["gains"] = gains(frame, [setting[i] for setting in points])
    return ours


def row(clip, variant, frames):
    cells = [clip, variant, f"{mean(frame['y'] for frame in frames):.2f}"]
    for name in VALUES:
        known = [frame["gains"][name] for frame in frames if frame["gains"][name] is not None]
        form = "+.5f" if name == "ssim" else "+.2f"
        cells += [f"{mean(known):{form}}", f"{min(known):{form}}"] if known else ["?", "?"]
    return cells


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--program", type=pathlib.Path,
                        default=ROOT / "build/release/bin/vixprores")  # fmt: skip
    parser.add_argument("--results", type=pathlib.Path,
                        default=ROOT / "build/bench/deep_quality.json")  # fmt: skip
    options = parser.parse_args()
    material = Material(ROOT / "build/bench/clips")
    folder = ROOT / "build/bench/quality"
    folder.mkdir(parents=True, exist_ok=True)
    heads = ["clip", "variant", "PSNR-Y"]
    for name in VALUES:
        heads += [f"gain {name}", "worst"]
    rows, results = [heads], {}
    with ThreadPoolExecutor(2) as pool:
        for clip in CLIPS:
            for variant in PROFILES:
                frames = compare(options.program.resolve(), material.clip(clip), variant, folder,
                                 pool)  # fmt: skip
                results[f"{clip} {variant}"] = frames
                rows.append(row(clip, variant, frames))
    options.results.write_text(json.dumps(results, indent=1) + "\n")
    print("\n".join(as_table(rows)))


if __name__ == "__main__":
    main()

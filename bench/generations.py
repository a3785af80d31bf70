# SPDX-License-Identifier: BSD-2-Clause
"""Measures the generation loss of a picture that is encoded and decoded repeatedly."""

import tempfile
from statistics import mean

import clips
from pictures import compare_pictures, run
from tables import as_table

COUNT = 10
CLIPS = ["natural_1080p", "natural_easy_1080p", "natural_1080i"]
VARIANTS = ["422", "hq"]


def source(material, clip):
    """Returns a clip of one frame of each shot."""
    return material.picked(clip, clips.CLIPS[clip].middles())


def measure(program, material, folder, clip, variant):
    """Returns, for a frame of each shot, its number and its PSNR-Y in each generation."""
    original = source(material, clip)
    options = "--quiet --overwrite --threads 1"
    generations = []
    with tempfile.TemporaryDirectory(dir=folder) as work:
        coded, decoded = folder / work / "coded.mov", folder / work / "decoded.mov"
        for generation in range(COUNT):
            run(f"{program} encode {options} --variant {variant} "
                f"{decoded if generation else original} {coded}")  # fmt: skip
            run(f"{program} decode {options} {coded} {decoded}")
            pictures = compare_pictures(decoded, original, 1, work)
            generations.append([picture["y"] for picture in pictures])
    frames = zip(clips.CLIPS[clip].middles(), zip(*generations))
    return [{"frame": number, "y": values} for number, values in frames]


def change(frame):
    """Returns the last generation minus the first."""
    return frame["y"][-1] - frame["y"][0]


def table(results):
    shown = [1, 2, 3, 5, COUNT]
    rows = [["clip", "variant", *(f"generation {number}" for number in shown),
             f"{COUNT} less 1", "worst"]]  # fmt: skip
    for clip, variants in results["generations"].items():
        for variant, frames in variants.items():
            changes = [change(frame) for frame in frames]
            rows.append([clip, variant,
                         *(f"{mean(f['y'][number - 1] for f in frames):.2f}" for number in shown),
                         f"{mean(changes):+.2f}", f"{min(changes):+.2f}"])  # fmt: skip
    return as_table(rows)

# SPDX-License-Identifier: BSD-2-Clause
"""Compares short clips with a stored baseline, to show whether a change made pictures worse."""

import json
import re
from statistics import mean

import clips
import pictures
from material import VARIANTS
from tables import target

# Largest allowed fall of the mean of a clip and variant.
ALLOWED = {"y": ("PSNR-Y", 0.05, " dB"), "ssim": ("SSIM-Y", 0.0005, "")}
INSIDE = (98, 100)  # % of the target: a frame within this range must stay within it


def measure(program, material, folder, pool):
    """Measures all frames of all short clips; returns results and identities of the clips."""
    for clip in clips.SHORT:
        material.clip(clip)  # not in parallel: some share a photograph
    jobs = [(clip, variant) for clip in clips.SHORT for variant in VARIANTS]
    made = pool.map(lambda job: pictures.ours(program, material, folder, *job), jobs)
    figures = {clip: {} for clip in clips.SHORT}
    for (clip, variant), (_, frames) in zip(jobs, made):
        figures[clip][variant] = {"frames": frames}
    return {"sources": {clip: clips.identity(clip) for clip in clips.SHORT}, "clips": figures}


def write(figures, path):
    """Writes one line per frame, so that a diff shows which frames changed."""
    text = json.dumps(figures, indent=1)
    text = re.sub(r"{\s+(\"frame\"[^{}]*?)\s+}", lambda m: f"{{{' '.join(m[1].split())}}}", text)
    path.write_text(text + "\n")


def faults(now, before):
    """Yields a line for each figure that is worse than before."""
    if now["sources"] != before["sources"]:
        other = [clip for clip, source in now["sources"].items()
                 if source != before["sources"].get(clip)]  # fmt: skip
        yield f"the clips are not those of the baseline: {', '.join(other) or 'some are missing'}"
        return
    for clip, variants in now["clips"].items():
        for variant in variants:
            new, old = (of["clips"][clip][variant]["frames"] for of in (now, before))
            yield from (f"{clip} {variant}: {fault}" for fault in falls(new, old))
            goal = target(clip, variant)
            yield from (f"{clip} {variant}: {fault}" for fault in sizes_left(new, old, goal))


def falls(new, old):
    for value, (name, allowed, unit) in ALLOWED.items():
        is_now, was = (mean(frame[value] for frame in frames) for frames in (new, old))
        if was - is_now > allowed:
            yield (f"{name} fell by {was - is_now:.5f}{unit}, from {was:.5f} to {is_now:.5f}; "
                   f"{allowed}{unit} is allowed")  # fmt: skip


def sizes_left(new, old, goal):
    least, most = INSIDE
    for frame, former in zip(new, old):
        share, was = (size["bytes"] / goal * 100 for size in (frame, former))
        if least <= was <= most and not least <= share <= most:
            yield (f"frame {frame['frame']} has {share:.2f} % of the target, and had {was:.2f}; "
                   f"{least} to {most} is allowed")  # fmt: skip

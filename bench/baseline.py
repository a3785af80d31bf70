# SPDX-License-Identifier: BSD-2-Clause
"""Short clips beside figures that are kept, to see whether a change made pictures worse."""

import json
import re
from statistics import mean

import clips
import pictures
from material import VARIANTS
from tables import target

# What the mean of a clip and variant may fall by.
ALLOWED = {"y": ("PSNR-Y", 0.05, " dB"), "ssim": ("SSIM-Y", 0.0005, "")}
INSIDE = (98, 100)  # % of the target: a frame that was inside is to stay there


def measure(program, material, folder, pool):
    """Every frame of every short clip in the form of other results, and what the clips were."""
    for clip in clips.SHORT:
        material.clip(clip)  # one after the other, since some share a photograph
    jobs = [(clip, variant) for clip in clips.SHORT for variant in VARIANTS]
    made = pool.map(lambda job: pictures.ours(program, material, folder, *job), jobs)
    figures = {clip: {} for clip in clips.SHORT}
    for (clip, variant), (_, frames) in zip(jobs, made):
        figures[clip][variant] = {"frames": frames}
    return {"sources": {clip: clips.identity(clip) for clip in clips.SHORT}, "clips": figures}


def write(figures, path):
    """A line for each frame, so that a change of some is seen as that."""
    text = json.dumps(figures, indent=1)
    text = re.sub(r"{\s+(\"frame\"[^{}]*?)\s+}", lambda m: f"{{{' '.join(m[1].split())}}}", text)
    path.write_text(text + "\n")


def faults(now, before):
    """A line for everything that is worse than it was."""
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

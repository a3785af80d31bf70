# SPDX-License-Identifier: BSD-2-Clause
"""Goals for picture quality and rate, and whether results meet them."""

import operator
from dataclasses import dataclass
from statistics import mean
from typing import Callable

import generations
from material import VARIANTS
from pictures import STEPS
from tables import as_table, best_peer, gain_over, known, target

NATURAL = [clip for clip in STEPS if clip.startswith("natural")]
STILL = "still_1080p"
NOISE = ["noise_1080p"]
ARTIFICIAL = ["synthetic_1080p", *NOISE, "flat_1080p"]
BOUNDS = {
    "at least": operator.ge,
    "above": operator.gt,
    "at most": operator.le,
    "below": operator.lt,
}


@dataclass
class Goal:
    name: str
    bound: str
    wanted: dict  # by variant
    measured: Callable  # (results, variant) -> [(value, where)]
    form: str = "+z.2f"
    all_together: bool = False  # the mean of the values counts instead of the worst

    def reached(self, results, variant):
        """Returns the value that counts and its place, or None if nothing was measured."""
        values = [(value, where) for value, where in self.measured(results, variant)
                  if value is not None]  # fmt: skip
        if not values:
            return None
        worst = (min if self.bound in ("at least", "above") else max)(values)
        return (mean(value for value, _ in values), "") if self.all_together else worst

    def is_met(self, value, variant):
        """Compares the value as rounded for display, so that the table cannot contradict itself."""
        return BOUNDS[self.bound](float(f"{value:{self.form}}"), self.wanted[variant])

    def wish(self):
        each = " / ".join(dict.fromkeys(f"{value:g}" for value in self.wanted.values()))
        return f"{self.bound} {each}"


def of_clips(names, gain):
    """Returns a function that yields the mean gain of each of these clips."""

    def measured(results, variant):
        for clip, frames in frames_of(results, variant, names):
            gains = known(gain(frame) for frame in frames)
            yield mean(gains) if gains else None, clip

    return measured


def of_frames(names, gain):
    """Returns a function that yields the gain of each compared frame of these clips."""

    def measured(results, variant):
        for clip, frames in frames_of(results, variant, names):
            for frame in frames:
                yield gain(frame), f"{clip}, frame {frame['frame']}"

    return measured


def shares(names):
    """Returns a function that yields the bytes of every frame of these clips in % of the target."""

    def measured(results, variant):
        for clip, result in chosen(results, variant, names):
            for number, size in enumerate(result["sizes"]):
                yield size / target(clip, variant) * 100, f"{clip}, frame {number}"

    return measured


def of_generations(results, variant):
    """Yields the last generation minus the first, for each frame."""
    for clip, variants in results["generations"].items():
        for frame in variants.get(variant, []):
            yield generations.change(frame), f"{clip}, frame {frame['frame']}"


def unevenness(results, variant):
    """Yields the range of PSNR-Y over the frames of the still clip."""
    for clip, frames in frames_of(results, variant, [STILL]):
        values = [frame["y"] for frame in frames]
        yield max(values) - min(values), clip


def chosen(results, variant, names):
    for clip, variants in results["clips"].items():
        if clip in names and variant in variants:
            yield clip, variants[variant]


def frames_of(results, variant, names):
    return ((clip, result["frames"]) for clip, result in chosen(results, variant, names))


def over_best(name):
    return lambda frame: best_peer(frame, name)


def each(value):
    return dict.fromkeys(VARIANTS, value)


# fmt: off
GOALS = [
    Goal("gain over the best peer, mean of the natural clips, dB", "at least",
         {"proxy": 0.8, "lt": 1.0, "422": 1.2, "hq": 1.5},
         of_clips(NATURAL, over_best("y")), all_together=True),
    Goal("gain over the best peer, worst natural frame, dB", "at least", each(0.2),
         of_frames(NATURAL, over_best("y"))),
    Goal("gain over ks profiles, mean of the natural clips, dB", "at least", each(2.0),
         of_clips(NATURAL, gain_over("ks profiles", "y")), all_together=True),
    Goal("SSIM-Y over the best peer, worst natural frame", "above", each(0.0),
         of_frames(NATURAL, over_best("ssim")), "+z.5f"),
    Goal("U over ks profiles, worst natural clip, dB", "at least", each(0.0),
         of_clips(NATURAL, gain_over("ks profiles", "u"))),
    Goal("V over ks profiles, worst natural clip, dB", "at least", each(0.0),
         of_clips(NATURAL, gain_over("ks profiles", "v"))),
    Goal("gain over the best peer, worst synthetic, noise or flat frame, dB", "at least", each(0.0),
         of_frames(ARTIFICIAL, over_best("y"))),
    Goal("largest frame, % of target", "at most", each(103.0), shares(STEPS), ".2f"),
    Goal("largest natural or noise frame, % of target", "at most", each(100.0),
         shares(NATURAL + NOISE), ".2f"),
    Goal("smallest natural or noise frame, % of target", "at least", each(98.0),
         shares(NATURAL + NOISE), ".2f"),
    Goal(f"generation {generations.COUNT} less generation 1, worst frame, dB", "at least",
         each(-0.3), of_generations),
    Goal("PSNR-Y of the still, range over its frames, dB", "below", each(0.3), unevenness, ".2f"),
]
# fmt: on


def verdicts(results):
    """Yields, for every measured goal, its row of the table and a line for each miss."""
    for goal in GOALS:
        reached = {variant: goal.reached(results, variant) for variant in VARIANTS}
        if not any(reached.values()):
            continue
        row, missed = [goal.name, goal.wish()], []
        for variant, answer in reached.items():
            if not answer:
                row.append("-")
                continue
            value, where = answer
            met = goal.is_met(value, variant)
            row.append(f"{value:{goal.form}} {'met' if met else 'missed'}")
            if not met:
                missed.append(f"- {variant}: {goal.name}: {value:{goal.form}}, "
                              f"wanted {goal.bound} {goal.wanted[variant]:g}"
                              f"{f' ({where})' if where else ''}")  # fmt: skip
        yield row, missed


def summary(results):
    rows, missed = zip(*verdicts(results))
    lines = sum(missed, [])
    end = ["Missed:", "", *lines] if lines else ["No goal is missed."]
    return [*as_table([["goal", "wanted", *VARIANTS], *rows]), "", *end]

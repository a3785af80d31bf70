#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures the picture of vixprores at equal bytes beside the encoders of an installed ffmpeg."""

import argparse
import json
import os
import pathlib
import subprocess
from concurrent.futures import ThreadPoolExecutor

import baseline
import generations
import goals
import pictures
import tables
from curves import gains
from material import VARIANTS, Material, machine

ROOT = pathlib.Path(__file__).resolve().parent.parent
BENCH = ROOT / "build/bench"
EXIT_CODES = "Exit codes: 0 done, 1 failed or worse than the baseline, 2 wrong use."


def places():
    """The clips, and the folder that measurements take place in."""
    folder = BENCH / "quality"
    folder.mkdir(parents=True, exist_ok=True)
    return Material(BENCH / "clips"), folder


def measure(options):
    material, kept = places()
    results = {"machine": machine(), "clips": {}, "generations": {}}
    peers = pictures.Peers(material, kept, results["machine"]["peer"])
    for clip in options.only:
        material.sampled(clip, pictures.STEPS[clip])
    jobs = [(clip, variant) for clip in options.only for variant in options.variant]
    again = [job for job in jobs
             if job[0] in generations.CLIPS and job[1] in generations.VARIANTS]  # fmt: skip
    for clip, _ in again:
        generations.source(material, clip)

    def each(measurement, jobs):
        made = pool.map(lambda job: measurement(options.program, material, kept, *job), jobs)
        return zip(jobs, made)

    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        list(pool.map(lambda job: peers.frames(*job), peers.jobs(options.only)))
        points = {clip: peers.points(clip) for clip in options.only}
        results["curves"] = {clip: tables.curves(points[clip]) for clip in options.only}
        for (clip, variant), (sizes, frames) in each(pictures.ours, jobs):
            judge(frames, points[clip])
            result = {"sizes": sizes, "frames": frames}
            results["clips"].setdefault(clip, {})[variant] = result
        for (clip, variant), frames in each(generations.measure, again):
            results["generations"].setdefault(clip, {})[variant] = frames
    return results


def judge(frames, points):
    """Gives each frame its gains over what every peer makes of it."""
    for i, frame in enumerate(frames):
        frame["gains"] = {
            peer: gains(frame, [setting[i] for setting in settings])
            for peer, settings in points.items()
        }


def quick(options):
    """Our encoder alone on short clips; the exit code says whether it is as good as it was."""
    with ThreadPoolExecutor(len(os.sched_getaffinity(0))) as pool:
        figures = baseline.measure(options.program, *places(), pool)
    if options.accept:
        baseline.write(figures, options.baseline)
        print(f"quality: the baseline is {options.baseline}")
        return 0
    before = json.loads(options.baseline.read_text())
    faults = list(baseline.faults(figures, before))
    print("\n".join(tables.difference_table(figures, before)), end="\n\n")
    print("\n".join(faults or ["quality: nothing is worse than the baseline"]))
    return 1 if faults else 0


def parse():
    parser = argparse.ArgumentParser(description=__doc__, epilog=EXIT_CODES)
    parser.add_argument("--program", type=pathlib.Path, metavar="PATH",
                        default=ROOT / "build/release/bin/vixprores",
                        help="the vixprores to measure, with its plug-in beside it")  # fmt: skip
    parser.add_argument("--only", action="append", choices=pictures.STEPS, metavar="CLIP",
                        help=f"only this clip; several times for several: "
                             f"{', '.join(pictures.STEPS)}")  # fmt: skip
    parser.add_argument("--variant", action="append", choices=VARIANTS, metavar="NAME",
                        help="only this variant: proxy, lt, 422 or hq")  # fmt: skip
    parser.add_argument("--results", type=pathlib.Path, metavar="FILE.json",
                        default=BENCH / "quality.json",
                        help="where to keep what was measured")  # fmt: skip
    parser.add_argument("--kept", action="store_true",
                        help="measure nothing, show the results that are kept")  # fmt: skip
    parser.add_argument("--frames", action="store_true", help="print every compared frame too")
    parser.add_argument("--against", type=pathlib.Path, metavar="OLD.json",
                        help="print what changed since these results")  # fmt: skip
    parser.add_argument("--page", action="store_true",
                        help="bring all results into docs/quality.md and docs/quality.svg")  # fmt: skip
    parser.add_argument("--quick", action="store_true",
                        help="only see on short clips, in half a minute, whether our encoder fell "
                             "behind the baseline")  # fmt: skip
    parser.add_argument("--accept", action="store_true",
                        help="with --quick: make its figures the baseline")  # fmt: skip
    parser.add_argument("--baseline", type=pathlib.Path, metavar="FILE.json",
                        default=ROOT / "bench/quality_baseline.json",
                        help="with --quick: another baseline")  # fmt: skip
    options = parser.parse_args()
    check(parser, options)
    options.only = options.only or list(pictures.STEPS)
    options.variant = options.variant or list(VARIANTS)
    return options


def check(parser, options):
    full = [options.only, options.variant, options.kept, options.frames, options.against,
            options.page]  # fmt: skip
    if options.quick and any(full):
        parser.error("--quick goes with --program, --accept and --baseline only")
    if options.accept and not options.quick:
        parser.error("--accept goes with --quick")
    if options.page and (options.only or options.variant):
        parser.error("--page wants everything measured, not --only this or that")
    options.program = options.program.resolve()
    needed = [options.results if options.kept else options.program, options.against]
    if options.quick and not options.accept:
        needed.append(options.baseline)
    for path in filter(None, needed):
        if not path.is_file():
            parser.error(f"there is no file {path}")


def show(results, options):
    if options.frames:
        print("\n".join(tables.frame_table(results)), end="\n\n")
    print("\n".join(tables.main_table(results)), end="\n\n")
    if results["generations"]:
        print("\n".join(generations.table(results)), end="\n\n")
    print("\n".join(goals.summary(results)))


def main():
    options = parse()
    if options.quick:
        return quick(options)
    old = json.loads(options.against.read_text()) if options.against else None
    if options.kept:
        results = json.loads(options.results.read_text())
    else:
        results = measure(options)
        options.results.write_text(json.dumps(results, indent=1) + "\n")
    show(results, options)
    if old:
        print("\n" + "\n".join(tables.difference_table(results, old)))
    if options.page:
        import page  # here, since nothing else needs what draws

        page.write(results, ROOT / "docs")
    return 0


if __name__ == "__main__":
    try:
        raise SystemExit(main())
    except subprocess.CalledProcessError as failure:
        raise SystemExit(f"quality: exit code {failure.returncode} of {failure.cmd}") from None

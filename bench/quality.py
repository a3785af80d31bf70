#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Compares the picture quality of vixprores with ffmpeg's encoders at equal bytes."""

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
EXIT_CODES = "Exit codes: 0 success, 1 failure or worse than the baseline, 2 usage error."


def places():
    """Returns the clips and the working folder."""
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
    """Adds to each frame its gains over every peer."""
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
                        help="file for the results")  # fmt: skip
    parser.add_argument("--kept", action="store_true",
                        help="show the stored results without measuring")  # fmt: skip
    parser.add_argument("--frames", action="store_true", help="also print every compared frame")
    parser.add_argument("--against", type=pathlib.Path, metavar="OLD.json",
                        help="print the changes since these results")  # fmt: skip
    parser.add_argument("--page", action="store_true",
                        help="write all results to docs/quality.md and docs/quality.svg")  # fmt: skip
    parser.add_argument("--quick", action="store_true",
                        help="only compare short clips with the baseline, in half a minute")  # fmt: skip
    parser.add_argument("--accept", action="store_true",
                        help="with --quick: store the figures as the baseline")  # fmt: skip
    parser.add_argument("--baseline", type=pathlib.Path, metavar="FILE.json",
                        default=ROOT / "bench/quality_baseline.json",
                        help="with --quick: use another baseline")  # fmt: skip
    options = parser.parse_args()
    check(parser, options)
    options.only = options.only or list(pictures.STEPS)
    options.variant = options.variant or list(VARIANTS)
    return options


def check(parser, options):
    full = [options.only, options.variant, options.kept, options.frames, options.against,
            options.page]  # fmt: skip
    if options.quick and any(full):
        parser.error("--quick can be combined only with --program, --accept and --baseline")
    if options.accept and not options.quick:
        parser.error("--accept needs --quick")
    if options.page and (options.only or options.variant):
        parser.error("--page needs all results and cannot be combined with --only or --variant")
    options.program = options.program.resolve()
    needed = [options.results if options.kept else options.program, options.against]
    if options.quick and not options.accept:
        needed.append(options.baseline)
    for path in filter(None, needed):
        if not path.is_file():
            parser.error(f"{path} does not exist")


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
        import page  # only --page needs matplotlib

        page.write(results, ROOT / "docs")
    return 0


if __name__ == "__main__":
    try:
        raise SystemExit(main())
    except subprocess.CalledProcessError as failure:
        raise SystemExit(f"quality: exit code {failure.returncode} of {failure.cmd}") from None

#!/usr/bin/python3
# SPDX-License-Identifier: BSD-2-Clause
"""Measures what a job costs on a Slurm of two nodes on this machine, and draws the model of it for
farms of up to a thousand workers.

usage: farm.py PROGRAM CLIPS RESULTS.json PICTURE.svg [--draw-only]

A worker is a node with one processor. Only root can start the nodes. "measured" are whole jobs, from
the submission until the output has its name; "model" is what the costs of their pieces predict.
"""

import argparse
import json
import math
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "tests/farm"))

import cluster  # noqa: E402  (after its folder was added)
from drawing import COLOURS, pyplot, save  # noqa: E402
from material import Material, count_frames, machine  # noqa: E402

NAME = "natural_1080p"
V210, CAMERA = "V210", "H.264"  # inputs
REPEATS = 12  # of the clip, in the input
LENGTHS = [10, 40, 80, 160]  # frames of a chunk
TASKS = 8  # of an array
RUNS = 5
CHUNKS = [2, 4, 8, 16, 32]
PARTITIONS = {"second": 1, "all": 2}  # of the cluster, and their workers
STORAGES = [1, 10, 100]  # Gb/s, which all workers share
WORKERS = [round(10 ** (step / 10)) for step in range(31)]
FILM = 2 * 3600 * 25  # frames
CHUNKS_PER_WORKER = 4


def seconds(command, **options):
    started = time.monotonic()
    subprocess.run([str(word) for word in command], check=True, stdout=subprocess.DEVNULL, **options)
    return time.monotonic() - started


def fit_line(points):
    """Returns the line through (x, y) by least squares: its value at 0 and its slope."""
    slope, start = statistics.linear_regression(*zip(*points))
    return max(start, 0.0), slope


def plan(program, *options):
    answer = subprocess.run([str(word) for word in (program, "plan", "--variant", "hq", *options)],
                            capture_output=True, text=True, check=True)  # fmt: skip
    return json.loads(answer.stdout)["jobs"][0]


def measure_work(program, source, folder):
    """Returns what chunks of this input cost: seconds of the start and of each frame, of a worker
    alone and of two on this machine."""
    output, alone, paired = folder / "chunks.mov", [], []
    for frames in LENGTHS:
        job = plan(program, "--chunk-frames", frames, source, output)
        commands = [[program, *chunk["command"][1:], "--quiet", "--threads", 1]
                    for chunk in job["chunks"][1:3]]  # fmt: skip
        for _ in range(RUNS):
            clear(job["folder"])
            alone.append((frames, seconds(commands[0])))
            output_bytes = pathlib.Path(job["chunks"][1]["part"]).stat().st_size / frames
            clear(job["folder"])
            paired.append((frames, seconds_together(commands)))
        clear(job["folder"])
    (start, frame), (_, frame_paired) = fit_line(alone), fit_line(paired)
    return {"start": start, "frame": frame, "frame_paired": frame_paired,
            "input_bytes": source.stat().st_size / count_frames(source),
            "output_bytes": output_bytes}  # fmt: skip


def seconds_together(commands):
    started = time.monotonic()
    runs = [subprocess.Popen([str(word) for word in command]) for command in commands]
    if any([run.wait() for run in runs]):
        raise RuntimeError("a chunk failed")
    return time.monotonic() - started


def clear(path):
    shutil.rmtree(path, ignore_errors=True)


def measure_queue(slurm, folder):
    """Returns the seconds from a submission to the start of its first task, from the start of a task
    to that of the next on the same node, and from the last task to the one that waits for it."""
    script, started_at = folder / "clock.sh", folder / "started"
    script.write_text(f"#!/bin/sh\ndate +%s.%N >>{started_at}\n")
    command = ["sbatch", "--parsable", "--output=/dev/null", "--partition=second"]
    waits = []
    for _ in range(RUNS):
        started_at.unlink(missing_ok=True)
        submitted = time.time()
        array = slurm.run(*command, f"--array=1-{TASKS}", script).strip()
        slurm.run(*command, f"--dependency=afterok:{array}", script)
        slurm.wait_for_end()
        first, *middle, last, after = sorted(map(float, started_at.read_text().split()))
        waits.append((first - submitted, (last - first) / (len(middle) + 1), after - last))
    names = ("start", "task", "join")
    return {name: statistics.median(times) for name, times in zip(names, zip(*waits))}


def submit(slurm, program, source, output, chunks, partition):
    """Returns the seconds of a whole job."""
    output.unlink(missing_ok=True)
    clear(f"{output}.job")
    started = time.monotonic()
    seconds([program, "submit", "--slurm", "--variant", "hq", "--partition", partition, "--chunks",
             chunks, source, output], env=slurm.environment)  # fmt: skip
    while not output.exists():
        if not slurm.jobs():
            raise RuntimeError(f"no output; see {output}.job/logs")
        time.sleep(0.05)
    taken = time.monotonic() - started
    slurm.wait_for_end()
    return taken


def measure_join(program, source, output):
    """Returns the seconds of a join for each byte."""
    job = plan(program, "--chunks", 4, source, output)
    for chunk in job["chunks"]:
        seconds([program, *chunk["command"][1:], "--quiet"])
    taken = []
    for _ in range(RUNS):
        output.unlink(missing_ok=True)
        taken.append(seconds([program, *job["join"][1:], "--quiet", "--keep-parts"]))
    clear(f"{output}.job")
    return statistics.median(taken) / output.stat().st_size


def measure(program, material, folder):
    clip = material.clip(NAME)
    camera = pathlib.Path(material.camera_file(clip).input)
    sources = {V210: material.repeated(clip, REPEATS),
               CAMERA: material.repeated(camera, REPEATS)}  # fmt: skip
    source, output = sources[V210], folder / "output.mov"
    works = {name: measure_work(program, path, folder) for name, path in sources.items()}
    slurm = cluster.Cluster()
    try:
        slurm.start()
        queue = measure_queue(slurm, folder)
        join_byte = measure_join(program, source, output)
        jobs = []
        for partition, workers in PARTITIONS.items():
            for chunks in CHUNKS:
                taken = submit(slurm, program, source, output, chunks, partition)
                jobs.append({"workers": workers, "chunks": chunks, "seconds": taken})
                print(f"{workers} workers, {chunks} chunks: {taken:.1f} s", flush=True)
    finally:
        slurm.stop()
    return {"machine": machine(), "frames": count_frames(source), "queue": queue,
            "join_byte": join_byte, "works": works, "jobs": jobs}  # fmt: skip


def predict(results, work, frames, workers, chunks, frame_seconds, storage=math.inf):
    """Returns the seconds of a job.

    storage: bytes in a second, which all workers share"""
    queue, costs = results["queue"], results["works"][work]
    traffic = (costs["input_bytes"] + costs["output_bytes"]) * min(workers, chunks)
    chunk = costs["start"] + math.ceil(frames / chunks) * max(frame_seconds, traffic / storage)
    encoding = queue["start"] + math.ceil(chunks / workers) * (queue["task"] + chunk)
    joining = queue["join"] + costs["start"] + frames * costs["output_bytes"] * max(
        results["join_byte"], 2 / storage)  # fmt: skip
    return encoding + joining


def predict_here(results, job):
    costs = results["works"][V210]
    frame = costs["frame_paired"] if job["workers"] > 1 else costs["frame"]
    return predict(results, V210, results["frames"], job["workers"], job["chunks"], frame)


def predict_film(results, work, workers, storage):
    """Returns minutes."""
    frame = results["works"][work]["frame"]
    return predict(results, work, FILM, workers, CHUNKS_PER_WORKER * workers, frame,
                   storage * 1e9 / 8) / 60  # fmt: skip


def print_results(results):
    queue = ", ".join(f"{name} {value:.2f} s" for name, value in results["queue"].items())
    print(f"queue: {queue}; join: {results['join_byte'] * 1e9:.2f} s for each GB")
    for work, costs in results["works"].items():
        print(f"{work}: start {costs['start'] * 1e3:.0f} ms, frame {costs['frame'] * 1e3:.2f} ms "
              f"(two workers: {costs['frame_paired'] * 1e3:.2f} ms), reads "
              f"{costs['input_bytes'] / 1e6:.2f} MB, writes {costs['output_bytes'] / 1e6:.2f} MB")  # fmt: skip
    print("\n| workers | chunks | measured | model |\n|---|---|---|---|")
    for job in results["jobs"]:
        print(f"| {job['workers']} | {job['chunks']} | {job['seconds']:.1f} s "
              f"| {predict_here(results, job):.1f} s |")  # fmt: skip
    farms = [(work, storage) for work in results["works"] for storage in STORAGES]
    heads = " | ".join(f"{work}, {storage} Gb/s" for work, storage in farms)
    print(f"\n| workers | {heads} |\n|---|{'---|' * len(farms)}")
    for workers in (1, 10, 100, 1000):
        times = [f"{predict_film(results, work, workers, storage):.1f} min"
                 for work, storage in farms]  # fmt: skip
        print(f"| {workers} | {' | '.join(times)} |")


def draw_jobs(axes, results):
    for workers, colour in zip(PARTITIONS.values(), COLOURS):
        jobs = [job for job in results["jobs"] if job["workers"] == workers]
        chunks = [job["chunks"] for job in jobs]
        noun = "worker" if workers == 1 else "workers"
        axes.plot(chunks, [predict_here(results, job) for job in jobs], color=colour,
                  label=f"model, {workers} {noun}")  # fmt: skip
        axes.plot(chunks, [job["seconds"] for job in jobs], "o", color=colour,
                  label=f"measured, {workers} {noun}")  # fmt: skip
    axes.set(title=f"{results['frames']} frames here", xlabel="chunks", ylabel="seconds",
             xscale="log", ylim=(0, None), xticks=CHUNKS)  # fmt: skip
    axes.set_xticks(CHUNKS, labels=map(str, CHUNKS), minor=False)
    axes.minorticks_off()
    axes.legend()


def draw_farms(axes, results):
    for work, style in zip(results["works"], ("-", "--")):
        for storage, colour in zip(STORAGES, COLOURS):
            times = [predict_film(results, work, workers, storage) for workers in WORKERS]
            axes.plot(WORKERS, times, style, color=colour, label=f"{work}, {storage} Gb/s")
    axes.set(title="A film of two hours, by the model", xlabel="workers", ylabel="minutes",
             xscale="log", yscale="log")  # fmt: skip
    axes.legend()


def draw(results, path):
    figure, (left, right) = pyplot.subplots(1, 2, figsize=(9, 3.6))
    draw_jobs(left, results)
    draw_farms(right, results)
    save(figure, path)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("clips", type=pathlib.Path)
    parser.add_argument("results", type=pathlib.Path)
    parser.add_argument("picture", type=pathlib.Path)
    parser.add_argument("--draw-only", action="store_true", help="draw the kept results")
    options = parser.parse_args()
    if not options.draw_only:
        if reason := cluster.why_not():
            sys.exit(f"farm.py: {reason}")
        folder = options.results.resolve().parent / "farm"
        clear(folder)
        folder.mkdir(parents=True)
        results = measure(options.program.resolve(), Material(options.clips), folder)
        options.results.write_text(json.dumps(results, indent=2) + "\n")
    results = json.loads(options.results.read_text())
    print_results(results)
    draw(results, options.picture)


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs the commands that people run on suspicious files, on damaged files of each container.

usage: run_damaged_files.py [--files N] [--seconds N] [--seed N] [--commands NAME,…]
                            PROGRAM FORK_SERVER FOLDER

PROGRAM is a sanitizer build, FORK_SERVER the library made from ForkServer.cpp. Every run must end with
exit code 0, 1 or 2 within 10 seconds (of a processor) and 1 GB of memory. Files that make one end in another
way are kept in FOLDER, with the output of the run. The same seed makes the same files.
"""
import argparse
import collections
import concurrent.futures
import os
import pathlib
import random
import resource
import signal
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1]))
import replay  # noqa: E402

MOST_SECONDS = 10
MOST_KIB = 10**9 // 1024
EDITS = (1, 1, 1, 2, 2, 3, 5)  # one is what reaches farthest
HEAD = 4096  # bytes at either end of a file, where most containers keep what describes it
TOOL_OPTIONS = ("-bitexact", "-fflags", "+bitexact")

# Suffix of a container, and how the clips are made that are damaged: ours, or another program's.
ENCODED = {
    "mov": ("--variant", "hq"), "mxf": ("--variant", "proxy"), "mkv": ("--variant", "standard"),
}  # fmt: skip
COPIED = {"avi": ("-c", "copy", "-r", "25"), "mp4": ("-c:v", "mpeg4", "-c:a", "aac")}

# The commands on IN, with an intact SEED of the same container.
COMMANDS = {
    "decode": ("decode", "-y", "IN", "OUT.mov"),
    "verify": ("verify", "IN"),
    "inspect": ("inspect", "--json", "--slices", "IN"),
    "recover": ("recover", "-y", "IN", "OUT.mov"),
    "scan": ("decode", "-y", "--scan", "IN", "OUT.mov"),
    "thumbs": ("thumbs", "-y", "IN", "-o", "OUT"),
    "compare": ("compare", "SEED", "IN"),
    "copy": ("copy", "-y", "IN", "OUT.mov"),
    "encode": ("encode", "-y", "IN", "OUT.mov"),
}


class Server:
    """Runs the program in a forked child for each request."""

    def __init__(self, program, library, checks_leaks):
        options = f"detect_leaks={int(checks_leaks)}:allocator_may_return_null=1:"
        options += "quarantine_size_mb=8:malloc_context_size=3"
        self.process = subprocess.Popen(
            [program], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
            env={**os.environ, "LD_PRELOAD": str(library), "CPU_SECONDS": str(MOST_SECONDS),
                 "WALL_SECONDS": str(20 * MOST_SECONDS), "ASAN_OPTIONS": options})  # fmt: skip

    def run(self, output, *arguments):
        """Returns the exit code or negative signal, seconds of processors, and KiB of memory."""
        words = b"".join(os.fsencode(word) + b"\0" for word in (output, "vixprores", *arguments))
        self.process.stdin.write(b"%d\n" % len(words) + words)
        self.process.stdin.flush()
        code, milliseconds, _, memory = map(int, self.process.stdout.readline().split())
        return code, milliseconds / 1000, memory

    def close(self):
        self.process.stdin.close()
        self.process.wait()


def limit_files():
    """Called in a child: a file that becomes longer than the seeds is left unfinished."""
    signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    resource.setrlimit(resource.RLIMIT_FSIZE, (20_000, 20_000))


def make_seeds(program, folder):
    """Returns small files with sound, timecode and a title, by container."""

    def ffmpeg(*arguments):
        subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *arguments], check=True)

    def encode(source, path, *options, **others):
        subprocess.run([program, "encode", "-q", "-y", *options, source, path], check=not others,
                       env={**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}, **others)  # fmt: skip

    seeds = collections.defaultdict(list)
    for name, interlaced in (("progressive", ()), ("interlaced", ("-flags", "+ildct+ilme", "-top", "1"))):
        source = str(folder / f"{name}.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25", "-f", "lavfi", "-i",
               "sine=frequency=440:sample_rate=48000", "-frames:v", "6", "-t", "0.24", "-c:v", "v210",
               "-c:a", "pcm_s16le", "-metadata", "title=A title", "-timecode", "10:00:00:00",
               *interlaced, *TOOL_OPTIONS, source)  # fmt: skip
        for suffix, options in ENCODED.items():
            path = folder / f"{name}-encoded.{suffix}"
            encode(source, path, *options)
            seeds[suffix].append(path)
        for suffix, options in COPIED.items():
            path = folder / f"{name}-copied.{suffix}"
            ffmpeg("-i", str(folder / f"{name}-encoded.mov"), "-map", "0:v", "-map", "0:a", *options,
                   *TOOL_OPTIONS, str(path))  # fmt: skip
            seeds[suffix].append(path)
    encode(folder / "progressive.mov", folder / "deep.mov", "--variant", "4444")
    encode(folder / "progressive.mov", folder / "cut.mov", preexec_fn=limit_files)
    (unfinished,) = folder.glob("cut.mov.part-*")
    seeds["mov"] += [folder / "deep.mov", unfinished.rename(folder / "cut.mov")]
    return seeds


def damage(seeds, number, seed):
    """Returns damaged bytes and the seed that they were made from."""
    choice = random.Random(f"{seed} {number}")
    path = choice.choice(seeds)
    others = [other.read_bytes() for other in seeds]
    data = bytearray(path.read_bytes())
    for _ in range(choice.choice(EDITS)):
        if not data:
            break
        place = choice.randrange(3)  # the beginning, the end, or anywhere
        begin, end = ((0, HEAD), (-HEAD, None), (0, None))[place]
        part = bytearray(data[begin:end])
        choice.choice(replay.EDITS)(part, others, choice)
        data[begin:end] = part
    return data, path


def check(result):
    code, seconds, memory = result
    if code not in (0, 1, 2):
        return f"ended with {code}"
    if seconds >= MOST_SECONDS:
        return f"took {seconds} s"
    return f"took {memory} KiB" if memory >= MOST_KIB else ""


class Tally:
    """Exit codes and the largest figures of one command on one container."""

    def __init__(self):
        self.codes = collections.Counter()
        self.seconds = self.memory = 0

    def add(self, code, seconds, memory):
        self.codes[code] += 1
        self.seconds = max(self.seconds, seconds)
        self.memory = max(self.memory, memory)


def run_files(arguments, seeds, suffix, numbers, deadline):
    """Runs all commands on the files of a container; returns their tallies and the findings."""
    tallies, findings = collections.defaultdict(Tally), []
    # Looking for leaks takes as long as the run: every eighth file is enough.
    servers = [Server(arguments.program, arguments.fork_server, checks) for checks in (True, False)]
    with tempfile.TemporaryDirectory(prefix="damaged-", dir="/dev/shm") as name:
        folder = pathlib.Path(name)
        damaged, log = folder / f"in.{suffix}", folder / "log"
        for number in numbers:
            if time.monotonic() > deadline:
                break
            data, seed = damage(seeds[suffix], number, arguments.seed)
            damaged.write_bytes(data)
            for command in arguments.commands:
                words = COMMANDS[command]
                words = [str({"IN": damaged, "SEED": seed}.get(word, folder / word if word.startswith("OUT")
                             else word)) for word in words]  # fmt: skip
                result = servers[number % 8 != 0].run(log, *words)
                tallies[command].add(*result)
                if problem := check(result):
                    kept = arguments.folder / f"{suffix}-{number}-{command}"
                    kept.with_suffix("." + suffix).write_bytes(data)
                    kept.with_suffix(".log").write_bytes(log.read_bytes())
                    findings.append(f"{kept}.{suffix}: {command} {problem}")
    for server in servers:
        server.close()
    return tallies, findings


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--files", type=int, default=100, help="files of each container [100]")
    parser.add_argument("--seconds", type=float, default=1e9, help="stops after this time")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--commands", type=lambda text: text.split(","), default=list(COMMANDS),
                        help=f"of {','.join(COMMANDS)} [all]")  # fmt: skip
    parser.add_argument("program", type=pathlib.Path)
    parser.add_argument("fork_server", type=pathlib.Path)
    parser.add_argument("folder", type=pathlib.Path)
    arguments = parser.parse_args()
    arguments.folder.mkdir(parents=True, exist_ok=True)
    deadline = time.monotonic() + arguments.seconds
    workers = os.cpu_count() or 1
    with tempfile.TemporaryDirectory(prefix="seeds-") as name:
        seeds = make_seeds(arguments.program, pathlib.Path(name))
        with concurrent.futures.ThreadPoolExecutor(workers) as pool:
            runs = {
                (suffix, part): pool.submit(run_files, arguments, seeds, suffix,
                                            range(part, arguments.files, workers), deadline)
                for part in range(workers) for suffix in seeds
            }  # fmt: skip
            results = {key: run.result() for key, run in runs.items()}
    total, findings = collections.defaultdict(Tally), []
    for (suffix, _), (tallies, found) in results.items():
        findings += found
        for command, tally in tallies.items():
            sum_ = total[suffix, command]
            sum_.codes += tally.codes
            sum_.add(None, tally.seconds, tally.memory)
    for (suffix, command), tally in sorted(total.items()):
        codes = ", ".join(f"{code}: {count}" for code, count in sorted(
            (item for item in tally.codes.items() if item[0] is not None)))  # fmt: skip
        print(f"{suffix} {command}: {codes}; at most {tally.seconds:.1f} s, {tally.memory // 1024} MiB")
    for finding in findings:
        print(finding, file=sys.stderr)
    sys.exit(1 if findings else 0)


if __name__ == "__main__":
    main()

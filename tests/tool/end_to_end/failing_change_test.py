# SPDX-License-Identifier: BSD-2-Clause
"""A failing write, sync, rename or other change of a file ends a run with an error, or changes
nothing: no unfinished file has the name of a finished one, and no input changes.

VIXPRORES_FAIL_CHANGE_POINTS sets how many changes of each command fail, each in a run of its own and
with each error; without it, one fails with each of two errors."""
import errno
import functools
import json
import os
import pathlib
import random
import shutil
import subprocess
import tempfile
import unittest

from failing_allocation_test import describe
from sound_test import make_movie
from tool import PROGRAM, TIMEOUT, ToolTest, folder_events, frame_bytes, make_v210, run

MOVIES = tempfile.TemporaryDirectory(prefix="vixprores-movies-")
LIBRARY = os.environ.get("VIXPRORES_FAIL_CHANGE", "")
POINTS = int(os.environ.get("VIXPRORES_FAIL_CHANGE_POINTS", "0"))
SHORT, ALL, BACKGROUND = 0, 1_000_000, -1
# What changes fail with, and how many of them from the first one on.
FAILURES = ((errno.ENOSPC, ALL), (errno.EIO, 1), (errno.EIO, ALL), (errno.EINTR, 1), (SHORT, 1))
HARMLESS = (errno.EINTR, SHORT)
FRAMES = 10
# What is the same in each run: reports have the time.
IDENTITY = {".json": lambda data: b"", ".html": lambda data: data[:15]}


def sample(changes, seed):
    """Returns the failures to try: changes, errors, and how many changes fail in a row."""
    chance = random.Random(seed)
    failures = FAILURES if POINTS else chance.sample(FAILURES, 2)
    return [(change, *failure) for failure in failures
            for change in chance.sample(range(1, changes + 1), min(POINTS or 1, changes))]


def is_record(name):
    """Returns true for the record of a job's run, which the run can do without."""
    return ".json" in name


@functools.lru_cache(maxsize=None)
def movies():
    """Returns a clip and the same clip encoded."""
    clip, encoded = (pathlib.Path(MOVIES.name) / name for name in ("clip.mov", "encoded.mov"))
    make_movie(clip, "-metadata", "title=A title", "-timecode", "10:00:00:00", "-t", FRAMES / 25)
    run("encode", "--quiet", clip, encoded)
    return clip, encoded


def contents(folder):
    """Returns the bytes of all files below a folder by name."""
    return {str(path.relative_to(folder)): path.read_bytes()
            for path in sorted(folder.rglob("*")) if path.is_file()}


@unittest.skipUnless(LIBRARY, "the library that lets changes fail is not built")
class FailingChange(ToolTest):
    def setUp(self):
        super().setUp()
        self.inputs, self.out = self.path("inputs"), self.path("out")
        self.inputs.mkdir()
        self.clip, self.encoded = self.inputs / "clip.mov", self.inputs / "encoded.mov"
        for path, cached in zip((self.clip, self.encoded), movies()):
            shutil.copy(cached, path)
        self.before = {}  # what the folder of the outputs holds before a run

    def environment(self, change, error, failures=1):
        return {**os.environ, "LD_PRELOAD": LIBRARY, "FAIL_BELOW": str(self.folder),
                "FAIL_CHANGE": str(change), "FAIL_WITH": str(error),
                "FAILED_CHANGES": str(failures), "FAILED": str(self.path("failed")),
                "COUNT_CHANGES": str(self.path("count"))}

    def run_with(self, change, error, failures, arguments):
        """Runs the program; returns its result, and a pair of call and file for all that failed."""
        self.path("failed").write_text("")
        result = run(*arguments, env=self.environment(change, error, failures))
        return result, [line.split(" ", 1) for line in
                        self.path("failed").read_text().splitlines()]

    def count(self):
        """Returns the number of changes of the last run."""
        return int(self.path("count").read_text())

    def start_again(self):
        shutil.rmtree(self.out, ignore_errors=True)
        self.out.mkdir()
        for name, data in self.before.items():
            path = self.out / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)

    def same(self, name, found, wanted):
        """Returns true if files are equal except for what is different in each run."""
        suffix = pathlib.Path(name).suffix
        if suffix in (".mxf", ".mkv") and found != wanted:
            paths = [self.path(word + suffix) for word in ("found", "wanted")]
            for path, data in zip(paths, (found, wanted)):
                path.write_bytes(data)
            return describe(paths[0]) == describe(paths[1])
        identity = IDENTITY.get(suffix, lambda data: data)
        return identity(found) == identity(wanted)

    def sweep(self, *arguments):
        """Lets each command fail at a sample of all points."""
        inputs = contents(self.inputs)
        self.start_again()
        result, _ = self.run_with(0, errno.EIO, 0, arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.whole = contents(self.out)
        for change, error, failures in sample(self.count(), arguments[0] + arguments[-1].name):
            self.start_again()
            result, failed = self.run_with(change, error, failures, arguments)
            with self.subTest(command=arguments[0], output=arguments[-1], error=error,
                              change=change, failed=failed[:3], stderr=result.stderr):
                self.check(result, error, failed)
                self.assertTrue(contents(self.inputs) == inputs, "an input has changed")

    def check(self, result, error, failed):
        found = contents(self.out)
        self.check_wanted(result, found)
        if result.returncode == 0:
            needed = [call for call, path in failed
                      if not os.path.isdir(path) and not is_record(path)]
            self.assertTrue(error in HARMLESS or {*needed} <= {"unlink", "remove"},
                            "the failure was not noticed")
        else:
            self.assertEqual(result.returncode, 1)
            self.assertNotIn(error, HARMLESS)
            self.assertTrue(result.stderr.startswith("vixprores: "))
            self.assertIn(os.strerror(error), result.stderr)
            self.assertTrue(any(pathlib.Path(path).name.split(".part-")[0] in result.stderr
                                for _, path in failed), "no file is named")
        for name in found.keys() - self.whole.keys() - self.before.keys():
            if not any(call in ("unlink", "remove") for call, _ in failed):
                self.assertIn(str(self.out / name), result.stderr, "a file is left")

    def check_wanted(self, result, found):
        """Checks all files that have the name of an output."""
        for name, data in self.whole.items():
            if name not in found and is_record(name):
                continue
            if name not in found:
                self.assertNotEqual(result.returncode, 0, f"{name} is missing")
                self.assertNotIn(name, self.before, f"{name} was removed")
            elif result.returncode == 0 or found[name] != self.before.get(name):
                self.assertTrue(self.same(name, found[name], data), f"{name} is not complete")


class Outputs(FailingChange):
    def test_encoding(self):
        for name in ("out.mov", "out.mkv", "out.mxf"):
            self.sweep("encode", "--threads", "1", "--quiet", self.clip, self.out / name)

    def test_encoding_over_an_earlier_file(self):
        self.before = {"out.mov": b"precious"}
        self.sweep("encode", "--overwrite", "--threads", "1", self.clip, self.out / "out.mov")

    def test_encoding_a_batch(self):
        self.sweep("encode", "--quiet", "--output-dir", self.out / "new", self.clip)

    def test_decoding(self):
        for name in ("out.mov", "out.y4m", "out.%04d.png"):
            self.sweep("decode", "--threads", "1", "--quiet", self.encoded, self.out / name)

    def test_copying(self):
        for name in ("out.mov", "out.mkv", "out.mxf"):
            self.sweep("copy", "--quiet", self.encoded, self.encoded, self.out / name)

    def test_recovering(self):
        for name in ("out.mov", "out.mxf"):
            self.sweep("recover", "--quiet", self.encoded, self.out / name)

    def test_stills(self):
        self.sweep("thumbs", "--quiet", "--sheet", self.out / "sheet.png", "--output-dir",
                   self.out / "stills", self.encoded)

    def test_pages(self):
        page = self.out / "page.html"
        for command in ("inspect", "verify"):
            self.sweep(command, "--html", page, self.encoded)
        self.sweep("compare", "--html", page, self.clip, self.encoded)


class Background(FailingChange):
    def test_an_error_of_a_flush_during_the_run_is_reported(self):
        raw = self.path("frames.raw")
        make_v210(raw, "-f", "rawvideo")
        failed = self.path("failed")
        with folder_events(self.folder) as wait:
            process = subprocess.Popen(
                [PROGRAM, "encode", "--fourcc", "V210", "--size", "128x96", "--rate", "25", "-",
                 self.path("out.mov")], stdin=subprocess.PIPE, stderr=subprocess.PIPE,
                env=self.environment(BACKGROUND, errno.EIO))
            self.addCleanup(process.kill)
            frames = raw.read_bytes()
            process.stdin.write(frames[:frame_bytes("V210", 128, 96)])
            process.stdin.flush()
            while not failed.exists():  # the input does not end before that
                self.assertTrue(wait())
        errors = process.communicate(frames[frame_bytes("V210", 128, 96):], TIMEOUT)[1].decode()
        self.assertEqual(process.returncode, 1)
        self.assertIn("out.mov: cannot be written: Input/output error", errors)
        self.assertFalse(self.path("out.mov").exists())


class Changed(FailingChange):
    """Files that a run changes itself."""

    def check_relabelled(self, result, error, failed, before, after):
        movie = self.out / "movie.mov"
        if result.returncode == 0:
            self.assert_same_bytes(movie.read_bytes(), after)
        else:
            self.assertNotIn(error, HARMLESS)
            self.assertIn(os.strerror(error), result.stderr)
            self.assertIn("movie.mov", result.stderr)
            if movie.with_name("movie.mov.undo").exists():
                self.succeed("copy", "--in-place", movie)
        self.assertIn(movie.read_bytes(), (before, after))
        if not any(call in ("unlink", "remove") for call, _ in failed):
            self.assertEqual(contents(self.out).keys(), {"movie.mov"})

    def test_relabelling_in_place(self):
        movie = self.out / "movie.mov"
        self.before = {"movie.mov": self.encoded.read_bytes()}
        arguments = ("copy", "--in-place", "--color", "bt709", "--title", "New", movie)
        self.start_again()
        self.assertEqual(self.run_with(0, errno.EIO, 0, arguments)[0].returncode, 0)
        after = movie.read_bytes()
        changes = self.count()
        for change, error, failures in [*sample(changes, "relabel"),
                                        *((number, errno.ENOSPC, ALL) for number in range(1, 6))]:
            self.start_again()
            result, failed = self.run_with(change, error, failures, arguments)
            with self.subTest(error=error, change=change, failed=failed[:3],
                              stderr=result.stderr):
                self.check_relabelled(result, error, failed, self.before["movie.mov"], after)


class Jobs(FailingChange):
    def plan(self):
        return json.loads(self.succeed("plan", "--chunks", "2", self.clip,
                                       self.out / "out.mov").stdout)["jobs"][0]

    def test_a_chunk(self):
        *command, part = self.plan()["chunks"][1]["command"][1:]
        self.sweep(*command, pathlib.Path(part))

    def test_a_join(self):
        job = self.plan()
        self.start_again()
        for chunk in job["chunks"]:
            self.succeed(*chunk["command"][1:])
        self.before = contents(self.out)
        *command, output = job["join"][1:]
        self.sweep(*command, pathlib.Path(output))


if __name__ == "__main__":
    unittest.main()

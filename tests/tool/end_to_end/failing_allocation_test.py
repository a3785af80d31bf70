# SPDX-License-Identifier: BSD-2-Clause
"""A failing allocation ends a run with an error, or changes nothing.

The program frees a reserve at the first failure and tries again. Where two successive allocations
fail, the second attempt fails too; where only one fails, the reserve is what keeps the run going.
"""
import hashlib
import json
import os
import random
import signal
import subprocess

from sound_test import make_movie
from tool import PROGRAM, TIMEOUT, ToolTest

LIBRARY = os.environ.get("VIXPRORES_FAIL_ALLOCATION", "")
POINTS = int(os.environ.get("VIXPRORES_FAIL_ALLOCATION_POINTS", "40"))


def describe(path):
    """Returns the content of a file except its random identifiers."""
    if path.suffix in (".mov", ".png"):
        return hashlib.sha256(path.read_bytes()).hexdigest()
    result = subprocess.run(
        ["ffprobe", "-v", "error", "-show_format", "-show_streams", "-show_packets",
         "-show_data_hash", "sha256", "-of", "json", str(path)], check=True, capture_output=True,
        timeout=TIMEOUT)
    found = json.loads(result.stdout)
    for tags in [found["format"], *found["streams"]]:
        for name in list(tags.get("tags", {})):
            if name.endswith(("uid", "umid")):
                del tags["tags"][name]
    return {**found, "format": found["format"].get("tags")}


class Clips(ToolTest):
    def setUp(self):
        super().setUp()
        if not LIBRARY:
            self.skipTest("the library that lets allocations fail is not built")
        self.clip, self.encoded = self.path("clip.mov"), self.path("encoded.mov")
        make_movie(self.clip, "-metadata", "title=A title", "-timecode", "10:00:00:00", "-t", "0.2")
        self.succeed("encode", self.clip, self.encoded)


class FailingAllocation(Clips):
    def run_with(self, number, failures, *arguments):
        count = self.path("count")
        result = subprocess.run(
            [PROGRAM, *map(str, arguments)], capture_output=True, timeout=TIMEOUT,
            stdin=subprocess.DEVNULL,
            env={**os.environ, "LD_PRELOAD": LIBRARY, "FAIL_ALLOCATION": str(number),
                 "FAILED_ALLOCATIONS": str(failures), "COUNT_ALLOCATIONS": str(count)})
        return result, int(count.read_text()) if count.exists() else 0

    def count_while_parsing(self, arguments):
        """Returns the allocations of a run that ends when it looks for its input."""
        return self.run_with(0, 1, *(self.path("missing.mov") if word in (self.clip, self.encoded)
                                     else word for word in arguments))[1]

    def sweep(self, output, *arguments, failures=2, points=POINTS):
        """Lets allocations fail at a sample of all points, one point in each run."""
        result, count = self.run_with(0, failures, *arguments)
        self.assertEqual(result.returncode, 0, result.stderr)
        normal = describe(output) if output else result.stdout
        self.assertGreater(count, 40)
        parsing = self.count_while_parsing(arguments)
        self.assertLess(parsing, count)
        everywhere = range(1, count + 1)
        points = random.Random(count).sample(everywhere, min(points, count))
        # The last ones are where destructors run, which must not allocate.
        points = sorted({*points, *everywhere[-5:]})
        for number in points:
            with self.subTest(arguments=arguments[0], allocation=number):
                for path in self.folder.glob("out*"):
                    path.unlink()
                result, _ = self.run_with(number, failures, *arguments)
                is_parsing = failures > 1 and number <= parsing
                if is_parsing and result.returncode == -signal.SIGABRT:
                    # CLI11 2.4 allocates in functions that must not throw: the reserve saves a run
                    # only from one failure there.
                    self.assertFalse(output and output.exists())
                    continue
                self.assertGreaterEqual(result.returncode, 0, "ended by a signal")
                if result.returncode == 0:
                    self.assertEqual(describe(output) if output else result.stdout, normal)
                else:
                    self.assertIn(b"vixprores: ", result.stderr)
                    # No intact frame is reported as damaged.
                    self.assertNotRegex(result.stdout, rb": frame \d|[1-9]\d* damaged")

    def test_encoding(self):
        for name in ("out.mov", "out.mkv", "out.mxf"):
            out = self.path(name)
            self.sweep(out, "encode", "--threads", "1", "--quiet", self.clip, out)

    def test_decoding(self):
        out = self.path("out.mov")
        self.sweep(out, "decode", "--threads", "1", "--quiet", self.encoded, out)

    def test_recovering(self):
        out = self.path("out.mov")
        self.sweep(out, "recover", "--quiet", self.encoded, out)

    def test_verifying(self):
        self.sweep(None, "verify", "--threads", "1", "--quiet", self.encoded)

    def test_writing_json(self):
        # Destructors of the JSON library allocate: they survive one failure only.
        for command in (("inspect",), ("verify", "--threads", "1")):
            self.sweep(None, *command, "--json", self.encoded, failures=1)

    def test_other_commands(self):
        points = POINTS // 10
        for name in ("out.mov", "out.mxf"):
            self.sweep(self.path(name), "copy", "--quiet", self.encoded, self.path(name),
                       points=points)
        self.sweep(self.path("out.png"), "thumbs", "--threads", "1", "--quiet", "--sheet",
                   self.path("out.png"), self.encoded, points=points)
        self.sweep(self.path("out.mov"), "encode", "--threads", "1", "--quiet", "--variant", "4444",
                   self.clip, self.path("out.mov"), points=points)
        for arguments in (("compare", "--threads", "1", "--json", self.clip, self.encoded),
                          ("plan", "--chunks", "2", self.clip, self.path("job.mov"))):
            self.sweep(None, *arguments, failures=1, points=points)


class FailingThreads(Clips):
    def test_threads_that_cannot_be_started(self):
        out = self.path("out.mov")
        for arguments in (("encode", "--threads", "3", self.clip, out),
                          ("decode", "--threads", "3", self.encoded, out),
                          ("compare", "--threads", "3", self.clip, self.encoded),
                          ("copy", self.encoded, out)):
            normal = self.run_without_threads(0, arguments)
            for thread in range(1, 8):
                with self.subTest(arguments=arguments[0], thread=thread):
                    found = self.run_without_threads(thread, arguments)
                    if found is not None:
                        self.assertEqual(found, normal)

    def run_without_threads(self, first, arguments):
        """Returns what a run writes, or None if it fails, which it says."""
        out = self.path("out.mov")
        out.unlink(missing_ok=True)
        result = subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True,
                                timeout=TIMEOUT, stdin=subprocess.DEVNULL,
                                env={**os.environ, "LD_PRELOAD": LIBRARY,
                                     "FAIL_THREAD": str(first)})
        if result.returncode == 0:
            return describe(out) if out in arguments else result.stdout
        self.assertNotEqual(first, 0, result.stderr)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"vixprores: ", result.stderr)
        self.assertEqual(list(self.folder.glob("out*")), [])
        return None

# SPDX-License-Identifier: BSD-2-Clause
"""Divides encodings into jobs and runs their commands one by one, as a queue would."""
import functools
import json
import os
import pathlib
import shlex
import subprocess
import tempfile

from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, run

_MOVIES = tempfile.TemporaryDirectory(prefix="vixprores-movies-")
V210 = "-pix_fmt yuv422p10le -c:v v210"
H264 = "-pix_fmt yuv420p -c:v libx264 -bf 2 -g 12"
SOUND = "anoisesrc=seed=1:sample_rate=48000:amplitude=0.5"


@functools.lru_cache(maxsize=None)
def movie(suffix, codec, sound="", size="128x96", rate="25", seconds=1.6, filters="null"):
    """Returns a movie whose pictures all differ; `sound` = options of its sound; "" = none."""
    path = pathlib.Path(_MOVIES.name) / f"{len(os.listdir(_MOVIES.name))}{suffix}"
    tracks = ["-f", "lavfi", "-i", SOUND] if sound else []
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}", *tracks, "-vf", filters, "-t",
           seconds, *codec.split(), *sound.split(), path)
    return path


def contents(path):
    """Returns what an independent program finds in a file: its packets with their times, and its
    labels. Some containers carry a random identity."""
    packets = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-map", "0", "-c", "copy", "-f",
         "framehash", "-"], check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout
    labels = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-show_streams", "-show_chapters", "-show_format", "-of", "json",
         str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout)
    del labels["format"]["filename"]
    identities = ("file_package_umid", "material_package_umid", "uid", "generation_uid",
                  "modification_date")
    for tags in (labels["format"], *labels["streams"]):
        for name in identities:
            tags.get("tags", {}).pop(name, None)
    for chapter in labels["chapters"]:
        del chapter["id"]
    return packets, labels


class JobTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.output = self.path("job/output.mov")
        self.output.parent.mkdir()
        self.parts = self.path("job/output.mov.job")

    def plan(self, *arguments, **options):
        """Returns the jobs of a plan."""
        return json.loads(self.succeed("plan", *arguments, **options).stdout)["jobs"]

    def plan_one(self, *arguments, chunks=3):
        """Returns the job of `arguments` and self.output."""
        return self.plan("--chunks", chunks, *arguments, self.output)[0]

    def run_command(self, command, *more, **options):
        self.assertEqual(command[0], "vixprores")
        return self.succeed(*command[1:], *more, **options)

    def encode(self, job):
        """Runs the chunks of a job, the last one first."""
        for chunk in reversed(job["chunks"]):
            self.run_command(chunk["command"])

    def make(self, *arguments, **options):
        """Plans a job, runs all of it and returns it."""
        job = self.plan_one(*arguments, **options)
        self.encode(job)
        self.run_command(job["join"])
        return job

    def single(self, *arguments, name="single.mov"):
        """Returns the path of what one run makes."""
        self.succeed("encode", "--overwrite", *arguments, self.path(name))
        return self.path(name)

    def join_fails(self, job, *words, code=1):
        """Runs a join, which must fail with these words and leave the parts; returns the commands
        that it prints."""
        parts = sorted(self.parts.glob("*.mov"))
        result = run(*job["join"][1:])
        self.assertEqual(result.returncode, code, result.stderr)
        for word in words:
            self.assertIn(str(word), result.stderr)
        self.assertEqual([path.name for path in self.output.parent.iterdir()
                          if path.is_file() and path.suffix != ".mov"], [])
        self.assertEqual(sorted(self.parts.glob("*.mov")), parts)
        return [line.strip() for line in result.stderr.splitlines()
                if line.startswith("  vixprores ")]

    def run_printed(self, commands):
        """Runs commands as a user copies them to a shell."""
        folder = pathlib.Path(PROGRAM).resolve().parent
        environment = {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}"}
        for command in commands:
            result = subprocess.run(command, shell=True, env=environment, capture_output=True,
                                    text=True, timeout=TIMEOUT)
            self.assertEqual(result.returncode, 0, result.stderr)


def quoted(command):
    """Returns a command as a shell reads it."""
    return " ".join(shlex.quote(word) for word in command)

# SPDX-License-Identifier: BSD-2-Clause
"""A batch that is run again goes on in an unfinished file where it stopped."""
import fcntl
import functools
import json
import os
import pathlib
import shutil
import signal
import struct
import subprocess
import tempfile

from tool import PLUGIN, PROGRAM, TIMEOUT, ToolTest, ffmpeg, run

FRAMES = 40
V210 = ("-pix_fmt", "yuv422p10le", "-c:v", "v210")
H264 = ("-pix_fmt", "yuv420p", "-c:v", "libx264", "-bf", "2", "-g", "12")
MOVIES = tempfile.TemporaryDirectory(prefix="vixprores-movies-")
PRELOADED = os.environ["VIXPRORES_KILL_AT_WRITE"]
TAG = b"\xf7vixpkt\x1a"


@functools.lru_cache(maxsize=None)
def movie(*codec):
    """Returns a movie whose frames all differ, with a sound track."""
    path = pathlib.Path(MOVIES.name) / f"{len(os.listdir(MOVIES.name))}.mov"
    ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25", "-f", "lavfi", "-i",
           "anoisesrc=seed=1:sample_rate=48000", "-t", FRAMES / 25, *codec,
           "-c:a", "pcm_s24le", path)
    return path


def packets(path):
    """Returns track, offset and size of each complete tagged packet of a file."""
    data, found, position = path.read_bytes(), [], 0
    while (position := data.find(TAG, position)) >= 0:
        if position + 48 <= len(data):
            track, size = struct.unpack_from(">II", data, position + 8)
            if position + 48 + size <= len(data):
                found.append((track, position + 48, size))
        position += len(TAG)
    return found


class Resume(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.out = self.path("clip.mov"), self.path("out")
        self.output = self.out / "clip.mov"
        shutil.copy(movie(*V210), self.clip)
        with open(self.path("attribute"), "w") as file:
            try:
                os.setxattr(file.fileno(), "user.vixprores.test", b"1")
            except OSError:
                self.skipTest("this file system has no extended attributes")

    def arguments(self, *options, threads=1):
        return ("encode", "--json", "--quiet", "--threads", threads, *options, "--output-dir",
                self.out, self.clip)

    def run_until(self, change, arguments, **variables):
        """Runs the program up to one of its changes of files; 0 = to the end."""
        environment = {**os.environ, "LD_PRELOAD": PRELOADED, "KILL_AT_CHANGE": str(change),
                       **variables}
        return run(*arguments, env=environment)

    def encode_whole(self, *options, **more):
        """Returns the file of an uninterrupted run, and its number of changes of files."""
        count = self.path("count")
        result = self.run_until(0, self.arguments(*options, **more), COUNT_CHANGES=str(count))
        self.assertEqual(result.returncode, 0, result.stderr)
        whole = self.output.read_bytes()
        shutil.rmtree(self.out)
        return whole, int(count.read_text())

    def kill(self, change, *options, **more):
        """Kills a run; returns its work file and the number of its whole frames."""
        result = self.run_until(change, self.arguments(*options, **more))
        self.assertEqual(result.returncode, 137, result.stderr)
        work = max(self.out.glob("clip.mov.part-*"), key=lambda path: path.stat().st_size)
        return work, sum(track == 1 for track, *_ in packets(work))

    def resume(self, *options, **more):
        result = self.run_until(0, self.arguments(*options, **more))
        self.assertEqual(result.returncode, 0, result.stderr)
        return json.loads(result.stdout)[0]

    def assert_resumed(self, whole, frames, *options, **more):
        self.assertEqual(self.resume(*options, **more).get("resumedFrames", 0), frames)
        self.assert_same_bytes(self.output.read_bytes(), whole)

    def names(self):
        return [path.name for path in self.out.iterdir()]

    def test_a_killed_run_is_resumed_at_any_point(self):
        whole, changes = self.encode_whole()
        # Before the first frame, the work file is not marked yet.
        for change in range(12, changes + 1, 13):
            with self.subTest(change=change):
                _, frames = self.kill(change)
                self.assert_resumed(whole, frames)
                self.assertEqual(self.names(), ["clip.mov"])
                shutil.rmtree(self.out)
        self.assertGreater(frames, FRAMES // 2)

    def test_any_number_of_threads_resumes(self):
        whole, changes = self.encode_whole()
        _, frames = self.kill(changes // 2, threads=3)
        self.assert_resumed(whole, frames, threads=2)

    def test_inputs_and_options(self):
        for codec, options in (
                (H264, ()), (H264, ("--frames", "7-33", "--scale", "1/2")),
                (V210, ("--frames", "5-", "--variant", "hq")), (V210, ("--verify",)),
                (V210, ("--fields", "bottom", "--on-error", "conceal")),
                (V210, ("--audio", "pcm16", "--color", "bt709"))):
            with self.subTest(codec=codec[3], options=options):
                shutil.copy(movie(*codec), self.clip)
                whole, changes = self.encode_whole(*options)
                uninterrupted = self.resume(*options)
                shutil.rmtree(self.out)
                _, frames = self.kill(changes // 2, *options)
                self.assertGreater(frames, 5)
                report = self.resume(*options)
                self.assert_same_bytes(self.output.read_bytes(), whole)
                self.assertEqual(report.pop("resumedFrames"), frames)
                for key, value in uninterrupted.items():
                    if key not in ("seconds", "framesPerSecond", "realTimeFactor"):
                        self.assertEqual(report[key], value, key)
                shutil.rmtree(self.out)

    def test_a_resumed_run_is_resumed(self):
        whole, changes = self.encode_whole()
        _, few = self.kill(changes // 4)
        _, more = self.kill(changes // 2)
        self.assertGreater(more, few)
        self.assertEqual(len(self.names()), 2)
        self.assert_resumed(whole, more)
        self.assertEqual(self.names(), ["clip.mov"])

    def test_an_interrupted_run_is_resumed(self):
        whole, changes = self.encode_whole()
        result = self.run_until(changes // 2, self.arguments(),
                                SIGNAL_AT_CHANGE=str(int(signal.SIGINT)))
        self.assertEqual(result.returncode, -signal.SIGINT)
        partial = self.out / "clip.partial.mov"
        frames = json.loads(result.stdout)[0]["frames"]
        self.assertEqual(self.names(), [partial.name])
        self.assertLess(frames, FRAMES)
        kept = self.path("partial.mov")
        subprocess.run(["cp", "--preserve=all", partial, kept], check=True)
        self.assert_resumed(whole, frames)
        self.assertEqual(self.names(), ["clip.mov"])
        self.output.unlink()
        shutil.move(kept, partial)
        self.succeed("copy", "--in-place", "--color", "bt2020", partial)
        self.assert_resumed(whole, 0)
        self.assertTrue(partial.exists())

    def test_frames_are_taken_up_to_the_first_damage(self):
        whole, changes = self.encode_whole()
        for place in (0, 7):
            for offset in (100, -30):  # in the frame, in its tag
                with self.subTest(place=place, offset=offset):
                    work, _ = self.kill(changes // 2)
                    frames = [position for track, position, _ in packets(work) if track == 1]
                    data = bytearray(work.read_bytes())
                    data[frames[place] + offset] ^= 1
                    work.write_bytes(data)
                    self.assert_resumed(whole, place)
                    shutil.rmtree(self.out)

    def test_a_work_file_of_something_else_is_left_alone(self):
        options = ("--variant", "lt")
        whole, changes = self.encode_whole()
        other, _ = self.encode_whole(*options)
        work, _ = self.kill(changes // 2)
        self.assert_resumed(other, 0, *options)
        self.assertTrue(work.exists())
        self.output.unlink()
        os.utime(self.clip, (1e9, 1e9))
        self.assert_resumed(whole, 0)
        self.assertTrue(work.exists())

    def test_another_program_starts_from_the_first_frame(self):
        _, changes = self.encode_whole()
        work, _ = self.kill(changes // 2)
        (self.path("bin")).mkdir()
        program = shutil.copy(PROGRAM, self.path("bin"))
        self.path("lib").symlink_to(pathlib.Path(PROGRAM).resolve().parent.parent / "lib")
        environment = {**os.environ, "LD_PRELOAD": PRELOADED}
        arguments = map(str, self.arguments("--plugin", PLUGIN))
        result = subprocess.run([program, *arguments], env=environment, capture_output=True,
                                timeout=TIMEOUT, check=True)
        self.assertNotIn(b"resumedFrames", result.stdout)
        self.assertTrue(work.exists())

    def test_a_work_file_in_use_is_left_alone(self):
        whole, changes = self.encode_whole()
        work, _ = self.kill(changes // 2)
        with open(work, "rb") as file:
            fcntl.flock(file, fcntl.LOCK_EX)
            self.assert_resumed(whole, 0)
        self.assertTrue(work.exists())

    def test_filters_start_from_the_first_frame(self):
        options = ("--filter", "negate")
        whole, changes = self.encode_whole(*options)
        self.kill(changes // 2, *options)
        self.assert_resumed(whole, 0, *options)

    def test_single_runs_are_not_resumed(self):
        arguments = ("encode", "--quiet", "--json", self.clip, self.path("single.mov"))
        self.assertEqual(self.run_until(60, arguments).returncode, 137)
        self.assertNotIn("resumedFrames", self.run_until(0, arguments).stdout)
        self.assertEqual(len(list(self.folder.glob("single.mov.part-*"))), 1)

    def test_the_resumption_is_noted(self):
        whole, changes = self.encode_whole()
        _, frames = self.kill(changes // 2)
        result = self.run_until(0, ("encode", "--output-dir", self.out, self.clip))
        self.assertIn(f"{self.output}: resumed after {frames} frames of an interrupted run",
                      result.stderr)
        self.assert_same_bytes(self.output.read_bytes(), whole)

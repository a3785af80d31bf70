# SPDX-License-Identifier: BSD-2-Clause
"""Runs that are killed at any of their changes of files: nothing that was written is lost.

VIXPRORES_KILLS sets how many kills are tried for each container."""
import itertools
import os
import random

from resume_test import packets
from sound_test import make_movie, sound, tracks_of
from tool import ToolTest, planes, probe, run

LIBRARY = os.environ["VIXPRORES_KILL_AT_WRITE"]
KILLS = int(os.environ.get("VIXPRORES_KILLS", "2"))
FRAMES, SAMPLES, SAMPLE_BYTES = 60, 48000, 3


class Killed(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.whole, self.recovered = (
            self.path(name) for name in ("clip.mov", "whole.mov", "recovered.mov"))
        make_movie(self.clip, "-timecode", "00:00:59;20", tracks=2, seconds=FRAMES / 30,
                   rate="30000/1001")
        self.succeed("encode", self.clip, self.whole)

    def run_until(self, change, *arguments):
        """Runs the program up to one of its changes of files; 0 = to the end. Returns the number of
        changes."""
        count = self.path("count")
        result = run(*arguments, env={
            **os.environ, "LD_PRELOAD": LIBRARY, "KILL_AT_CHANGE": str(change),
            "COUNT_CHANGES": str(count)})
        self.assertEqual(result.returncode, 137 if change else 0, result.stderr)
        return int(count.read_text())

    def kill(self, check, out, *arguments):
        """Kills a run at random changes, and calls `check` with the work file each time."""
        changes = self.run_until(0, *arguments, out)
        out.unlink()
        # The first change makes the work file.
        for change in sorted(random.Random(changes).choices(range(2, changes + 1), k=KILLS)):
            with self.subTest(out=out.name, change=change, changes=changes):
                self.run_until(change, *arguments, out)
                self.assertFalse(out.exists())
                work, = self.folder.glob(out.name + ".part-*")
                check(work)
                work.unlink()

    def test_a_mov_is_recovered(self):
        pictures = planes(self.whole)
        self.picture = len(pictures) // FRAMES
        sounds = [sound(self.whole, track) for track in (0, 1)]
        for arguments in (("encode", "--threads", "1", self.clip), ("copy", self.whole)):
            self.kill(lambda work: self.check(work, pictures, sounds), self.path("out.mov"),
                      *arguments)

    def check(self, work, pictures, sounds):
        sizes = {track: sum(size for number, _, size in packets(work) if number == track)
                 for track in (2, 3)}
        frames = sum(track == 1 for track, *_ in packets(work))
        result = run("recover", "--overwrite", work, self.recovered)
        if frames == 0 and result.returncode == 1:
            return
        self.assertEqual(result.returncode, 0, result.stderr)
        found = planes(self.recovered)
        self.assertEqual(len(found), self.picture * frames)
        self.assert_same_bytes(found, pictures[:len(found)])
        self.assertEqual(probe(self.recovered)["tags"]["timecode"], "00:00:59;20")
        tracks = len(tracks_of(self.recovered, "a"))  # one without packets is left out
        for track, size in itertools.islice(enumerate(sizes.values()), tracks):
            part = sound(self.recovered, track)
            self.assertEqual(len(part), size)
            self.assert_same_bytes(part, sounds[track][:size])
            self.assertGreaterEqual(size / SAMPLE_BYTES / SAMPLES, frames * 1.001 / 30 - 1)

    def test_no_other_container_gets_its_name(self):
        for name in ("out.mkv", "out.mxf"):
            self.kill(lambda work: None, self.path(name), "encode", "--quiet", self.clip)

# SPDX-License-Identifier: BSD-2-Clause
"""What a loss of power leaves can be recovered up to the last wait for the disk, and a file that has
its name is complete.

VIXPRORES_POWER_LOSSES sets how many losses are tried for each command."""
import json
import os
import pathlib
import random
import shutil
import subprocess
import unittest

import mini_mov
from power_loss import Disk, read_log
from resume_test import packets
from sound_test import make_movie, sound
from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, folder_events, run

LIBRARY = os.environ.get("VIXPRORES_LOG_CHANGES", "")
LOSSES = int(os.environ.get("VIXPRORES_POWER_LOSSES", "6"))
FRAMES = 30


@unittest.skipUnless(LIBRARY, "the library that logs changes is not built")
class PowerLoss(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.disk, self.log = (self.path(name) for name in ("clip.mov", "disk", "log"))
        self.out = self.disk / "out.mov"
        self.disk.mkdir()
        self.environment = {**os.environ, "LD_PRELOAD": LIBRARY, "LOG_BELOW": str(self.disk),
                            "LOG_CHANGES": str(self.log)}
        make_movie(self.clip, "-timecode", "10:00:00:00", seconds=FRAMES / 25, tracks=2)

    def lose(self, disk, check):
        """Replays the log and calls `check` for what losses of power at random moments leave."""
        records = read_log(self.log)
        chance = random.Random(len(records))
        times = sorted(chance.choices(range(len(records) + 1), k=LOSSES))
        for number, record in enumerate([*records, None]):
            for _ in range(times.count(number)):
                shutil.rmtree(self.disk)
                self.disk.mkdir()
                for name, data in disk.lose(chance).items():
                    path = pathlib.Path(name)
                    path.parent.mkdir(parents=True, exist_ok=True)
                    path.write_bytes(data)
                with self.subTest(loss=number, records=len(records)):
                    check()
            if record:
                disk.replay(record)


class Encoding(PowerLoss):
    def encode(self):
        """Encodes from a pipe that pauses until some frames are on the disk."""
        piped = self.path("piped.mov")
        ffmpeg("-i", self.clip, "-map", "0:v", "-map", "0:a", "-c", "copy", "-movflags",
               "faststart", piped)
        data = piped.read_bytes()
        fed = len(data) * 2 // 3
        with folder_events(self.folder) as wait:
            process = subprocess.Popen(
                [PROGRAM, "encode", "--quiet", "--timecode", "10:00:00:00", "--threads", "1", "-",
                 self.out], stdin=subprocess.PIPE, env=self.environment)
            self.addCleanup(process.kill)
            process.stdin.write(data[:fed])
            process.stdin.flush()
            self.wait_for_syncs(wait)
        process.communicate(data[fed:], TIMEOUT)
        self.assertEqual(process.returncode, 0)

    def wait_for_syncs(self, wait):
        """Waits until a wait for the disk has begun and ended after the first frames."""
        syncs = None
        while syncs is None or self.log.read_bytes().count(b"\nsync\t") < syncs + 3:
            self.assertTrue(wait())
            if syncs is None and any(packet[0] == 1 for path in self.disk.glob("out.mov.part-*")
                                     for packet in packets(path)):
                syncs = self.log.read_bytes().count(b"\nsync\t")

    def test_frames_on_the_disk_are_recovered(self):
        disk = Disk(self.disk)
        self.encode()
        self.whole = self.out.read_bytes()
        self.frames = mini_mov.samples(self.out)
        self.sounds = [sound(self.out, track) for track in (0, 1)]
        kept = []
        self.lose(disk, lambda: kept.append(self.check(disk)))
        self.assertGreater(max(kept), 5)

    def kept(self, disk):
        """Returns the tagged packets that a loss of power cannot take away."""
        durable = self.path("durable")
        work = [file.durable for name, file in disk.durable.items() if ".part-" in name]
        durable.write_bytes(work[0] if work else b"")
        return packets(durable)

    def check(self, disk):
        """Checks what was left; returns the number of frames that had to be."""
        if self.out.exists():
            self.assert_same_bytes(self.out.read_bytes(), self.whole)
            return 0
        kept = self.kept(disk)
        frames = sum(track == 1 for track, *_ in kept)
        left, recovered = list(self.disk.iterdir()), self.path("recovered.mov")
        self.assertLessEqual(bool(frames), bool(left))
        if not left:
            return 0
        result = run("recover", "--json", "--overwrite", left[0], recovered)
        self.assertIn(result.returncode, (0, 1) if frames == 0 else (0,), result.stderr)
        if result.returncode == 0:
            self.check_frames(frames, json.loads(result.stdout), recovered)
        for track in (0, 1) if frames else ():
            size = sum(size for number, _, size in kept if number == track + 2)
            self.assertGreaterEqual(size / 3 / 48000, frames / 25 - 1)
            self.assert_same_bytes(sound(recovered, track)[:size], self.sounds[track][:size])
        return frames

    def check_frames(self, kept, report, recovered):
        replaced = {each["frame"] + place for each in report.get("damage", ())
                    for place in range(each["count"])}
        self.assertGreaterEqual(min(replaced, default=kept), kept)
        found = mini_mov.samples(recovered)
        self.assertGreaterEqual(len(found), kept)
        for number, frame in enumerate(found):
            if number not in replaced:
                self.assert_same_bytes(frame, self.frames[number])


class Finished(PowerLoss):
    """Files with the name of an output are complete, and what they are made of stays until then."""

    def succeed_logged(self, *arguments):
        self.succeed(*arguments, env=self.environment)

    def test_every_output_is_complete(self):
        encoded = self.path("encoded.mov")
        self.succeed("encode", self.clip, encoded)
        def check():
            for path in self.disk.iterdir():
                self.assertTrue(".part-" in path.name or path.read_bytes() == whole[path],
                                f"{path.name} is not complete")

        for arguments in (("encode", self.clip, self.disk / "out.mkv"),
                          ("copy", encoded, self.disk / "out.mxf"),
                          ("decode", encoded, self.disk / "out.y4m"),
                          ("decode", "--frames", "0-2", encoded, self.disk / "out.%04d.png"),
                          ("thumbs", "--frames", "0-2", encoded, "--output-dir", self.disk)):
            disk = Disk(self.disk)
            self.succeed_logged(*arguments)
            whole = {path: path.read_bytes() for path in self.disk.iterdir()}
            self.lose(disk, check)
            shutil.rmtree(self.disk)
            self.disk.mkdir()
            self.log.unlink()

    def test_a_replaced_file_is_the_old_or_the_new_one(self):
        self.out.write_bytes(b"precious" * 1000)
        disk = Disk(self.disk)
        self.succeed_logged("encode", "--overwrite", self.clip, self.out)
        whole = self.out.read_bytes()
        self.lose(disk, lambda: self.assertIn(self.out.read_bytes(), (whole, b"precious" * 1000)))

    def test_relabelling_in_place(self):
        self.succeed("encode", self.clip, self.out)
        disk, before = Disk(self.disk), self.out.read_bytes()
        self.succeed_logged("copy", "--in-place", "--color", "bt709", "--title", "New", self.out)
        after = self.out.read_bytes()

        def check():
            if (self.disk / "out.mov.undo").exists():
                self.succeed("copy", "--in-place", self.out)
            self.assertIn(self.out.read_bytes(), (before, after))

        self.lose(disk, check)

    def test_parts_stay_until_they_are_joined(self):
        job = json.loads(self.succeed("plan", "--chunks", "2", self.clip,
                                      self.out).stdout)["jobs"][0]
        for chunk in job["chunks"]:
            self.succeed(*chunk["command"][1:])
        disk = Disk(self.disk)
        self.succeed_logged(*job["join"][1:])
        whole = self.out.read_bytes()

        def check():
            if not self.out.exists():
                self.succeed(*job["join"][1:])
            self.assert_same_bytes(self.out.read_bytes(), whole)

        self.lose(disk, check)


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: BSD-2-Clause
"""Recovery of the files that a killed run or a full disk leaves."""
import contextlib
import json
import os
import random
import signal
import subprocess
import threading
import unittest

from sound_test import make_movie, sound, tracks_of
from tool import (FRAME_IDENTIFIER, PROGRAM, TIMEOUT, ToolTest, ffmpeg, frame_bytes, planes, probe,
                  run)

KILLS = 50


def feed(pipe, data):
    """Writes to a program that may end at any moment."""
    try:
        pipe.write(data)
        pipe.flush()
    except BrokenPipeError:
        pass


class Killed(ToolTest):
    """A killed run loses no frame that it has written."""

    def setUp(self):
        super().setUp()
        self.clip, self.whole, self.out = (
            self.path(name) for name in ("clip.mov", "whole.mov", "out.mov"))
        make_movie(self.clip, "-timecode", "00:00:59;20", tracks=2, seconds=2, rate="30000/1001")
        self.succeed("encode", self.clip, self.whole)

    def kill(self, piped, moment):
        """Kills a run that has read a part of its input and written a frame; returns its work file
        and the number of frames that it holds."""
        process = subprocess.Popen(
            [PROGRAM, "encode", "--overwrite", "--quiet", "--timecode", "00:00:59;20", "--threads",
             str(moment.randint(1, 3)), "-", self.out], stdin=subprocess.PIPE)
        self.addCleanup(process.kill)
        # Withhold the rest, so that the run does not end by itself.
        frame = frame_bytes("V210", 128, 96)
        fed = len(piped) - moment.randint(3, 40) * frame
        feeder = threading.Thread(target=feed, args=(process.stdin, piped[:fed]))
        feeder.start()
        work = self.wait_for_work_file("out.mov", lambda data: data.count(FRAME_IDENTIFIER) > 1)
        feeder.join()
        process.send_signal(signal.SIGKILL)
        with contextlib.suppress(BrokenPipeError):
            process.stdin.close()
        process.wait(TIMEOUT)
        # The last frame may not be whole.
        return work, work.read_bytes().count(FRAME_IDENTIFIER) - 1

    def test_every_kill_can_be_recovered(self):
        pictures = planes(self.whole)
        tracks = [sound(self.whole, track) for track in (0, 1)]
        size = len(pictures) // 60
        piped = self.path("piped.mov")
        ffmpeg("-i", self.clip, "-map", "0:v", "-map", "0:a", "-c", "copy", "-movflags",
               "faststart", piped)
        moment = random.Random(5)
        for kill in range(KILLS):
            with self.subTest(kill=kill):
                for earlier in self.folder.glob("*.part-*"):
                    earlier.unlink()
                work, whole = self.kill(piped.read_bytes(), moment)
                self.succeed("recover", "--overwrite", work, self.out)
                kept = int(probe(self.out)["nb_read_packets"])
                self.assertGreaterEqual(kept, whole)
                if kill < 5:  # the rest would only be slow
                    self.assert_same_bytes(planes(self.out), pictures[:size * kept])
                    for track in (0, 1):
                        # A track without packets is not in the file.
                        found = len(tracks_of(self.out, "a")) > track
                        part = sound(self.out, track) if found else b""
                        self.assert_same_bytes(part, tracks[track][:len(part)])
                        self.assertGreaterEqual(len(part) / 3 / 48000, kept * 1.001 / 30 - 1)
                    self.assertEqual(probe(self.out)["tags"]["timecode"], "00:00:59;20")

    def test_truncation_at_any_place_loses_no_complete_frame(self):
        data = self.whole.read_bytes()
        frames = data.count(b"icpf")
        cut = self.path("cut.mov")
        for length in random.Random(1).sample(range(8000, len(data)), 20) + [len(data)]:
            cut.write_bytes(data[:length])
            result = run("recover", "--json", "--overwrite", cut, self.out)
            begun = data[:length].count(b"icpf")
            if begun < 2:
                continue
            self.assertEqual(result.returncode, 0, result.stderr)
            kept = json.loads(result.stdout)["frames"]
            self.assertIn(kept, (begun - 1, begun))
        self.assertEqual(kept, frames)


class WholeFiles(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.whole, self.out = (
            self.path(name) for name in ("clip.mov", "whole.mov", "out.mov"))
        make_movie(self.clip, "-timecode", "10:00:00:00", "-metadata", "title=A title", tracks=2)
        self.succeed("encode", "--color", "bt2020-hlg", "--par", "4:3", "--fields", "top",
                     "--compressor", "Name", self.clip, self.whole)

    def test_recovering_a_complete_file_gives_the_same_file(self):
        result = self.succeed("recover", self.whole, self.out)
        self.assertIn(f"\n{self.whole} is kept; remove it once ", result.stderr)
        self.assert_same_bytes(self.out.read_bytes(), self.whole.read_bytes())

    def test_an_interlaced_mxf_is_recovered(self):
        self.succeed("recover", self.whole, self.path("out.mxf"))
        self.assertEqual(probe(self.path("out.mxf"))["field_order"], "tt")

    def test_reports_properties_that_the_output_cannot_keep(self):
        self.succeed("encode", "--overwrite", "--fields", "progressive", self.clip, self.whole)
        result = self.succeed("recover", self.whole, self.path("out.mxf"))
        self.assertIn("cannot keep the metadata (title)", result.stderr)

    def test_a_start_behind_time_0_is_no_loss(self):
        make_movie(self.clip, "-output_ts_offset", "0.4")
        self.succeed("encode", "--overwrite", self.clip, self.whole)
        report = json.loads(self.succeed("recover", "--json", self.whole, self.out).stdout)
        self.assertEqual((report["frames"], report.get("damage", [])), (25, []))
        self.assert_same_bytes(self.out.read_bytes(), self.whole.read_bytes())

    def test_a_damaged_index_does_not_matter(self):
        data = bytearray(self.whole.read_bytes())
        index = data.rindex(b"moov")
        data[index:] = os.urandom(len(data) - index)
        broken = self.path("broken.mov")
        broken.write_bytes(data)
        self.succeed("recover", broken, self.out)
        self.assert_same_bytes(self.out.read_bytes(), self.whole.read_bytes())

    def damage(self, places):
        data = bytearray(self.whole.read_bytes())
        for place in places:
            data[place] ^= 1
        broken = self.path("broken.mov")
        broken.write_bytes(data)
        return broken

    def frame_places(self):
        data = self.whole.read_bytes()
        places, position = [], -1
        while (position := data.find(b"icpf", position + 1)) >= 0:
            places.append(position)
        return places

    def test_the_previous_frame_replaces_a_damaged_one(self):
        places = self.frame_places()
        broken = self.damage([places[4] + 100, places[5] + 100])
        result = self.succeed("recover", "--json", broken, self.out)
        report = json.loads(result.stdout)
        self.assertEqual((report["frames"], report["damagedFrames"]), (25, 2))
        self.assertIn("2 damaged frames", result.stderr)
        self.assertEqual([(each["frame"], each["count"], each["offset"], each["treatment"])
                          for each in report["damage"]],
                         [(4, 1, places[4] - 4, "replaced"), (5, 1, places[5] - 4, "replaced")])
        self.assertIn(f"frame 5 (10:00:00:05) at byte {places[5] - 4}: is not what was written; "
                      "replaced", result.stderr)
        was, now = planes(self.whole), planes(self.out)
        size = len(was) // 25
        pictures = [was[size * number:size * (number + 1)] for number in range(25)]
        pictures[4] = pictures[5] = pictures[3]
        self.assert_same_bytes(now, b"".join(pictures))
        self.assert_same_bytes(sound(self.out), sound(self.whole))

    def test_damaged_sound_stays_in_its_place(self):
        data = self.whole.read_bytes()
        place = data.index(sound(self.whole)[30000:30100])
        broken = self.damage([place])
        result = self.succeed("recover", "--json", broken, self.out)
        self.assertEqual(json.loads(result.stdout)["damagedSoundPackets"], 1)
        self.assertIn("1 damaged packet of sound", result.stderr)
        was, now = sound(self.whole), sound(self.out)
        self.assertEqual(len(now), len(was))
        self.assertEqual(sum(a != b for a, b in zip(was, now)), 1)

    def test_frames_lost_with_their_tags_are_reported_and_replaced(self):
        data = self.whole.read_bytes()
        frame, piece = self.frame_places()[4], data.index(sound(self.whole)[30000:30100])
        mark = b"\xf7vixpkt\x1a"
        broken = self.damage([data.rindex(mark, 0, frame), data.rindex(mark, 0, piece)])
        report = json.loads(self.succeed("recover", "--json", broken, self.out).stdout)
        self.assertEqual([(each["frame"], each["what"]) for each in report["damage"]],
                         [(4, "is missing")])
        self.assertEqual((report["frames"], report["soundGaps"]), (25, 1))
        gap, = report["soundDamage"]
        self.assertEqual(gap["treatment"], "filled with silence")
        was, now = sound(self.whole), sound(self.out)
        begin, length = (round(gap[key] * 48000) * 3 for key in ("begin", "seconds"))
        self.assert_same_bytes(now, was[:begin] + bytes(length) + was[begin + length:])

    def test_a_truncated_last_frame_is_reported(self):
        start = self.frame_places()[20] - 4
        size, cut = int.from_bytes(self.whole.read_bytes()[start:start + 4], "big"), self.path("cut.mov")
        cut.write_bytes(self.whole.read_bytes()[:start + 1000])
        result = self.succeed("recover", "--json", cut, self.out)
        report = json.loads(result.stdout)
        self.assertEqual((report["frames"], report["damagedFrames"]), (20, 1))
        lost, = report["damage"]
        self.assertEqual((lost["frame"], lost["offset"], lost["treatment"]),
                         (20, start, "left out"))
        self.assertIn(f"cut.mov: frame 20 (10:00:00:20) at byte {start}: is truncated: the file ends "
                      f"after 1000 of its {size} bytes; left out\n", result.stderr)
        self.assertNotIn("a replaced frame", result.stderr)
        cut.write_bytes(self.whole.read_bytes()[:start + size])
        report = json.loads(self.succeed("recover", "--json", "--overwrite", cut, self.out).stdout)
        self.assertEqual((report["frames"], report.get("damage")), (21, None))

    def test_standard_output_takes_a_mov(self):
        result = self.succeed("recover", "--json", self.whole, "-", text=False)
        report = json.loads(result.stderr)
        self.assertEqual((report["frames"], report["output"]), (25, "standard output"))
        self.out.write_bytes(result.stdout)
        self.assert_same_bytes(planes(self.out), planes(self.whole))
        for track in (0, 1):
            self.assert_same_bytes(sound(self.out, track), sound(self.whole, track))

    def test_sound_that_the_output_cannot_store_is_rejected(self):
        for rate, codec in ((44100, "pcm_s16le"), (48000, "pcm_s32le")):
            with self.subTest(rate=rate, codec=codec):
                make_movie(self.clip, "-ar", rate, codec=codec)
                self.succeed("encode", "--overwrite", self.clip, self.whole)
                out = self.path("out.mxf")
                words = [f"out.mxf: cannot store sound track 1 ({codec} at {rate} Hz)", "choose .mov"]
                result = self.fail_with(1, words, "recover", self.whole, out)
                self.assertNotIn("--no-audio", result.stderr)
                self.fail_with(1, [words[0], "--audio", "--no-audio"], "encode", self.clip, out)
                self.succeed("encode", "--overwrite", "--no-audio", self.clip, out)
                out.unlink()

    def test_files_of_other_programs_are_rejected(self):
        self.fail_with(1, [self.clip, "is not a .mov that this program began to write to a file"], "recover",
                       self.clip, self.out)
        empty = self.path("empty.mov")
        empty.write_bytes(b"")
        self.fail_with(1, [empty], "recover", empty, self.out)
        self.fail_with(1, ["is the input itself"], "recover", "--overwrite", self.whole,
                       self.whole)


class FullDisk(ToolTest):
    def test_written_frames_can_be_recovered(self):
        disk, clip = self.path("disk"), self.path("clip.mov")
        disk.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", disk],
                                 capture_output=True)
        if mounted.returncode != 0:
            raise unittest.SkipTest("only root can make a small disk")
        self.addCleanup(subprocess.run, ["umount", disk])
        make_movie(clip, "-timecode", "10:00:00:00", seconds=2)
        result = run("encode", "--json", clip, disk / "out.mov")
        self.assertEqual(result.returncode, 1)
        self.assertIn("No space left on device", result.stderr)
        self.assertIn("vixprores recover", result.stderr)
        work, = disk.iterdir()
        out = self.path("out.mov")
        self.succeed("recover", work, out)
        kept = int(probe(out)["nb_read_packets"])
        self.assertEqual(kept, json.loads(result.stdout)["frames"])
        self.assertGreater(kept, 10)
        self.assertLess(kept, 50)
        part = sound(out)
        self.assert_same_bytes(part, sound(clip)[:len(part)])
        self.assertEqual(len(tracks_of(out, "d")), 1)

# SPDX-License-Identifier: BSD-2-Clause
"""Correcting labels in a file itself."""
import os
import pathlib
import shutil
import struct

import mini_mov
from copy_test import make_movie, pictures_of
from sound_test import file_tags, sound, tracks_of
from tool import ToolTest, ffmpeg, make_clip, mov_atom, probe, run, sample_entry_atom

LABELS = ("--color", "bt2020", "--transfer", "pq", "--par", "4:3", "--timecode", "02:00:00;02",
          "--reel", "A001", "--title", "A title that is longer than the one before")


class InPlace(ToolTest):
    def setUp(self):
        super().setUp()
        self.movie, self.out = self.path("movie.mov"), self.path("out.mov")

    def encode(self, *options, **movie):
        """Makes a movie as this program writes it."""
        raw = self.path("raw.mov")
        make_movie(raw, "-c:v", "v210", **movie)
        self.succeed("encode", "--variant", "hq", *options, raw, self.movie)
        raw.unlink()

    def relabel(self, *options, **settings):
        return self.succeed("copy", "--in-place", *options, self.movie, **settings)

    def assert_labelled(self, before):
        """Checks LABELS, and that nothing else has changed since `before`, a copy."""
        self.assertEqual(sample_entry_atom(self.movie, "apch", "colr"),
                         b"nclc" + struct.pack(">3H", 9, 16, 9))
        for frame in mini_mov.samples(self.movie):
            self.assertEqual(tuple(frame[22:25]), (9, 16, 9))
            self.assertEqual(frame[21] >> 4, 3)  # a picture of 16:9
        self.assertTrue(pictures_of(self.movie) == pictures_of(before))
        for track in range(2):
            self.assert_same_bytes(sound(self.movie, track), sound(before, track))
        found = probe(self.movie)
        self.assertEqual((found["sample_aspect_ratio"], found["tags"]["timecode"]),
                         ("4:3", "02:00:00;02"))
        self.assertEqual(file_tags(self.movie)["title"], LABELS[-1])
        self.assertEqual(tracks_of(self.movie, "d")[0]["tags"]["reel_name"], "A001")

    def test_corrects_every_label(self):
        before = self.path("before.mov")
        self.encode(timecode="01:00:00;02")
        shutil.copy(self.movie, before)
        self.relabel(*LABELS)
        self.assert_labelled(before)
        self.succeed("verify", self.movie)
        # Without the index, too, the labels are the new ones.
        self.succeed("recover", self.movie, self.out)
        shutil.move(self.out, self.movie)
        self.assert_labelled(before)

    def test_corrects_files_of_other_programs(self):
        for flags in ((), ("-movflags", "faststart"), ("-movflags", "use_metadata_tags")):
            with self.subTest(flags):
                before = self.path("before.mov")
                make_movie(before, "-metadata", "title=Old", *flags, timecode="01:00:00;02")
                shutil.copy(before, self.movie)
                self.relabel(*LABELS)
                self.assert_labelled(before)

    def test_labels_of_the_same_length_stay_in_their_place(self):
        self.encode("--color", "bt709", timecode="01:00:00;02")
        size = self.movie.stat().st_size
        before = self.movie.read_bytes()
        self.relabel("--color", "bt2020", "--timecode", "03:00:00;02")
        after = self.movie.read_bytes()
        self.assertEqual(len(after), size)
        changed = sum(a != b for a, b in zip(before, after))
        self.assertLess(changed, 30 * 60 + 500)
        self.assertEqual(probe(self.movie)["tags"]["timecode"], "03:00:00;02")
        self.relabel("--color", "bt709", "--timecode", "01:00:00;02")
        self.assert_same_bytes(self.movie.read_bytes(), before)

    def test_a_header_that_grows_moves_to_the_end(self):
        self.encode()
        before = self.movie.read_bytes()
        self.relabel("--title", "New")
        after = self.movie.read_bytes()
        start = before.rindex(b"moov") - 4
        self.assertEqual(after[start + 4:start + 8], b"free")
        self.assertEqual(after[len(before) + 4:len(before) + 8], b"moov")
        self.assertGreater(len(mov_atom(self.movie, "moov")), len(before) - start - 8)

    def test_a_change_between_drop_frame_and_not(self):
        self.encode(timecode="01:00:00;02")
        self.relabel("--timecode", "01:00:00:00")
        self.assertEqual(probe(self.movie)["tags"]["timecode"], "01:00:00:00")
        self.succeed("verify", self.movie)

    def test_gives_the_labels_that_a_copy_has(self):
        self.encode("--color", "bt709", timecode="01:00:00;02")
        self.succeed("copy", "--color", "bt2020", "--timecode", "03:00:00;02", self.movie, self.out)
        self.relabel("--color", "bt2020", "--timecode", "03:00:00;02")
        self.assert_same_bytes(self.movie.read_bytes(), self.out.read_bytes())

    def test_refuses_what_needs_a_copy(self):
        self.encode(rate="25")
        before = self.movie.read_bytes()
        for option, *value in (("--fields", "top"), ("--frames", "0-1"), ("--no-audio",),
                               ("--from", "00:00:00:00"), ("--on-error", "skip")):
            self.fail_with(2, [option, "leave out --in-place"], "copy", "--in-place", option,
                           *value, self.movie)
        self.fail_with(2, ["takes no OUTPUT"], "copy", "--in-place", "--title", "x", self.movie,
                       self.out)
        self.fail_with(2, ["needs the labels to set"], "copy", "--in-place", self.movie)
        self.fail_with(1, ["no timecode track", "leave out --in-place"], "copy", "--in-place",
                       "--timecode", "01:00:00:00", self.movie)
        self.fail_with(1, ["no room"], "copy", "--in-place", "--title", "x" * 2000, self.movie)
        self.assert_same_bytes(self.movie.read_bytes(), before)

    def test_refuses_other_containers_and_fragments(self):
        make_clip(self.path("clip.mkv"), "-c:v", "prores_ks")
        self.fail_with(1, ["is no complete .mov", "leave out --in-place"], "copy", "--in-place",
                       "--title", "x", self.path("clip.mkv"))
        make_clip(self.movie, "-c:v", "prores_ks", "-movflags", "frag_keyframe+empty_moov")
        self.fail_with(1, ["has fragments"], "copy", "--in-place", "--title", "x", self.movie)

    def test_refuses_damaged_frames(self):
        self.encode()
        data = bytearray(self.movie.read_bytes())
        position, size = mini_mov.places(self.movie)[7]
        data[position + size // 2] ^= 1
        self.movie.write_bytes(data)
        self.fail_with(1, ["frame 7", "checksum differs"], "copy", "--in-place", "--color", "bt709",
                       self.movie)
        self.assert_same_bytes(self.movie.read_bytes(), bytes(data))

    def test_large_frames(self):
        make_clip(self.movie, "-c:v", "prores_ks", "-profile:v", "3", "-bits_per_mb", "8000",
                  size="1920x1080", frames=3, filters="noise=alls=60")
        self.succeed("copy", self.movie, self.out)
        shutil.move(self.out, self.movie)
        self.relabel("--color", "bt709")
        self.succeed("verify", self.movie)
        self.assertEqual({tuple(frame[22:25]) for frame in mini_mov.samples(self.movie)},
                         {(1, 1, 1)})


class Interruption(ToolTest):
    """A run that is killed at any change leaves a file that the next run restores."""

    def setUp(self):
        super().setUp()
        self.movie, self.original = self.path("movie.mov"), self.path("original.mov")
        raw = self.path("raw.mov")
        make_movie(raw, "-c:v", "v210", timecode="01:00:00;02", frames=4, tracks=1)
        self.succeed("encode", raw, self.original)
        self.before = self.original.read_bytes()
        shutil.copy(self.original, self.movie)

    def run_killed(self, change, *arguments):
        environment = {**os.environ, "LD_PRELOAD": os.environ["VIXPRORES_KILL_AT_WRITE"],
                       "KILL_AT_CHANGE": str(change)}
        return run(*arguments, env=environment).returncode

    def count_changes(self, *arguments):
        count = self.path("count")
        environment = {**os.environ, "LD_PRELOAD": os.environ["VIXPRORES_KILL_AT_WRITE"],
                       "COUNT_CHANGES": str(count)}
        self.succeed(*arguments, env=environment)
        return int(count.read_text())

    def test_every_kill_can_be_undone(self):
        relabel = ("copy", "--in-place", "--color", "bt709", "--title", "New", self.movie)
        changes = self.count_changes(*relabel)
        after = self.movie.read_bytes()
        self.assertGreater(changes, 10)
        undone = 0
        journal = pathlib.Path(f"{self.movie}.undo")
        for change in range(1, changes + 1):
            shutil.copy(self.original, self.movie)
            self.assertEqual(self.run_killed(change, *relabel), 137)
            if journal.exists():
                undone += 1
                self.assertIn("restores it", run("inspect", self.movie).stderr)
                self.succeed("copy", "--in-place", self.movie)
            self.assertIn(self.movie.read_bytes(), (self.before, after), change)
            if change < changes - 1:
                self.assertEqual(self.movie.read_bytes(), self.before, change)
            self.assertFalse(journal.exists())
            self.succeed(*relabel)
            self.assert_same_bytes(self.movie.read_bytes(), after)
        self.assertGreater(undone, 5)

    def test_a_kill_while_a_file_is_restored(self):
        relabel = ("copy", "--in-place", "--color", "bt709", "--title", "New", self.movie)
        changes = self.count_changes(*relabel)
        journal = pathlib.Path(f"{self.movie}.undo")
        for change in range(1, 8):
            shutil.copy(self.original, self.movie)
            self.assertEqual(self.run_killed(changes - 2, *relabel), 137)
            self.assertTrue(journal.exists())
            self.run_killed(change, "copy", "--in-place", self.movie)
            if journal.exists():
                self.succeed("copy", "--in-place", self.movie)
            self.assert_same_bytes(self.movie.read_bytes(), self.before)

    def test_a_file_that_changed_since_is_left_alone(self):
        relabel = ("copy", "--in-place", "--color", "bt709", self.movie)
        self.assertEqual(self.run_killed(self.count_changes(*relabel) - 2, *relabel), 0)
        shutil.copy(self.original, self.movie)
        self.assertEqual(self.run_killed(6, *relabel), 137)
        other = self.path("other.mov")
        ffmpeg("-i", self.original, "-c", "copy", other)
        shutil.copy(other, self.movie)
        self.fail_with(1, ["has been changed since", ".undo if the file is good"], "copy",
                       "--in-place", self.movie)
        self.assert_same_bytes(self.movie.read_bytes(), other.read_bytes())

    def test_a_damaged_journal_is_refused(self):
        relabel = ("copy", "--in-place", "--color", "bt709", self.movie)
        self.assertEqual(self.run_killed(6, *relabel), 137)
        journal = pathlib.Path(f"{self.movie}.undo")
        journal.write_bytes(journal.read_bytes()[:-1])
        found = self.movie.read_bytes()
        self.fail_with(1, [journal, "is damaged"], "copy", "--in-place", self.movie)
        self.assert_same_bytes(self.movie.read_bytes(), found)

# SPDX-License-Identifier: BSD-2-Clause
"""Stills written by thumbs, as an independent program decodes them."""
import json
import os
import subprocess

import mini_mov
from tool import TIMEOUT, ToolTest, largest_difference, make_clip, make_v210, probe, run


def rgb(path):
    return subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-f", "rawvideo",
                           "-pix_fmt", "rgb24", "-"], check=True, capture_output=True,
                          timeout=TIMEOUT).stdout


def size(path):
    track = probe(path)
    return track["width"], track["height"]


class Thumbs(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        self.stills = self.path("stills")

    def make_prores(self, **clip):
        make_clip(self.clip, "-c:v", "prores_ks", "-profile:v", "hq", "-timecode", "01:00:00:00",
                  **clip)

    def names(self):
        return sorted(os.listdir(self.stills))

    def test_writes_ten_stills_evenly_spread(self):
        self.make_prores(frames=40)
        self.succeed("thumbs", self.clip, "-o", self.stills)
        self.assertEqual(self.names(), [f"frame-{number:06}.png" for number in range(2, 40, 4)])
        self.assertEqual(size(self.stills / "frame-000002.png"), (128, 96))

    def test_writes_all_frames_of_a_short_clip(self):
        self.make_prores(frames=3)
        self.succeed("thumbs", self.clip, "--output-dir", self.stills)
        self.assertEqual(len(self.names()), 3)

    def test_chooses_frames(self):
        self.make_prores()
        for options, numbers in ((("--frames", "2-4"), (2, 3, 4)), (("--every", "4"), (0, 4, 8)),
                                 (("--frames", "1-8", "--every", "3"), (1, 4, 7))):
            with self.subTest(options):
                self.stills = self.path("-".join(options))
                self.succeed("thumbs", *options, self.clip, "-o", self.stills)
                self.assertEqual(self.names(), [f"frame-{number:06}.png" for number in numbers])

    def test_colours_are_those_of_the_matrix(self):
        # Flat colours, which coding and scaling hardly change.
        for matrix, primaries in (("bt709", "bt709"), ("smpte170m", "smpte170m"),
                                  ("bt2020nc", "bt2020")):
            for colour, expected in (("red", (255, 0, 0)), ("0x00ff00", (0, 255, 0)),
                                     ("0x204060", (0x20, 0x40, 0x60))):
                with self.subTest(matrix=matrix, colour=colour):
                    ffmpeg_matrix = {"bt2020nc": "bt2020"}.get(matrix, matrix)
                    subprocess.run(
                        ["ffmpeg", "-nostdin", "-v", "error", "-y", "-f", "lavfi", "-i",
                         f"color={colour}:size=64x48:rate=25,format=gbrp,"
                         f"scale=out_color_matrix={ffmpeg_matrix}:out_range=tv,"
                         f"format=yuv422p10le,setparams=color_primaries={primaries}:"
                         f"color_trc=bt709:colorspace={matrix}", "-frames:v", "1",
                         "-color_primaries", primaries, "-color_trc", "bt709", "-colorspace",
                         matrix, "-c:v", "v210", str(self.clip)], check=True, timeout=TIMEOUT)
                    self.succeed("thumbs", "--overwrite", self.clip, "-o", self.stills)
                    pixel = rgb(self.stills / "frame-000000.png")[:3]
                    for value, wanted in zip(pixel, expected):
                        self.assertAlmostEqual(value, wanted, delta=3)

    def test_scales_down_and_makes_pixels_square(self):
        self.make_prores(filters="setsar=2")
        for options, wanted in (((), (256, 96)), (("--width", "64"), (64, 24)),
                                (("--width", "1000"), (256, 96))):
            with self.subTest(options):
                self.succeed("thumbs", "--overwrite", *options, self.clip, "-o", self.stills)
                self.assertEqual(size(self.stills / self.names()[0]), wanted)

    def test_an_absurd_pixel_aspect_is_limited(self):
        self.make_prores()
        mini_mov.write(self.clip, mini_mov.samples(self.clip), aspect=(2147483647, 1))
        result = self.succeed("thumbs", "--frames", "0-0", self.clip, "-o", self.stills)
        self.assertRegex(result.stderr, r"pixel aspect \d+:1 is shown as 4:1")
        self.assertEqual(size(self.stills / self.names()[0]), (4 * 128, 96))

    def test_a_still_matches_its_frame(self):
        self.make_prores()
        self.succeed("thumbs", "--frames", "7-7", self.clip, "-o", self.stills)
        ours = rgb(self.stills / "frame-000007.png")
        # The first of two pixels has the chroma sample at its place.
        theirs = subprocess.run(
            ["ffmpeg", "-nostdin", "-v", "error", "-i", str(self.clip), "-vf",
             "select=eq(n\\,7),scale=in_color_matrix=bt601:in_range=tv:in_h_chr_pos=0:"
             "flags=accurate_rnd+full_chroma_int+full_chroma_inp+bilinear",
             "-frames:v", "1", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"], check=True,
            capture_output=True, timeout=TIMEOUT).stdout
        self.assertGreater(max(ours) - min(ours), 100)
        self.assertLessEqual(largest_difference(ours, theirs, "B"), 2)

    def test_contact_sheet(self):
        self.make_prores()
        sheet = self.path("sheet.png")
        self.succeed("thumbs", self.clip, "--every", "2", "--sheet", sheet)
        # Five of them in two columns, of 128x96 and their captions.
        self.assertEqual(size(sheet), (12 + 2 * (128 + 12), 12 + 3 * (96 + 3 + 7 + 12)))
        self.assertFalse(self.stills.exists())
        self.assertEqual(sorted(os.listdir(self.folder)), ["clip.mov", "sheet.png"])

    def test_takes_uncompressed_video(self):
        make_v210(self.clip)
        self.succeed("thumbs", self.clip, "-o", self.stills)
        self.assertEqual(len(self.names()), 10)

    def test_replaces_files_only_with_overwrite(self):
        self.make_prores()
        self.succeed("thumbs", self.clip, "-o", self.stills)
        result = run("thumbs", self.clip, "-o", self.stills)
        self.assertEqual(result.returncode, 1)
        self.assertIn("exists", result.stderr)
        self.succeed("thumbs", "--overwrite", self.clip, "-o", self.stills)

    def test_wrong_use(self):
        self.fail_with(2, ["--output-dir", "--sheet"], "thumbs", "clip.mov", cwd=self.folder)
        self.fail_with(2, ["--width"], "thumbs", "clip.mov", "-o", "x", "--width", "0",
                       cwd=self.folder)

    def test_reports_the_files_written(self):
        self.make_prores()
        sheet = self.path("sheet.png")
        options = ("--every", "4", "--sheet", sheet, "-o", self.stills, "--overwrite", self.clip)
        result = self.succeed("thumbs", *options)
        self.assertEqual((result.stdout, result.stderr),
                         ("", f"{self.stills}: 3 stills of 128x96, frames 0 to 8; {sheet}: "
                              "3 pictures, frames 0 to 8\n"))
        result = self.succeed("thumbs", "--quiet", *options)
        self.assertEqual((result.stdout, result.stderr), ("", ""))
        result = self.succeed("thumbs", "--json", *options)
        self.assertEqual(result.stderr, "")
        self.assertEqual(json.loads(result.stdout), {
            "command": "thumbs", "status": "done", "input": str(self.clip), "sheet": str(sheet),
            "stills": [{"frame": number, "timecode": f"01:00:00:{number:02}",
                        "file": str(self.stills / f"frame-{number:06}.png")}
                       for number in (0, 4, 8)]})
        result = self.succeed("thumbs", "--frames", "5-5", "-o", self.stills, self.clip)
        self.assertEqual(result.stderr, f"{self.stills}: 1 still of 128x96, frame 5\n")

    def test_reports_concealed_slices(self):
        self.make_prores()
        offset = mini_mov.places(self.clip)[4][0]
        mini_mov.break_slice(self.clip, 4)
        result = self.succeed("thumbs", "--json", "--frames", "3-5", self.clip, "-o", self.stills)
        self.assertEqual(
            result.stderr, f"vixprores: note: {self.clip}: frame 4 (01:00:00:04) at byte {offset}: "
                           "has 1 damaged slice, which is concealed\n")
        self.assertEqual([still.get("damage") for still in json.loads(result.stdout)["stills"]],
                         [None, "has 1 damaged slice, which is concealed", None])

    def test_names_a_frame_that_cannot_be_decoded(self):
        self.make_prores()
        mini_mov.break_picture(self.clip, 4)
        self.stills.mkdir()
        result = run("thumbs", "--frames", "4-5", self.clip, "-o", self.stills)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{self.clip}: frame 4 (01:00:00:04) at byte ", result.stderr)
        self.assertIn("--frames leaves it out", result.stderr)
        self.assertNotIn("[", result.stderr)

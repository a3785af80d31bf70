# SPDX-License-Identifier: BSD-2-Clause
"""Figures of compare against the filters of an independent program."""
import json
import re
import subprocess

import mini_mov
from tool import TIMEOUT, ToolTest, make_clip, make_uyvy, make_v210, run


def measure(reference, distorted, pixels="yuv422p10le"):
    """Return PSNR and SSIM (y, cb, cr, all) from an independent program."""
    text = subprocess.run(
        ["ffmpeg", "-nostdin", "-i", str(distorted), "-i", str(reference), "-lavfi",
         f"[0]format={pixels},split[a][b];[1]format={pixels},split[c][d];[a][c]psnr;[b][d]ssim",
         "-f", "null", "-"], check=True, capture_output=True, text=True, timeout=TIMEOUT).stderr
    psnr = re.search(r"PSNR y:(\S+) u:(\S+) v:(\S+) average:(\S+)", text).groups()
    ssim = re.search(r"SSIM Y:(\S+) \S+ U:(\S+) \S+ V:(\S+) \S+ All:(\S+)", text).groups()
    return list(map(float, psnr)), list(map(float, ssim))


class Compare(ToolTest):
    def setUp(self):
        super().setUp()
        self.raw = self.path("raw.mov")
        self.encoded = self.path("encoded.mov")

    def make_pair(self, *encode, **clip):
        make_v210(self.raw, **clip)
        self.succeed("encode", "--overwrite", *encode, self.raw, self.encoded)

    def compare(self, reference, distorted, *options):
        return json.loads(
            self.succeed("compare", "--json", *options, reference, distorted).stdout)

    def assert_agrees(self, report, psnr, ssim):
        for index, part in enumerate(("y", "cb", "cr", "all")):
            self.assertAlmostEqual(report["psnr"][part]["ofMeanSquaredError"], psnr[index],
                                   delta=0.002, msg=part)
            self.assertAlmostEqual(report["ssim"][part]["mean"], ssim[index], delta=2e-5, msg=part)

    def test_agrees_with_an_independent_program(self):
        # Widths that are not multiples of 4 samples, fields, and strong noise.
        for clip in ({}, {"size": "150x90"}, {"filters": "setfield=tff"},
                     {"filters": "noise=alls=30:allf=t"}):
            with self.subTest(clip):
                self.make_pair("--variant", "proxy", **clip)
                # A third decoder, which may round differently from ours.
                decoded = self.path("decoded.mov")
                self.succeed("decode", "--overwrite", self.encoded, decoded)
                self.assert_agrees(self.compare(self.raw, self.encoded),
                                   *measure(self.raw, decoded))

    def test_agrees_in_eight_bits(self):
        first, second = self.path("first.mov"), self.path("second.mov")
        make_uyvy(first)
        make_uyvy(second, filters="noise=alls=8:allf=t")
        report = self.compare(first, second)
        self.assertEqual(report["bits"], 8)
        self.assert_agrees(report, *measure(first, second, "yuv422p"))

    def test_eight_bits_are_shifted_up_beside_ten(self):
        first, second = self.path("first.mov"), self.path("second.y4m")
        make_uyvy(first)
        make_clip(second, "-strict", "-1", "-pix_fmt", "yuv422p", pixels="uyvy422")
        self.assertTrue(self.compare(first, second)["identical"])
        self.succeed("encode", first, self.encoded)
        report = self.compare(first, self.encoded)
        self.assertEqual((report["bits"], report["reference"]["bits"],
                          report["distorted"]["bits"]), (10, 8, 10))
        self.assertGreater(report["psnr"]["all"]["min"], 35)

    def test_identical_videos(self):
        self.make_pair()
        report = self.compare(self.encoded, self.encoded)
        self.assertEqual((report["identical"], report["identicalFrames"]), (True, 10))
        self.assertIsNone(report["psnr"]["all"]["ofMeanSquaredError"])
        self.assertEqual(report["ssim"]["all"], {"mean": 1, "min": 1})
        self.assertEqual(report["worstFrames"], [])
        text = self.succeed("compare", self.encoded, self.encoded).stdout
        self.assertIn("10 frames compared in 10 bits, all identical", text)
        self.assertNotIn("inf", text)

    def test_finds_the_worst_frame_and_its_timecode(self):
        make_clip(self.encoded, "-c:v", "prores_ks", "-timecode", "01:00:00:00")
        damaged = self.path("damaged.mov")
        make_v210(damaged, filters="drawbox=x=10:y=10:w=60:h=60:t=fill:color=white:"
                                   "enable='eq(n\\,6)'")
        report = self.compare(damaged, self.encoded)
        self.assertEqual(report["worstFrames"][0], 6)
        self.assertEqual(report["frames"][6]["timecode"], "01:00:00:06")
        text = self.succeed("compare", damaged, self.encoded).stdout
        self.assertRegex(text, r"Worst frames:\n.*\n +6  01:00:00:06 ")

    def test_is_the_same_for_every_number_of_threads(self):
        self.make_pair()
        reports = [self.compare(self.raw, self.encoded, "--threads", threads)
                   for threads in (1, 2, 5)]
        self.assertEqual(reports[0], reports[1])
        self.assertEqual(reports[0], reports[2])

    def test_frames_of_a_range(self):
        self.make_pair()
        whole = self.compare(self.raw, self.encoded)
        part = self.compare(self.raw, self.encoded, "--frames", "3-5")
        self.assertEqual(part["frames"], whole["frames"][3:6])

    def test_rejects_different_sizes_and_numbers_of_frames(self):
        self.make_pair()
        other = self.path("other.mov")
        make_v210(other, size="96x96")
        self.fail_with(1, ["128x96", "96x96"], "compare", self.raw, other)
        for suffix in ("mov", "y4m"):
            short = self.path(f"short.{suffix}")
            make_clip(short, *(("-strict", "-1") if suffix == "y4m" else ("-c:v", "v210")),
                      frames=4)
            with self.subTest(suffix):
                self.fail_with(1, ["10 frames", "has 4", "--frames 0-3 compares the first 4 of "],
                               "compare", self.raw, short)
                self.assertEqual(
                    self.compare(self.raw, short, "--frames", "0-3")["framesCompared"], 4)

    def test_counts_the_frames_of_a_pipe(self):
        self.make_pair()
        short = self.path("short.y4m")
        make_clip(short, "-strict", "-1", frames=4)
        result = run("compare", "-", self.raw, input=short.read_bytes(), text=False)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"standard input has 4 frames", result.stderr)
        self.assertIn(b"has 10", result.stderr)

    def test_reports_concealed_slices(self):
        self.make_pair("--timecode", "01:00:00:00")
        offset = mini_mov.places(self.encoded)[3][0]
        mini_mov.break_slice(self.encoded, 3)
        page = self.path("page.html")
        report = self.compare(self.raw, self.encoded, "--html", page)
        what = ("is not what was written: its checksum differs; has 1 damaged slice, which is "
                "concealed")
        self.assertEqual(report["distorted"]["damage"],
                         [{"frame": 3, "count": 1, "timecode": "01:00:00:03", "offset": offset,
                           "what": what}])
        self.assertEqual(report["reference"]["damage"], [])
        self.assertIn(what, page.read_text())
        text = self.succeed("compare", self.raw, self.encoded).stdout
        self.assertIn(f"Damaged frames of {self.encoded}:\n"
                      f"  frame 3 (01:00:00:03) at byte {offset}: {what}\n", text)

    def test_names_a_frame_that_cannot_be_decoded(self):
        for damage, what in ((mini_mov.break_header, "has no readable frame header"),
                             (mini_mov.break_picture, "picture")):
            with self.subTest(what):
                self.make_pair("--timecode", "01:00:00:00")
                offset = mini_mov.places(self.encoded)[3][0]
                damage(self.encoded, 3)
                result = self.fail_with(
                    1, [f"frame 3 (01:00:00:03) at byte {offset}: ", what, "--frames leaves it out",
                        "vixprores verify"], "compare", self.raw, self.encoded)
                self.assertNotIn("[", result.stderr)
                self.compare(self.raw, self.encoded, "--frames", "0-2")


class Offsets(ToolTest):
    def setUp(self):
        super().setUp()
        self.whole, self.late = self.path("whole.mov"), self.path("late.mov")
        make_v210(self.path("raw.mov"), frames=30)
        self.succeed("encode", self.path("raw.mov"), self.whole)
        self.succeed("encode", "--frames", "4-", self.path("raw.mov"), self.late)

    def compare(self, reference, distorted, *options):
        return json.loads(
            self.succeed("compare", "--json", *options, reference, distorted).stdout)

    def test_the_common_part_is_compared(self):
        report = self.compare(self.whole, self.late, "--offset", "-4")
        self.assertEqual((report["framesCompared"], report["identical"], report["offset"]),
                         (26, True, -4))
        self.assertEqual(report["frames"][0]["frame"], 0)
        report = self.compare(self.late, self.whole, "--offset", "4")
        self.assertEqual((report["framesCompared"], report["identical"]), (26, True))
        self.assertEqual(report["frames"][0]["frame"], 4)

    def test_a_range_counts_frames_of_the_reference(self):
        report = self.compare(self.whole, self.late, "--offset", "-4", "--frames", "10-12")
        self.assertEqual([frame["frame"] for frame in report["frames"]], [6, 7, 8])
        self.assertTrue(report["identical"])
        self.fail_with(1, [self.late, "has no frame -4"], "compare", "--offset", "-4", "--frames",
                       "0-3", self.whole, self.late)

    def test_suggests_the_offset(self):
        make_v210(self.path("raw.mov"), frames=30, filters="noise=alls=60:allf=t")
        self.succeed("encode", "-y", self.path("raw.mov"), self.whole)
        self.succeed("encode", "-y", "--frames", "4-", self.path("raw.mov"), self.late)
        result = self.succeed("compare", "--frames", "0-9", self.whole, self.late)
        self.assertIn(f"{self.late}: hardly matches {self.whole}; most similar with --offset -4\n",
                      result.stderr)
        result = self.succeed("compare", "--offset", "-4", self.whole, self.late)
        self.assertNotIn("hardly matches", result.stderr)

    def test_offsets_are_whole_numbers(self):
        for text in ("x", "1.5", "--", "1e3"):
            self.assertEqual(run("compare", f"--offset={text}", self.whole, self.late).returncode, 2)

# SPDX-License-Identifier: BSD-2-Clause
"""Benchmark of encoding and decoding in memory."""
import json
import os
import subprocess

from tool import PROGRAM, ToolTest, frame_bytes

SMALL = ("--size", "128x96", "--frames", "4")


class Bench(ToolTest):
    def measure(self, *arguments):
        return json.loads(self.succeed("bench", "--json", *arguments).stdout)

    def test_json_reports_the_measured_format(self):
        report = self.measure(*SMALL, "--variant", "lt", "--threads", "2", "--fourcc", "UYVY",
                              "--interlaced", "--cpu", "scalar")
        self.assertEqual(
            {key: report[key] for key in ("command", "width", "height", "rawFormat", "variant",
                                          "interlaced", "cpu", "threads", "frames")},
            {"command": "bench", "width": 128, "height": 96, "rawFormat": "UYVY",
             "variant": "ProRes 422 LT", "interlaced": True, "cpu": "scalar", "threads": 2,
             "frames": 4})
        self.assertGreaterEqual(report["passes"], 2)

    def test_figures_are_consistent(self):
        report = self.measure(*SMALL, "--threads", "2")
        for direction in ("encode", "decode"):
            with self.subTest(direction=direction):
                figures = report[direction]
                single = figures["singleThread"]
                for value in (figures["cpuMillisecondsPerFrame"], figures["framesPerSecond"],
                              single["cpuMillisecondsPerFrame"], single["framesPerSecond"]):
                    self.assertGreater(value, 0)
                self.assertAlmostEqual(figures["megapixelsPerSecond"],
                                       figures["framesPerSecond"] * 128 * 96 / 1e6, places=6)
                self.assertAlmostEqual(figures["speedUp"],
                                       figures["framesPerSecond"] / single["framesPerSecond"])
        self.assertEqual(report["encode"]["megabytesPerFrame"],
                         report["decode"]["megabytesPerFrame"])

    def test_one_thread_has_no_speed_up(self):
        report = self.measure(*SMALL, "--threads", "1")
        self.assertEqual((report["encode"]["speedUp"], report["decode"]["speedUp"]), (1, 1))

    def test_pictures_need_the_bytes_that_the_variant_aims_at(self):
        for variant, megabits in (("proxy", 38), ("hq", 184)):
            with self.subTest(variant=variant):
                report = self.measure("--size", "1920x1080", "--frames", "1", "--variant",
                                      variant)
                rate = report["encode"]["megabytesPerFrame"] * 8 * 25
                self.assertGreater(rate, 0.9 * megabits)
                self.assertLess(rate, 1.1 * megabits)

    def test_memory_does_not_grow_with_the_frames(self):
        """444 more frames per pass take less memory than 150 more pictures would."""
        picture, sizes = frame_bytes("V210", 128, 96), []
        for frames in (256, 700):
            process = subprocess.Popen(
                [PROGRAM, "bench", "--json", "--size", "128x96", "--variant", "proxy", "--threads",
                 "1", "--frames", str(frames)], stdout=subprocess.PIPE, text=True,
                # A sanitizer keeps freed memory, unless told otherwise.
                env={**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1"})
            with process.stdout:
                report = json.loads(process.stdout.read())
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            self.assertEqual(process.returncode, 0)
            self.assertEqual((report["frames"], report["pictures"]), (frames, 256))
            sizes.append(usage.ru_maxrss * 1024)
        self.assertLess(sizes[1] - sizes[0], 150 * picture)

    def test_text_states_the_number_of_different_pictures(self):
        text = self.succeed("bench", "--size", "16x16", "--frames", "257", "--threads", "1").stdout
        self.assertIn("passes over 257 frames (256 different pictures)\n", text)
        text = self.succeed("bench", *SMALL, "--threads", "1").stdout
        self.assertIn("passes over 4 frames\n", text)

    def test_text_has_a_line_for_each_direction(self):
        lines = self.succeed("bench", *SMALL, "--threads", "1").stdout.splitlines()
        self.assertEqual(len(lines), 4)
        for word in ("128x96 V210", "progressive", "ProRes 422 HQ", "1 thread,"):
            self.assertIn(word, lines[0])
        self.assertTrue(lines[2].startswith("encode "), lines)
        self.assertTrue(lines[3].startswith("decode "), lines)

    def test_rejects_formats_that_cannot_be_encoded(self):
        self.fail_with(2, ["--size 65535x65535", "the limit is 1000000000"], "bench", "--size",
                       "65535x65535")
        self.fail_with(1, ["bench", "128x33"], "bench", "--size", "128x33", "--interlaced")

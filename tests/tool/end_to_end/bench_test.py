# SPDX-License-Identifier: BSD-2-Clause
"""The measurement of encoding and decoding in memory."""
import json

from tool import ToolTest

SMALL = ("--size", "128x96", "--frames", "4")


class Bench(ToolTest):
    def measure(self, *arguments):
        return json.loads(self.succeed("bench", "--json", *arguments).stdout)

    def test_json_tells_what_was_measured(self):
        report = self.measure(*SMALL, "--variant", "lt", "--threads", "2", "--fourcc", "UYVY",
                              "--interlaced", "--cpu", "scalar")
        self.assertEqual(
            {key: report[key] for key in ("command", "width", "height", "rawFormat", "variant",
                                          "interlaced", "cpu", "threads", "frames")},
            {"command": "bench", "width": 128, "height": 96, "rawFormat": "UYVY",
             "variant": "ProRes 422 LT", "interlaced": True, "cpu": "scalar", "threads": 2,
             "frames": 4})
        self.assertGreaterEqual(report["passes"], 2)

    def test_figures_go_together(self):
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

    def test_one_thread_is_no_speed_up(self):
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

    def test_text_has_a_line_for_each_direction(self):
        lines = self.succeed("bench", *SMALL, "--threads", "1").stdout.splitlines()
        self.assertEqual(len(lines), 4)
        for word in ("128x96 V210", "progressive", "ProRes 422 HQ", "1 thread,"):
            self.assertIn(word, lines[0])
        self.assertTrue(lines[2].startswith("encode "), lines)
        self.assertTrue(lines[3].startswith("decode "), lines)

    def test_refuses_what_cannot_be_encoded(self):
        self.fail_with(1, ["bench", "128x33"], "bench", "--size", "128x33", "--interlaced")

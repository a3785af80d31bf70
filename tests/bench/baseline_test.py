# SPDX-License-Identifier: BSD-2-Clause
"""Comparison with the baseline."""
import json
import pathlib
import tempfile
import unittest

import baseline
from tables import target

CLIP, VARIANT = "natural_576i_short", "lt"


def figures():
    whole = int(target(CLIP, VARIANT))
    frames = [{"frame": n, "bytes": whole, "y": 40.0, "u": 42.0, "v": 43.0, "ssim": 0.98}
              for n in range(2)]
    return {"sources": {CLIP: "as it was"}, "clips": {CLIP: {VARIANT: {"frames": frames}}}}


class Faults(unittest.TestCase):
    def setUp(self):
        self.before, self.now = figures(), figures()
        self.frames = self.now["clips"][CLIP][VARIANT]["frames"]

    def assert_faults(self, *words):
        faults = list(baseline.faults(self.now, self.before))
        self.assertEqual(len(faults), 1 if words else 0, faults)
        for word in words:
            self.assertIn(word, faults[0])

    def test_accepts_equal_figures(self):
        self.assert_faults()

    def test_reports_a_fall_of_the_mean_and_its_place(self):
        self.frames[0]["y"] -= 0.12
        self.assert_faults(CLIP, VARIANT, "PSNR-Y fell by 0.06")

    def test_accepts_a_small_fall_and_a_rise(self):
        self.frames[0]["y"] -= 0.08
        self.frames[1]["ssim"] += 0.01
        self.assert_faults()

    def test_reports_a_fall_of_ssim(self):
        self.frames[0]["ssim"] -= 0.0012
        self.assert_faults(VARIANT, "SSIM-Y fell by 0.0006")

    def test_reports_a_frame_that_leaves_the_target(self):
        for share in (0.97, 1.01):
            self.frames[1]["bytes"] = int(target(CLIP, VARIANT) * share)
            self.assert_faults(VARIANT, "frame 1", f"{share * 100:.2f} %")

    def test_accepts_a_frame_that_missed_the_target_before(self):
        for of in (self.now, self.before):
            of["clips"][CLIP][VARIANT]["frames"][1]["bytes"] = 1000
        self.assert_faults()

    def test_refuses_to_compare_other_clips(self):
        self.now["sources"] = {CLIP: "something else"}
        self.assert_faults("clips are not those", CLIP)


class Writing(unittest.TestCase):
    def test_writes_one_line_per_frame_that_reads_back_equal(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder) / "baseline.json"
            baseline.write(figures(), path)
            text = path.read_text()
        self.assertEqual(json.loads(text), figures())
        self.assertEqual(sum('"frame":' in line for line in text.splitlines()), 2)
        self.assertEqual(text.count('"frame":'), 2)

# SPDX-License-Identifier: BSD-2-Clause
"""Interpolation of a peer's curve."""
import unittest

import curves

CURVE = [(100, 30.0), (200, 34.0), (400, 36.0)]


class Front(unittest.TestCase):
    def test_sorts_points_by_bytes(self):
        self.assertEqual(curves.front(reversed(CURVE)), CURVE)

    def test_drops_points_that_as_few_bytes_beat(self):
        worse = [(150, 29.0), (200, 33.0), (300, 34.0)]
        self.assertEqual(curves.front(CURVE + worse), CURVE)


class ValueAt(unittest.TestCase):
    def test_passes_through_the_points(self):
        for size, value in CURVE:
            self.assertAlmostEqual(curves.value_at(CURVE, size), value)

    def test_is_linear_over_the_logarithm_of_bytes(self):
        self.assertAlmostEqual(curves.value_at(CURVE, 100 * 2**0.25), 31.0)
        self.assertAlmostEqual(curves.value_at(CURVE, 200 * 2**0.5), 35.0)

    def test_ignores_a_bad_point(self):
        bad = CURVE + [(140, 20.0)]
        self.assertEqual(curves.value_at(bad, 150), curves.value_at(CURVE, 150))

    def test_extrapolates_a_little(self):
        beyond = curves.value_at(CURVE, 400 * 1.14)
        self.assertTrue(36.0 < beyond < 37.0, beyond)
        below = curves.value_at(CURVE, 100 / 1.14)
        self.assertTrue(29.0 < below < 30.0, below)

    def test_has_no_value_far_away(self):
        self.assertIsNone(curves.value_at(CURVE, 400 * 1.16))
        self.assertIsNone(curves.value_at(CURVE, 100 / 1.16))
        self.assertIsNone(curves.value_at([], 100))

    def test_never_exceeds_a_perfect_picture(self):
        self.assertEqual(curves.value_at(CURVE, 400 * 1.14, perfect=36.0), 36.0)

    def test_extends_a_single_point_upwards_only(self):
        self.assertEqual(curves.value_at([(100, 30.0)], 110), 30.0)
        self.assertIsNone(curves.value_at([(100, 30.0)], 90))


class Rival(unittest.TestCase):
    def test_beyond_the_curve_only_better_points_with_fewer_bytes_count(self):
        self.assertEqual(curves.rival(CURVE, 1000, 35.0), 36.0)
        self.assertIsNone(curves.rival(CURVE, 1000, 37.0))

    def test_below_the_curve_nothing_counts(self):
        self.assertIsNone(curves.rival(CURVE, 50, 20.0))


class Gains(unittest.TestCase):
    @staticmethod
    def picture(size, psnr, ssim):
        return {"bytes": size, "y": psnr, "u": psnr + 2, "v": psnr + 4, "ssim": ssim}

    def test_are_our_values_minus_the_peers_at_our_bytes(self):
        peer = [self.picture(100, 30.0, 0.9), self.picture(400, 36.0, 0.99)]
        gains = curves.gains(self.picture(200, 34.0, 0.98), peer)
        for name in "yuv":
            self.assertAlmostEqual(gains[name], 1.0)
        # Half way between 0.9 and 0.99 on the logarithmic scale of 1 - SSIM.
        self.assertAlmostEqual(gains["ssim"], 0.98 - (1 - 10**-1.5))

    def test_perfect_pictures_are_equal(self):
        peer = [self.picture(100, 90.0, 0.999), self.picture(200, 96.0, 1.0)]
        best = {"bytes": 220, "y": 100.0, "u": 100.0, "v": 100.0, "ssim": 1.0}
        gains = curves.gains(best, peer)
        self.assertEqual(gains["v"], 0.0)  # the peer's would be extrapolated above 100
        self.assertAlmostEqual(gains["ssim"], 0.0, places=6)

    def test_are_none_without_a_comparison(self):
        gains = curves.gains(self.picture(50, 30.0, 0.9), [self.picture(100, 31.0, 0.91)])
        self.assertEqual(set(gains.values()), {None})

# SPDX-License-Identifier: BSD-2-Clause
"""Estimates an encoder's quality at any number of bytes, from measured points."""

import bisect
import math

REACH = 1.15  # a curve is extrapolated by 15 % of the bytes at both ends
VALUES = ("y", "u", "v", "ssim")  # PSNR in dB of each component, SSIM of luma
BEST_PSNR = 100.0  # stands for equal pictures, whose PSNR is infinite
# SSIM is compared on a logarithmic scale, as PSNR is.
PERFECT = {"ssim": 7.0} | dict.fromkeys("yuv", BEST_PSNR)


def front(points):
    """Returns the points (bytes, value) that no point with as few bytes beats, sorted by bytes."""
    kept = []
    for size, value in sorted(points, key=lambda point: (point[0], -point[1])):
        if not kept or value > kept[-1][1]:
            kept.append((size, value))
    return kept


def value_at(points, size, perfect=math.inf):
    """Interpolates between points over the logarithm of bytes; returns None beyond their reach.

    No curve is extrapolated beyond the value of a perfect picture.
    """
    points = front(points)
    if not points or not points[0][0] / REACH <= size <= points[-1][0] * REACH:
        return None
    if len(points) == 1:
        return points[0][1] if size >= points[0][0] else None
    right = bisect.bisect([point[0] for point in points], size)
    right = min(max(right, 1), len(points) - 1)
    (size_a, a), (size_b, b) = points[right - 1 : right + 1]
    return min(a + (b - a) * math.log(size / size_a) / math.log(size_b / size_a), perfect)


def rival(points, size, value, perfect=math.inf):
    """Returns the curve's value to compare a picture of these bytes with, or None."""
    there = value_at(points, size, perfect)
    if there is not None:
        return there
    # Far beyond a curve a comparison is fair only where fewer bytes already do better.
    best = max((other for bytes_, other in points if bytes_ <= size), default=-math.inf)
    return best if best > value else None


def to_scale(name, value):
    return -math.log10(max(1 - value, 10 ** -PERFECT["ssim"])) if name == "ssim" else value


def from_scale(name, value):
    return 1 - 10**-value if name == "ssim" else value


def gains(frame, points):
    """Returns our values minus those of a peer at the bytes of this frame, None where unknown.

    The points are the peer's measurements of the same frame.
    """
    answer = {}
    for name in VALUES:
        own = to_scale(name, frame[name])
        curve = [(point["bytes"], to_scale(name, point[name])) for point in points]
        there = rival(curve, frame["bytes"], own, PERFECT[name])
        answer[name] = None if there is None else frame[name] - from_scale(name, there)
    return answer

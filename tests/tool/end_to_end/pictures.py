# SPDX-License-Identifier: BSD-2-Clause
"""Shared by end-to-end tests of converted pictures. The environment names the program that writes
them before they are encoded (VIXPRORES_CONVERTED_PICTURES)."""
import array
import math
import operator
import os
import pathlib
import subprocess
import tempfile

from tool import TIMEOUT

CONVERTED_PICTURES = os.environ["VIXPRORES_CONVERTED_PICTURES"]


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, timeout=TIMEOUT).stdout


def pictures(*arguments, filters="null", pixels):
    """Returns the samples of the pictures that ffmpeg makes of an input."""
    raw = output_of("ffmpeg", "-nostdin", "-v", "error", *map(str, arguments), "-map", "0:v:0", "-vf",
                    f"{filters},format={pixels}", "-vsync", "passthrough", "-f", "rawvideo", "-")
    return memoryview(raw).cast("B" if pixels == "gray" else "H")


def converted_pictures(path):
    """Returns the samples of the pictures that the program makes of an input: 4:2:2 of 10 bits."""
    with tempfile.TemporaryDirectory(prefix="vixprores-pictures-") as folder:
        raw = pathlib.Path(folder) / "pictures.raw"
        output_of(CONVERTED_PICTURES, path, raw)
        return memoryview(raw.read_bytes()).cast("H")


def split(samples, size):
    """Returns the samples of each component of all pictures in 4:2:2."""
    width, height = size
    luma, chroma = width * height, (width + 1) // 2 * height
    ends = (0, luma, luma + chroma, luma + 2 * chroma)
    planes = [array.array("H") for _ in range(3)]
    for start in range(0, len(samples), ends[3]):
        for plane, first, last in zip(planes, ends, ends[1:]):
            plane.extend(samples[start + first:start + last])
    return planes


def psnr(samples, wanted):
    """Compares samples of 10 bits with those of 16 bits, in dB."""
    if len(samples) != len(wanted):
        raise AssertionError(f"{len(samples)} samples against {len(wanted)}")
    differences = list(map(lambda a, b: 64 * a - b, samples, wanted))
    squares = sum(map(operator.mul, differences, differences))
    return 10 * math.log10(65535 ** 2 * len(differences) / squares)

# SPDX-License-Identifier: BSD-2-Clause
"""Shared by the tests of pipelines: GStreamer's programs with the elements of the build, raw frames,
and the program's results to compare with.

The environment names the folder of the elements (GST_PLUGIN_PATH_1_0) beside what tool.py needs."""
import os
import pathlib
import subprocess
import tempfile
from dataclasses import dataclass

from mini_mov import samples
from tool import TIMEOUT, ToolTest, ffmpeg

# One registry for all runs of a module: making it takes as long as ten pipelines.
_REGISTRY = tempfile.TemporaryDirectory(prefix="vixprores-gst-")
ENVIRONMENT = {**os.environ, "GST_REGISTRY_1_0": str(pathlib.Path(_REGISTRY.name) / "registry.bin"),
               "GST_REGISTRY_FORK": "no", "LANGUAGE": "C"}

VARIANTS = {"proxy": "proxy", "lt": "lt", "standard": "422", "hq": "hq"}  # with the program's names
FOURCCS = {"v210": "V210", "UYVY": "UYVY"}
# With rawvideoparse's properties, the caps that it leaves open, and the program's names.
_SET = " ! capssetter caps=video/x-raw,field-order="
SCANS = {
    "progressive": ("", "progressive"),
    "top field first": (f"interlaced=true top-field-first=true{_SET}top-field-first", "tff"),
    "bottom field first": (f"interlaced=true{_SET}bottom-field-first", "bff"),
    "fields in the order of flags": ("interlaced=true top-field-first=true", "tff"),
    "fields without flags": ("interlaced=true top-field-first=false", "bff"),
}  # fmt: skip
COLOURS = {"bt709": "bt709", "bt601": "bt601-525", "bt2020": "bt2020"}  # with the program's names
_CODECS = {"v210": ("yuv422p10le", "v210"), "UYVY": ("uyvy422", "rawvideo")}


@dataclass
class Frames:
    """Raw frames and how both sides name them."""

    format: str = "v210"
    size: str = "128x96"
    rate: str = "25/1"
    scan: str = "progressive"
    colour: str = "bt709"
    count: int = 5

    def make(self, path):
        pixels, codec = _CODECS[self.format]
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={self.size}:rate={self.rate}", "-frames:v",
               self.count, "-pix_fmt", pixels, "-c:v", codec, "-f", "rawvideo", path)

    def source(self, path):
        """Returns the elements that read the file."""
        width, height = self.size.split("x")
        return (f"filesrc location={path} ! rawvideoparse format={self.format.lower()} "
                f"width={width} height={height} framerate={self.rate} "
                f"colorimetry={self.colour} {SCANS[self.scan][0]}")

    def options(self):
        """Returns the options of the program's `encode`."""
        return ["--fourcc", FOURCCS[self.format], "--size", self.size, "--rate", self.rate,
                "--fields", SCANS[self.scan][1], "--color", COLOURS[self.colour], "--par", "1:1"]


def run(program, *arguments, **options):
    """Runs a program of GStreamer; the result has returncode and stdout with all messages."""
    return subprocess.run([program, *map(str, arguments)], env=ENVIRONMENT, timeout=TIMEOUT,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", **options)


class PipelineTest(ToolTest):
    def launch(self, pipeline, *options):
        """Runs a pipeline, which must succeed; returns its messages."""
        result = run("gst-launch-1.0", *options, *pipeline.split())
        self.assertEqual(result.returncode, 0, f"{pipeline}\n{result.stdout}")
        self.assertNotIn("CRITICAL", result.stdout)
        return result.stdout

    def raw(self, frames, name="source.raw"):
        frames.make(self.path(name))
        return self.path(name)

    def encoded_by_the_program(self, raw, frames, variant, name="program.mov"):
        self.succeed("encode", "--quiet", "--overwrite", *frames.options(), "--variant",
                     VARIANTS[variant], raw, self.path(name))
        return self.path(name)

    def assert_same_frames(self, first, second):
        """Compares two lists of frames without printing them."""
        self.assertEqual(len(first), len(second))
        for number, (one, other) in enumerate(zip(first, second)):
            self.assertTrue(one == other, f"frame {number}: {len(one)} and {len(other)} bytes, "
                            f"{one[:36].hex()} and {other[:36].hex()}")

    def remuxed(self, path):
        """Returns the frames of a file of any container as they are in a .mov."""
        self.succeed("copy", "--quiet", "--overwrite", path, self.path("remuxed.mov"))
        return samples(self.path("remuxed.mov"))

# SPDX-License-Identifier: BSD-2-Clause
"""Converts moving interlaced 4:2:0 field by field, with the chroma phase of each field: its chroma is
at least as near to the original as that of the conversions that other programs offer."""
import unittest

from pictures import converted_pictures, pictures, psnr, split
from tool import ToolTest, ffmpeg

SIZE = 352, 288
FRAMES = 8
# Pictures that move in each field, at twice the size.
MATERIAL = {
    "fractal": "mandelbrot=s=704x576:rate=50,format=yuv444p,scroll=h=0.006:v=0.002",
    "edges": "testsrc2=s=704x576:r=50,format=yuv444p,scroll=h=0.006:v=0.002",
}
# How chroma was made from 4:2:2, each with the phases of fields.
DOWN = ("scale=interl=1", "scale=interl=1:flags=lanczos+accurate_rnd")
ROUNDING = 0.005  # in dB: conversions with the same filter round differently
UP = ("zscale=filter=spline36", "zscale=filter=lanczos", *DOWN)


class InterlacedChroma(ToolTest):
    def make_original(self, source, first):
        path = self.path("original.mkv")
        ffmpeg("-f", "lavfi", "-i", source, "-vf",
               f"zscale={SIZE[0]}x{SIZE[1]}:filter=lanczos,format=yuv422p12le,setfield={first[0]}ff,"
               "separatefields,select='eq(mod(n,4),0)+eq(mod(n,4),3)',"
               f"weave=first_field={first},format=yuv422p10le", "-vsync", "passthrough", "-frames:v",
               FRAMES, "-c:v", "ffv1", path)
        return path

    def make_footage(self, original, down, first):
        path = self.path("footage.mkv")
        ffmpeg("-i", original, "-vf", f"{down},format=yuv420p,setfield={first[0]}ff", "-vsync",
               "passthrough", "-c:v", "ffv1", "-level", "3", "-flags", "+ilme+ildct", "-top",
               int(first == "top"), path)
        return path

    def test_is_at_least_as_good_as_others(self):
        for name, source in MATERIAL.items():
            for first in ("top", "bottom"):
                original = self.make_original(source, first)
                wanted = split(pictures("-i", original, pixels="yuv422p16le"), SIZE)[1:]
                for down in DOWN:
                    with self.subTest(name, first=first, down=down):
                        self.check(self.make_footage(original, down, first), wanted)

    def check(self, footage, wanted):
        def quality(samples):
            return [psnr(*planes) for planes in zip(split(samples, SIZE)[1:], wanted)]

        ours = quality(converted_pictures(footage))
        for up in UP:
            others = quality(pictures("-i", footage, filters=up, pixels="yuv422p10le"))
            for our, other in zip(ours, others):
                self.assertGreaterEqual(our, other - ROUNDING, f"{ours} against {others} of {up}")


if __name__ == "__main__":
    unittest.main()

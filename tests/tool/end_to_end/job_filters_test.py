# SPDX-License-Identifier: BSD-2-Clause
"""Filters of a job: those that it takes give the same pictures in chunks as in one run, and it
refuses all others."""
import re
import unittest

from jobs import V210, JobTest, movie
from tool import run

CUBE = "LUT_3D_SIZE 2\n" + "".join(f"{r} {g} {1 - b}\n" for b in (0, 1) for g in (0, 1)
                                   for r in (0, 1))
CURVE = "LUT_1D_SIZE 3\n0 0 0\n0.3 0.6 0.4\n1 1 1\n"
# Filters and arguments. All that a job takes are here.
TAKEN = {
    "avgblur": "3", "boxblur": "2:1", "chromashift": "2:1", "colorbalance": "rs=0.3",
    "colorchannelmixer": ".5:.2:.3", "colorlevels": "rimin=0.1:gomax=0.8",
    "colorspace": "all=bt709:iall=bt601-6-625", "colortemperature": "4000", "crop": "96:64:8:iw/16",
    "curves": "vintage", "delogo": "8:8:30:20", "drawbox": "x=iw/4:y=8:w=40:h=20:c=red",
    "drawgrid": "w=iw/4:h=16", "eq": "contrast=1.2:saturation=0.5:gamma=1.3", "exposure": "0.4,format=gbrp16le",
    "fieldorder": "bff", "format": "yuv422p10le", "gblur": "2", "hflip": "", "hue": "30:s=0.5",
    "il": "l=d:c=d", "limiter": "100:800", "lut": "c0=negval", "lut1d": "{folder}/curve.cube",
    "lut3d": "{folder}/cube.cube", "lutrgb": "r=negval", "lutyuv": "y=val/2", "negate": "",
    "null": "", "pad": "160:128:(ow-iw)/2:16", "rotate": "PI/6", "scale": "iw/2:48:flags=lanczos",
    "setdar": "16/9", "setfield": "tff", "setparams": "color_primaries=bt709", "setrange": "tv",
    "setsar": "4/3", "swapuv": "", "transpose": "clock", "unsharp": "5:5:1.5", "vflip": "",
    "vibrance": "0.5", "zscale": "64:48:filter=lanczos"}
REFUSED = (
    # unknown, or with a memory
    "fps=5", "fade=in:0:10", "noise=alls=20:allf=t", "tblend=average", "framerate=50", "yadif",
    "bwdif", "deflicker", "select='not(mod(n,2))'", "drawtext=text=%{n}", "hqdn3d", "tmix", "nosuch",
    # part of a graph that is no chain
    "[in]hflip[out]", "split[a][b];[a]hflip[c];[c][b]vstack", "null[a];[a]fps=5", "hflip;fps=5",
    "hflip,[x]fps=5",
    # of time
    "hue=h=t", "hue=h=2*n", "eq=brightness=random(1)", "eq=brightness=t/10:eval=frame",
    "crop=96:64:n", "crop=96:64:x='st(0,ld(0)+1)'", "rotate=t", "rotate='2*PI*t/5'",
    "pad=160:128:n:eval=frame", "scale=w='64+2*n':h=48:eval=frame", "drawbox=x=t*3", "lut=c0=val+st(0,1)",
    "scale=64:48:sws_dither=ed", "scale=64:48:flags=x:sws_dither=1",
    "hflip=enable='between(t,1,2)'", "negate=enable=lt(n\\,9)", "boxblur=2:1:enable=t",
    # behind one that is taken
    "hflip,fps=5", "hflip,,fps=5", " hflip, fps=5", "vflip,tmix=3,hflip", "scale@a=64:48,fps@b=5")


class Filters(JobTest):
    def setUp(self):
        super().setUp()
        self.path("cube.cube").write_text(CUBE)
        self.path("curve.cube").write_text(CURVE)
        self.clip = movie(".mov", V210, seconds=0.36)

    def named(self):
        """Returns the filters that the refusal of another one lists."""
        result = run("plan", "--chunks", 2, "--filter", "nosuch", self.clip, self.output)
        self.assertEqual(result.returncode, 2)
        listed = re.search(r"use only (.*)", result.stderr).group(1)
        return re.split(r", | and ", listed)

    def check(self, graph):
        options = ("--filter", graph.replace("{folder}", str(self.folder)))
        single = self.single(*options, self.clip)
        self.output.unlink(missing_ok=True)
        self.make(*options, self.clip)
        self.assert_same_bytes(self.output.read_bytes(), single.read_bytes())

    def test_every_filter_that_is_taken(self):
        self.assertEqual(sorted(TAKEN), self.named())
        for name, arguments in TAKEN.items():
            with self.subTest(name):
                self.check(f"{name}={arguments}" if arguments else name)

    def test_chains(self):
        self.check("crop=96:64,hflip,eq=contrast=1.3,scale=64:48")

    def test_others_are_refused_by_name(self):
        for graph in REFUSED:
            with self.subTest(graph):
                result = run("plan", "--chunks", 2, "--filter", graph, self.clip, self.output)
                self.assertEqual(result.returncode, 2, result.stderr)
                self.assertIn("may give other pictures in chunks than in one run", result.stderr)
                self.assertEqual(result.stdout, "")

    def test_the_refusal_names_the_filter_or_its_arguments(self):
        for graph, name in (("hflip,tmix=3,vflip", "tmix"),
                            ("rotate=t*0.1", "the arguments of rotate"),
                            ("hflip=enable='between(t,1,2)'", "the arguments of hflip")):
            with self.subTest(graph):
                result = run("plan", "--chunks", 2, "--filter", graph, self.clip, self.output)
                self.assertIn(f": {name} may give other", result.stderr)


if __name__ == "__main__":
    unittest.main()

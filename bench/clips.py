#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Makes the clips of benchmarks and quality measurements, the same bytes every time.

On processors without AVX2 some samples differ, because ffmpeg's filters round differently there.

usage: clips.py FOLDER [CLIP...]      (all clips when none is named)

Each clip becomes FOLDER/CLIP.mov: uncompressed V210, or lossless FFV1 where it is 4:4:4. Existing
clips are kept.

Natural clips are camera moves over photographs of Debian's wallpaper packages, which are
downloaded into FOLDER/photographs. A photograph is scaled to twice the size of the clip, moved by
fractions of a sample from frame to frame, given film grain, and scaled down again, so that the ten
bits of a sample are real. The photographs (by Aitzol Berasategi and Lukas Baubkus, CC-BY-4.0 and
CC-BY-SA-3.0; Risto Saukonpaa, Ian Hex and Martin Klapetek, LGPL-3) keep their licences: attribute
them where you show the clips.
"""

import hashlib
import math
import pathlib
import random
import subprocess
import sys
from dataclasses import dataclass, replace

SCALE = "flags=lanczos+accurate_rnd+bitexact+full_chroma_int+full_chroma_inp"
FFMPEG = ["ffmpeg", "-nostdin", "-hide_banner", "-v", "error", "-y", "-filter_threads", "2"]

PACKAGES = {
    "lomiri-wallpapers-16.04": "usr/share/backgrounds/{}.jpg",
    "lomiri-wallpapers-20.04": "usr/share/backgrounds/{}.jpg",
    "plasma-workspace-wallpapers": "usr/share/wallpapers/{}/contents/images/2560x1600.jpg",
}
LARGE_PACKAGE = "plasma-workspace-wallpapers"
PHOTOGRAPHS = {
    "life": ("lomiri-wallpapers-16.04", "life_by_Aitzol_Berasategi"),
    "picos": ("lomiri-wallpapers-16.04", "picosdeeuropa_by_Aitzol_Berasategi"),
    "sunset": ("lomiri-wallpapers-16.04", "sunset_by_Aitzol_Berasategi"),
    "kleiber": ("lomiri-wallpapers-20.04", "Kleiber_by_Lukas_Baubkus"),
    "onestandsout": ("plasma-workspace-wallpapers", "OneStandsOut"),
    "eveningglow": ("plasma-workspace-wallpapers", "EveningGlow"),
    "fallenleaf": ("plasma-workspace-wallpapers", "FallenLeaf"),
}


@dataclass
class Move:
    """A camera move over a photograph."""

    frames: int
    photograph: str
    crop: str  # of the photograph: width:height:x:y
    grain: int
    seed: int
    centre: tuple  # of the window, in fractions of the canvas
    zoom: float  # width of the window / width of the canvas
    angle: float  # degrees
    # Changes per frame: canvas samples (x, y), zoom, degrees.
    drift: tuple
    blur: float = 0.0

    def write(self, clip, out, photographs):
        width, height = 2 * clip.width, 2 * clip.height
        steps = [
            f"crop={self.crop}",
            f"scale={width}:{height}:{SCALE}:in_range=full:out_range=tv"
            f":in_color_matrix=bt601:out_color_matrix={clip.matrix}",
            "format=yuv444p",
            "setsar=1",
            f"loop=loop={self.frames - 1}:size=1:start=0",
            f"perspective={self._corners(width, height)}:interpolation=cubic:eval=frame",
        ]
        if self.blur:
            steps.append(f"gblur=sigma={self.blur}")
        steps += [
            f"noise=alls={self.grain}:allf=t:all_seed={self.seed}",
            f"scale={clip.width}:{clip.height}:{SCALE}",
            f"format={clip.pixels}",
        ]
        if clip.interlaced:
            steps.append("interlace=scan=tff:lowpass=complex")
        photograph = photographs.path(self.photograph)
        run([*FFMPEG, "-i", photograph, "-filter_complex", ",".join(steps), *raw(clip), "-"], out)

    def _corners(self, width, height):
        """Returns the corners of the window as expressions of the frame number."""
        drift_x, drift_y, drift_zoom, drift_angle = self.drift
        degree = math.pi / 180
        x = f"({self.centre[0] * width:.4f}+{drift_x:.5f}*on)"
        y = f"({self.centre[1] * height:.4f}+{drift_y:.5f}*on)"
        zoom = f"({self.zoom:.5f}+{drift_zoom:.7f}*on)"
        half_width = f"({width / 2:.4f}*{zoom})"
        half_height = f"({height / 2:.4f}*{zoom})"
        turn = f"({self.angle * degree:.7f}+{drift_angle * degree:.9f}*on)"
        corners = []
        for i, (sx, sy) in enumerate([(-1, -1), (1, -1), (-1, 1), (1, 1)]):
            corners.append(
                f"x{i}='{x}+({sx})*{half_width}*cos{turn}-({sy})*{half_height}*sin{turn}':"
                f"y{i}='{y}+({sx})*{half_width}*sin{turn}+({sy})*{half_height}*cos{turn}'"
            )
        return ":".join(corners)


@dataclass
class Generated:
    """Frames of a source filter and the filters that follow it."""

    frames: int
    source: str
    filters: str

    def write(self, clip, out, photographs):
        source = self.source.format(size=f"size={clip.width}x{clip.height}:rate=25")
        run([*FFMPEG, "-f", "lavfi", "-i", source, "-frames:v", str(self.frames),
             "-vf", self.filters, *raw(clip), "-"], out)  # fmt: skip


@dataclass
class WhiteNoise:
    """Noise in which all code values are equally likely, in all components."""

    frames: int

    def write(self, clip, out, photographs):
        generator = random.Random(1)
        to_two_bits = bytes(byte % 4 for byte in range(256))
        for _ in range(self.frames):
            samples = bytearray(generator.randbytes(clip.width * clip.height * 4))
            samples[1::2] = samples[1::2].translate(to_two_bits)  # upper byte of ten bits
            out.write(samples)


@dataclass
class Clip:
    parts: list
    width: int = 1920
    height: int = 1080
    matrix: str = "bt709"
    interlaced: bool = False
    pixels = "yuv422p10le"
    codec = "v210"

    def lengths(self):
        """Returns the number of frames of each part."""
        # Two pictures of an interlaced part become the fields of one frame.
        return [part.frames // (2 if self.interlaced else 1) for part in self.parts]

    def middles(self):
        """Returns the number of the middle frame of each part."""
        lengths = self.lengths()
        return [sum(lengths[:i]) + length // 2 for i, length in enumerate(lengths)]


@dataclass
class DeepClip(Clip):
    """A clip of 4:4:4."""

    pixels: str = "yuv444p12le"
    codec = "ffv1"


def raw(clip):
    return ["-f", "rawvideo", "-pix_fmt", clip.pixels]


def ramp(luma, cb, cr):
    black = "color=black:{size},format=yuv422p10le"
    return Generated(8, black, f"geq=lum='{luma}':cb='{cb}':cr='{cr}',format=yuv422p10le")


TEXT = "/usr/share/fonts/truetype/dejavu/DejaVu"
TO_YCBCR = f"scale={SCALE}:out_color_matrix=bt709:out_range=tv,format=yuv422p10le"

# fmt: off
CLIPS = {
    # Hard: sharp photographs with grain.
    "natural_1080p": Clip([
        Move(20, "life", "3088:1737:0:160", 7, 101, (.46, .47), .80, .8, (3.37, 1.23, -.0011, -.03)),
        Move(20, "kleiber", "4600:2587:900:500", 7, 102, (.52, .50), .88, -.5, (-2.71, .87, .0007, .04)),
        Move(20, "onestandsout", "2560:1440:0:80", 7, 103, (.50, .50), .86, 1.5, (1.61, -2.39, .0016, -.06)),
        Move(20, "picos", "3264:1836:0:400", 7, 104, (.47, .50), .82, 0, (4.83, .41, 0, 0)),
    ]),
    # Typical: softer optics, light grain.
    "natural_easy_1080p": Clip([
        Move(12, "fallenleaf", "2560:1440:0:100", 4, 151, (.48, .52), .90, .3, (-2.63, .71, .0008, .02), 1.2),
        Move(12, "kleiber", "6028:3391:0:0", 4, 152, (.50, .50), .92, .2, (1.87, -1.13, -.0006, -.02), 1.2),
        Move(12, "sunset", "4272:2403:0:300", 4, 153, (.50, .50), .90, -.4, (2.41, .93, .0005, .02), 1.2),
        Move(12, "eveningglow", "2560:1440:0:0", 4, 154, (.50, .45), .90, .3, (-1.73, .37, -.0009, 0), 1.2),
    ]),
    "natural_1080i": Clip([
        Move(40, "eveningglow", "2560:1440:0:140", 6, 111, (.44, .50), .80, .4, (7.43, .67, 0, .01)),
        Move(40, "fallenleaf", "2560:1440:0:100", 6, 112, (.50, .46), .84, -.7, (-2.17, 5.57, -.0006, .03)),
    ], interlaced=True),
    "natural_2160p": Clip([
        Move(12, "kleiber", "6028:3391:0:0", 9, 121, (.47, .50), .82, .3, (6.37, 1.73, -.0008, -.02)),
        Move(12, "sunset", "4272:2403:0:420", 9, 122, (.50, .50), .92, -.2, (-4.91, 2.39, .0009, .02)),
    ], 3840, 2160),
    "natural_576i": Clip([
        Move(32, "life", "2741:2056:170:0", 9, 131, (.45, .50), .80, .5, (3.77, .91, 0, .02)),
        Move(32, "eveningglow", "2133:1600:200:0", 9, 132, (.54, .50), .84, -.4, (-3.13, .77, -.001, .01)),
    ], 720, 576, "bt601", interlaced=True),
    # Nothing moves but the grain: any unevenness from frame to frame is the encoder's.
    "still_1080p": Clip([
        Move(24, "picos", "3264:1836:0:400", 7, 161, (.50, .50), .90, .3, (0, 0, 0, 0)),
    ]),
    "synthetic_1080p": Clip([
        Generated(24, "testsrc2={size},trim=start=1,setpts=PTS-STARTPTS",
                  f"drawtext=fontfile={TEXT}Sans.ttf:text='SCROLLING TEXT - ABCDEFGHIJKLMNOPQRSTUVWXYZ'"
                  ":fontsize=40:fontcolor=white:x=1900-16.3*n:y=900,"
                  f"drawtext=fontfile={TEXT}Serif-Bold.ttf:text='The quick brown fox 0123456789'"
                  f":fontsize=22:fontcolor=black:box=1:boxcolor=white:x=300:y=200+3*n,{TO_YCBCR}"),
        Generated(24, "mandelbrot={size}:start_x=-0.743643887037151:start_scale=0.02"
                      ":end_scale=0.001:maxiter=400", TO_YCBCR),
        Generated(24, "color=black:{size},format=yuv422p10le",
                  "geq=lum='502+430*cos((X-960)*(X-960)/1222+(Y-540)*(Y-540)/1222+N*0.31)'"
                  ":cb='512+300*sin((X-480)*(X-480)/1900+N*0.31)'"
                  ":cr='512+300*cos((Y-540)*(Y-540)/1900)',format=yuv422p10le"),
    ]),
    "noise_1080p": Clip([
        WhiteNoise(12),
        Move(12, "life", "3088:1737:0:160", 60, 141, (.5, .5), .8, 0, (1.3, .7, 0, 0)),
    ]),
    "flat_1080p": Clip([
        ramp("64", "512", "512"),
        ramp("64+876*mod(X+N*3,1920)/1920", "512", "512"),
        ramp("300+120*Y/1080+N/3", "512+200*X/960-100", "512"),
        ramp("502", "512+400*(X-480)/960", "512+400*(Y-540)/1080"),
        ramp("700-500*hypot(X-960-N*3,Y-540)/1102", "480+60*hypot(X-480,Y-540)/725",
             "540-50*hypot(X-480,Y-540)/725"),
    ]),
    "natural_444_1080p": DeepClip([
        Move(4, "life", "3088:1737:0:160", 7, 201, (.46, .47), .80, .8, (3.37, 1.23, -.0011, -.03)),
        Move(4, "kleiber", "4600:2587:900:500", 7, 202, (.52, .50), .88, -.5, (-2.71, .87, .0007, .04)),
        Move(4, "onestandsout", "2560:1440:0:80", 5, 203, (.50, .50), .86, 1.5, (1.61, -2.39, .0016, -.06)),
        Move(4, "sunset", "4272:2403:0:300", 4, 204, (.50, .50), .90, -.4, (2.41, .93, .0005, .02), 1.2),
    ]),
    "natural_444_10_bits_1080p": DeepClip([
        Move(4, "picos", "3264:1836:0:400", 7, 211, (.47, .50), .82, 0, (4.83, .41, 0, 0)),
        Move(4, "fallenleaf", "2560:1440:0:100", 4, 212, (.48, .52), .90, .3, (-2.63, .71, .0008, .02), 1.2),
        Move(4, "eveningglow", "2560:1440:0:0", 4, 213, (.50, .45), .90, .3, (-1.73, .37, -.0009, 0), 1.2),
    ], pixels="yuv444p10le"),
}
# fmt: on


def shortened(clip, frames):
    """Returns the clip with the first frames of its parts, without parts from the large package."""

    def is_quick(part):
        return not isinstance(part, Move) or PHOTOGRAPHS[part.photograph][0] != LARGE_PACKAGE

    parts = [replace(part, frames=frames) for part in clip.parts if is_quick(part)]
    return replace(clip, parts=parts)


# Clips for a check of the encoder that takes half a minute, including the making of the clips.
SHORT = {
    f"{name}_short": shortened(CLIPS[name], frames)
    for name, frames in {
        "natural_1080p": 2,
        "natural_easy_1080p": 2,
        "natural_2160p": 1,
        "natural_576i": 8,
        "synthetic_1080p": 2,
        "noise_1080p": 1,
        "flat_1080p": 1,
    }.items()
}
CLIPS |= SHORT


def run(command, out):
    out.flush()
    subprocess.run(command, stdout=out, check=True)


class Photographs:
    def __init__(self, folder):
        self._folder = folder / "photographs"

    def path(self, name):
        package, photograph = PHOTOGRAPHS[name]
        unpacked = self._folder / package
        if not unpacked.exists():
            self._fetch(package, unpacked)
        return unpacked / PACKAGES[package].format(photograph)

    def _fetch(self, package, unpacked):
        self._folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(["apt-get", "-q", "download", package], cwd=self._folder, check=True,
                       stdout=subprocess.DEVNULL)  # fmt: skip
        archive = next(self._folder.glob(f"{package}_*.deb"))
        partial = unpacked.with_suffix(".part")
        subprocess.run(["dpkg", "-x", archive, partial], check=True)
        partial.rename(unpacked)


def identity(name):
    """Returns a hash of the clip's description."""
    return hashlib.sha256(repr(CLIPS[name]).encode()).hexdigest()


def make(name, folder):
    clip = CLIPS[name]
    path = folder / f"{name}.mov"
    if path.exists():
        return path
    print(f"clips: making {name}", file=sys.stderr)
    folder.mkdir(parents=True, exist_ok=True)
    tags = ["-color_primaries", "bt709" if clip.matrix == "bt709" else "bt470bg",
            "-color_trc", "bt709",
            "-colorspace", "bt709" if clip.matrix == "bt709" else "smpte170m",
            "-color_range", "tv"]  # fmt: skip
    if clip.interlaced:
        tags += ["-field_order", "tt", "-top", "1"]
    partial = folder / f"{name}.part.mov"
    writer = subprocess.Popen(
        [*FFMPEG, *raw(clip), "-video_size", f"{clip.width}x{clip.height}", "-framerate", "25",
         "-i", "-", "-threads", "1", "-c:v", clip.codec, "-fflags", "+bitexact", "-flags:v",
         "+bitexact", *tags, partial],
        stdin=subprocess.PIPE,
    )  # fmt: skip
    photographs = Photographs(folder)
    for part in clip.parts:
        part.write(clip, writer.stdin, photographs)
    writer.stdin.close()
    if writer.wait() != 0:
        raise SystemExit(f"clips: cannot write {name}")
    partial.rename(path)
    return path


def main():
    if len(sys.argv) < 2 or sys.argv[1].startswith("-"):
        raise SystemExit(__doc__)
    names = sys.argv[2:] or list(CLIPS)
    unknown = [name for name in names if name not in CLIPS]
    if unknown:
        raise SystemExit(f"clips: unknown {', '.join(unknown)}; the clips are {', '.join(CLIPS)}")
    for name in names:
        print(make(name, pathlib.Path(sys.argv[1])))


if __name__ == "__main__":
    main()

#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Writes enlarged parts of a picture: source, our version, other encoders', and our difference.

usage: crops.py CLIP FRAME VARIANT FOLDER [--at X,Y]... [--program PATH]

CLIP and FRAME name a comparison that quality.py has made. Each peer is shown at the setting whose
bytes are nearest to ours. Bytes and PSNR-Y of the whole frame are printed above each part.
"""

import argparse
import math
import pathlib
import subprocess
import tempfile
from dataclasses import dataclass

import clips
import pictures
from material import FFMPEG, VARIANTS, Material, machine
from quality import BENCH, ROOT, places

WIDTH, HEIGHT = 240, 180  # of a part, in samples of the source
CELL = 60  # side of the squares whose errors are compared, in samples
PARTS = 3
AMPLIFIED = 8  # gain of the difference picture
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"


@dataclass
class Version:
    """One encoder's version of the picture: a file with one frame."""

    title: str
    path: pathlib.Path


def encoded(name, command, source, folder):
    path = folder / f"{name.replace(' ', '_')}.mov"
    pictures.run(command.format(out=path))
    (frame,) = pictures.compare_pictures(path, source, 1, folder)
    (size,) = pictures.frame_bytes(path)
    return Version(f"{name}\\: {size / 1000:.1f} kB, {frame['y']:.2f} dB", path), size


def versions(options, source, folder):
    """Yields the source, our version and each peer's."""
    program = f"{options.program} encode --quiet --variant {options.variant} {source} {{out}}"
    ours, size = encoded(f"vixprores {options.variant}", program, source, folder)
    yield Version(f"{options.clip} frame {options.frame}", source)
    yield ours
    peers = pictures.Peers(Material(BENCH / "clips"), BENCH / "quality", machine()["peer"])
    fields = "-flags +ildct -top 1" if clips.CLIPS[options.clip].interlaced else ""
    for peer, settings in pictures.PEERS.items():
        setting = nearest(peers, options, peer, size)
        command = f"{FFMPEG}-i {source} {settings[setting]} {fields} {{out}}"
        yield encoded(f"{peer} {setting}", command, source, folder)[0]


def nearest(peers, options, peer, size):
    """Returns the setting whose bytes for this frame are nearest."""

    def distance(setting):
        frames = peers.frames(options.clip, peer, setting)
        (frame,) = (frame for frame in frames if frame["frame"] == options.frame)
        return abs(math.log(frame["bytes"] / size))

    return min(pictures.PEERS[peer], key=distance)


def errors(ours, source, width, height):
    """Returns the mean square error of luma in each cell, by column and row."""
    columns, rows = width // CELL, height // CELL
    luma = "format=yuv422p10le,extractplanes=y,format=gray16le"
    # A difference of 1 is 64 in 16 bits; its square is scaled to 4, so that the square of 128 fits.
    graph = (f"[0:v]{luma}[a];[1:v]{luma}[b];"
             "[a][b]blend=all_expr='min((A-B)*(A-B)/1024\\,65535)',"
             f"crop={columns * CELL}:{rows * CELL}:0:0,scale={columns}:{rows}:flags=area")  # fmt: skip
    answer = subprocess.run(
        f"{FFMPEG} -i {ours} -i {source} -lavfi \"{graph}\" -f rawvideo -pix_fmt gray16le -",
        shell=True, check=True, capture_output=True)  # fmt: skip
    values = memoryview(answer.stdout).cast("H")
    return {(i % columns, i // columns): value for i, value in enumerate(values)}


def worst_parts(cells):
    """Yields the corners of the parts with the largest errors; they do not overlap."""
    across, down = WIDTH // CELL, HEIGHT // CELL
    sums = {}
    for x, y in cells:
        inside = [(x + i, y + j) for i in range(across) for j in range(down)]
        if all(cell in cells for cell in inside):
            sums[x, y] = sum(cells[cell] for cell in inside)
    for _ in range(PARTS):
        x, y = max(sums, key=sums.get)
        yield x * CELL, y * CELL
        sums = {(i, j): value for (i, j), value in sums.items()
                if abs(i - x) >= across or abs(j - y) >= down}  # fmt: skip


def write_part(shown, at, matrix, path):
    """Writes two rows of three: the versions, and the second minus the first."""
    part = f"crop={WIDTH}:{HEIGHT}:{at[0]}:{at[1]}"
    size = f"scale={2 * WIDTH}:{2 * HEIGHT}:flags=neighbor"
    steps = [f"[{i}:v]format=yuv422p10le,{part},split[a{i}][b{i}]" for i in range(len(shown))]
    for i, version in enumerate(shown):
        colours = f"scale=in_color_matrix={matrix}:in_range=tv:out_range=pc"
        steps.append(f"[a{i}]{colours}:flags=bicubic+accurate_rnd,format=gbrp,{size},"
                     f"{caption(version.title)}[c{i}]")  # fmt: skip
    difference = f"'512+{AMPLIFIED}*(B-A)'"
    steps.append(f"[b0][b1]blend=all_expr={difference},extractplanes=y,format=gray,format=gbrp,"
                 f"{size},{caption(f'vixprores less source, luma, {AMPLIFIED} times')}[d]")  # fmt: skip
    steps += [f"[b{i}]nullsink" for i in range(2, len(shown))]
    cells = "".join(f"[c{i}]" for i in range(len(shown)))
    wide, high = 2 * WIDTH, 2 * HEIGHT + 24
    layout = "|".join(f"{i % 3 * wide}_{i // 3 * high}" for i in range(len(shown) + 1))
    steps.append(f"{cells}[d]xstack=inputs={len(shown) + 1}:layout={layout}")
    inputs = " ".join(f"-i {version.path}" for version in shown)
    pictures.run(f"{FFMPEG} {inputs} -filter_complex \"{';'.join(steps)}\" -frames:v 1 {path}")


def caption(text):
    return (f"pad=iw:ih+24:0:24:white,drawtext=fontfile={FONT}:fontsize=16:x=6:y=4:fontcolor=black"
            f":text='{text}'")  # fmt: skip


def corner(text):
    x, y = map(int, text.split(","))
    return x, y


def parse():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("clip", choices=pictures.STEPS)
    parser.add_argument("frame", type=int)
    parser.add_argument("variant", choices=VARIANTS)
    parser.add_argument("folder", type=pathlib.Path, help="folder to write the pictures to")
    parser.add_argument("--at", action="append", metavar="X,Y", type=corner,
                        help="corner of a part [the parts with our largest errors]")  # fmt: skip
    parser.add_argument("--program", type=pathlib.Path, metavar="PATH",
                        default=ROOT / "build/release/bin/vixprores",
                        help="vixprores program to show")  # fmt: skip
    options = parser.parse_args()
    options.program = options.program.resolve()
    if not options.program.is_file():
        parser.error(f"{options.program} does not exist")
    frames = range(0, sum(clips.CLIPS[options.clip].lengths()), pictures.STEPS[options.clip])
    if options.frame not in frames:
        parser.error(f"the frames of {options.clip} that are compared are "
                     f"{', '.join(map(str, frames))}")  # fmt: skip
    return options


def main():
    options = parse()
    material, folder = places()
    options.folder.mkdir(parents=True, exist_ok=True)
    clip = clips.CLIPS[options.clip]
    source = material.picked(options.clip, [options.frame])
    with tempfile.TemporaryDirectory(dir=folder) as work:
        shown = list(versions(options, source, folder / work))
        corners = options.at or worst_parts(
            errors(shown[1].path, source, clip.width, clip.height))  # fmt: skip
        for x, y in corners:
            name = f"{options.clip}_{options.frame}_{options.variant}_{x}_{y}.png"
            write_part(shown, (x, y), clip.matrix, options.folder / name)
            print(options.folder / name)


if __name__ == "__main__":
    main()

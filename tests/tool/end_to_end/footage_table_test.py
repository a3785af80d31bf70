# SPDX-License-Identifier: BSD-2-Clause
"""Encodes the footage of a table. All frames arrive, in order, at their times, with their labels and
in sync with the sound. Before they are encoded, the pictures are as near to the original as those
of another converter."""
import array
import functools
import json
import math
import pathlib
import tempfile
import unittest
from fractions import Fraction

from footage_rows import ROWS
from pictures import converted_pictures, output_of, pictures, psnr, split
from tool import ToolTest, ffmpeg

MOST_LOSS = 0.05  # in dB against the other converter
FLASH = 5  # frame at whose start a click is heard
SOUND_RATE = 48000
SIDE = 16  # of the blocks that carry the number of a frame as bits
BITS = 4
TURNS = {0: "null", 90: "transpose=cclock", -90: "transpose=clock", 180: "hflip,vflip",
         -180: "hflip,vflip"}
_ORIGINALS = tempfile.TemporaryDirectory(prefix="vixprores-originals-")

def boxes(pace):
    """Returns filters that write the number of each picture, or of each `pace` pictures, as blocks."""
    side = 4 * SIDE  # before scaling
    found = [f"drawbox=w={side * BITS}:h={side}:c=black:t=fill"]
    found += [f"drawbox=x={side * bit}:w={side}:h={side}:c=white:t=fill:"
              f"enable='mod(floor(n/{pace}/{2 ** bit}),2)'" for bit in range(BITS)]
    return ",".join(found)


@functools.lru_cache(maxsize=None)
def original(size, fields, frames):
    """Returns a file of RGB pictures of 16 bits, each with its number."""
    width, height = size
    path = pathlib.Path(_ORIGINALS.name) / f"{width}x{height}{fields}{frames}.rgb"
    order = {"t": "top", "b": "bottom"}.get(fields)
    weave = (f"setfield={fields}ff,separatefields,select='eq(mod(n,4),0)+eq(mod(n,4),3)',"
             f"weave=first_field={order}" if fields else "null")
    scale = (f"zscale={width}x{height}:filter=lanczos:matrixin=709:rangein=limited:matrix=gbr:"
             "range=full")
    source = f"s={4 * width}x{4 * height}:r=25,format=yuv444p"
    # Edges that move before colours without steps.
    ffmpeg("-f", "lavfi", "-i", f"testsrc2={source}[a];gradients=seed=1:c0=0x2060C0:c1=0xE0B040:speed=0.2:{source}[b];"
           "[a][b]blend=all_mode=average,scroll=h=0.013:v=0.003", "-vf",
           f"{boxes(2 if fields else 1)},{scale},format=gbrp16le,{weave}", "-vsync", "passthrough",
           "-frames:v", frames, "-f", "rawvideo", path)
    return path


def read_original(row):
    size = "x".join(map(str, row.size))
    return ["-f", "rawvideo", "-pix_fmt", "gbrp16le", "-s", size, "-r", row.rate, "-i",
            original(row.size, row.fields, row.frames)]


def whole(row, filters, *, pads_luma=False):
    """Returns the filters for pictures of odd size: padded with their edges, and cropped."""
    width, height = row.size
    right, bottom = width % 2, height % 2
    if not right + bottom:
        return filters
    pad = (f"pad={width + right}:{height + bottom}:0:0,"
           f"fillborders=right={right}:bottom={bottom}:mode=smear")
    if pads_luma:  # the chroma of such pictures is large enough already
        pad = (f"extractplanes=y+u+v[y][u][v];[y]{pad}[padded];"
               "[padded][u][v]mergeplanes=0x001020:yuv420p")
    return f"{pad},{filters},crop={width}:{height}:0:0:exact=1"


def source_filters(row):
    """Returns the filters that bring the original to what the encoder of the row gets."""
    if row.is_rgb:
        return "null"
    select = "".join(f",select='not(eq(n,{number}))'" for number in sorted(row.left_out, reverse=True))
    convert = (f"zscale=filter=lanczos:matrix={row.matrix}:chromal={row.siting}:"
               f"range={'full' if row.full else 'limited'}")
    if not row.fields:
        return whole(row, f"{convert},format={row.pixels}{select}")
    return (f"setfield={row.fields}ff,separatefields,{convert},format={row.pixels},"
            f"weave=first_field={'top' if row.fields == 't' else 'bottom'}")


def wanted_filters(row):
    """Returns the filters that bring the original to 4:2:2."""
    return whole(row, f"{TURNS[row.turn]},zscale=filter=lanczos:matrix={row.matrix}:chromal=left:range=limited,"
                      "format=yuv422p16le")


def other_filters(row):
    """Returns the filters with which the other program converts the footage."""
    given = "" if row.is_rgb else (f"matrixin={row.matrix}:chromalin={row.siting}:"
                                   f"rangein={'full' if row.full else 'limited'}:")
    dither = "ordered" if row.deep else "none"
    turn = ""
    if row.turn:  # chroma is brought to all pixels before its siting is turned, too
        turn = (f"zscale=filter=spline36:{given}matrix={row.matrix},format=yuv444p16le,"
                f"{TURNS[row.turn]},")
        given = ""
    return whole(row, f"{turn}zscale=filter=spline36:{given}matrix={row.matrix}:chromal=left:"
                      f"range=limited:dither={dither},format=yuv422p10le", pads_luma=True)


def numbers(path, row):
    """Returns the number that each picture of a file carries."""
    luma = pictures("-i", path, filters=TURNS[-row.turn], pixels="gray")
    width, height = row.size
    middle = SIDE // 2 * width
    return [sum((luma[start + middle + SIDE * bit + SIDE // 2] > 127) << bit for bit in range(BITS))
            for start in range(0, len(luma), width * height)]


class FootageTable(ToolTest):
    def make(self, row):
        path = self.path(row.file)
        sound = []
        if row.sound:
            click = Fraction(SOUND_RATE) * FLASH / row.rate
            self.assertEqual(click.denominator, 1)
            seconds = math.ceil(SOUND_RATE * row.frames / row.rate) / SOUND_RATE
            sound = ["-f", "lavfi", "-i",
                     f"aevalsrc='if(eq(n,{click}),0.9,0)':s={SOUND_RATE}:d={seconds}"]
        maps = ["-map", "0:v", *["-map", "1:a"] * (row.tracks if row.sound else 0)]
        ffmpeg(*read_original(row), *sound, *maps, "-vf", source_filters(row), "-vsync",
               "passthrough" if row.left_out else "cfr", *row.codec.split(), *row.sound.split(),
               "-pix_fmt", row.pixels, path)
        if row.turn:
            plain = path.rename(self.path("plain" + path.suffix))
            ffmpeg("-i", plain, "-c", "copy", "-metadata:s:v", f"rotate={row.turn}", path)
        return path

    def check(self, row):
        clip, out = self.make(row), self.path("out.mov")
        self.succeed("encode", "--overwrite", "--variant", "hq", *row.options.split(), clip, out)
        shown = json.loads(output_of("ffprobe", "-v", "error", "-show_streams", "-show_packets",
                                     "-show_entries", "packet=codec_type,pts", "-of", "json", out))
        video = next(stream for stream in shown["streams"] if stream["codec_type"] == "video")
        self.assertEqual(numbers(out, row), row.shown_numbers)
        self.check_times(row, video, shown["packets"])
        self.check_labels(row, video)
        self.check_sound(row, out, shown["streams"])
        if not row.left_out:
            self.check_pictures(row, clip)

    def check_times(self, row, video, packets):
        tick = Fraction(video["time_base"])
        times = [packet["pts"] * tick for packet in packets if packet["codec_type"] == "video"]
        self.assertEqual(times, [frame / row.rate for frame in range(row.frames)])

    def check_labels(self, row, video):
        found = [video.get("color_" + name, "unknown") for name in ("primaries", "transfer", "space")]
        self.assertEqual(found, list(row.colours))
        self.assertEqual(video.get("sample_aspect_ratio", "1:1"), row.aspect)
        self.assertEqual(video["field_order"], {"": "progressive", "t": "tb", "b": "bt"}[row.fields])
        self.assertEqual((video["width"], video["height"]), row.shown_size)
        self.assertEqual(video.get("tags", {}).get("timecode", ""), row.timecode)
        kinds = {data["side_data_type"] for data in video.get("side_data_list", [])}
        hdr = {"Mastering display metadata", "Content light level metadata"}
        self.assertEqual(kinds & hdr, hdr if row.hdr else set())

    def check_sound(self, row, out, streams):
        tracks = [stream for stream in streams if stream["codec_type"] == "audio"]
        self.assertEqual(len(tracks), row.tracks if row.sound else 0)
        for place, track in enumerate(tracks):
            samples = array.array("h", output_of("ffmpeg", "-nostdin", "-v", "error", "-i", out,
                                                 "-map", f"0:a:{place}", "-f", "s16le", "-"))
            loudest = max(range(len(samples)), key=lambda n: abs(samples[n])) // track["channels"]
            flash = SOUND_RATE * (FLASH / row.rate - row.lag)
            self.assertEqual(float(track["start_time"]), 0)
            self.assertLessEqual(abs(loudest - flash), 1)

    def check_pictures(self, row, clip):
        wanted = split(pictures(*read_original(row), filters=wanted_filters(row),
                                pixels="yuv422p16le"), row.shown_size)

        def quality(samples):
            return [psnr(*planes) for planes in zip(split(samples, row.shown_size), wanted)]

        ours = quality(converted_pictures(clip))
        theirs = quality(pictures("-noautorotate", "-i", clip, filters=other_filters(row),
                                  pixels="yuv422p10le"))
        for our, their in zip(ours, theirs):
            self.assertGreaterEqual(our, their - MOST_LOSS, f"{ours} against {theirs}")

    def test_arrives_as_it_was(self):
        for row in ROWS:
            with self.subTest(row.file):
                self.check(row)


if __name__ == "__main__":
    unittest.main()

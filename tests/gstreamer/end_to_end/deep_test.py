# SPDX-License-Identifier: BSD-2-Clause
"""Pipelines of 4444: pictures of 16 bits with alpha, which survives exactly."""
import array
import itertools
import struct
import unittest

from mini_mov import samples
from pipelines import PipelineTest, run
from tool import make_clip, planes, probe

WIDTH, HEIGHT, COUNT = 64, 48, 3
# With the program's name, the byte order, and the format of rawvideoparse.
FORMATS = {"AYUV64": ("Y416", "<", "ayuv64"), "ARGB64_BE": ("b64A", ">", "argb64-be")}
VARIANTS = {"4444": ("ap4h", "4444"), "4444xq": ("ap4x", "XQ")}  # with tag and profile
MOST_ERROR = 256  # of colours, in steps of 16 bits
SIZE = f"width={WIDTH},height={HEIGHT},framerate=25/1"


def pixel(number, x, y):
    """Returns alpha, which differs from pixel to pixel, and smooth colours."""
    alpha = (x * 40503 + y * 9973 + number * 7919) * 2654435761 >> 16 & 0xffff
    return (alpha, 12000 + 200 * x + 100 * y, 24000 + 100 * x - 150 * y, 44000 - 200 * x + 80 * y)


def draw(order):
    values = [value for number, y, x in itertools.product(range(COUNT), range(HEIGHT), range(WIDTH))
              for value in pixel(number, x, y)]
    return struct.pack(f"{order}{len(values)}H", *values)


class Deep(PipelineTest):
    def source(self, format):
        """Writes raw pictures and returns the elements that read them."""
        _, order, name = FORMATS[format]
        self.path("source.raw").write_bytes(draw(order))
        colour = "bt709" if format == "AYUV64" else "sRGB"
        return (f"filesrc location={self.path('source.raw')} ! rawvideoparse format={name} "
                f"width={WIDTH} height={HEIGHT} framerate=25/1 colorimetry={colour}")

    def encoded(self, format, encoder="vixproresenc"):
        self.launch(f"{self.source(format)} ! {encoder} ! qtmux ! "
                    f"filesink location={self.path('a.mov')}")
        return self.path("a.mov")

    def decoded(self, path, format):
        self.launch(f"filesrc location={path} ! qtdemux ! vixproresdec ! "
                    f"video/x-raw,format={format} ! filesink location={self.path('b.raw')}")
        order = FORMATS[format][1]
        data = self.path("b.raw").read_bytes()
        return struct.unpack(f"{order}{len(data) // 2}H", data)

    def check_pictures(self, path, format):
        order = FORMATS[format][1]
        expected = struct.unpack(f"{order}{WIDTH * HEIGHT * COUNT * 4}H", draw(order))
        found = self.decoded(path, format)
        self.assertEqual(len(found), len(expected))
        self.assertEqual(found[0::4], expected[0::4], "alpha differs")
        self.assertLessEqual(max(abs(a - b) for a, b in zip(found, expected)), MOST_ERROR)

    def check_stream(self, path, tag, profile):
        stream = probe(path)
        self.assertEqual((stream["codec_name"], stream["codec_tag_string"], stream["profile"],
                          stream["pix_fmt"], stream["nb_read_packets"]),
                         ("prores", tag, profile, "yuva444p12le", str(COUNT)))

    def test_pictures_come_back_with_their_alpha(self):
        for format, (variant, (tag, profile)) in itertools.product(FORMATS, VARIANTS.items()):
            with self.subTest(format=format, variant=variant):
                path = self.encoded(format, f"vixproresenc variant={variant}")
                self.check_stream(path, tag, profile)
                self.check_pictures(path, format)

    def test_an_independent_decoder_shows_the_same_alpha(self):
        data = array.array("H", planes(self.encoded("AYUV64"), "yuva444p12le"))
        pixels = WIDTH * HEIGHT
        for number in range(COUNT):
            alpha = data[(4 * number + 3) * pixels:(4 * number + 4) * pixels]
            for place, value in enumerate(alpha):
                expected = pixel(number, place % WIDTH, place // WIDTH)[0]
                self.assertLessEqual(abs(value * 16 + 8 - expected), 16)

    def test_without_a_variant_it_is_4444(self):
        for format in FORMATS:
            self.check_stream(self.encoded(format), *VARIANTS["4444"])

    def test_caps_after_the_encoder_choose_the_variant(self):
        self.launch(f"videotestsrc num-buffers={COUNT} ! vixproresenc ! "
                    "video/x-prores,variant=(string)4444xq ! qtmux ! "
                    f"filesink location={self.path('a.mov')}")
        self.check_stream(self.path("a.mov"), *VARIANTS["4444xq"])

    def test_frames_are_those_of_the_program(self):
        for variant in VARIANTS:
            path = self.encoded("AYUV64", f"vixproresenc variant={variant}")
            self.succeed("encode", "--quiet", "--overwrite", "--fourcc", "Y416", "--size",
                         f"{WIDTH}x{HEIGHT}", "--rate", "25/1", "--fields", "progressive",
                         "--color", "bt709", "--par", "1:1", "--alpha", "16", "--variant", variant,
                         self.path("source.raw"), self.path("program.mov"))
            self.assert_same_frames(samples(path), samples(self.path("program.mov")))

    def test_a_converter_in_front_makes_any_video_fit(self):
        for format in ("I420", "RGBA", "v210"):
            with self.subTest(format=format):
                self.launch(f"videotestsrc num-buffers={COUNT} ! video/x-raw,format={format},{SIZE} ! "
                            "videoconvert ! vixproresenc variant=4444xq ! qtmux ! "
                            f"filesink location={self.path('a.mov')}")
                self.check_stream(self.path("a.mov"), *VARIANTS["4444xq"])

    def test_a_transcoding_pipeline_keeps_alpha(self):
        path = self.encoded("AYUV64", "vixproresenc variant=4444xq")
        self.launch(f"filesrc location={path} ! qtdemux ! vixproresdec ! vixproresenc ! qtmux ! "
                    f"filesink location={self.path('c.mov')}")
        self.check_stream(self.path("c.mov"), *VARIANTS["4444"])
        self.check_pictures(self.path("c.mov"), "AYUV64")

    def test_files_of_another_encoder(self):
        make_clip(self.path("peer.mov"), "-c:v", "prores_ks", "-profile:v", "4444",
                  pixels="yuva444p10le")
        found = self.decoded(self.path("peer.mov"), "AYUV64")
        peer = array.array("H", planes(self.path("peer.mov"), "yuva444p12le"))
        pixels = 128 * 96
        self.assertEqual(len(found), len(peer))
        luma = found[1:4 * pixels:4]
        self.assertLessEqual(max(abs(a - b * 16) for a, b in zip(luma, peer[:pixels])), MOST_ERROR)

    def test_formats_that_downstream_cannot_take_are_an_error(self):
        path = self.encoded("AYUV64")
        result = run("gst-launch-1.0", *f"filesrc location={path} ! qtdemux ! vixproresdec ! "
                     "video/x-raw,format=v210 ! fakesink".split())
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("videoconvert", result.stdout)
        self.launch(f"filesrc location={path} ! qtdemux ! vixproresdec ! videoconvert ! "
                    "video/x-raw,format=v210 ! fakesink")


if __name__ == "__main__":
    unittest.main()

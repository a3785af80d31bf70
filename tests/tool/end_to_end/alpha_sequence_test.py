# SPDX-License-Identifier: BSD-2-Clause
"""Image sequences with alpha, as input and output of 4444."""
import json
import struct
import unittest

from tool import ToolTest, ffmpeg, planes, probe

WIDTH, HEIGHT, FRAMES = 96, 64, 3
# Alpha rises from column to column; colours are those of a test picture.
RAMP = f"format=gbrap16le,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='65535*X/{WIDTH - 1}'"


def make_samples_unspecified(path):
    """Makes a .tif not say that its last sample is straight alpha, as image editors write it."""
    data = bytearray(path.read_bytes())
    order = {b"II": "<", b"MM": ">"}[bytes(data[:2])]
    folder, = struct.unpack_from(order + "I", data, 4)
    count, = struct.unpack_from(order + "H", data, folder)
    entries = [folder + 2 + 12 * i for i in range(count)]
    place, = (i for i in entries if struct.unpack_from(order + "H", data, i)[0] == 338)
    if struct.unpack_from(order + "HIH", data, place + 2) != (3, 1, 2):
        raise AssertionError("not a single sample of straight alpha")
    struct.pack_into(order + "H", data, place + 8, 0)
    path.write_bytes(data)


class AlphaSequence(ToolTest):
    def make_images(self, name, *output, filters=RAMP):
        """Makes files with alpha; returns their pattern."""
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={WIDTH}x{HEIGHT}:rate=24", "-frames:v", FRAMES,
               "-vf", filters, *output, "-start_number", 0, self.path(name))
        return self.path(name)

    def encode(self, source, *options, name="coded.mov"):
        """Encodes to 4444 XQ; returns the file and the notes."""
        coded = self.path(name)
        result = self.succeed("encode", "--overwrite", "--variant", "4444xq", "--rate", "24",
                              "--color", "bt709", *options, source, coded)
        return coded, result.stderr

    def pixels(self, path):
        """Returns the samples R, G, B, A of each pixel of an image."""
        samples = memoryview(planes(path, "rgba64le")).cast("H")
        return [tuple(samples[i:i + 4]) for i in range(0, len(samples), 4)]

    def assert_alike(self, found, expected, most):
        """Compares colours where alpha is not 0, and alpha exactly."""
        self.assertEqual([pixel[3] for pixel in found], [pixel[3] for pixel in expected])
        errors = [abs(a - b) for one, other in zip(found, expected, strict=True)
                  for a, b in zip(one[:3], other[:3]) if one[3] > 0]
        self.assertLess(sum(errors) / len(errors), most)


class Images(AlphaSequence):
    def test_png_and_tif_keep_colours_and_alpha(self):
        source = self.make_images("in.%02d.png", "-pix_fmt", "rgba64be")
        coded, _ = self.encode(source)
        self.assertEqual(probe(coded)["pix_fmt"], "yuva444p12le")
        for extension in ("png", "tif"):
            with self.subTest(extension):
                out = self.path(f"out.%02d.{extension}")
                self.succeed("decode", coded, out)
                for frame in range(FRAMES):
                    self.assert_alike(self.pixels(self.path(f"out.{frame:02d}.{extension}")),
                                      self.pixels(self.path(f"in.{frame:02d}.png")), 80)

    def test_alpha_of_8_bits_is_coded_with_8(self):
        source = self.make_images("in.%02d.png", "-pix_fmt", "rgba")
        coded, _ = self.encode(source)
        report = json.loads(self.succeed("inspect", "--json", coded).stdout)
        self.assertIn("alpha of 8 bits", self.succeed("inspect", coded).stdout)
        self.assertTrue(report)
        self.succeed("decode", coded, self.path("out.%02d.tga"))
        self.assert_alike(self.pixels(self.path("out.01.tga")), self.pixels(self.path("in.01.png")),
                          300)

    def test_the_fourth_sample_of_a_tif_is_alpha_though_unspecified(self):
        for pixels in ("rgba64le", "rgba", "ya8"):
            with self.subTest(pixels):
                source = self.make_images("in.%02d.tif", "-pix_fmt", pixels)
                expected = self.encode(source, name="stated.mov")[0].read_bytes()
                for frame in range(FRAMES):
                    make_samples_unspecified(self.path(f"in.{frame:02d}.tif"))
                coded, told = self.encode(source)
                self.assertNotIn("divided", told)
                self.assert_same_bytes(coded.read_bytes(), expected)
                _, told = self.encode(source, "--alpha", "16", name="deep.mov")
                self.assertNotIn("no alpha", told)

    def test_images_without_alpha_stay_without(self):
        source = self.make_images("in.%02d.png", "-pix_fmt", "rgb48be", filters="null")
        coded, _ = self.encode(source)
        self.assertEqual(probe(coded)["pix_fmt"], "yuv444p12le")

    def test_jpg_drops_alpha_with_a_note(self):
        coded, _ = self.encode(self.make_images("in.%02d.png", "-pix_fmt", "rgba"))
        told = self.succeed("decode", coded, self.path("out.%02d.jpg")).stderr
        self.assertIn("drops the alpha channel", told)

    def test_a_422_variant_drops_alpha_with_a_note(self):
        source = self.make_images("in.%02d.png", "-pix_fmt", "rgba64be")
        told = self.succeed("encode", "--rate", "24", source, self.path("out.mov")).stderr
        self.assertIn("the alpha channel is left out", told)
        self.assertIn("converts RGB in 16 bits to 4:2:2 in 10 bits; --variant 4444", told)


class Premultiplication(AlphaSequence):
    """Straight colours in a file, and the same multiplied by alpha."""

    def setUp(self):
        super().setUp()
        premultiply = RAMP + (",geq=r='r(X,Y)*alpha(X,Y)/65535':g='g(X,Y)*alpha(X,Y)/65535'"
                              ":b='b(X,Y)*alpha(X,Y)/65535':a='alpha(X,Y)'")
        self.straight = self.make_images("straight.%02d.png", "-pix_fmt", "rgba64be")
        self.multiplied = self.make_images("multiplied.%02d.png", "-pix_fmt", "rgba64be",
                                           filters=premultiply)

    def decoded(self, coded):
        self.succeed("decode", "--overwrite", coded, self.path("out.%02d.png"))
        return self.pixels(self.path("out.01.png"))

    def test_is_undone_on_request(self):
        expected = self.decoded(self.encode(self.straight)[0])
        coded, told = self.encode(self.multiplied, "--premultiplied")
        self.assertIn("colours are divided by alpha", told)
        visible = [(a, b) for a, b in zip(self.decoded(coded), expected) if a[3] > 20000]
        errors = [abs(x - y) for a, b in visible for x, y in zip(a[:3], b[:3])]
        self.assertLess(sum(errors) / len(errors), 150)

    def test_is_undone_in_exr_unless_told_otherwise(self):
        spaces = ("--input-color", "Rec.709", "--output-color", "ACEScg")
        self.succeed("decode", *spaces, self.encode(self.straight)[0], self.path("scene.%02d.exr"))
        back = ("--input-color", "ACEScg", "--output-color", "Rec.709")
        coded, told = self.encode(self.path("scene.%02d.exr"), *back, name="again.mov")
        self.assertIn("colours are divided by alpha", told)
        expected = self.decoded(self.encode(self.straight)[0])
        found = self.decoded(coded)
        middle = HEIGHT // 2 * WIDTH + 3 * WIDTH // 4
        for a, b in zip(found[middle][:3], expected[middle][:3]):
            self.assertLess(abs(a - b), 1500)
        _, told = self.encode(self.path("scene.%02d.exr"), *back, "--straight", name="third.mov")
        self.assertNotIn("divided", told)

    def test_of_footage_is_undone_on_request(self):
        movie = self.path("multiplied.mov")
        ffmpeg("-i", self.multiplied, "-c:v", "png", "-pix_fmt", "rgba64be", movie)
        expected = self.decoded(self.encode(self.straight)[0])
        coded, told = self.encode(movie, "--premultiplied", name="divided.mov")
        self.assertIn("colours are divided by alpha", told)
        visible = [(a, b) for a, b in zip(self.decoded(coded), expected) if a[3] > 20000]
        errors = [abs(x - y) for a, b in visible for x, y in zip(a[:3], b[:3])]
        self.assertLess(sum(errors) / len(errors), 150)

    def test_is_kept_if_alpha_is_left_out(self):
        scene = self.path("scene.%02d.exr")
        self.succeed("decode", "--input-color", "Rec.709", "--output-color", "ACEScg",
                     self.encode(self.straight)[0], scene)
        movie = self.path("multiplied.mov")
        ffmpeg("-i", self.multiplied, "-c:v", "png", "-pix_fmt", "rgba64be", movie)
        back = ("--input-color", "ACEScg", "--output-color", "Rec.709")
        for source, options in ((scene, back), (movie, ()), (self.multiplied, ())):
            for scale in ((), ("--scale", "1/2")):
                with self.subTest(source=source.name, scale=scale):
                    left, told = self.encode(source, *options, *scale, "--alpha", "none")
                    self.assertNotIn("divided", told)
                    hq = self.path("hq.mov")
                    self.succeed("encode", "--overwrite", "--variant", "hq", "--rate", "24",
                                 "--color", "bt709", *options, *scale, source, hq)
                    luma, expected = (
                        memoryview(planes(path, "yuv422p10le")).cast("H")[:WIDTH * HEIGHT // 4]
                        for path in (left, hq))
                    errors = [abs(a - b) for a, b in zip(luma, expected, strict=True)]
                    self.assertLess(sum(errors) / len(errors), 8)

    def test_cannot_be_undone_without_alpha(self):
        self.fail_with(2, ["--premultiplied", "--alpha none"], "encode", "--variant", "4444",
                       "--premultiplied", "--alpha", "none", "--rate", "24", self.multiplied,
                       self.path("out.mov"))

    def test_needs_a_variant_of_4444(self):
        self.fail_with(2, ["need --variant 4444"], "encode", "--premultiplied", "--rate", "24",
                       self.multiplied, self.path("out.mov"))


class Outputs(AlphaSequence):
    def test_y4m_and_images_keep_444_without_being_asked(self):
        coded, _ = self.encode(self.make_images("in.%02d.png", "-pix_fmt", "rgba64be"))
        told = self.succeed("decode", coded, self.path("out.y4m")).stderr
        self.assertIn(b"C444p12", self.path("out.y4m").read_bytes()[:80])
        self.assertIn("drops the alpha channel", told)

    def test_other_outputs_say_how_to_keep_it(self):
        coded, _ = self.encode(self.make_images("in.%02d.png", "-pix_fmt", "rgba64be"))
        told = self.succeed("decode", coded, self.path("out.mov")).stderr
        self.assertIn("converts 4:4:4 to 4:2:2; --fourcc b64A keeps it", told)


if __name__ == "__main__":
    unittest.main()

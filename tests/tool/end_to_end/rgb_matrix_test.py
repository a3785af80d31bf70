# SPDX-License-Identifier: BSD-2-Clause
"""The matrix between RGB and YCbCr: chosen for video that states none, and stated after RGB was
converted."""
import json
import struct

from image_output_test import rgb48
from tool import ToolTest, ffmpeg, probe

WIDTH = 32
OPAQUE = 0xffff
# A saturated colour, for which matrices differ by thousands.
Y, CB, CR = 0x60, 0x70, 0xb0


def rgb_of(red, blue):
    """Returns the colour in 16 bits, with a matrix of these weights."""
    luma = (Y - 16) / 219
    r = luma + 2 * (1 - red) * (CR - 128) / 224
    b = luma + 2 * (1 - blue) * (CB - 128) / 224
    g = (luma - red * r - blue * b) / (1 - red - blue)
    return [65535 * value for value in (r, g, b)]


class UnlabelledVideo(ToolTest):
    """A picture of one colour, decoded to RGB in every way."""

    def encode(self, height, *options):
        raw, encoded = self.path("raw.uyvy"), self.path("encoded.mov")
        raw.write_bytes(bytes((CB, Y, CR, Y)) * (WIDTH // 2 * height))
        self.succeed("encode", "-y", "--fourcc", "uyvy", "--size", f"{WIDTH}x{height}", "--rate",
                     "25", *options, raw, encoded)
        return encoded

    def decode(self, encoded, *options):
        """Returns the first pixel of b64A and of PNG, and the notes."""
        raw, image = self.path("decoded.b64a"), self.path("a%d.png")
        notes = [self.succeed("decode", "-y", *options, encoded, output).stderr
                 for output in (raw, image)]
        packed = struct.unpack_from(">4H", raw.read_bytes())[1:]
        return list(packed), list(rgb48(self.path("a0.png"))[:3]), notes

    def assert_near(self, first, second, tolerance):
        self.assertLessEqual(max(abs(a - b) for a, b in zip(first, second, strict=True)), tolerance,
                             (first, second))

    def test_has_the_usual_matrix_of_its_height_in_every_output(self):
        for height, weights, name in ((576, (0.299, 0.114), "6 (bt601)"),
                                      (720, (0.2126, 0.0722), "1 (bt709)")):
            # 4:2:2 has 10 bits, whose steps are 64 and up to twice as much in RGB.
            for variant, step in (("4444xq", 2), ("hq", 130)):
                with self.subTest(height=height, variant=variant):
                    encoded = self.encode(height, "--variant", variant)
                    self.assertNotIn("color_space", probe(encoded))
                    packed, image, notes = self.decode(encoded)
                    self.assert_near(packed, image, step)
                    self.assert_near(packed, rgb_of(*weights), 200)
                    for note in notes:
                        self.assertIn(f"{encoded}: pictures are converted to RGB with the matrix "
                                      f"{name}; 'vixprores copy --matrix' labels the video", note)

    def test_a_label_counts_and_needs_no_note(self):
        encoded = self.encode(576, "--variant", "4444xq", "--matrix", "bt709")
        packed, image, notes = self.decode(encoded)
        self.assert_near(packed, image, 2)
        self.assert_near(packed, rgb_of(0.2126, 0.0722), 200)
        self.assertNotIn("converted to RGB", "".join(notes))

    def test_one_field_has_the_colours_of_the_frame(self):
        encoded = self.encode(736, "--variant", "hq", "--fields", "top")
        _, image, _ = self.decode(encoded)
        self.succeed("decode", "--skip-field", encoded, self.path("field%d.png"))
        self.assertEqual(list(rgb48(self.path("field0.png"))[:3]), image)


class StatedMatrix(ToolTest):
    """RGB is labelled with the matrix that it was converted with."""
    RGB = (9000, 30000, 52000)

    def setUp(self):
        super().setUp()
        self.encoded = self.path("encoded.mov")

    def packed(self):
        path = self.path("pictures.b64a")
        path.write_bytes(struct.pack(">4H", OPAQUE, *self.RGB) * (WIDTH * 32))
        return ("--fourcc", "b64a", "--size", f"{WIDTH}x32", "--rate", "25"), path

    def footage(self):
        raw, path = self.path("pictures.rgb"), self.path("pictures.mkv")
        raw.write_bytes(struct.pack("<3H", *self.RGB) * (WIDTH * 32))
        ffmpeg("-f", "rawvideo", "-pix_fmt", "rgb48le", "-s", f"{WIDTH}x32", "-r", "25", "-i", raw,
               "-pix_fmt", "gbrp16le", "-c:v", "ffv1", path)
        return (), path

    def images(self):
        _, footage = self.footage()
        ffmpeg("-i", footage, self.path("image.%d.png"))
        return ("--rate", "25"), self.path("image.%d.png")

    def test_is_the_one_that_the_pictures_were_converted_with(self):
        for source in (self.packed, self.footage, self.images):
            for matrix, stated, name in (("bt709", "bt709", "1 (bt709)\n"),
                                         ("bt2020", "bt2020nc", "9 (bt2020)\n"),
                                         ("bt2020-cl", "bt2020nc",
                                          "9 (bt2020) in place of 10 (bt2020-cl)\n")):
                with self.subTest(source=source.__name__, matrix=matrix):
                    options, path = source()
                    result = self.succeed("encode", "-y", "--json", "--verify", "--variant",
                                          "4444xq", *options, "--matrix", matrix, path,
                                          self.encoded)
                    self.assertEqual(probe(self.encoded)["color_space"], stated)
                    self.assertIn(f"{path}: RGB pictures are converted with the matrix {name}",
                                  result.stderr)
                    quality = json.loads(result.stdout)["verification"]["psnr"]
                    for key in ("y", "cb", "cr"):
                        self.assertTrue(quality[key] is None or quality[key] > 60, quality)

    def test_is_refused_where_it_has_no_weights(self):
        for source in (self.packed, self.footage, self.images):
            for matrix in ("rgb", "ycgco", "smpte240m", "fcc"):
                with self.subTest(source=source.__name__, matrix=matrix):
                    options, path = source()
                    self.fail_with(2, [str(path), f"({matrix})", "choose one of bt709", "bt2020-cl"],
                                   "encode", "--variant", "4444xq", *options, "--matrix", matrix,
                                   path, self.encoded)

    def test_describes_the_source_of_a_conversion_of_colours(self):
        _, path = self.footage()
        self.succeed("encode", "--color", "bt709", "--matrix", "rgb", "--convert-color", "bt2020",
                     path, self.encoded)
        self.assertEqual(probe(self.encoded)["color_space"], "bt2020nc")

    def test_brings_constant_luminance_back(self):
        options, path = self.packed()
        self.succeed("encode", "--variant", "4444xq", *options, "--matrix", "bt2020-cl", path,
                     self.encoded)
        decoded = self.path("decoded.b64a")
        self.succeed("decode", self.encoded, decoded)
        for found, expected in zip(struct.unpack_from(">4H", decoded.read_bytes())[1:], self.RGB):
            self.assertLessEqual(abs(found - expected), 60)

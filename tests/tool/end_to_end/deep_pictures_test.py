# SPDX-License-Identifier: BSD-2-Clause
"""Checks and pictures of 4444: compare, encode --verify, verify, inspect and thumbs."""
import array
import json
import math
import struct

import mini_mov
from thumbs_test import rgb
from tool import ToolTest, ffmpeg, make_v210, run

WIDTH, HEIGHT, FRAMES = 64, 48, 3
OPAQUE = 0xffff
RAW = ("--fourcc", "y416", "--size", f"{WIDTH}x{HEIGHT}", "--rate", "25")


def gradient(x, y, frame):
    return 257 * (4 * x + (y + frame) % 4)


def y416(alpha=gradient, luma=lambda x, y, frame: 0x2000 + 512 * x + 300 * y + 128 * frame):
    """Returns frames of little-endian A, Y, Cb, Cr."""
    samples = array.array("H")
    for frame in range(FRAMES):
        for y in range(HEIGHT):
            for x in range(WIDTH):
                samples.extend((alpha(x, y, frame), luma(x, y, frame), 0x6000 + 256 * x,
                                0xa000 - 256 * y))
    return samples.tobytes()


def psnr(first, second, component, peak_bits):
    """Compares a component of "Y416" pictures in the depth that it is coded with."""
    shift = 16 - peak_bits
    half, peak = (1 << shift) >> 1, (1 << peak_bits) - 1
    pairs = zip(memoryview(first).cast("H")[component::4], memoryview(second).cast("H")[component::4])
    errors = [min(a + half >> shift, peak) - min(b + half >> shift, peak) for a, b in pairs]
    return 10 * math.log10(peak ** 2 * len(errors) / sum(error * error for error in errors))


class DeepPictures(ToolTest):
    def setUp(self):
        super().setUp()
        self.raw = self.path("raw.y416")
        self.clip = self.path("clip.mov")

    def encode(self, pictures, output, *options):
        self.raw.write_bytes(pictures)
        return self.succeed("encode", "-y", *RAW, "--variant", "4444", *options, self.raw, output)

    def decode(self, path):
        raw = self.path("decoded.y416")
        self.succeed("decode", "-y", "--fourcc", "y416", path, raw)
        return raw.read_bytes()

    def compare(self, reference, distorted, *options):
        return json.loads(
            self.succeed("compare", "--json", *options, reference, distorted).stdout)


class Compare(DeepPictures):
    def setUp(self):
        super().setUp()
        self.other = self.path("other.mov")
        self.encode(y416(), self.clip)

    def test_measures_twelve_bits_and_alpha(self):
        self.encode(y416(lambda x, y, frame: gradient(x, y, frame) ^ (x % 3),
                         lambda x, y, frame: 0x2000 + 500 * x + 310 * y), self.other)
        first, second = self.decode(self.clip), self.decode(self.other)
        report = self.compare(self.clip, self.other)
        self.assertEqual((report["bits"], report["reference"]["bits"]), (12, 12))
        for key, component, bits in (("y", 1, 12), ("alpha", 0, 16)):
            self.assertAlmostEqual(report["psnr"][key]["ofMeanSquaredError"],
                                   psnr(first, second, component, bits), delta=1e-6, msg=key)
        self.assertLess(report["ssim"]["alpha"]["mean"], 1)
        text = self.succeed("compare", self.clip, self.other).stdout
        self.assertIn("3 frames compared in 12 bits of 4:4:4, 0 identical", text)
        self.assertRegex(text, r"\n +alpha +\d")

    def test_finds_one_different_alpha_value(self):
        def changed(x, y, frame):
            return gradient(x, y, frame) + ((x, y, frame) == (5, 7, 1))
        self.encode(y416(changed), self.other)
        report = self.compare(self.clip, self.other, "--html", self.path("page.html"))
        self.assertIsNone(report["psnr"]["all"]["ofMeanSquaredError"])
        self.assertAlmostEqual(report["psnr"]["alpha"]["min"],
                               10 * math.log10(65535 ** 2 * WIDTH * HEIGHT), delta=1e-6)
        self.assertEqual((report["identicalFrames"], report["worstFrames"]), (2, [1]))
        self.assertEqual([report["psnr"][key]["identical"] for key in ("y", "all", "alpha")],
                         [True, True, False])
        self.assertEqual([frame["psnr"]["alpha"] is None for frame in report["frames"]],
                         [True, False, True])
        self.assertIn('"alpha"', self.path("page.html").read_text())

    def test_notes_alpha_of_one_video_alone(self):
        self.encode(y416(), self.other, "--alpha", "none")
        for names in ((self.clip, self.other), (self.other, self.clip)):
            result = self.succeed("compare", "--json", *names)
            self.assertIn(f"{self.clip}: its alpha channel is not compared, because {self.other} "
                          "has none", result.stderr)
            report = json.loads(result.stdout)
            self.assertEqual((report["identical"], sorted(report["psnr"])),
                             (True, ["all", "cb", "cr", "y"]))

    def test_reads_other_video_as_deep(self):
        footage = self.path("footage.mkv")
        ffmpeg("-f", "rawvideo", "-pix_fmt", "ayuv64le", "-s", f"{WIDTH}x{HEIGHT}", "-r", "25",
               "-i", self.raw, "-pix_fmt", "yuva444p16le", "-color_range", "tv", "-c:v", "ffv1",
               footage)
        expected = psnr(y416(), self.decode(self.clip), 1, 12)
        for names in ((footage, self.clip), (self.clip, footage)):
            report = self.compare(*names)
            self.assertEqual(report["bits"], 12)
            self.assertAlmostEqual(report["psnr"]["y"]["ofMeanSquaredError"], expected, delta=1e-6)
            self.assertIsNone(report["psnr"]["alpha"]["ofMeanSquaredError"])

    def test_compares_packed_422_with_4444(self):
        source = self.path("source.mov")
        make_v210(source, size="64x48", frames=FRAMES)
        self.succeed("encode", "--variant", "4444xq", source, self.other)
        for names in ((source, self.other), (self.other, source)):
            report = self.compare(*names)
            self.assertEqual((report["bits"], "alpha" in report["psnr"]), (12, False))
            self.assertGreater(report["psnr"]["all"]["ofMeanSquaredError"], 40)
        pipe = self.path("source.y4m")
        ffmpeg("-i", source, "-strict", "-1", pipe)
        result = self.succeed("compare", "--json", "-", self.other, input=pipe.read_bytes(),
                              text=False)
        self.assertEqual(json.loads(result.stdout)["psnr"],
                         self.compare(source, self.other)["psnr"])

    def test_4_2_2_is_compared_as_it_is(self):
        source = self.path("source.mov")
        make_v210(source, size="64x48", frames=FRAMES)
        self.succeed("encode", source, self.other)
        report = self.compare(source, self.other)
        self.assertEqual((report["bits"], sorted(report["psnr"])), (10, ["all", "cb", "cr", "y"]))
        self.assertNotIn("4:4:4", self.succeed("compare", source, self.other).stdout)


class VerifiedEncoding(DeepPictures):
    def test_compares_colours_and_alpha(self):
        for bits in ("16", "8"):
            with self.subTest(bits):
                pictures = y416(lambda x, y, frame: 1000 * x + y)
                report = json.loads(self.encode(pictures, self.clip, "--alpha", bits, "--verify",
                                                "--json").stdout)["verification"]["psnr"]
                decoded = self.decode(self.clip)
                self.assertAlmostEqual(report["y"], psnr(pictures, decoded, 1, 12), delta=1e-6)
                if bits == "16":
                    self.assertIsNone(report["alpha"])
                else:
                    self.assertAlmostEqual(report["alpha"], psnr(pictures, decoded, 0, 16),
                                           delta=1e-6)
        self.assertRegex(self.encode(pictures, self.clip, "--verify").stderr,
                         r"verified: PSNR .*, Cr [0-9.]+ dB, alpha identical\), worst frame")
        self.assertNotIn(", alpha",
                         self.encode(pictures, self.clip, "--verify", "--alpha", "none").stderr)

    def test_compares_rgb_as_it_is_encoded(self):
        self.encode(y416(), self.clip)
        rgb_clip = self.path("rgb.mov")
        self.succeed("decode", "-y", "--fourcc", "b64a", self.clip, rgb_clip)
        for options in ((), ("--matrix", "bt2020"), ("--matrix", "bt601")):
            with self.subTest(options):
                result = self.succeed("encode", "-y", "--json", "--verify", "--variant", "4444xq",
                                      *options, rgb_clip, self.clip)
                report = json.loads(result.stdout)["verification"]["psnr"]
                for key in ("y", "cb", "cr"):
                    self.assertGreater(report[key], 55, key)
                self.assertIsNone(report["alpha"])


class Verify(DeepPictures):
    def test_expects_coded_bits_of_alpha(self):
        for bits in ("none", "8", "16"):
            with self.subTest(bits):
                self.encode(y416(), self.clip, "--alpha", bits)
                self.succeed("verify", "--expect", f"variant=4444,alpha={bits}", self.clip)
                other = "8" if bits == "16" else "16"
                result = run("verify", "--json", "--expect", f"alpha={other}", self.clip)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(json.loads(result.stdout)["files"][0]["shortfalls"],
                                 [{"property": "alpha", "found": bits, "expected": other}])

    def test_finds_damaged_alpha(self):
        self.encode(y416(lambda x, y, frame: 1000 * x + y), self.clip)
        frames = [bytearray(frame) for frame in mini_mov.samples(self.clip)]
        damaged = self.path("damaged.mov")
        code = {"code": b"ap4h", "width": WIDTH, "height": HEIGHT}
        mini_mov.write(damaged, frames, **code)  # without checksums
        self.succeed("verify", damaged)
        cut_alpha(frames[1])
        mini_mov.write(damaged, frames, **code)
        result = run("verify", "--json", damaged)
        self.assertEqual(result.returncode, 1)
        damage, = json.loads(result.stdout)["files"][0]["damage"]
        self.assertEqual((damage["frame"], damage["faults"]), (1, []))
        self.assertEqual([(slice_["row"], slice_["slice"]) for slice_ in damage["slices"]], [(0, 0)])
        self.assertIn(": 1 slice with damaged alpha (picture 1 row 0 slice 0)",
                      run("verify", damaged).stdout)
        self.assertIn("has 1 slice with damaged alpha, which is made opaque",
                      self.succeed("compare", self.clip, damaged).stdout)
        self.assert_treats(damaged, "has 1 slice with damaged alpha", "made opaque there")
        self.assert_treats(damaged, "has 1 slice with damaged alpha", "made opaque there",
                           "encode", "--variant", "4444")
        result = self.succeed("decode", "-y", "--on-error", "conceal", "--fourcc", "v210", damaged,
                              self.path("out.mov"))
        self.assertNotIn("frame 1", result.stderr)  # 4:2:2 has no alpha to decode

    def test_tells_what_is_done_to_a_changed_frame(self):
        self.encode(y416(lambda x, y, frame: 1000 * x + y), self.clip)
        position, size = mini_mov.places(self.clip)[1]
        data = bytearray(self.clip.read_bytes())
        data[position + 20] ^= 1  # in the encoder identifier: only the checksum shows it
        self.clip.write_bytes(data)
        self.assert_treats(self.clip, "is not what was written: its checksum differs",
                           "kept as decoded")
        self.encode(y416(), self.clip)
        mini_mov.break_slice(self.clip, 1)
        self.assert_treats(self.clip, "has 1 damaged slice", "concealed")

    def assert_treats(self, clip, what, treatment, *command):
        out = self.path("out.y416") if not command else self.path("out.mov")
        command = command or ("decode", "--fourcc", "y416")
        result = self.succeed(*command, "-y", "--json", "--on-error", "conceal", clip, out)
        damage, = json.loads(result.stdout)["damage"]
        self.assertEqual((damage["frame"], damage["what"], damage["treatment"]),
                         (1, what, treatment))
        result = self.succeed(*command, "-y", "--on-error", "conceal", clip, out)
        self.assertIn(f": {what}; {treatment}\n", result.stderr)


def cut_alpha(frame):
    """Leaves one byte of alpha in the first slice, and gives the others to Cr, as zeros."""
    table = 8 + struct.unpack_from(">H", frame, 8)[0] + 8
    slices = struct.unpack_from(">H", frame, table - 3)[0]
    first = table + 2 * slices
    size = struct.unpack_from(">H", frame, table)[0]
    y, cb, cr = struct.unpack_from(">3H", frame, first + 2)
    colours = (frame[first] >> 3) + y + cb + cr
    frame[first + colours:first + size] = bytes(size - colours)
    struct.pack_into(">H", frame, first + 6, cr + size - colours - 1)


def alpha_bytes(frame):
    """Slices with alpha also state the size of Cr, in two bytes."""
    return frame["componentBytes"]["alpha"] + 2 * frame["slices"]


class Inspect(DeepPictures):
    def test_prints_chroma_depth_and_alpha(self):
        for bits, word in (("16", "alpha of 16 bits"), ("8", "alpha of 8 bits"), ("none", "no alpha")):
            with self.subTest(bits):
                self.encode(y416(), self.clip, "--alpha", bits)
                report = json.loads(self.succeed("inspect", "--json", self.clip).stdout)
                self.assertEqual((report["format"]["chromaFormat"], report["format"]["bits"]),
                                 ("4:4:4", 12))
                text = self.succeed("inspect", self.clip).stdout
                self.assertIn(f"ProRes 4444 (ap4h), 64x48, progressive, 25 fps, 4:4:4 in 12 bits, "
                              f"{word}\n", text)
                self.assertEqual("alphaShare" in report["size"], bits != "none")
                if bits != "none":
                    frames = report["frames"]
                    share = (sum(map(alpha_bytes, frames))
                             / sum(frame["bytes"] for frame in frames))
                    self.assertAlmostEqual(report["size"]["alphaShare"], share)
                    self.assertIn(f"{100 * share:.1f} % of the bytes", text)

    def test_compares_bytes_without_alpha_with_the_target(self):
        self.encode(y416(lambda x, y, frame: 9973 * x * y % 65536), self.clip)
        report = json.loads(self.succeed("inspect", "--json", self.clip).stdout)
        size, frames = report["size"], report["frames"]
        colours = [frame["bytes"] - alpha_bytes(frame) for frame in frames]
        for frame, bytes_ in zip(frames, colours):
            self.assertAlmostEqual(frame["shareOfTarget"], bytes_ / size["targetBytes"])
        mean = sum(colours) / len(colours)
        self.assertLess(mean, 0.9 * size["meanBytes"])
        self.assertLessEqual(mean, size["targetBytes"])
        self.assertAlmostEqual(size["meanShareOfTarget"], mean / size["targetBytes"])
        self.assertAlmostEqual(size["meanAlphaBytes"], size["meanBytes"] - mean)
        text = self.succeed("inspect", self.clip).stdout
        self.assertIn(f"mean without alpha {100 * mean / size['targetBytes']:.1f} % of the "
                      f"variant's {size['targetBytes']}\n", text)
        self.assertIn(f"mean {size['meanAlphaBytes']:.0f} bytes", text)

    def test_shows_pictures_with_alpha_on_its_page(self):
        self.encode(y416(lambda *_: 0), self.clip)
        page = self.path("page.html")
        self.succeed("inspect", "--html", page, self.clip)
        self.assertIn("data:image/png", page.read_text())


class Thumbs(DeepPictures):
    def still(self, clip, *options):
        stills = self.path("stills")
        self.succeed("thumbs", "--overwrite", "--frames", "0-0", *options, clip, "-o", stills)
        return rgb(stills / "frame-000000.png")

    def test_lays_pictures_with_alpha_over_a_checkerboard(self):
        self.encode(y416(lambda *_: 0), self.clip)
        board = b"".join(bytes([245 if (x // 16 + y // 16) % 2 == 0 else 220]) * 3
                         for y in range(HEIGHT) for x in range(WIDTH))
        still = self.still(self.clip)
        self.assertLessEqual(max(abs(a - b) for a, b in zip(still, board, strict=True)), 1)
        half = self.still(self.clip, "--width", str(WIDTH // 2))
        for x, grey in ((8, 245), (24, 220)):
            self.assertAlmostEqual(half[3 * (WIDTH // 2 * 8 + x)], grey, delta=1)

    def test_opaque_pictures_show_their_colours(self):
        self.encode(y416(lambda *_: OPAQUE), self.clip)
        opaque = self.still(self.clip)
        self.encode(y416(), self.clip, "--alpha", "none")
        plain = self.still(self.clip)
        # They differ by the filters of chroma, 4:4:4 against 4:2:2.
        self.assertLess(max(abs(a - b) for a, b in zip(opaque, plain, strict=True)), 12)

    def test_takes_alpha_of_other_video(self):
        self.encode(y416(lambda *_: 0), self.clip)
        expected = self.still(self.clip)
        packed = self.path("packed.mov")
        self.succeed("decode", "--fourcc", "b64a", self.clip, packed)
        self.assertEqual(self.still(packed), expected)

    def test_takes_alpha_of_image_sequences(self):
        self.encode(y416(lambda *_: 0), self.clip)
        images = self.path("image-%04d.png")
        ffmpeg("-f", "rawvideo", "-pix_fmt", "ayuv64le", "-s", f"{WIDTH}x{HEIGHT}", "-r", "25",
               "-i", self.raw, "-pix_fmt", "rgba64be", "-start_number", "0", images)
        self.assertEqual(self.still(images), self.still(self.clip))
        report = self.compare(images, self.clip)
        self.assertEqual((report["bits"], report["psnr"]["alpha"]["ofMeanSquaredError"]),
                         (12, None))

# SPDX-License-Identifier: BSD-2-Clause
"""Image sequences as output, and colours on the way to ProRes and back."""
import json
import resource
import struct
import subprocess
import unittest

from tool import TIMEOUT, ToolTest, ffmpeg, make_v210, run


def rgb48(path, depth=16):
    """Returns the samples of an image in 16 bits, as an independent program reads them."""
    pixels = "rgb24" if depth == 8 else "rgb48le"
    data = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-f", "rawvideo",
                           "-pix_fmt", pixels, "-"], check=True, capture_output=True,
                          timeout=TIMEOUT).stdout
    return [257 * value for value in data] if depth == 8 else memoryview(data).cast("H")


class ImageOutput(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded = self.path("clip.mov"), self.path("encoded.mov")
        make_v210(self.clip, "-timecode", "10:00:00:00", frames=4, size="96x64")
        self.succeed("encode", "--variant", "hq", "--reel", "A001", self.clip, self.encoded)
        self.out = self.path("out")
        self.out.mkdir()

    def names(self):
        return sorted(path.name for path in self.out.iterdir())

    def test_every_format_shows_the_picture(self):
        self.succeed("decode", self.encoded, self.out / "a.%04d.png")
        expected = rgb48(self.out / "a.0002.png")
        for extension, depth in (("tif", 16), ("dpx", 10), ("tga", 8), ("jpg", 8)):
            with self.subTest(extension):
                self.succeed("decode", self.encoded, self.out / f"b.####.{extension}")
                found = rgb48(self.out / f"b.0002.{extension}", depth)
                errors = [abs(a - b) for a, b in zip(found, expected, strict=True)]
                if extension == "jpg":
                    self.assertLess(sum(errors) / len(errors), 65535 / 100)
                else:
                    self.assertLessEqual(max(errors), 65536 >> depth)

    def test_a_full_disk_leaves_no_unfinished_image(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (4000, 4000))

        for extension in ("dpx", "png", "tif", "tga", "jpg"):
            with self.subTest(extension):
                result = run("decode", self.encoded, self.out / f"a.%04d.{extension}",
                             preexec_fn=limit)
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"a.0000.{extension}: cannot be written: File too large",
                              result.stderr)
                self.assertEqual(self.names(), [])

    def test_numbers_are_those_of_the_frames_or_as_asked(self):
        self.succeed("decode", "--frames", "1-2", self.encoded, self.out / "a%d.png")
        self.assertEqual(self.names(), ["a1.png", "a2.png"])
        self.succeed("decode", "--frames", "1-2", "--start-number", "1001", self.encoded,
                     self.out / "50%%_####.png")
        self.assertEqual(self.names(), ["50%_1001.png", "50%_1002.png", "a1.png", "a2.png"])
        self.assertEqual((self.out / "50%_1002.png").read_bytes(),
                         (self.out / "a2.png").read_bytes())

    def test_threads_do_not_change_the_files(self):
        self.succeed("decode", "--threads", "1", self.encoded, self.out / "a%d.png")
        self.succeed("decode", "--threads", "4", self.encoded, self.out / "b%d.png")
        for i in range(4):
            self.assert_same_bytes((self.out / f"a{i}.png").read_bytes(),
                                   (self.out / f"b{i}.png").read_bytes())

    def test_labels_come_back(self):
        for extension, spaces in (("dpx", []), ("exr", ["--output-color", "ACEScg"])):
            with self.subTest(extension):
                images = self.out / f"a.%d.{extension}"
                self.succeed("decode", *spaces, self.encoded, images)
                again = ["--input-color", "ACEScg", "--output-color", "Rec.709"] if spaces else []
                report = json.loads(self.succeed("encode", "--json", *again, "--frames", "2-3",
                                                 images, self.path(f"{extension}.mov")).stdout)
                self.assertEqual(report["timecode"], "10:00:00:02")
                tags = subprocess.run(
                    ["ffprobe", "-v", "error", "-show_streams", self.path(f"{extension}.mov")],
                    check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout
                self.assertIn("r_frame_rate=25/1", tags)
                self.assertIn("TAG:reel_name=A001", tags)

    def test_existing_files_are_kept(self):
        kept = self.out / "a1.png"
        kept.write_text("precious")
        result = run("decode", self.encoded, self.out / "a%d.png")
        self.assertEqual(result.returncode, 1)
        self.assertIn("a1.png exists; --overwrite replaces it", result.stderr)
        self.assertIn("1 frame before that is kept", result.stderr)
        self.assertEqual((kept.read_text(), self.names()), ("precious", ["a0.png", "a1.png"]))
        self.succeed("decode", "--overwrite", self.encoded, self.out / "a%d.png")
        self.assertEqual(self.names(), [f"a{i}.png" for i in range(4)])
        self.assertTrue(kept.read_bytes().startswith(b"\x89PNG"))

    def test_a_damaged_frame_is_repeated_on_request(self):
        data = bytearray(self.encoded.read_bytes())
        second = [i for i in range(len(data)) if data[i:i + 4] == b"icpf"][2]
        data[second:second + 4] = b"none"
        self.encoded.write_bytes(data)
        result = run("decode", self.encoded, self.out / "a%d.png")
        self.assertEqual((result.returncode, self.names()), (1, ["a0.png", "a1.png"]))
        self.succeed("decode", "--on-error", "skip", self.encoded, self.out / "b%d.png")
        self.assertEqual(self.names()[2:], ["b0.png", "b1.png", "b3.png"])
        self.succeed("decode", "--on-error", "conceal", self.encoded, self.out / "c%d.png")
        self.assertEqual(self.names()[5:], [f"c{i}.png" for i in range(4)])
        self.assert_same_bytes((self.out / "c1.png").read_bytes(),
                               (self.out / "c2.png").read_bytes())

    def test_names_without_a_number_are_refused(self):
        for name in ("a.png", "a.*.png", "%02d_%02d.png"):
            self.fail_with(2, [name], "decode", self.encoded, self.out / name)

    def test_linear_files_need_a_colour_space(self):
        self.fail_with(2, ["--output-color ACEScg"], "decode", self.encoded, self.out / "a%d.exr")

    def test_converted_colours_are_not_lost(self):
        video = self.path("labelled.mov")
        self.succeed("copy", "--color", "bt709", self.encoded, video)
        for name, spaces, isLost in (("a%d.png", (), True),
                                     ("a%d.exr", ("--output-color", "ACEScg"), False)):
            notes = self.succeed("decode", *spaces, video, self.out / name).stderr
            self.assertEqual("cannot keep the colour" in notes, isLost, notes)

    def test_options_of_images_are_refused_for_others(self):
        for option in ("--start-number", "--output-color"):
            self.fail_with(2, ["are for images"], "decode", option, "1", self.encoded,
                           self.path("x.y4m"))

    def test_a_missing_folder_is_named(self):
        self.fail_with(1, ["nowhere", "No such file"], "decode", self.encoded,
                       self.path("nowhere/a%d.png"))


class ColoursAndBack(ToolTest):
    PATCH = 32

    def make_chart(self, colours):
        """Makes an image with a row of patches of 16-bit colours; returns its path."""
        row = b"".join(struct.pack("<3H", *colour) * self.PATCH for colour in colours)
        path = self.path("chart.1.png")
        subprocess.run(["ffmpeg", "-v", "error", "-f", "rawvideo", "-pix_fmt", "rgb48le", "-s",
                        f"{self.PATCH * len(colours)}x64", "-i", "-", path], input=row * 64,
                       check=True, timeout=TIMEOUT)
        return path

    def patches(self, path, count):
        """Returns the mean of the middle of each patch."""
        samples = rgb48(path)
        width = 3 * self.PATCH * count
        means = []
        for patch in range(count):
            columns = range(patch * self.PATCH + 12, patch * self.PATCH + 20)
            means.append([sum(samples[y * width + 3 * x + c] for y in range(24, 40)
                              for x in columns) / (16 * 8) for c in range(3)])
        return means

    def check(self, colours):
        """No patch may shift by a code value of 10 bits, and the mean error may not exceed that of
        an independent conversion of the same ProRes variant."""
        chart = self.make_chart(colours)
        encoded = self.path("encoded.mov")
        self.succeed("encode", "--variant", "hq", "--rate", "24", "--matrix", "bt709", chart,
                     encoded)
        self.succeed("decode", encoded, self.path("back.%d.png"))
        ours = self.patches(self.path("back.0.png"), len(colours))
        to_video = "zscale=matrix=709:range=limited:filter=spline36:dither=none,format=yuv422p10le"
        to_rgb = ("zscale=matrixin=709:matrix=gbr:rangein=limited:range=full:filter=spline36,"
                  "format=gbrp16le,format=rgb48le")
        ffmpeg("-i", chart, "-vf", to_video, "-c:v", "prores_ks", "-profile:v", "3",
               self.path("reference.mov"))
        ffmpeg("-i", self.path("reference.mov"), "-vf", to_rgb, self.path("reference.png"))
        theirs = self.patches(self.path("reference.png"), len(colours))
        shifts = [[abs(a - b) for a, b in zip(found, colour)]
                  for found, colour in zip(ours, colours, strict=True)]
        self.assertLessEqual(max(map(max, shifts)), 65535 / 1023, shifts)
        mean = sum(map(sum, shifts)) / len(shifts)
        reference = sum(abs(a - b) for found, colour in zip(theirs, colours)
                        for a, b in zip(found, colour)) / len(shifts)
        self.assertLessEqual(mean, reference)

    def test_bars_keep_their_colours(self):
        level = 49151  # 75 %
        self.check([(level * (i >> 1 & 1), level * (i >> 2 & 1), level * (i & 1))
                    for i in range(7, -1, -1)])

    def test_chips_of_16_bits_keep_their_values(self):
        self.check([(value, value, value) for value in range(1000, 65000, 5333)])

    def test_muted_colours_keep_their_values(self):
        self.check([(12345, 23456, 34567), (40000, 30001, 20002), (33333, 44444, 22222),
                    (60001, 50003, 55007), (9001, 7003, 15013), (52017, 31013, 28111)])


if __name__ == "__main__":
    unittest.main()

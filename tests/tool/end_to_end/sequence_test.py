# SPDX-License-Identifier: BSD-2-Clause
"""Image sequences as input."""
import json
import os
import re
import struct
import subprocess
import unittest

from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, planes, probe, run

SIZE = "96x64"


def mean_difference(first, second):
    """Returns the mean difference of two sequences of 16-bit samples."""
    pairs = zip(memoryview(first).cast("H"), memoryview(second).cast("H"), strict=True)
    return sum(abs(a - b) for a, b in pairs) / (len(first) / 2)


class SequenceTest(ToolTest):
    def make_images(self, pattern, *output, first=1001, frames=5, size=SIZE, pixels="rgb24",
                    source="testsrc2"):
        """Makes files of a pattern with %d; returns the pattern as a path."""
        path = self.path(pattern)
        path.parent.mkdir(exist_ok=True)
        ffmpeg("-f", "lavfi", "-i", f"{source}=size={size}:rate=24", "-frames:v", frames, "-pix_fmt",
               pixels, *output, "-start_number", first, path)
        return path

    def encode(self, source, *options):
        """Encodes at 24 frames per second, if `options` do not say otherwise; returns the report."""
        rate = [] if "--rate" in options else ["--rate", "24"]
        result = self.succeed("encode", "--overwrite", "--json", *rate, *options, source,
                              self.path("out.mov"))
        return json.loads(result.stdout)

    def pictures(self, source, *options):
        """Returns the encoded frames, decoded one by one."""
        self.encode(source, "--variant", "hq", *options)
        data = planes(self.path("out.mov"))
        width, height = map(int, SIZE.split("x"))
        size = width * height * 4
        return [data[i:i + size] for i in range(0, len(data), size)]


class Formats(SequenceTest):
    def test_all_formats_give_the_same_pictures(self):
        source = self.make_images("png/a.%04d.png")
        expected = self.pictures(source)
        self.assertEqual(len(expected), 5)
        for extension, output in (("dpx", []), ("tif", []), ("tga", []),
                                  ("exr", ["-pix_fmt", "gbrpf32le"]), ("jpg", ["-q:v", "1"])):
            with self.subTest(extension):
                images = self.make_images(f"{extension}/a.%04d.{extension}", *output)
                spaces = ["--input-color", "Rec.709", "--output-color", "rec709", "--matrix", "bt601"]
                found = self.pictures(images, *(spaces if extension == "exr" else []))
                self.assertEqual(len(found), 5)
                if extension in ("exr", "jpg"):  # half floats; lossy
                    error = mean_difference(b"".join(found), b"".join(expected))
                    self.assertLess(error, 12)
                else:
                    self.assertEqual(found, expected)

    def test_sixteen_bits_are_kept(self):
        images = self.make_images("deep/a.%d.png", pixels="rgb48be", first=0)
        self.assertEqual(len(self.pictures(images)), 5)

    def test_processor_levels_and_threads_do_not_change_the_file(self):
        """Colours are converted by a library of its own, which uses the mathematics of the system."""
        images = self.make_images("deep/a.%d.png", pixels="rgb48be")
        spaces = ["--input-color", "ACEScct", "--output-color", "sRGB"]
        levels = [["--cpu", level] for level in ("scalar", "sse4", "avx2")]
        files = []
        for options in ([], ["--threads", "1"], *levels):
            result = run("encode", "--overwrite", "--rate", "24", *spaces, *options, images,
                         self.path("out.mov"))
            if "this processor has no such instructions" not in result.stderr:
                self.assertEqual(result.returncode, 0, result.stderr)
                files.append(planes(self.path("out.mov")))
        # The system's mathematics without the instructions of newer processors.
        lacking = "glibc.cpu.hwcaps=-AVX2,-AVX2_Usable,-FMA,-FMA_Usable"
        older = {**os.environ, "GLIBC_TUNABLES": lacking}
        result = run("encode", "--overwrite", "--rate", "24", *spaces, images, self.path("out.mov"),
                     env=older)
        self.assertEqual(result.returncode, 0, result.stderr)
        files.append(planes(self.path("out.mov")))
        self.assertGreaterEqual(len(files), 3)
        self.assertEqual(len(set(files)), 1)

    def test_grey_pictures_have_neutral_chroma(self):
        images = self.make_images("grey/a.%d.png", pixels="gray")
        chroma = memoryview(self.pictures(images)[0]).cast("H")[96 * 64:]
        self.assertEqual(set(chroma), {512})

    def test_hd_pictures_get_the_matrix_of_hd(self):
        images = self.make_images("hd/a.%d.png", size="1280x720", frames=1)
        result = run("encode", "--rate", "25", images, self.path("hd.mov"))
        self.assertIn("matrix 1 (bt709)", result.stderr)
        self.assertEqual(probe(self.path("hd.mov"))["color_space"], "bt709")


class Numbers(SequenceTest):
    def test_every_way_to_name_them_gives_the_same(self):
        images = self.make_images("s/a.%04d.png")
        expected = self.pictures(images)
        for name in ("s/a.####.png", "s/a.*.png", "s", "s/"):
            with self.subTest(name):
                self.assertEqual(self.pictures(self.folder / name), expected)

    def test_frames_are_numbers_of_files(self):
        images = self.make_images("s/a.%04d.png")
        expected = self.pictures(images)
        self.assertEqual(self.pictures(images, "--frames", "1002-1003"), expected[1:3])
        self.assertEqual(self.pictures(images, "--frames", "1004-"), expected[3:])
        self.assertEqual(self.pictures(images, "--frames", "1005"), expected[4:])
        for frames in ("0-3", "1000-1002", "1004-1006", "1006-"):
            self.fail_with(1, ["has the numbers 1001-1005", frames], "encode", "--rate", "24",
                           "--frames", frames, images, self.path("x.mov"))

    def test_frames_are_timecodes(self):
        images = self.make_images("s/a.%04d.png")
        expected = self.pictures(images)
        self.assertEqual(self.pictures(images, "--timecode", "10:00:00:00", "--frames",
                                       "10:00:00:01-10:00:00:02"), expected[1:3])

    def test_timecode_counts_from_the_number(self):
        images = self.make_images("s/a.%04d.png")
        report = self.encode(images, "--timecode", "frame")
        self.assertEqual(report["timecode"], "00:00:41:17")
        report = self.encode(images, "--timecode", "frame", "--frames", "1003-1004")
        self.assertEqual(report["timecode"], "00:00:41:19")

    def test_missing_numbers_are_listed(self):
        images = self.make_images("s/a.%04d.png", frames=9)
        for number in (1002, 1005, 1006):
            self.path(f"s/a.{number}.png").unlink()
        self.fail_with(1, ["numbers 1002 and 1005-1006", "--missing hold"], "encode", "--rate",
                       "24", images, self.path("x.mov"))
        self.assertEqual(self.encode(images, "--frames", "1003-1004")["frames"], 2)

    def test_missing_numbers_are_filled_on_request(self):
        images = self.make_images("s/a.%04d.png")
        whole = self.pictures(images)
        for number in (1003, 1004):
            self.path(f"s/a.{number}.png").unlink()
        held = self.pictures(images, "--missing", "hold")
        self.assertEqual(held, [whole[0], whole[1], whole[1], whole[1], whole[4]])
        filled = self.pictures(images, "--missing", "black")
        self.assertEqual([filled[i] for i in (0, 1, 4)], [whole[i] for i in (0, 1, 4)])
        luma = memoryview(filled[2]).cast("H")[:96 * 64]
        self.assertEqual((filled[2], set(luma)), (filled[3], {64}))

    def test_filled_numbers_are_listed(self):
        images = self.make_images("s/a.%04d.png", frames=9)
        for number in (1002, 1005, 1006):
            self.path(f"s/a.{number}.png").unlink()
        for missing, stands_in in (("hold", "pictures before them"), ("black", "black pictures")):
            result = self.succeed("encode", "--rate", "24", "--frames", "1003-1007", "--missing",
                                  missing, images, self.path(missing + ".mov"))
            self.assertRegex(result.stderr, stands_in + r" stand .* the numbers 1005-1006\n")
        whole = self.succeed("encode", "--rate", "24", "--frames", "1007-", "--missing", "hold",
                             images, self.path("whole.mov"))
        self.assertNotIn("stand", whole.stderr)

    def test_a_far_number_does_not_make_an_endless_clip(self):
        self.make_images("s/a.%d.png", frames=2)
        self.path("s/a.1002.png").rename(self.path("s/a.999999999.png"))
        self.fail_with(1, ["too many missing files", "--frames"], "encode", "--rate", "24",
                       "--missing", "hold", self.path("s/a.%d.png"), self.path("x.mov"))


class OtherCommands(SequenceTest):
    def compare(self, *arguments):
        return json.loads(self.succeed("compare", "--json", *arguments).stdout)

    def test_compare_takes_sequences(self):
        images = self.make_images("s/a.%04d.png")
        self.encode(images, "--variant", "hq")
        clip = self.path("out.mov")
        report = self.compare(images, clip)
        self.assertEqual(len(report["frames"]), 5)
        self.assertGreater(report["psnr"]["all"]["ofMeanSquaredError"], 45)
        self.assertEqual(report["psnr"], self.compare(clip, images)["psnr"])
        self.assertIs(self.compare(images, self.path("s"))["identical"], True)

    def test_compare_converts_a_sequence_with_the_matrix_of_the_video(self):
        images = self.make_images("s/a.%04d.png")
        self.encode(images, "--variant", "hq", "--matrix", "bt2020")
        for pair in ((images, self.path("out.mov")), (self.path("out.mov"), images)):
            report = self.compare(*pair)
            self.assertGreater(report["psnr"]["all"]["ofMeanSquaredError"], 45)

    def test_compare_counts_files_by_their_numbers(self):
        images = self.make_images("s/a.%04d.png")
        self.encode(images, "--variant", "hq")
        report = self.compare(images, self.path("out.mov"), "--frames", "1002-1003")
        self.assertEqual([frame["frame"] for frame in report["frames"]], [1, 2])
        report = self.compare(self.path("out.mov"), images, "--frames", "1-2")
        self.assertEqual([frame["frame"] for frame in report["frames"]], [1002, 1003])
        self.assertGreater(report["psnr"]["all"]["ofMeanSquaredError"], 45)

    def test_compare_suggests_the_offset_of_a_sequence(self):
        images = self.make_images("s/a.%04d.png", "-vf", "noise=alls=60:allf=t", frames=20)
        self.encode(images, "--frames", "1005-")
        result = self.succeed("compare", "--offset", "-1", images, self.path("out.mov"))
        self.assertIn("most similar with --offset -4", result.stderr)

    def test_compare_converts_linear_pictures(self):
        images = self.make_images("s/a.%d.exr", pixels="gbrpf32le")
        spaces = ["--input-color", "ACEScg", "--output-color", "Rec.709"]
        self.encode(images, "--variant", "hq", *spaces)
        report = self.compare(*spaces, images, self.path("out.mov"))
        self.assertGreater(report["psnr"]["all"]["ofMeanSquaredError"], 40)

    def test_compare_stops_at_a_missing_file(self):
        images = self.make_images("s/a.%04d.png")
        self.encode(images, "--variant", "hq")
        self.path("s/a.1003.png").unlink()
        self.fail_with(1, ["number 1003 is missing", "--missing hold"], "compare", images,
                       self.path("out.mov"))
        self.assertEqual(len(self.compare("--missing", "hold", images,
                                          self.path("out.mov"))["frames"]), 5)

    def test_thumbs_takes_sequences(self):
        images = self.make_images("s/a.%04d.png", size="1280x720")
        stills = self.path("stills")
        report = json.loads(self.succeed("thumbs", "--json", "--frames", "1002-1003", images, "-o",
                                         stills).stdout)
        self.assertEqual([still["frame"] for still in report["stills"]], [1002, 1003])
        for number in (1002, 1003):
            found = planes(stills / f"frame-{number:06}.png", "rgb24")
            error = mean_difference(
                bytes(v for byte in found[:60000] for v in (byte, 0)),
                bytes(v for byte in planes(self.path(f"s/a.{number}.png"), "rgb24")[:60000]
                      for v in (byte, 0)))
            self.assertLess(error, 3)

    def inspect(self, source):
        return json.loads(self.succeed("inspect", "--json", source).stdout)

    def test_inspect_lists_what_files_state(self):
        images = self.make_images("s/a.%04d.png", pixels="rgb48be", frames=9)
        for number in (1002, 1005, 1006):
            self.path(f"s/a.{number}.png").unlink()
        report = self.inspect(images)
        self.assertEqual(report["files"], {"first": 1001, "last": 1009, "missing": [
            {"first": 1002, "last": 1002}, {"first": 1005, "last": 1006}]})
        stream = report["format"]
        self.assertEqual((stream["name"], stream["width"], stream["height"], stream["rate"]),
                         (".png images, RGB, 16 bits", 96, 64, None))
        text = self.succeed("inspect", images).stdout
        for words in (r"png images, RGB, 16 bits, 96x64, progressive, unknown rate",
                      r"numbers of files +1001-1009", r"missing numbers +1002 and 1005-1006"):
            self.assertRegex(text, words)

    def test_inspect_takes_linear_pictures(self):
        images = self.make_images("s/a.%d.exr", pixels="gbrpf32le")
        self.assertIn("floating point", self.inspect(images)["format"]["name"])


class Labels(SequenceTest):
    def set_bytes(self, images, place, values):
        """Overwrites bytes of the headers of all files of a folder."""
        for path in images.parent.iterdir():
            data = bytearray(path.read_bytes())
            data[place:place + len(values)] = values
            path.write_bytes(data)

    def colours_of(self, images, *options):
        self.encode(images, *options)
        stream = probe(self.path("out.mov"))
        return stream.get("color_primaries", "unknown"), stream.get("color_transfer", "unknown")

    def test_colours_come_from_the_codes_of_dpx(self):
        transfer, colorimetric = 801, 802
        for pixels in ("gbrp10be", "rgb24"):  # with a reader of its own, and without
            images = self.make_images(f"{pixels}/a.%d.dpx", frames=1, pixels=pixels)
            self.assertEqual(self.colours_of(images), ("unknown", "unknown"))
            for code, expected in ((6, ("bt709", "bt709")), (7, ("bt470bg", "smpte170m")),
                                   (8, ("smpte170m", "smpte170m")), (4, ("unknown", "unknown")),
                                   (200, ("unknown", "unknown"))):
                with self.subTest(pixels=pixels, code=code):
                    self.set_bytes(images, transfer, bytes([code, code]))
                    self.assertEqual(self.colours_of(images), expected)
            self.set_bytes(images, transfer, bytes([6, 6]))
            self.assertEqual(self.colours_of(images, "--transfer", "srgb"), ("bt709", "iec61966-2-1"))
            self.set_bytes(images, colorimetric, bytes([7]))
            self.assertEqual(self.colours_of(images), ("bt470bg", "bt709"))

    def test_logarithmic_dpx_is_kept_with_a_note(self):
        images = self.make_images("s/a.%d.dpx", frames=1, pixels="gbrp10be")
        for code in (1, 3):
            self.set_bytes(images, 801, bytes([code, code]))
            result = self.succeed("encode", "--overwrite", "--rate", "24", images,
                                  self.path("out.mov"))
            self.assertIn("logarithmic pictures are encoded as they are", result.stderr)
            result = self.succeed("encode", "--overwrite", "--rate", "24", "--input-color", "ADX10",
                                  "--output-color", "Rec.709", images, self.path("out.mov"))
            self.assertNotIn("logarithmic", result.stderr)

    def test_cineon_is_logarithmic(self):
        width, height, level = 48, 16, 445
        header = bytearray(2048)
        struct.pack_into(">IIIIII8s", header, 0, 0x802A5FD7, 2048, 1024, 1024, 0,
                         2048 + 4 * width * height, b"V4.5")
        header[193] = 3
        for channel in range(3):
            struct.pack_into(">BBBxIIffff", header, 196 + 28 * channel, 0, channel + 1, 10, width,
                             height, 0, 0, 1023, 2.046)
        header[681] = 5  # three components in the upper bits of 32
        word = struct.pack(">I", level << 22 | level << 12 | level << 2)
        self.path("a.1.cin").write_bytes(header + word * (width * height))
        images = self.path("a.%d.cin")
        result = self.succeed("encode", "--rate", "24", images, self.path("out.mov"))
        self.assertIn("logarithmic pictures are encoded as they are", result.stderr)
        luma = memoryview(planes(self.path("out.mov"))).cast("H")[:width * height]
        expected = 64 + 876 * level / 1023
        self.assertLessEqual(max(abs(value - expected) for value in luma), 1)

    def test_an_alpha_channel_is_left_out_with_a_note(self):
        for pixels, has_alpha in (("rgba", True), ("rgb24", False)):
            images = self.make_images(f"{pixels}/a.%d.png", frames=1, pixels=pixels)
            result = self.succeed("encode", "--overwrite", "--rate", "24", images,
                                  self.path("out.mov"))
            self.assertEqual("the alpha channel is left out" in result.stderr, has_alpha)

    def test_linear_dpx_needs_a_conversion(self):
        for pixels in ("gbrp10be", "rgb48be"):
            images = self.make_images(f"{pixels}/a.%d.dpx", frames=1, pixels=pixels)
            self.set_bytes(images, 801, bytes([2, 4]))
            self.fail_with(1, ["scene-linear"], "encode", "--rate", "24", images,
                           self.path("x.mov"))
            self.encode(images, "--input-color", "ACEScg", "--output-color", "Rec.709")
            self.path("out.mov").unlink()

    def test_creation_time_of_dpx_is_kept(self):
        images = self.make_images("s/a.%d.dpx", frames=1, pixels="gbrp10be")
        for text, expected in (("2026:11:22:10:20:30:UTC", "2026-11-22T10:20:30.000000Z"),
                               ("2026:11:22:10:20:30", "2026-11-22T10:20:30.000000Z"),
                               ("2026:11:22:10:20:30EST", None), ("2026:11:2a:10:20:30", None)):
            with self.subTest(text):
                self.set_bytes(images, 136, text.encode().ljust(24, b"\0"))
                self.encode(images)
                tags = json.loads(subprocess.run(
                    ["ffprobe", "-v", "error", "-show_format", "-of", "json",
                     self.path("out.mov")], check=True, capture_output=True,
                    timeout=TIMEOUT).stdout)["format"]["tags"]
                self.assertEqual(tags.get("creation_time"), expected)

    def shown_by(self, images, filters):
        """Returns the picture of a sequence of one file after filters, as 8-bit RGB."""
        return subprocess.run(
            ["ffmpeg", "-v", "error", "-noautorotate", "-i", str(images) % 1001, "-vf", filters,
             "-f", "rawvideo", "-pix_fmt", "rgb24", "-"], check=True, capture_output=True,
            timeout=TIMEOUT).stdout

    def test_pictures_are_turned_as_files_state(self):
        images = self.make_images("s/a.%d.dpx", frames=1, pixels="gbrp10be")
        path = self.path("s/a.1001.dpx")
        data = path.read_bytes()
        for code, filters in ((0, "null"), (1, "hflip"), (2, "vflip"), (3, "hflip,vflip")):
            with self.subTest(code):
                path.write_bytes(data)
                expected = self.shown_by(images, filters)
                self.set_bytes(images, 768, struct.pack(">H", code))
                result = self.succeed("encode", "--overwrite", "--variant", "hq", "--rate", "24",
                                      images, self.path("out.mov"))
                self.assertEqual("--no-rotate" in result.stderr, code > 0)
                found = planes(self.path("out.mov"), "rgb24")
                error = sum(abs(a - b) for a, b in zip(found, expected, strict=True))
                self.assertLess(error / len(found), 6)
        self.set_bytes(images, 768, struct.pack(">H", 5))
        self.fail_with(1, ["in columns (orientation 5)"], "encode", "--rate", "24", images,
                       self.path("x.mov"))
        self.set_bytes(images, 768, struct.pack(">H", 2))
        unturned = self.pictures(images, "--no-rotate")
        self.set_bytes(images, 768, struct.pack(">H", 0))
        self.assertEqual(self.pictures(images), unturned)

    def test_orientation_of_exif_is_applied(self):
        images = self.make_images("s/a.%d.jpg", "-q:v", "1", frames=1)
        path = self.path("s/a.1001.jpg")
        plain = path.read_bytes()
        for code, filters in ((2, "hflip"), (3, "hflip,vflip"), (4, "vflip"), (5, "transpose=0"),
                              (6, "transpose=1"), (7, "transpose=3"), (8, "transpose=2")):
            with self.subTest(code):
                path.write_bytes(plain)
                expected = self.shown_by(images, filters)
                tiff = b"II*\0" + struct.pack("<IHHHIHHI", 8, 1, 0x112, 3, 1, code, 0, 0)
                exif = b"Exif\0\0" + tiff
                path.write_bytes(plain[:2] + b"\xFF\xE1" + struct.pack(">H", len(exif) + 2) + exif +
                                 plain[2:])
                self.encode(images, "--variant", "hq")
                found = planes(self.path("out.mov"), "rgb24")
                error = sum(abs(a - b) for a, b in zip(found, expected, strict=True))
                self.assertLess(error / len(found), 6)

    def stamp_dpx(self, path, timecode, rate, reel):
        """Writes timecode, rate and device into the header of a .dpx, which gets its whole header."""
        data = path.read_bytes()
        order = ">" if data[:4] == b"SDPX" else "<"
        offset = struct.unpack_from(order + "I", data, 4)[0]
        header = bytearray(data[:offset].ljust(2048, b"\xff"))
        struct.pack_into(order + "I", header, 4, 2048)
        struct.pack_into("32s", header, 1556, reel.encode())
        struct.pack_into(order + "f", header, 1724, rate)
        struct.pack_into(order + "I", header, 1920, timecode)
        struct.pack_into(order + "f", header, 1940, rate)
        path.write_bytes(header + data[offset:])

    def test_rate_timecode_and_reel_come_from_the_files(self):
        images = self.make_images("s/a.%d.dpx", frames=2)
        for i in range(2):
            self.stamp_dpx(self.path(f"s/a.{1001 + i}.dpx"), 0x10203004 + i, 23.976, "A001C002")
        report = json.loads(self.succeed("encode", "--json", images, self.path("out.mov")).stdout)
        self.assertEqual(report["timecode"], "10:20:30:04")
        stream = probe(self.path("out.mov"))
        self.assertEqual(stream["r_frame_rate"], "24000/1001")
        tags = subprocess.run(["ffprobe", "-v", "error", "-show_streams", self.path("out.mov")],
                              check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout
        self.assertIn("TAG:reel_name=A001C002", tags)
        report = self.encode(images, "--timecode", "file", "--frames", "1002", "--rate", "25")
        self.assertEqual(report["timecode"], "10:20:30:05")

    def test_both_readers_of_dpx_agree(self):
        """10 bits in the usual layout have a reader of their own, which other layouts do not."""
        usual = self.make_images("usual/a.%d.dpx", frames=2, pixels="gbrp10be")
        other = self.path("other")
        other.mkdir()
        for number in (1001, 1002):
            self.stamp_dpx(self.path(f"usual/a.{number}.dpx"), 0x10203004, 29.97, "A001")
            data = bytearray(self.path(f"usual/a.{number}.dpx").read_bytes())
            struct.pack_into(">I", data, 816, 4)  # each image ends with padding, as the header says
            (other / f"a.{number}.dpx").write_bytes(data + bytes(4))
        reports = []
        for images in (usual, other):
            pictures = self.pictures(images, "--timecode", "file", "--rate", "30000/1001")
            report = json.loads(self.succeed("encode", "--overwrite", "--json", images,
                                             self.path("out.mov")).stdout)
            reports.append((pictures, report["timecode"], report["rate"]))
        self.assertEqual(reports[0], reports[1])

    def test_a_short_dpx_header_states_nothing(self):
        images = self.make_images("s/a.%d.dpx", frames=1)
        self.fail_with(1, ["state no frame rate", "--rate 24"], "encode", images,
                       self.path("x.mov"))
        self.fail_with(1, ["no timecode", "--timecode frame"], "encode", "--rate", "24",
                       "--timecode", "file", images, self.path("x.mov"))


class Colours(SequenceTest):
    def test_linear_pictures_need_a_conversion(self):
        images = self.make_images("s/a.%d.exr", pixels="gbrpf32le")
        result = self.fail_with(1, ["scene-linear"], "encode", "--rate", "24", images,
                                self.path("x.mov"))
        command = re.search(r"^  vixprores (.*) OUTPUT$", result.stderr, re.MULTILINE).group(1)
        self.succeed(*command.replace("'", "").split(), "--rate", "24", self.path("out.mov"))
        stream = probe(self.path("out.mov"))
        self.assertEqual((stream["color_primaries"], stream["color_transfer"],
                          stream["color_space"]), ("bt709", "bt709", "bt709"))

    def test_linear_grey_gets_the_curve_of_the_video(self):
        """18 % grey is 0.18 ** (1 / 2.4) with the curve of BT.1886."""
        level = 0.18
        self.path("s").mkdir(exist_ok=True)
        width, height = map(int, SIZE.split("x"))
        raw = struct.pack("<f", level) * (width * height * 3)
        subprocess.run(["ffmpeg", "-v", "error", "-f", "rawvideo", "-pix_fmt", "gbrpf32le", "-s",
                        SIZE, "-i", "-", self.path("s/a.1.exr")], input=raw, check=True,
                       timeout=TIMEOUT)
        picture = self.pictures(self.path("s/a.%d.exr"), "--input-color", "ACEScg",
                                "--output-color", "Rec.709")[0]
        luma = memoryview(picture).cast("H")[:width * height]
        expected = 64 + 876 * level ** (1 / 2.4)
        self.assertLessEqual(max(abs(value - expected) for value in luma), 1)

    def test_unknown_names_are_refused_with_the_known_ones(self):
        images = self.make_images("s/a.%d.png")
        self.fail_with(1, ["'nonsense'", "ACEScg", "ARRI LogC3", "Rec.709"], "encode", "--rate",
                       "24", "--input-color", "nonsense", "--output-color", "sRGB", images,
                       self.path("x.mov"))
        self.fail_with(2, ["--input-color and --output-color"], "encode", "--rate", "24",
                       "--input-color", "sRGB", images, self.path("x.mov"))

    def test_another_configuration_is_used(self):
        images = self.make_images("s/a.%d.png")
        config = self.path("own.ocio")
        config.write_text("""ocio_profile_version: 1
roles: {default: plain}
displays: {any: [!<View> {name: any, colorspace: plain}]}
colorspaces:
  - !<ColorSpace> {name: plain}
  - !<ColorSpace>
    name: half
    from_reference: !<MatrixTransform> {matrix: [.5, 0, 0, 0, 0, .5, 0, 0, 0, 0, .5, 0, 0, 0, 0, 1]}
""")
        spaces = ["--input-color", "plain", "--output-color", "half"]
        converted = self.pictures(images, "--ocio", config, *spaces)
        luma = memoryview(converted[0]).cast("H")[:96 * 64]
        self.assertLess(max(luma), 64 + 876 / 2 + 16)
        result = run("encode", "--overwrite", "--rate", "24", *spaces, images,
                     self.path("out.mov"), env={"OCIO": str(config)})
        self.assertEqual(result.returncode, 0, result.stderr)
        self.fail_with(1, ["own.ocio", "missing"], "encode", "--rate", "24", "--ocio",
                       self.path("missing own.ocio"), *spaces, images, self.path("x.mov"))


class BadInput(SequenceTest):
    def test_truncated_files_are_named(self):
        for extension in ("dpx", "tif", "tga", "jpg", "png"):
            with self.subTest(extension):
                images = self.make_images(f"{extension}/a.%04d.{extension}", pixels="rgb24")
                broken = self.path(f"{extension}/a.1003.{extension}")
                data = broken.read_bytes()
                broken.write_bytes(data[:len(data) // 2])
                result = run("encode", "--rate", "24", images, self.path("out.mov"))
                self.assertEqual(result.returncode, 1)
                self.assertIn(f"{broken}: frame 1003 ", result.stderr)
                self.assertIn("2 frames before that are kept", result.stderr)
                self.path("out.partial.mov").unlink()

    def damage_two_of_five(self):
        """Makes five images of which the third and the fourth are damaged; returns the pattern."""
        images = self.make_images("s/a.%04d.dpx")
        self.whole = self.pictures(images)
        data = self.path("s/a.1003.dpx").read_bytes()
        self.path("s/a.1003.dpx").write_bytes(data[:len(data) // 2])
        self.path("s/a.1004.dpx").write_bytes(b"not an image" * 30)
        return images

    def assert_lists_damage(self, report, treatment):
        self.assertEqual([(entry["input"], entry["frame"], entry["treatment"])
                          for entry in report["damage"]],
                         [(str(self.path(f"s/a.{number}.dpx")), number, treatment)
                          for number in (1003, 1004)])

    def test_damaged_files_are_concealed_on_request(self):
        images = self.damage_two_of_five()
        found = self.pictures(images, "--on-error", "conceal")
        whole = self.whole
        self.assertEqual(found, [whole[0], whole[1], whole[1], whole[1], whole[4]])
        self.assert_lists_damage(self.encode(images, "--on-error", "conceal"), "replaced")
        result = self.succeed("encode", "--overwrite", "--rate", "24", "--on-error", "conceal",
                              images, self.path("out.mov"))
        self.assertIn(f"{self.path('s/a.1003.dpx')}: frame 1003", result.stderr)

    def test_damaged_files_are_skipped_on_request(self):
        images = self.damage_two_of_five()
        found = self.pictures(images, "--on-error", "skip")
        self.assertEqual(found, [self.whole[i] for i in (0, 1, 4)])
        report = self.encode(images, "--on-error", "skip", "--frames", "1002-1004")
        self.assertEqual(report["frames"], 1)
        self.assert_lists_damage(report, "left out")

    def test_files_that_are_no_images_are_named(self):
        for extension in ("exr", "dpx", "tif", "png", "jpg", "tga", "cin"):
            with self.subTest(extension):
                self.path(f"a1.{extension}").write_bytes(b"not an image" * 30)
                self.fail_with(1, [f"a1.{extension}", f"cannot be read as .{extension}"], "encode",
                               "--rate", "24", self.path(f"a%d.{extension}"), self.path("x.mov"))

    def test_a_change_of_size_is_named(self):
        images = self.make_images("s/a.%d.png")
        self.make_images("t/a.%d.png", size="64x96")
        self.path("t/a.1004.png").rename(self.path("s/a.1004.png"))
        first = self.path("s/a.1001.png")
        self.fail_with(1, ["a.1004.png", f"frame 1004 differs from {first}", "found 64x96",
                           "expected 96x64"], "encode", "--rate", "24", images,
                       self.path("x.mov"))

    def test_a_change_of_depth_is_named(self):
        for extension, pixels in (("png", "rgb48be"), ("dpx", "rgb48be"), ("tif", "rgb48le")):
            with self.subTest(extension):
                images = self.make_images(f"{extension}/a.%d.{extension}")
                self.make_images(f"deep/a.%d.{extension}", pixels=pixels)
                self.path(f"deep/a.1004.{extension}").rename(
                    self.path(f"{extension}/a.1004.{extension}"))
                self.fail_with(1, [f"frame 1004 differs from {extension}".replace(
                    extension, str(self.path(f"{extension}/a.1001.{extension}"))),
                    "3 channels of 16 bits", "3 channels of 8 bits"],
                               "encode", "--rate", "24", images, self.path("x.mov"))

    def test_a_change_of_channels_is_named(self):
        images = self.make_images("s/a.%d.png")
        self.make_images("t/a.%d.png", pixels="gray")
        self.path("t/a.1002.png").rename(self.path("s/a.1002.png"))
        self.fail_with(1, ["a.1002.png", "found 96x64 pixels with 1 channel"], "encode", "--rate",
                       "24", images, self.path("x.mov"))

    def test_a_folder_with_several_sequences_is_refused_with_their_names(self):
        self.make_images("s/a.%04d.png")
        self.make_images("s/b.%d.dpx", first=8)
        self.fail_with(1, ["2 image sequences", "a.%04d.png 1001-1005", "b.%d.dpx 8-12"], "encode",
                       "--rate", "24", self.path("s"), self.path("x.mov"))

    def test_names_without_files_are_refused(self):
        self.fail_with(1, ["a.%04d.png: there are no such files"], "encode", "--rate", "24",
                       self.path("a.%04d.png"), self.path("x.mov"))
        self.fail_with(1, ["nowhere"], "encode", "--rate", "24", self.path("nowhere/a.%04d.png"),
                       self.path("x.mov"))

    def test_hostile_names_are_only_names(self):
        images = self.make_images("s/a.%d.png", frames=2)
        expected = self.pictures(images)
        for number, prefix in enumerate(("-a.", "50%.", "a?b=c.", "a\nb.", "$(false).", "%s%n.")):
            with self.subTest(prefix):
                folder = self.path(f"hostile{number}")
                folder.mkdir()
                for i in (1001, 1002):
                    (folder / f"{prefix}{i}.png").write_bytes(
                        self.path(f"s/a.{i}.png").read_bytes())
                self.assertEqual(self.pictures(folder), expected)

    def test_the_message_for_a_name_with_a_newline_is_one_line(self):
        self.path("s").mkdir()
        for name in ("a\nb.1.png", "c.1.png"):
            self.path("s").joinpath(name).touch()
        result = self.fail_with(1, [r"a\nb.%d.png 1"], "encode", "--rate", "24", self.path("s"),
                                self.path("x.mov"))
        self.assertNotIn("a\nb", result.stderr)


class Program(unittest.TestCase):
    def test_does_not_link_the_libraries_of_images(self):
        libraries = subprocess.run(["ldd", PROGRAM], check=True, capture_output=True,
                                   text=True).stdout
        self.assertIn("libvixCore", libraries)
        self.assertNotRegex(libraries, "OpenImageIO|OpenColorIO")


if __name__ == "__main__":
    unittest.main()

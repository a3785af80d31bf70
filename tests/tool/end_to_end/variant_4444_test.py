# SPDX-License-Identifier: BSD-2-Clause
"""Encodes and decodes ProRes 4444: packed pictures with alpha, Y4M of 4:4:4, containers."""
import array
import json
import os
import pathlib
import random
import shutil
import subprocess
import sys

from tool import (PLUGIN, TIMEOUT, ToolTest, ffmpeg, make_uyvy, make_v210, planes, probe, run,
                  sample_entry)

WIDTH, HEIGHT, FRAMES = 64, 48, 3
PIXELS = WIDTH * HEIGHT * FRAMES
SIZE = f"{WIDTH}x{HEIGHT}"
RAW = ("--fourcc", "Y416", "--size", SIZE, "--rate", "25")
LARGEST = 0xFFFF
PLUGIN_4444 = PLUGIN.replace("ProRes.so", "ProRes4444.so")


def words(samples):
    """Returns samples as bytes with the lower byte first."""
    packed = array.array("H", samples)
    if sys.byteorder == "big":
        packed.byteswap()
    return packed.tobytes()


def samples_of(data):
    samples = array.array("H", data)
    if sys.byteorder == "big":
        samples.byteswap()
    return samples


def flat_pictures(alpha=LARGEST):
    """Returns Y416 frames of one colour each, with the twelve bits that are coded."""
    samples = []
    for frame in range(FRAMES):
        samples += [alpha, 0x1230 + 0x100 * frame, 0x4560, 0xC780] * (WIDTH * HEIGHT)
    return words(samples)


def noise_pictures():
    noise = random.Random(4)
    return words([value for _ in range(PIXELS)
                  for value in (noise.randrange(LARGEST + 1),
                                *(noise.randrange(0x100, 0xF00) * 16 for _ in range(3)))])


def largest_error(first, second):
    return max(abs(a - b) for a, b in zip(first, second, strict=True))


class Test4444(ToolTest):
    def setUp(self):
        super().setUp()
        self.raw, self.encoded = self.path("pictures.y416"), self.path("encoded.mov")
        self.decoded = self.path("decoded.y416")

    def encode(self, pictures, *options, output=None):
        self.raw.write_bytes(pictures)
        return self.succeed("encode", "-y", "--variant", "4444", *RAW, *options, self.raw,
                            output or self.encoded)

    def decode(self, *options, source=None, output=None):
        self.succeed("decode", "-y", *options, source or self.encoded, output or self.decoded)
        return (output or self.decoded).read_bytes()


class Reports(Test4444):
    def test_state_the_alpha_of_the_output(self):
        for bits, alpha in (("16", "16 bits"), ("8", "8 bits"), ("none", "none")):
            report = json.loads(self.encode(noise_pictures(), "--json", "--alpha", bits).stdout)
            inspected = json.loads(self.succeed("inspect", "--json", self.encoded).stdout)
            self.assertEqual((report["alpha"], inspected["format"]["alpha"]), (alpha, alpha))
            self.assertEqual((report["sampleAspect"], inspected["format"]["sampleAspect"]),
                             (None, None))

    def test_list_the_alpha_of_slices(self):
        for bits in ("8", "none"):
            self.encode(noise_pictures(), "--alpha", bits)
            command = ("inspect", "--slices", "--frames", "1-1")
            frame = json.loads(self.succeed(*command, "--json", self.encoded).stdout)["frames"][0]
            found = [entry["alpha"] for entry in frame["sliceList"]]
            self.assertEqual(sum(found), frame["componentBytes"]["alpha"])
            self.assertEqual(min(found) > 0, bits != "none")
            text = self.succeed(*command, self.encoded).stdout
            heading, *rows = text.split("Slices:\n")[1].splitlines()
            self.assertEqual(heading.split()[-1], "Cr" if bits == "none" else "alpha")
            if bits != "none":
                self.assertEqual([int(row.split()[-1]) for row in rows], found)


class PackedPictures(Test4444):
    def test_flat_pictures_come_back_exactly(self):
        pictures = flat_pictures()
        for option, tag, profile in (("4444", "ap4h", "4444"), ("4444xq", "ap4x", "XQ"),
                                     ("xq", "ap4x", "XQ"), ("ap4h", "ap4h", "4444")):
            with self.subTest(option):
                self.raw.write_bytes(pictures)
                self.succeed("encode", "-y", "--variant", option, *RAW, self.raw, self.encoded)
                stream = probe(self.encoded)
                self.assertEqual((stream["codec_tag_string"], stream["profile"]), (tag, profile))
                self.assert_same_bytes(self.decode(), pictures)

    def test_alpha_survives_as_deep_as_it_is_coded(self):
        pictures = noise_pictures()
        alpha = samples_of(pictures)[0::4]
        rounded = array.array("H", [(2 * value + 257) // 514 * 257 for value in alpha])
        opaque = array.array("H", [LARGEST] * PIXELS)
        for option, expected, pixels, depth in (("16", alpha, "yuva444p12le", 32),
                                                ("auto", alpha, "yuva444p12le", 32),
                                                ("8", rounded, "yuva444p12le", 32),
                                                ("none", opaque, "yuv444p12le", 24)):
            with self.subTest(option):
                self.encode(pictures, "--alpha", option)
                found = samples_of(self.decode())
                self.assertEqual(found[0::4], expected)
                self.assertEqual(probe(self.encoded)["pix_fmt"], pixels)
                entry = sample_entry(self.encoded, "ap4h")
                self.assertEqual(int.from_bytes(entry[74:76], "big"), depth)
                self.assertEqual(entry[42:58], b"\x0fvix ProRes 4444")
                # An independent decoder returns as many pictures, without a warning.
                result = subprocess.run(
                    ["ffmpeg", "-nostdin", "-v", "warning", "-i", str(self.encoded), "-f", "null",
                     "-"], check=True, capture_output=True, text=True, timeout=TIMEOUT)
                self.assertEqual(result.stderr, "")

    def test_an_independent_decoder_finds_the_same_colours(self):
        self.encode(flat_pictures(alpha=0x8080))
        pictures = samples_of(planes(self.encoded, "yuva444p12le"))
        plane = WIDTH * HEIGHT
        for frame in range(FRAMES):
            frame_samples = pictures[4 * plane * frame:4 * plane * (frame + 1)]
            for component, expected in enumerate((0x123 + 0x10 * frame, 0x456, 0xC78)):
                found = frame_samples[component * plane:(component + 1) * plane]
                self.assertLessEqual(max(abs(value - expected) for value in found), 1, component)

    def test_rgb_becomes_the_same_rgb(self):
        pixels = b"".join((LARGEST.to_bytes(2, "big") + 3 * grey.to_bytes(2, "big")) * (WIDTH * HEIGHT)
                          for grey in (0, 0x8000, LARGEST))
        raw, decoded = self.path("grey.b64a"), self.path("decoded.b64a")
        raw.write_bytes(pixels)
        notes = self.succeed("encode", "--variant", "4444", "--fourcc", "b64a", *RAW[2:], raw,
                             self.encoded).stderr
        self.assertIn("RGB pictures are converted with the matrix 6 (bt601)", notes)
        self.assertEqual(probe(self.encoded)["color_space"], "smpte170m")
        self.assert_same_bytes(self.decode(output=decoded), pixels)

    def test_interlaced_pictures_stay_interlaced(self):
        pictures = flat_pictures()
        self.encode(pictures, "--interlaced")
        self.assertEqual(probe(self.encoded)["field_order"], "tb")
        self.assert_same_bytes(self.decode(), pictures)

    def test_a_batch_skips_only_outputs_with_the_same_alpha(self):
        self.raw.write_bytes(flat_pictures())
        batch = ("encode", "--variant", "4444", *RAW, "--output-dir", self.path("out"), self.raw)
        self.succeed(*batch)
        self.assertIn("1 of 1 are there; 0 frames", self.succeed(*batch).stderr)
        result = run(*batch, "--alpha", "none")
        self.assertEqual(result.returncode, 1)
        self.assertIn("found alpha of 16 bits instead of no alpha", result.stderr)
        again = ("decode", "--fourcc", "b64A", "--output-dir", self.path("back"),
                 self.path("out") / "pictures.mov")
        self.succeed(*again)
        self.assertIn("1 of 1 are there; 0 frames", self.succeed(*again).stderr)

    def test_recover_restores_an_unfinished_file(self):
        pictures = noise_pictures()
        self.encode(pictures)
        expected = self.decode()
        data = self.encoded.read_bytes()
        cut = self.path("cut.mov")
        cut.write_bytes(data[:data.rindex(b"moov") - 4])
        recovered = self.path("recovered.mov")
        self.succeed("recover", cut, recovered)
        stream = probe(recovered)
        self.assertEqual((stream["codec_tag_string"], stream["pix_fmt"]),
                         ("ap4h", "yuva444p12le"))
        self.assertEqual(int.from_bytes(sample_entry(recovered, "ap4h")[74:76], "big"), 32)
        self.assert_same_bytes(self.decode(source=recovered), expected)

    def test_pipes_carry_raw_frames(self):
        pictures = flat_pictures()
        self.raw.write_bytes(pictures)
        encoded = self.succeed("encode", "--variant", "4444", *RAW, "-", "-", text=False,
                               input=pictures).stdout
        decoded = self.succeed("decode", "--fourcc", "Y416", "-", "-", text=False, input=encoded)
        self.assert_same_bytes(decoded.stdout, pictures)

    def test_422_of_a_4444_file_is_decoded_too(self):
        self.encode(flat_pictures())
        notes = self.succeed("decode", self.encoded, self.path("out.mov")).stderr
        self.assertIn("converts 4:4:4 to 4:2:2", notes)
        self.assertIn("drops the alpha channel", notes)
        stream = probe(self.path("out.mov"))
        self.assertEqual((stream["codec_name"], stream["nb_read_packets"]), ("v210", str(FRAMES)))
        found = samples_of(planes(self.path("out.mov")))
        self.assertEqual(set(found[:WIDTH * HEIGHT]), {round(0x123 / 4)})

    def test_422_frames_decode_to_opaque_444(self):
        clip = self.path("clip.mov")
        make_v210(clip, size=SIZE, frames=FRAMES)
        self.succeed("encode", clip, self.encoded)
        self.assertEqual(set(samples_of(self.decode())[0::4]), {LARGEST})

    def test_a_lost_frame_at_the_start_becomes_grey(self):
        self.encode(flat_pictures())
        data = bytearray(self.encoded.read_bytes())
        first = data.index(b"icpf") + 4
        data[first:first + 20] = bytes(20)  # the frame header
        self.encoded.write_bytes(data)
        for name, grey in (("out.y416", words([LARGEST, 0x8000, 0x8000, 0x8000])),
                           ("out.b64a", b"\xff\xff" + 3 * b"\x80\x00")):
            with self.subTest(name):
                decoded = self.decode("--on-error", "conceal", output=self.path(name))
                self.assertEqual(decoded[:8 * WIDTH * HEIGHT], grey * (WIDTH * HEIGHT))
                self.assertEqual(len(decoded), 8 * PIXELS)


class OtherInputs(Test4444):
    def test_y4m_of_444_is_taken_exactly(self):
        self.encode(noise_pictures())
        first = self.path("first.y4m")
        notes = self.succeed("decode", "--fourcc", "Y416", self.encoded, first).stderr
        self.assertIn("drops the alpha channel", notes)
        self.assertIn("planar 4:4:4 in 12 bits", notes)
        self.assertTrue(first.read_bytes().startswith(
            b"YUV4MPEG2 W64 H48 F25:1 Ip A0:0 C444p12 XYSCSS=444P12\nFRAME\n"))
        # The samples are those of the packed pictures.
        decoded = samples_of(self.decode())
        plane = WIDTH * HEIGHT
        luma = samples_of(planes(first, "yuv444p12le"))[:plane]
        self.assertEqual([16 * value for value in luma], list(decoded[1:4 * plane:4]))
        self.succeed("encode", "--variant", "4444", first, self.path("again.mov"))
        self.assertEqual(probe(self.path("again.mov"))["pix_fmt"], "yuv444p12le")

    def test_flat_y4m_of_every_depth_comes_back(self):
        for pixels, bits in (("yuv444p", 8), ("yuv444p10le", 10), ("yuv444p12le", 12),
                             ("yuv444p14le", 14), ("yuv444p16le", 16)):
            with self.subTest(pixels):
                clip = self.path("clip.y4m")
                ffmpeg("-f", "lavfi", "-i", f"color=c=0x336699:s={SIZE}:r=25", "-vf",
                       f"format={pixels}", "-frames:v", "1", "-strict", "-1", clip)
                self.succeed("encode", "-y", "--variant", "4444", clip, self.encoded)
                raw = planes(clip, pixels)
                expected = raw if bits == 8 else samples_of(raw)
                plane = WIDTH * HEIGHT
                found = samples_of(self.decode())
                self.assertEqual(found[0], LARGEST)
                for component in range(3):
                    sample = expected[component * plane] << (16 - bits)
                    rounded = min((sample + 8) // 16, 4095) * 16
                    self.assertEqual(found[1 + component], rounded, component)

    def test_packed_422_becomes_444(self):
        clip = self.path("clip.mov")
        for make, pixels, bits in ((make_v210, "yuv422p10le", 10), (make_uyvy, "yuv422p", 8)):
            with self.subTest(pixels):
                make(clip, size=SIZE, frames=1)
                self.succeed("encode", "-y", "--variant", "4444xq", clip, self.encoded)
                self.assertEqual(probe(self.encoded)["pix_fmt"], "yuv444p12le")
                raw = planes(clip, pixels)
                stored = raw if bits == 8 else samples_of(raw)
                found = samples_of(self.decode())
                luma = [value << (16 - bits) for value in stored[:WIDTH * HEIGHT]]
                chroma = [value << (16 - bits)
                          for value in stored[WIDTH * HEIGHT:WIDTH * HEIGHT * 3 // 2]]
                # XQ loses little.
                self.assertLess(largest_error(found[1::4], luma), 0x600)
                self.assertLess(largest_error(found[2::8], chroma), 0x600)

    def test_a_note_names_what_422_loses(self):
        cases = (("yuv444p10le", "ffv1", "converts 4:4:4 in 10 bits"),
                 ("gbrp", "ffv1", "converts RGB in 8 bits"),
                 ("yuv422p12le", "ffv1", "converts pictures in 12 bits"),
                 ("yuv422p10le", "ffv1", None), ("yuv420p", "ffv1", None))
        for pixels, codec, note in cases:
            with self.subTest(pixels):
                clip = self.path("clip.mkv")
                ffmpeg("-f", "lavfi", "-i", f"testsrc2=s={SIZE}:r=25", "-frames:v", "1", "-pix_fmt",
                       pixels, "-c:v", codec, clip)
                notes = self.succeed("encode", "-y", clip, self.encoded).stderr
                if note:
                    self.assertIn(f"{clip}: {note} to 4:2:2 in 10 bits; --variant 4444 keeps", notes)
                else:
                    self.assertNotIn("--variant 4444", notes)


class Containers(Test4444):
    def test_mkv_and_mxf_hold_the_same_frames(self):
        pictures = noise_pictures()
        self.encode(pictures)
        expected = self.decode()
        for extension in ("mkv", "mxf"):
            with self.subTest(extension):
                out = self.path("out." + extension)
                self.encode(pictures, output=out)
                stream = probe(out)
                self.assertEqual((stream["profile"], stream["pix_fmt"]), ("4444", "yuva444p12le"))
                self.assert_same_bytes(planes(out, "yuva444p12le"),
                                       planes(self.encoded, "yuva444p12le"))
                self.assert_same_bytes(self.decode(source=out), expected)

    def test_mov_holds_b64a(self):
        self.encode(noise_pictures())
        expected = self.decode(output=self.path("decoded.b64a"))
        out = self.path("out.mov")
        self.decode("--fourcc", "b64A", output=out)
        stream = probe(out)
        self.assertEqual((stream["codec_tag_string"], stream["pix_fmt"]), ("b64a", "rgba64be"))
        pixels = planes(out, "rgba64be")
        turned = b"".join(pixels[i + 6:i + 8] + pixels[i:i + 6] for i in range(0, len(pixels), 8))
        self.assert_same_bytes(turned, expected)
        # The program reads what it wrote, with its alpha.
        self.succeed("encode", "--variant", "4444xq", out, self.path("again.mov"))
        self.assertEqual(probe(self.path("again.mov"))["pix_fmt"], "yuva444p12le")
        alpha = samples_of(self.decode(source=self.path("again.mov")))[0::4]
        self.assertEqual(alpha, samples_of(self.decode())[0::4])

    def test_containers_without_a_code_are_refused(self):
        self.encode(flat_pictures())
        for name, fourcc, advice in (("out.mov", "Y416", "choose .y4m, raw frames as .y416"),
                                     ("out.nut", "b64A", "choose .mov, raw frames as .b64a"),
                                     ("out.y4m", "b64A", "choose .mov, raw frames as .b64a")):
            with self.subTest(name):
                self.fail_with(1, [f"cannot hold {fourcc}", advice], "decode", "--fourcc", fourcc,
                               self.encoded, self.path(name))

    def test_copy_and_relabel_keep_the_frames(self):
        pictures = flat_pictures()
        self.encode(pictures)
        copied = self.path("copied.mov")
        self.succeed("copy", "--color", "bt2020", self.encoded, copied)
        self.assertEqual(probe(copied)["color_primaries"], "bt2020")
        self.assertEqual(probe(copied)["pix_fmt"], "yuva444p12le")
        self.assertEqual(int.from_bytes(sample_entry(copied, "ap4h")[74:76], "big"), 32)
        self.assert_same_bytes(self.decode(source=copied), pictures)
        self.succeed("copy", "--in-place", "--color", "bt709", copied)
        self.assertEqual(probe(copied)["color_primaries"], "bt709")
        self.assert_same_bytes(self.decode(source=copied), pictures)


class MissingPlugin(Test4444):
    def setUp(self):
        super().setUp()
        self.plugin = self.path("libvixVideoCodecProRes.so")
        shutil.copyfile(PLUGIN, self.plugin)
        self.libraries = dict(os.environ, LD_LIBRARY_PATH=str(pathlib.Path(PLUGIN).parent))

    def test_422_needs_only_its_own(self):
        clip = self.path("clip.mov")
        make_v210(clip, frames=2)
        self.succeed("encode", "--plugin", self.plugin, clip, self.encoded, env=self.libraries)

    def test_4444_names_the_missing_file(self):
        self.raw.write_bytes(flat_pictures())
        self.fail_with(1, ["4444, and output as Y416 or b64A, needs the plug-in "
                           "libvixVideoCodecProRes4444.so, which is missing",
                           "install it in the folder of the plug-in that is loaded", "--plugin"],
                       "encode", "--plugin", self.plugin, "--variant", "4444", *RAW, self.raw,
                       self.encoded, env=self.libraries)

    def test_packed_4444_of_422_names_the_missing_file(self):
        clip = self.path("clip.mov")
        make_v210(clip, frames=2)
        self.succeed("encode", clip, self.encoded)
        for name in ("decoded.b64a", "decoded.y416"):
            self.fail_with(1, ["output as Y416 or b64A, needs the plug-in "
                               "libvixVideoCodecProRes4444.so"], "decode", "--plugin", self.plugin,
                           self.encoded, self.path(name), env=self.libraries)

    def test_422_names_the_missing_file(self):
        clip, alone = self.path("clip.mov"), self.path("alone")
        make_v210(clip, frames=2)
        alone.mkdir()
        shutil.copyfile(PLUGIN_4444, alone / "libvixVideoCodecProRes4444.so")
        plugin = alone / "libvixVideoCodecProRes4444.so"
        encode = ("encode", "--plugin", plugin, clip, self.encoded)
        self.fail_with(1, ["4:2:2 needs the plug-in libvixVideoCodecProRes.so, which is missing",
                           "--plugin"], *encode, env=self.libraries)
        shutil.copyfile(PLUGIN, alone / "libvixVideoCodecProRes.so")
        self.succeed(*encode, env=self.libraries)

    def test_4444_is_found_by_the_name_without_version(self):
        self.raw.write_bytes(flat_pictures())
        shutil.copyfile(PLUGIN_4444, self.path("libvixVideoCodecProRes4444.so"))
        self.succeed("encode", "--plugin", self.plugin, "--variant", "4444", *RAW, self.raw,
                     self.encoded, env=self.libraries)

    def test_elements_lists_those_of_both(self):
        listed = self.succeed("elements").stdout
        for name in ("VideoEncoder", "VideoDecoder"):
            self.assertIn(f'{name}  implementation "vix4444"  type "ProRes"', listed)
        self.assertNotIn("vix4444", self.succeed("elements", "--plugin", self.plugin,
                                                 env=self.libraries).stdout)

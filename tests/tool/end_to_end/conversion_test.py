# SPDX-License-Identifier: BSD-2-Clause
"""Frames survive encoding and decoding: every input, every output, ranges, pipes."""
import json
import subprocess

from tool import (TIMEOUT, ToolTest, count_read_bytes, ffmpeg, frame_bytes, largest_difference,
                  make_clip, make_uyvy, make_v210, planes, probe, run, sample_entry)

# The test pattern has hard edges in colour; HQ keeps them to within a few of 1023 code values.
HQ_TOLERANCE = 24


class EncodeInputs(ToolTest):
    def check_encodes(self, clip, pixels="yuv422p10le", sample="H", tolerance=HQ_TOLERANCE):
        out = self.path("out.mov")
        self.succeed("encode", "--variant", "hq", "--overwrite", clip, out)
        track = probe(out)
        self.assertEqual((track["codec_name"], track["codec_tag_string"]), ("prores", "apch"))
        self.assertEqual(track["nb_read_packets"], "10")
        difference = largest_difference(planes(out, pixels), planes(clip, pixels), sample)
        self.assertLessEqual(difference, tolerance)

    def test_v210_in_every_container(self):
        for container in ("mov", "mkv", "nut", "avi"):
            with self.subTest(container=container):
                clip = self.path(f"v210.{container}")
                make_v210(clip)
                self.check_encodes(clip)

    def test_uyvy_in_every_container(self):
        for container in ("mov", "mkv", "nut", "avi"):
            with self.subTest(container=container):
                clip = self.path(f"uyvy.{container}")
                make_uyvy(clip)
                self.check_encodes(clip, "uyvy422", "B", HQ_TOLERANCE // 4)

    def test_y4m_of_10_bits(self):
        clip = self.path("clip.y4m")
        make_clip(clip, "-strict", "-1")
        self.check_encodes(clip)

    def test_y4m_of_8_bits(self):
        clip = self.path("clip.y4m")
        make_clip(clip, pixels="yuv422p")
        self.check_encodes(clip, "uyvy422", "B", HQ_TOLERANCE // 4)

    def test_odd_size(self):
        clip = self.path("clip.mov")
        make_v210(clip, filters="scale=128:97")
        self.check_encodes(clip)
        self.assertEqual(probe(clip)["height"], 97)
        clip = self.path("clip.y4m")
        make_clip(clip, pixels="yuv422p", filters="scale=131:97")
        self.assertEqual(probe(clip)["width"], 131)
        self.check_encodes(clip, "yuv422p", "B", HQ_TOLERANCE // 4)

    def test_raw_frames(self):
        for fourcc, make, pixels in (("V210", make_v210, "yuv422p10le"),
                                     ("UYVY", make_uyvy, "uyvy422")):
            with self.subTest(fourcc=fourcc):
                frames, same = self.path("frames.raw"), self.path("same.mov")
                make(frames, "-f", "rawvideo")
                make(same)
                self.succeed("encode", "--fourcc", fourcc, "--size", "128x96", "--rate", "25",
                             "--overwrite", frames, self.path("raw.mov"))
                self.succeed("encode", "--overwrite", same, self.path("out.mov"))
                self.assert_same_bytes(planes(self.path("raw.mov")), planes(self.path("out.mov")))

    def test_only_the_first_of_several_video_tracks(self):
        first, second, clip = self.path("1.mov"), self.path("2.mov"), self.path("both.mov")
        make_v210(first)
        make_v210(second, filters="negate")
        ffmpeg("-i", first, "-i", second, "-map", "0", "-map", "1", "-c", "copy", clip)
        result = self.succeed("encode", clip, self.path("out.mov"))
        self.assertIn("2 video tracks", result.stderr)
        self.succeed("encode", first, self.path("single.mov"))
        self.assert_same_bytes(planes(self.path("out.mov")), planes(self.path("single.mov")))

    def test_frames_hidden_by_an_edit_list(self):
        clip, cut = self.path("clip.mov"), self.path("cut.mov")
        make_v210(clip)
        ffmpeg("-ss", "0.13", "-i", clip, "-c", "copy", cut)
        shown = len(planes(cut)) * 10 // len(planes(clip))
        self.assertIn(shown, (6, 7))
        result = self.succeed("encode", "--json", cut, self.path("out.mov"))
        self.assertEqual(json.loads(result.stdout)["frames"], shown)
        self.fail_with(1, [f"has {shown} frames"], "encode", "--frames", "0-9", cut,
                       self.path("more.mov"))

    def test_fragmented_files(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-movflags", "frag_keyframe+empty_moov+default_base_moof")
        self.check_encodes(clip)
        piped = run("encode", "--json", "--frames", "7-9", "-", self.path("piped.mov"),
                    input=clip.read_bytes(), text=False)
        self.assertEqual(piped.returncode, 0, piped.stderr)
        self.assertEqual(json.loads(piped.stdout)["frames"], 3)

    def test_variants_and_their_codes(self):
        clip = self.path("clip.mov")
        make_v210(clip, filters="noise=alls=60:allf=t")
        sizes = []
        for variant, code, name in (("proxy", "apco", b"vix ProRes 422 Proxy"),
                                    ("lt", "apcs", b"vix ProRes 422 LT"),
                                    ("422", "apcn", b"vix ProRes 422"),
                                    ("hq", "apch", b"vix ProRes 422 HQ")):
            out = self.path(f"{variant}.mov")
            self.succeed("encode", "--variant", variant, clip, out)
            entry = sample_entry(out, code)
            self.assertEqual(entry[12:16], b"vixp")
            self.assertEqual(entry[42:74].lstrip(bytes([len(name)])).rstrip(b"\0"), name)
            self.assertEqual(entry[74:76], b"\0\x18")
            sizes.append(out.stat().st_size)
        self.assertEqual(sizes, sorted(sizes))
        self.assertLess(sizes[0], sizes[3])

    def test_result_does_not_depend_on_the_threads(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        self.succeed("encode", "--threads", 1, clip, self.path("1.mov"))
        self.succeed("encode", "--threads", 3, clip, self.path("3.mov"))
        self.assert_same_bytes(self.path("1.mov").read_bytes(), self.path("3.mov").read_bytes())

    def test_other_containers(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        self.succeed("encode", clip, self.path("out.mov"))
        expected = planes(self.path("out.mov"))
        for container in ("mkv", "mxf"):
            with self.subTest(container=container):
                out = self.path(f"out.{container}")
                self.succeed("encode", clip, out)
                self.assertEqual(probe(out)["codec_name"], "prores")
                self.assert_same_bytes(planes(out), expected)


class DecodeOutputs(ToolTest):
    def setUp(self):
        super().setUp()
        self.source, self.encoded = self.path("source.mov"), self.path("encoded.mov")
        make_v210(self.source, size="134x98")
        self.succeed("encode", "--variant", "hq", self.source, self.encoded)

    def check_decodes(self, name, fourcc, pixels, sample, tolerance):
        out = self.path(name)
        self.succeed("decode", "--fourcc", fourcc, "--overwrite", self.encoded, out)
        self.assertEqual(probe(out)["nb_read_packets"], "10")
        # An independent decoder may differ by one code value.
        difference = largest_difference(planes(out, pixels), planes(self.encoded, pixels), sample)
        self.assertLessEqual(difference, tolerance)

    def test_v210_in_every_container(self):
        for name in ("out.mov", "out.avi", "out.nut", "out.y4m"):
            with self.subTest(name=name):
                self.check_decodes(name, "V210", "yuv422p10le", "H", 1)

    def test_uyvy_in_every_container(self):
        for name in ("out.mov", "out.avi", "out.nut", "out.y4m"):
            with self.subTest(name=name):
                self.check_decodes(name, "UYVY", "uyvy422", "B", 1)

    def test_the_summary_of_y4m_describes_its_planes(self):
        for fourcc, depth in (("V210", 10), ("UYVY", 8)):
            result = self.succeed("decode", "--fourcc", fourcc, "--overwrite", self.encoded,
                                  self.path("out.y4m"))
            self.assertIn(f"134x98 planar 4:2:2 in {depth} bits, ", result.stderr)
            self.assertNotIn(fourcc, result.stderr)

    def test_the_name_selects_the_format_of_raw_frames(self):
        for fourcc in ("V210", "UYVY"):
            with self.subTest(fourcc=fourcc):
                named, chosen = self.path(f"out.{fourcc.lower()}"), self.path("out.raw")
                self.succeed("decode", self.encoded, named)
                self.succeed("decode", "--overwrite", "--fourcc", fourcc, self.encoded, chosen)
                self.assert_same_bytes(named.read_bytes(), chosen.read_bytes())
                self.assertEqual(named.stat().st_size, 10 * frame_bytes(fourcc, 134, 98))

    def test_rejects_a_name_that_contradicts_the_option(self):
        self.fail_with(2, ["out.uyvy", "--fourcc is V210"], "decode", "--fourcc", "v210",
                       self.encoded, self.path("out.uyvy"))
        self.fail_with(2, ["out.v210", "--fourcc is UYVY"], "decode", "--fourcc", "uyvy",
                       "--output-dir", self.folder, "--name", "out.v210", self.encoded)

    def test_raw_frames_of_either_format_under_the_name_raw(self):
        for fourcc in ("V210", "UYVY"):
            with self.subTest(fourcc=fourcc):
                out, contained = self.path("out.raw"), self.path("out.nut")
                self.succeed("decode", "--fourcc", fourcc, "--overwrite", self.encoded, out)
                self.assertEqual(out.stat().st_size, 10 * frame_bytes(fourcc, 134, 98))
                self.succeed("decode", "--fourcc", fourcc, "--overwrite", self.encoded, contained)
                first = out.read_bytes()[:frame_bytes(fourcc, 134, 98)]
                self.assertTrue(first in contained.read_bytes())

    def test_rejects_names_of_formats_that_are_not_written(self):
        for name in ("out.mp4", "out.mkv", "out.MXF", "out.yuv", "out.mvo"):
            with self.subTest(name=name):
                self.fail_with(2, [self.path(name), ".mov", ".y4m", ".uyvy"], "decode",
                               self.encoded, self.path(name))
                self.assertFalse(self.path(name).exists())

    def test_padding_of_rows_is_zero(self):
        out = self.path("out.raw")
        self.succeed("decode", self.encoded, out)
        stride, used = (134 + 47) // 48 * 128, (134 + 5) // 6 * 16
        data = out.read_bytes()
        self.assertGreater(stride, used)
        for row in range(0, len(data), stride):
            self.assertEqual(data[row + used:row + stride], bytes(stride - used))

    def test_standard_output_carries_raw_frames(self):
        out = self.path("out.raw")
        self.succeed("decode", self.encoded, out)
        result = run("decode", self.encoded, "-", text=False)
        self.assertEqual(result.returncode, 0)
        self.assert_same_bytes(result.stdout, out.read_bytes())

    def test_null_device(self):
        self.assertIn("10 frames", self.succeed("decode", self.encoded, "/dev/null").stderr)

    def test_every_container_with_a_prores_track(self):
        self.succeed("decode", self.encoded, self.path("expected.raw"))
        for container in ("mkv", "mxf", "nut"):
            with self.subTest(container=container):
                clip, out = self.path(f"clip.{container}"), self.path("out.raw")
                if container in ("mkv", "mxf"):
                    self.succeed("encode", "--variant", "hq", self.source, clip)
                else:
                    ffmpeg("-i", self.encoded, "-c", "copy", clip)
                self.succeed("decode", "--overwrite", clip, out)
                self.assert_same_bytes(out.read_bytes(), self.path("expected.raw").read_bytes())

    def test_444_is_converted_to_422(self):
        clip, out = self.path("444.mov"), self.path("out.mov")
        make_clip(clip, "-c:v", "prores_ks", "-profile:v", "4444", "-pix_fmt", "yuv444p10le")
        result = self.succeed("decode", clip, out)
        self.assertEqual(probe(out)["codec_name"], "v210")
        self.assertIn("10 frames", result.stderr)

    def test_decoded_frames_encode_again(self):
        self.succeed("decode", self.encoded, self.path("out.y4m"))
        self.succeed("encode", self.path("out.y4m"), self.path("again.mov"))
        self.assertEqual(probe(self.path("again.mov"))["nb_read_packets"], "10")


class Ranges(ToolTest):
    def setUp(self):
        super().setUp()
        self.source, self.encoded = self.path("source.mov"), self.path("encoded.mov")
        make_v210(self.source)
        self.succeed("encode", self.source, self.encoded)
        self.succeed("decode", self.encoded, self.path("all.raw"))
        self.frames = self.path("all.raw").read_bytes()
        self.bytes = frame_bytes("V210", 128, 96)

    def test_decode_writes_the_frames_of_the_range(self):
        for first, last in ((0, 0), (3, 6), (9, 9), (0, 9)):
            with self.subTest(first=first, last=last):
                self.succeed("decode", "--frames", f"{first}-{last}", "--overwrite", self.encoded,
                             self.path("part.raw"))
                self.assert_same_bytes(self.path("part.raw").read_bytes(),
                                       self.frames[first * self.bytes:(last + 1) * self.bytes])

    def test_encode_writes_the_frames_of_the_range(self):
        self.succeed("encode", "--frames", "3-6", self.source, self.path("part.mov"))
        self.succeed("decode", self.path("part.mov"), self.path("part.raw"))
        self.assert_same_bytes(self.path("part.raw").read_bytes(),
                               self.frames[3 * self.bytes:7 * self.bytes])
        self.assertEqual(float(probe(self.path("part.mov"))["start_time"]), 0)

    def test_frames_before_the_range_are_not_read(self):
        make_v210(self.path("long.mov"), frames=400)
        ffmpeg("-i", self.path("long.mov"), "-c", "copy", "-f", "rawvideo", self.path("long.v210"))
        self.succeed("encode", self.path("long.mov"), self.path("long-prores.mov"))
        raw_frames = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")
        for command, name, options in (("encode", "long.mov", ()),
                                       ("encode", "long.v210", raw_frames),
                                       ("decode", "long-prores.mov", ())):
            def read(frames):
                return count_read_bytes(command, *options, "--frames", frames, "--overwrite",
                                        self.path(name), self.path("part.mov"))
            with self.subTest(name=name):
                size = self.path(name).stat().st_size
                self.assertLess(read("398-399") - read("0-1"), size // 10)

    def test_a_range_past_the_end_is_rejected(self):
        out = self.path("out.mov")
        words = ["has 10 frames (0-9)", "5-10"]
        self.fail_with(1, words, "encode", "--frames", "5-10", self.source, out)
        self.fail_with(1, words, "decode", "--frames", "5-10", self.encoded, out)
        # The length of a pipe is unknown until its end.
        self.fail_with(1, words, "encode", "--fourcc", "V210", "--size", "128x96", "--rate", "25",
                       "--frames", "5-10", "-", out, input=self.frames, text=False)


class Pipes(ToolTest):
    def check_pipes(self, clip, *options):
        self.succeed("encode", *options, clip, self.path("named.mov"))
        result = run("encode", *options, "-", self.path("piped.mov"), input=clip.read_bytes(),
                     text=False)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assert_same_bytes(self.path("piped.mov").read_bytes(),
                               self.path("named.mov").read_bytes())

    def test_y4m(self):
        make_clip(self.path("clip.y4m"), "-strict", "-1")
        self.check_pipes(self.path("clip.y4m"))

    def test_raw_frames(self):
        make_uyvy(self.path("clip.uyvy"), "-f", "rawvideo")
        self.check_pipes(self.path("clip.uyvy"), "--fourcc", "UYVY", "--size", "128x96", "--rate",
                         "25")

    def test_container(self):
        make_v210(self.path("clip.nut"))
        self.check_pipes(self.path("clip.nut"))

    def test_mov_with_its_index_in_front(self):
        make_v210(self.path("clip.mov"), "-movflags", "faststart")
        self.check_pipes(self.path("clip.mov"))

    # Large frames of a file are read in place; those of a pipe cannot be.

    def test_large_frames(self):
        make_v210(self.path("clip.mov"), "-movflags", "faststart", size="1280x720", frames=5)
        self.check_pipes(self.path("clip.mov"))

    def test_frames_that_are_too_small_to_stay_in_place(self):
        make_v210(self.path("mute.mov"), size="640x360", frames=5)
        ffmpeg("-i", self.path("mute.mov"), "-f", "lavfi", "-i", "anoisesrc=d=0.2:r=192000",
               "-c:v", "copy", "-c:a", "pcm_s32le", "-ac", "16", "-movflags", "faststart",
               self.path("clip.mov"))
        self.check_pipes(self.path("clip.mov"))

    def test_large_raw_frames(self):
        make_v210(self.path("clip.mov"), size="1280x720", frames=5)
        ffmpeg("-i", self.path("clip.mov"), "-c", "copy", "-f", "rawvideo", self.path("clip.v210"))
        self.check_pipes(self.path("clip.v210"), "--fourcc", "V210", "--size", "1280x720",
                         "--rate", "25")

    def test_decode_from_a_pipe(self):
        make_v210(self.path("clip.mov"))
        self.succeed("encode", self.path("clip.mov"), self.path("clip.mkv"))
        self.succeed("decode", self.path("clip.mkv"), self.path("named.raw"))
        result = run("decode", "-", "-", input=self.path("clip.mkv").read_bytes(), text=False)
        self.assert_same_bytes(result.stdout, self.path("named.raw").read_bytes())


class Verified(ToolTest):
    def test_what_was_encoded_is_measured(self):
        clip, out = self.path("clip.mov"), self.path("out.mov")
        for make in (make_v210, make_uyvy):
            with self.subTest(make=make.__name__):
                make(clip)
                result = self.succeed("encode", "--overwrite", "--json", "--verify", clip, out)
                measured = json.loads(result.stdout)["verification"]
                compared = json.loads(self.succeed("compare", "--json", clip, out).stdout)
                if make is make_v210:
                    self.assertEqual(measured["worstFrame"], compared["worstFrames"][0])
                self.assertGreater(measured["psnr"]["y"], 30)
                self.assertLessEqual(measured["worstPsnr"], measured["psnr"]["all"])
        result = self.succeed("encode", "--overwrite", "--verify", clip, out)
        self.assertRegex(result.stderr, r"verified: PSNR [\d.]+ dB \(Y [\d.]+ dB, Cb [\d.]+ dB, "
                         r"Cr [\d.]+ dB\), worst frame \d \([\d.]+ dB\)")


class Pipes(ToolTest):
    def setUp(self):
        super().setUp()
        raw, self.encoded = self.path("raw.mov"), self.path("encoded.mov")
        make_v210(self.path("silent.mov"), "-timecode", "10:00:00:00", "-metadata", "title=A",
                  frames=10)
        ffmpeg("-i", self.path("silent.mov"), "-f", "lavfi", "-i", "sine=sample_rate=48000", "-t",
               "0.4", "-c:v", "copy", "-c:a", "pcm_s16le", raw)
        self.succeed("encode", raw, self.encoded)

    def decode(self, name):
        """Decodes through a pipe; returns the bytes and the notes."""
        result = self.succeed("decode", "--format", name, self.encoded, "-", text=False)
        return result.stdout, result.stderr.decode()

    def test_nut_and_mov_carry_everything(self):
        file = self.path("decoded.mov")
        self.succeed("decode", self.encoded, file)
        for name in ("nut", "mov"):
            with self.subTest(name):
                piped = self.path(f"piped.{name}")
                stream, notes = self.decode(name)
                piped.write_bytes(stream)
                self.assertNotIn("note:", notes)
                self.assert_same_bytes(planes(piped), planes(file))
                kinds = subprocess.run(
                    ["ffprobe", "-v", "error", "-show_format", "-show_streams", piped], check=True,
                    capture_output=True, text=True, timeout=TIMEOUT).stdout
                self.assertIn("codec_type=audio", kinds)
                self.assertIn("10:00:00:00", kinds)

    def test_y4m_carries_the_pictures(self):
        file = self.path("decoded.y4m")
        self.succeed("decode", self.encoded, file)
        stream, notes = self.decode("y4m")
        self.assert_same_bytes(stream, file.read_bytes())
        for words in ("its sound is left out", "cannot keep the timecode (10:00:00:00)",
                      "cannot keep the metadata (title)"):
            self.assertIn(words, notes)

    def test_raw_frames_are_the_default(self):
        stream = self.succeed("decode", self.encoded, "-", text=False).stdout
        self.assertEqual(len(stream), 10 * frame_bytes("V210", 128, 96))

    def test_a_name_states_its_format(self):
        self.fail_with(2, ["--format is for '-'"], "decode", "--format", "nut", self.encoded,
                       self.path("out.nut"))
        self.fail_with(2, ["'avi'", "nut, mov and y4m"], "decode", "--format", "avi",
                       self.encoded, "-")

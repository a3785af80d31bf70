# SPDX-License-Identifier: BSD-2-Clause
"""Unusable inputs: each run ends with exit code 1, a message that states what was found and what to
do, and no output. If the message names a command, that command works."""
import re

from tool import (TIMEOUT, ToolTest, ffmpeg, frame_bytes, largest_difference, make_clip, make_uyvy,
                  make_v210, planes, probe, run)


class Unreadable(ToolTest):
    def test_missing_file(self):
        missing = self.path("missing.mov")
        self.fail_with(1, [missing, "No such file"], "encode", missing, self.path("out.mov"))
        self.fail_with(1, [missing, "No such file"], "decode", missing, self.path("out.mov"))

    def test_folder(self):
        self.fail_with(1, ["is a folder without image files"], "encode", self.folder,
                       self.path("out.mov"))

    def test_text(self):
        text = self.path("text.mov")
        text.write_text("This is no video.\n" * 1000)
        self.fail_with(1, [text, "is no video file", "--fourcc, --size and --rate"], "encode",
                       text, self.path("out.mov"))
        self.fail_with(1, [text, "is not a complete mov"], "decode", text, self.path("out.mov"))

    def test_empty_file(self):
        empty = self.path("empty.mov")
        empty.touch()
        self.fail_with(1, [empty], "encode", empty, self.path("out.mov"))
        self.fail_with(1, [empty, "holds no frames"], "encode", "--fourcc", "UYVY", "--size",
                       "128x96", "--rate", "25", empty, self.path("out.mov"))

    def test_playlist_leads_nowhere(self):
        clip, playlist = self.path("clip.mov"), self.path("list.ffconcat")
        make_v210(clip)
        playlist.write_text("ffconcat version 1.0\nfile clip.mov\n")
        result = self.fail_with(1, [playlist, "is no video file"], "encode", playlist,
                                self.path("out.mov"))
        self.assertNotIn("whitelist", result.stderr)

    def test_sound_only(self):
        clip = self.path("sound.mov")
        ffmpeg("-f", "lavfi", "-i", "sine=duration=1", clip)
        self.fail_with(1, [clip, "but none of video"], "encode", clip, self.path("out.mov"))

    def test_other_codecs(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        self.fail_with(1, ["v210, not ProRes"], "decode", clip, self.path("out.mov"))


class NeedsConversion(ToolTest):
    """Runs the named command; its output can be encoded."""

    def test_full_range_that_the_output_cannot_label(self):
        clip = self.path("clip.y4m")
        make_clip(clip, "-color_range", "pc", pixels="yuv422p", filters="setrange=full")
        result = self.succeed("encode", clip, self.path("full.mov"))
        self.assertIn("full range, which players", result.stderr)
        self.assertIn("out_range=tv", result.stderr)
        result = self.succeed("encode", clip, self.path("full.mkv"))
        self.assertNotIn("full range, which players", result.stderr)

    def test_variable_frame_rate(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-vsync", "vfr", filters="select='not(eq(mod(n,5),3))'", frames=20)
        self.fail_with(1, ["variable frame rate", "frame 3 comes at", "--rate N/D takes all",
                           "--convert-rate N/D keeps"], "encode", clip, self.path("out.mov"))

    def test_variable_frame_rate_in_an_index_leaves_no_files(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-vsync", "vfr", filters="select='not(between(n,10,12))'", frames=20)
        out = self.path("out.mov")
        result = self.fail_with(1, ["frame 1", "comes at"], "encode", clip, out)
        self.assertNotIn("kept", result.stderr)
        self.assertEqual(sorted(self.folder.iterdir()), [clip])

    def test_variable_frame_rate_with_a_rate(self):
        for container in ("mov", "mkv", "nut", "avi"):
            with self.subTest(container=container):
                clip, out = self.path(f"clip.{container}"), self.path("out.mov")
                make_v210(clip, "-vsync", "vfr", filters="select='not(eq(mod(n,5),3))'", frames=20)
                result = self.succeed("encode", "--overwrite", "--variant", "hq", "--rate", "25",
                                      clip, out)
                self.assertRegex(result.stderr, r"note: .*: \d+ frames came at odd times")
                track = probe(out)
                self.assertEqual((track["nb_read_packets"], track["avg_frame_rate"]),
                                 ("20", "25/1"))
                self.assertLessEqual(largest_difference(planes(out), planes(clip)), 24)
        make_v210(clip := self.path("steady.mov"))
        self.assertNotIn("odd times", self.succeed("encode", "--overwrite", "--rate", "30", clip,
                                                   out).stderr)

    def test_reports_odd_times_of_the_frames_in_the_range_only(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-vsync", "vfr", filters="select='not(eq(mod(n,10),3))'", frames=30)

        def count(frames):
            told = self.succeed("encode", "--overwrite", "--rate", "25", "--frames", frames, clip,
                                self.path("out.mov")).stderr
            found = re.search(r"(\d+) frames? came at odd times", told)
            return int(found.group(1)) if found else 0

        parts = [count(frames) for frames in ("0-9", "10-19", "20-27")]
        self.assertGreater(min(parts), 0)
        self.assertEqual(sum(parts), count("0-27"))

    def test_variable_frame_rate_of_prores(self):
        clip = self.path("clip.mov")
        make_clip(clip, "-c:v", "prores_ks", "-vsync", "vfr",
                  filters="select='not(eq(mod(n,5),3))'", frames=20)
        result = self.fail_with(1, ["variable frame rate"], "decode", clip,
                                self.path("out.mov"))
        self.assertNotIn("encoder", result.stderr)
        self.assertIn("--on-error", result.stderr)

    def test_frames_of_prores_at_odd_times_are_not_lost(self):
        clip, out = self.path("clip.mov"), self.path("out.y4m")
        # All frames from frame 10 on are half a frame late.
        make_clip(clip, "-c:v", "prores_ks", "-vsync", "vfr", "-enc_time_base", "1/50",
                  filters="settb=1/50,setpts='2*N+gte(N,10)'", frames=20)
        for policy in ("skip", "conceal"):
            result = self.succeed("decode", "--overwrite", "--on-error", policy, clip, out)
            self.assertIn("came at odd times", result.stderr)
            self.assertEqual(probe(out)["nb_read_packets"], probe(clip)["nb_read_packets"])


class Empty(ToolTest):
    def test_reports_an_empty_input(self):
        self.path("empty.mov").touch()
        for command in ("encode", "decode"):
            self.fail_with(1, ["empty.mov: is empty"], command, self.path("empty.mov"),
                           self.path("out.mov"))
            self.fail_with(1, ["standard input: is empty"], command, "-", self.path("out.mov"))


class Matroska(ToolTest):
    def test_a_scan_is_not_offered_for_frames_that_it_cannot_find(self):
        clip = self.path("clip.mkv")
        make_clip(clip, "-c:v", "prores_ks")
        clip.write_bytes(clip.read_bytes()[:30])
        result = self.fail_with(1, ["is not a complete mov"], "decode", clip, self.path("out.mov"))
        self.assertNotIn("--scan", result.stderr)


class OutOfRange(ToolTest):
    def test_picture_too_small(self):
        clip = self.path("clip.y4m")
        clip.write_bytes(b"YUV4MPEG2 W1 H1 F25:1 Ip A1:1 C422\nFRAME\nabc")
        self.fail_with(1, ["1x1", "2 to 65535"], "encode", clip, self.path("out.mov"))

    def test_picture_too_large(self):
        clip = self.path("clip.y4m")
        clip.write_bytes(b"YUV4MPEG2 W70000 H2 F25:1 Ip A1:1 C422\nFRAME\nabc")
        self.fail_with(1, ["70000x2", "2 to 65535"], "encode", "--limit-size", "70000x2", clip,
                       self.path("out.mov"))

    def test_absurd_picture(self):
        clip = self.path("clip.y4m")
        clip.write_bytes(b"YUV4MPEG2 W2000000000 H2000000000 F25:1 Ip A1:1 C422p10\nFRAME\nabc")
        self.fail_with(1, [], "encode", clip, self.path("out.mov"))

    def test_interlaced_height_with_unequal_fields(self):
        clip = self.path("clip.y4m")
        make_clip(clip, "-strict", "-1", filters="scale=128:97,setfield=tff")
        self.fail_with(1, ["128x97", "fields"], "encode", clip, self.path("out.mov"))

    def test_y4m_headers(self):
        for header, words in ((b"YUV4MPEG2 H96 F25:1 C422", ["W and H"]),
                              (b"YUV4MPEG2 W128 H96 C422", ["frame rate"]),
                              (b"YUV4MPEG2 W128 H96 F25 C422", ["F25"]),
                              (b"YUV4MPEG2 Wx H96 F25:1 C422", ["Wx"]),
                              (b"YUV4MPEG2 W128 H96 F25:1 Im C422", ["Im"])):
            with self.subTest(header=header):
                clip = self.path("clip.y4m")
                clip.write_bytes(header + b"\nFRAME\n")
                self.fail_with(1, words, "encode", clip, self.path("out.mov"))


class Truncated(ToolTest):
    """Inputs that end inside frame 6 of 10."""

    def cut(self, clip, frames=6.5):
        data = clip.read_bytes()
        start = clip.stat().st_size - 10 * frame_bytes("V210", 128, 96) \
            if clip.suffix != ".y4m" else 0
        share = len(data) * frames / 10 if clip.suffix == ".y4m" else \
            start + frames * frame_bytes("V210", 128, 96)
        clip.write_bytes(data[:int(share)])

    def check_truncated(self, clip, *words):
        out = self.path("out.mov")
        self.fail_with(1, [clip, *words], "encode", clip, out)
        self.fail_with(1, [clip, *words], "encode", "--rate", "30", clip, out)
        # The frames before can be read with --frames, as the message states.
        self.succeed("encode", "--frames", "0-5", clip, out)
        self.assertEqual(probe(out)["nb_read_packets"], "6")

    def test_mov_with_its_index_in_front(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-movflags", "faststart")
        self.cut(clip)
        self.check_truncated(clip, "frame 6", "cut short")

    def test_mov_between_frames(self):
        clip = self.path("clip.mov")
        make_v210(clip, "-movflags", "faststart")
        self.cut(clip, 6)
        self.check_truncated(clip, "frame 6", "announces 10 frames", "--frames")

    def test_mov_without_its_index(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        self.cut(clip)
        self.fail_with(1, [clip, "moov", "is no video file"], "encode", clip,
                       self.path("out.mov"))

    def test_avi(self):
        clip = self.path("clip.avi")
        make_v210(clip)
        self.cut(clip)
        self.check_truncated(clip, "frame 6", "cut short")

    def test_mkv(self):
        clip = self.path("clip.mkv")
        make_v210(clip)
        self.cut(clip)
        self.check_truncated(clip, "frame 6", "announces 10 frames")

    def test_nut(self):
        clip = self.path("clip.nut")
        make_v210(clip)
        self.cut(clip)
        self.check_truncated(clip, "frame 6", "cut short")

    def test_y4m(self):
        clip = self.path("clip.y4m")
        make_clip(clip, "-strict", "-1")
        self.cut(clip)
        self.check_truncated(clip, "frame 6", "cut short")

    def test_y4m_without_a_frame_header(self):
        clip = self.path("clip.y4m")
        make_clip(clip, "-strict", "-1")
        data = clip.read_bytes().split(b"FRAME\n")
        clip.write_bytes(b"FRAME\n".join(data[:5]) + b"FRMAE\n" + b"FRAME\n".join(data[5:]))
        self.fail_with(1, [clip, "frame 4", "FRAME"], "encode", clip, self.path("out.mov"))

    def test_raw_frames(self):
        clip, out = self.path("clip.raw"), self.path("out.mov")
        make_v210(clip, "-f", "rawvideo")
        self.cut(clip)
        options = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")
        self.fail_with(1, [clip, "frame 6 is cut short", "--size"], "encode", *options, clip, out)
        self.succeed("encode", *options, "--frames", "0-5", clip, out)

    def test_mov_on_a_pipe_with_its_index_behind(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        self.fail_with(1, ["standard input", "index", "by its name"], "encode", "-",
                       self.path("out.mov"), input=clip.read_bytes(), text=False)

    def test_prores(self):
        clip, encoded, out = self.path("clip.mov"), self.path("encoded.mov"), self.path("out.raw")
        make_v210(clip)
        self.succeed("encode", clip, self.path("plain.mov"))
        ffmpeg("-i", self.path("plain.mov"), "-c", "copy", "-movflags", "faststart", encoded)
        data = encoded.read_bytes()
        encoded.write_bytes(data[:len(data) * 2 // 3])
        result = run("decode", encoded, out)
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, r"encoded\.mov: frame \d+.*: (is cut short|is missing)")
        self.assertFalse(out.exists())


class Damaged(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.out = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "out.raw"))
        make_v210(self.clip)
        self.succeed("encode", self.clip, self.encoded)

    def overwrite_in_frame(self, frame, offset, replacement):
        """Replaces bytes after the tag of a frame."""
        data = bytearray(self.encoded.read_bytes())
        position = -1
        for _ in range(frame + 1):
            position = data.index(b"icpf", position + 1)
        position += 4 + offset
        data[position:position + len(replacement)] = replacement
        self.encoded.write_bytes(data)

    def test_frame_that_cannot_be_decoded_is_named(self):
        self.overwrite_in_frame(4, 20, b"\0")  # the size of the picture header
        result = self.fail_with(1, [self.encoded, "frame 4", "header of picture 1"], "decode",
                                self.encoded, self.out)
        # The element's own message belongs in the log.
        self.assertNotIn("Failed to decode frame", result.stderr)
        self.succeed("decode", "--frames", "0-3", self.encoded, self.out)

    def test_invalid_first_frame(self):
        self.overwrite_in_frame(0, -4, b"junk")
        self.fail_with(1, [self.encoded, "frame 0", "frame header"], "decode", self.encoded,
                       self.out)

    def test_change_of_size_is_named(self):
        self.overwrite_in_frame(4, 8, b"\0\x40\0\x40")
        self.fail_with(1, ["frame 4 at byte", "is 64x64", "128x96"], "decode", self.encoded,
                       self.out)

    def set_bitstream_version(self, version):
        """Sets that of frame 4, in a file without checksums."""
        plain = self.path("plain.mov")
        ffmpeg("-i", self.encoded, "-c", "copy", plain)
        self.encoded = plain
        self.overwrite_in_frame(4, 2, version.to_bytes(2, "big"))

    def test_bitstream_version_1_is_read(self):
        self.succeed("decode", self.encoded, self.out)
        pictures = self.out.read_bytes()
        self.set_bitstream_version(1)
        self.succeed("decode", "-y", self.encoded, self.out)
        self.assertEqual(self.out.read_bytes(), pictures)

    def test_unknown_bitstream_version(self):
        self.set_bitstream_version(2)
        self.fail_with(1, ["frame 4", "readable frame header"], "decode", self.encoded, self.out)

# SPDX-License-Identifier: BSD-2-Clause
"""Encodes ProRes again: the pictures are those that decode writes, with and without filters."""

import mini_mov
from tool import ToolTest, ffmpeg, make_clip, probe
from footage_test import frame_hashes

PRORES = ("-c:v", "prores_ks", "-profile:v", "3", "-vendor", "apl0")


class ProResFootage(ToolTest):
    def make(self, name="clip.mov", *output, **clip):
        make_clip(self.path(name), *PRORES, *output, **clip)
        return self.path(name)

    def encode(self, clip, *options):
        out = self.path("out.mov")
        told = self.succeed("encode", "--overwrite", "--variant", "lt", *options, clip, out).stderr
        return frame_hashes(out), told

    def expected(self, clip):
        """The frames by way of uncompressed pictures."""
        plain = self.path("plain.mov")
        self.succeed("decode", "--overwrite", clip, plain)
        return self.encode(plain)[0]

    def test_has_the_pictures_that_decode_writes(self):
        clips = {
            "clip.mov": {}, "clip.mkv": {},
            "tff.mov": {"filters": "setfield=tff"},
            "444.mov": {"pixels": "yuv444p10le"},
        }
        for name, clip in clips.items():
            with self.subTest(name):
                options = {"tff.mov": ["-flags", "+ildct"], "444.mov": ["-profile:v", "4444"]}
                path = self.make(name, *options.get(name, []), **clip)
                wanted = self.expected(path)
                self.assertEqual(len(wanted), 10)
                self.assertEqual(self.encode(path)[0], wanted)
                self.assertEqual(self.encode(path, "--filter", "null")[0], wanted)
                self.assertEqual(self.encode(path, "--threads", "1", "--filter", "null")[0], wanted)

    def test_of_mxf_has_the_pictures_that_decode_writes(self):
        clip = self.path("clip.mxf")
        self.succeed("copy", self.make("clip.mov", size="320x180"), clip)
        self.succeed("decode", clip, self.path("plain.mov"))
        square = ("--par", "1:1")  # an .mxf implies it or not
        wanted = self.encode(self.path("plain.mov"), *square)[0]
        self.assertEqual(self.encode(clip, *square)[0], wanted)
        self.assertEqual(self.encode(clip, "--filter", "null", *square)[0], wanted)

    def test_gives_the_frames_of_a_range(self):
        clip = self.make()
        wanted = self.expected(clip)[3:8]
        self.assertEqual(self.encode(clip, "--frames", "3-7")[0], wanted)
        self.assertEqual(self.encode(clip, "--frames", "3-7", "--filter", "null")[0], wanted)

    def test_keeps_field_order_labels_and_sound(self):
        clip = self.path("clip.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=720x576:r=25", "-f", "lavfi", "-i", "sine", "-t",
               "0.4", "-vf", "setfield=bff,setsar=16/15", *PRORES, "-flags", "+ildct",
               "-color_primaries", "bt470bg", "-color_trc", "bt709", "-colorspace", "bt470bg",
               "-timecode", "10:00:00:00", "-c:a", "pcm_s24le", clip)
        wanted = self.expected(clip)
        for options in ([], ["--filter", "null"]):
            with self.subTest(options):
                self.assertEqual(self.encode(clip, *options)[0], wanted)
                found = probe(self.path("out.mov"))
                self.assertEqual(
                    [found.get(key) for key in ("field_order", "sample_aspect_ratio",
                                                "color_primaries", "color_transfer", "color_space")],
                    ["bt", "16:15", "bt470bg", "bt709", "bt470bg"])
                self.succeed("verify", "--expect", "timecode=10:00:00:00,audio-tracks=1",
                             self.path("out.mov"))

    def test_is_scaled(self):
        self.encode(self.make(), "--scale", "1/2")
        found = probe(self.path("out.mov"))
        self.assertEqual((found["width"], found["height"], found["nb_read_packets"]),
                         (64, 48, "10"))

    def test_keeps_its_length_at_another_rate(self):
        out = self.path("out.mov")
        pictures = {"yuv422p10le": ("3", "lt"), "yuv444p10le": ("4444", "4444")}
        wanted = {3: {"50": 6, "30": 4, "25": 3, "24": 3, "24000/1001": 3},
                  25: {"50": 50, "30": 30, "25": 25, "24": 24, "24000/1001": 24}}
        for pixels, (profile, variant) in pictures.items():
            for name in ("clip.mov", "clip.mkv"):
                for count, lengths in wanted.items():
                    clip = self.make(name, "-profile:v", profile, frames=count, pixels=pixels)
                    for rate, length in lengths.items():
                        with self.subTest(pixels=pixels, name=name, frames=count, rate=rate):
                            self.succeed("encode", "--overwrite", "--variant", variant,
                                         "--convert-rate", rate, clip, out)
                            self.assertEqual(probe(out)["nb_read_packets"], str(length))

    def test_names_alpha_that_is_left_out(self):
        clip = self.make("clip.mov", "-profile:v", "4444", pixels="yuva444p10le")
        for options in ([], ["--filter", "null"]):
            self.assertIn("alpha", self.encode(clip, *options)[1])

    def test_lists_damaged_frames(self):
        clip = self.make()
        whole = self.expected(clip)
        data = bytearray(clip.read_bytes())
        position, size = mini_mov.places(clip)[4]
        data[position + 8:position + 40] = bytes(32)  # the header
        clip.write_bytes(data)
        for options in ([], ["--filter", "null"]):
            with self.subTest(options):
                self.fail_with(1, ["frame 4", "--on-error"], "encode", *options, clip,
                               self.path("new.mov"))
                kept = whole[:4] + whole[5:]
                self.assertEqual(self.encode(clip, "--on-error", "skip", *options)[0], kept)
                filled = whole[:4] + [whole[3]] + whole[5:]
                self.assertEqual(self.encode(clip, "--on-error", "conceal", *options)[0], filled)

    def test_conceals_damaged_slices(self):
        clip = self.make()
        data = bytearray(clip.read_bytes())
        position, size = mini_mov.places(clip)[4]
        data[position + size // 2:position + size // 2 + 40] = b"\xff" * 40
        clip.write_bytes(data)
        wanted = None
        for options in ([], ["--filter", "null"]):
            with self.subTest(options):
                self.fail_with(1, ["frame 4"], "encode", *options, clip, self.path("new.mov"))
                hashes, told = self.encode(clip, "--on-error", "conceal", *options)
                self.assertIn("frame 4", told)
                wanted = wanted or hashes
                self.assertEqual(hashes, wanted)
                self.assertEqual(len(hashes), 10)

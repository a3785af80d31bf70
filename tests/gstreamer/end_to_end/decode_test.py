# SPDX-License-Identifier: BSD-2-Clause
"""Pipelines that decode: every picture has the bytes of the program's, from every container."""
import itertools
import unittest

import mini_mov
from pipelines import FOURCCS, SCANS, VARIANTS, Frames, PipelineTest, run
from tool import frame_bytes, make_clip

DEMUXERS = {".mov": "qtdemux", ".mkv": "matroskademux"}


class Decode(PipelineTest):
    def decoded_by_the_program(self, path, format):
        self.succeed("decode", "--quiet", "--overwrite", "--fourcc", FOURCCS[format], path,
                     self.path("program.raw"))
        return self.path("program.raw").read_bytes()

    def decoded(self, path, format, decoder="vixproresdec", *options):
        self.launch(f"filesrc location={path} ! {DEMUXERS[path.suffix]} ! {decoder} ! "
                    f"video/x-raw,format={format} ! filesink location={self.path('pipeline.raw')}",
                    *options)
        return self.path("pipeline.raw").read_bytes()

    def check(self, path, format):
        pictures = self.decoded(path, format)
        self.assertGreater(len(pictures), 0)
        self.assert_same_bytes(pictures, self.decoded_by_the_program(path, format))

    def test_every_variant_format_and_field_order(self):
        for scan, variant in itertools.product(SCANS, VARIANTS):
            frames = Frames(scan=scan)
            path = self.encoded_by_the_program(self.raw(frames), frames, variant)
            for format in FOURCCS:
                with self.subTest(format=format, scan=scan, variant=variant):
                    self.check(path, format)

    def test_other_sizes_and_rates(self):
        for frames in (Frames(size="50x34", rate="24/1"), Frames(size="318x180", rate="30000/1001"),
                       Frames(size="720x486", scan="bottom field first")):
            path = self.encoded_by_the_program(self.raw(frames), frames, "lt")
            for format in FOURCCS:
                with self.subTest(frames=frames, format=format):
                    self.check(path, format)

    def test_files_of_other_encoders(self):
        for suffix, profile in itertools.product(DEMUXERS, range(4)):
            with self.subTest(suffix=suffix, profile=profile):
                path = self.path("peer" + suffix)
                make_clip(path, "-c:v", "prores_ks", "-profile:v", profile)
                for format in FOURCCS:
                    self.check(path, format)

    def test_the_number_of_threads_changes_nothing(self):
        frames = Frames(count=30)
        path = self.encoded_by_the_program(self.raw(frames), frames, "hq")
        expected = self.decoded_by_the_program(path, "v210")
        self.assertEqual(len(expected), 30 * frame_bytes("V210", 128, 96))
        for threads in (1, 2, 8):
            self.assert_same_bytes(self.decoded(path, "v210", f"vixproresdec threads={threads}"),
                                   expected)

    def test_pictures_of_mkv_have_the_times_of_the_frame_rate(self):
        make_clip(self.path("peer.mkv"), "-c:v", "prores_ks")
        messages = self.launch(f"filesrc location={self.path('peer.mkv')} ! matroskademux ! "
                               "vixproresdec ! fakesink silent=false", "-v")
        for number in range(10):
            self.assertRegex(messages, rf"chain.* pts: 0:00:00\.{number * 4:02}0000000")

    def test_8_bits_and_back_through_a_transcoding_pipeline(self):
        frames = Frames()
        path = self.encoded_by_the_program(self.raw(frames), frames, "hq")
        self.launch(f"filesrc location={path} ! qtdemux ! vixproresdec ! video/x-raw,format=UYVY ! "
                    f"vixproresenc variant=proxy ! qtmux ! filesink location={self.path('p.mov')}")
        self.succeed("decode", "--quiet", "--fourcc", "UYVY", path, self.path("8.raw"))
        self.succeed("encode", "--quiet", *Frames("UYVY").options(), "--variant", "proxy",
                     self.path("8.raw"), self.path("q.mov"))
        self.assert_same_frames(mini_mov.samples(self.path("p.mov")),
                                mini_mov.samples(self.path("q.mov")))

    def damaged(self, number):
        frames = Frames()
        path = self.encoded_by_the_program(self.raw(frames), frames, "hq")
        mini_mov.break_slice(path, number)
        return path

    def test_damage_is_a_warning_that_names_the_frame(self):
        path = self.damaged(2)
        messages = self.launch(f"filesrc location={path} ! qtdemux ! vixproresdec ! "
                               "video/x-raw,format=v210 ! "
                               f"filesink location={self.path('pipeline.raw')}")
        self.assertRegex(messages, r"WARNING[^\n]*vixproresdec")
        self.assertIn("frame 2", messages)
        self.succeed("decode", "--quiet", "--on-error", "conceal", path, self.path("program.raw"))
        self.assert_same_bytes(self.path("pipeline.raw").read_bytes(),
                               self.path("program.raw").read_bytes())

    def test_damaged_frames_can_be_left_out(self):
        self.assertEqual(len(self.decoded(self.damaged(2), "v210", "vixproresdec error-policy=skip")),
                         4 * frame_bytes("V210", 128, 96))

    def test_damage_can_end_the_pipeline(self):
        result = run("gst-launch-1.0", *f"filesrc location={self.damaged(2)} ! qtdemux ! "
                     "vixproresdec error-policy=stop ! fakesink".split())
        self.assertNotEqual(result.returncode, 0)
        self.assertRegex(result.stdout, r"ERROR[^\n]*vixproresdec")
        self.assertIn("frame 2", result.stdout)


if __name__ == "__main__":
    unittest.main()

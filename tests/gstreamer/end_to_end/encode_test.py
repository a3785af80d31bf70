# SPDX-License-Identifier: BSD-2-Clause
"""Pipelines that encode: every frame has the bytes of the program's, in every container."""
import itertools
import unittest

from mini_mov import samples
from pipelines import SCANS, VARIANTS, Frames, PipelineTest, run
from tool import planes, probe


def split(data):
    """Returns the frames of a file of frames without a container."""
    frames = []
    while data:
        size = int.from_bytes(data[:4], "big")
        frames.append(data[:size])
        data = data[max(size, 8):]
    return frames


class Encode(PipelineTest):
    def check(self, frames, variant):
        raw = self.raw(frames)
        self.launch(f"{frames.source(raw)} ! vixproresenc variant={variant} ! "
                    f"filesink location={self.path('frames')}")
        expected = samples(self.encoded_by_the_program(raw, frames, variant))
        self.assertEqual(len(expected), frames.count)
        self.assert_same_frames(split(self.path("frames").read_bytes()), expected)

    def test_every_variant_format_and_field_order(self):
        for format, scan, variant in itertools.product(("v210", "UYVY"), SCANS, VARIANTS):
            with self.subTest(format=format, scan=scan, variant=variant):
                self.check(Frames(format=format, scan=scan), variant)

    def test_other_sizes_rates_and_colours(self):
        for frames in (Frames(size="50x34", rate="24/1"), Frames("UYVY", "318x180", "30000/1001"),
                       Frames(size="720x576", scan="top field first", colour="bt601"),
                       Frames(size="64x48", rate="60/1", colour="bt2020")):
            with self.subTest(frames=frames):
                self.check(frames, "standard")

    def test_without_a_variant_it_is_that_of_the_program(self):
        frames = Frames()
        raw = self.raw(frames)
        self.launch(f"{frames.source(raw)} ! vixproresenc ! filesink location={self.path('a')}")
        self.succeed("encode", "--quiet", *frames.options(), raw, self.path("b.mov"))
        self.assert_same_frames(split(self.path("a").read_bytes()), samples(self.path("b.mov")))

    def test_caps_after_the_encoder_choose_the_variant(self):
        frames = Frames()
        raw = self.raw(frames)
        self.launch(f"{frames.source(raw)} ! vixproresenc ! video/x-prores,variant=lt ! "
                    f"filesink location={self.path('a')}")
        expected = samples(self.encoded_by_the_program(raw, frames, "lt"))
        self.assert_same_frames(split(self.path("a").read_bytes()), expected)

    def test_the_number_of_threads_changes_nothing(self):
        frames = Frames(count=30)
        raw = self.raw(frames)
        for threads in (1, 2, 8):
            self.launch(f"{frames.source(raw)} ! vixproresenc threads={threads} ! "
                        f"filesink location={self.path(str(threads))}")
        one = self.path("1").read_bytes()
        self.assertEqual(len(split(one)), 30)
        self.assert_same_bytes(one, self.path("2").read_bytes())
        self.assert_same_bytes(one, self.path("8").read_bytes())


class Containers(PipelineTest):
    def encode(self, muxer, name, scan="progressive"):
        self.frames = Frames(size="192x108", scan=scan)
        raw = self.raw(self.frames)
        self.launch(f"{self.frames.source(raw)} ! vixproresenc variant=hq ! {muxer} ! "
                    f"filesink location={self.path(name)}")
        self.expected = self.encoded_by_the_program(raw, self.frames, "hq")
        return self.path(name)

    def check_stream(self, path):
        stream = probe(path)
        self.assertEqual((stream["codec_name"], stream["profile"], stream["width"],
                          stream["height"], stream["r_frame_rate"], stream["nb_read_packets"]),
                         ("prores", "HQ", 192, 108, "25/1", "5"))
        # An independent decoder shows the same pictures.
        self.assert_same_bytes(planes(path), planes(self.expected))

    def test_mov_has_the_frames_of_the_program(self):
        for scan in SCANS:
            with self.subTest(scan=scan):
                path = self.encode("qtmux", "a.mov", scan)
                self.assert_same_frames(samples(path), samples(self.expected))
                self.check_stream(path)
                self.assertEqual(probe(path)["field_order"] == "progressive", scan == "progressive")
                self.assertEqual(probe(path)["color_space"], "bt709")

    def test_mkv_has_the_frames_of_the_program(self):
        path = self.encode("matroskamux", "a.mkv")
        self.assert_same_frames(self.remuxed(path), samples(self.expected))
        self.check_stream(path)

    def test_the_program_finds_no_fault(self):
        path = self.encode("qtmux", "a.mov")
        self.succeed("verify", path)

    def test_gst_discoverer_describes_the_file(self):
        for muxer, name in (("qtmux", "a.mov"), ("matroskamux", "a.mkv")):
            with self.subTest(muxer=muxer):
                path = self.encode(muxer, name)
                result = run("gst-discoverer-1.0", "-v", path.as_uri())
                self.assertEqual(result.returncode, 0, result.stdout)
                for word in ("ProRes", "Width: 192", "Height: 108", "Frame rate: 25/1"):
                    self.assertIn(word, result.stdout)


class Refused(PipelineTest):
    def test_what_the_encoder_does_not_take(self):
        for caps in ("format=I420", "format=v210,interlace-mode=mixed"):
            with self.subTest(caps=caps):
                result = run("gst-launch-1.0", *f"videotestsrc num-buffers=1 ! video/x-raw,{caps} ! "
                             "vixproresenc ! fakesink".split())
                self.assertNotEqual(result.returncode, 0)

    def test_a_variant_that_downstream_does_not_take(self):
        result = run("gst-launch-1.0", *"videotestsrc num-buffers=1 ! vixproresenc variant=hq ! "
                     "video/x-prores,variant=proxy ! fakesink".split())
        self.assertNotEqual(result.returncode, 0)

    def test_a_converter_in_front_makes_any_video_fit(self):
        self.launch("videotestsrc num-buffers=3 ! video/x-raw,format=I420,width=64,height=48 ! "
                    f"videoconvert ! vixproresenc ! qtmux ! filesink location={self.path('a.mov')}")
        self.assertEqual(probe(self.path("a.mov"))["nb_read_packets"], "3")


if __name__ == "__main__":
    unittest.main()

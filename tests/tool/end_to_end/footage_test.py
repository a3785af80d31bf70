# SPDX-License-Identifier: BSD-2-Clause
"""Encodes video of every kind, and compares its pictures with the conversion of another program."""

import math
import subprocess

from tool import TIMEOUT, ToolTest, probe


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], check=True,
                   timeout=TIMEOUT)


def frame_hashes(path):
    """The hash of each packet of the video track."""
    listed = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-i", path, "-map", "0:v", "-c",
                             "copy", "-f", "framemd5", "-"], check=True, capture_output=True,
                            text=True, timeout=TIMEOUT).stdout
    return [line.split()[-1] for line in listed.splitlines() if not line.startswith("#")]


def decoded(path, filters="null"):
    """The samples of all frames as planar 4:2:2 of 16 bits."""
    raw = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-noautorotate", "-i", path, "-map",
                          "0:v:0", "-vf", f"{filters},format=yuv422p10le", "-f", "rawvideo", "-"],
                         check=True, capture_output=True, timeout=TIMEOUT).stdout
    return memoryview(raw).cast("H")


def psnr(a, b):
    squares = sum((x - y) ** 2 for x, y in zip(a, b))
    return math.inf if squares == 0 else 10 * math.log10(1023 ** 2 * len(a) / squares)


# Name of the file, options that make it, and the filters of another program that convert it.
SPLINE = "filter=spline36"
INPUTS = {
    "h264.mp4": ("-c:v libx264 -bf 2 -g 12 -pix_fmt yuv420p", f"zscale={SPLINE}"),
    "h264_10.mkv": ("-c:v libx264 -pix_fmt yuv420p10le", f"zscale={SPLINE}"),
    "h264_444.mp4": ("-c:v libx264 -pix_fmt yuv444p", f"zscale={SPLINE}"),
    "hevc.mp4": ("-c:v libx265 -x265-params log-level=none -pix_fmt yuv420p10le", f"zscale={SPLINE}"),
    "vp9.webm": ("-c:v libvpx-vp9 -pix_fmt yuv420p", f"zscale={SPLINE}"),
    "av1.mkv": ("-c:v libsvtav1 -pix_fmt yuv420p", f"zscale={SPLINE}"),
    "mpeg2.ts": ("-c:v mpeg2video -q:v 2 -pix_fmt yuv420p", f"zscale={SPLINE}"),
    "dnxhr.mxf": ("-c:v dnxhd -profile:v dnxhr_hqx -pix_fmt yuv422p10le -s 256x120", "null"),
    "cineform.mov": ("-c:v cfhd -pix_fmt yuv422p10le", "null"),
    "jpeg2000.mkv": ("-c:v jpeg2000 -pix_fmt yuv422p10le", f"zscale={SPLINE}:matrix=170m:range=limited"),
    "ffv1.mkv": ("-c:v ffv1 -pix_fmt yuv422p", "null"),
    "ffv1_444.mkv": ("-c:v ffv1 -pix_fmt yuv444p10le", f"zscale={SPLINE}"),
    "mjpeg.avi": ("-c:v mjpeg -q:v 2 -pix_fmt yuvj420p",
                  f"setparams=range=full,zscale={SPLINE}:rangein=full:range=limited:chromalin=center:"
                  "chromal=left"),
    "plain.nut": ("-c:v rawvideo -pix_fmt yuv420p", f"zscale={SPLINE}"),
    "plain.y4m": ("-pix_fmt yuv420p", f"zscale={SPLINE}:chromalin=center:chromal=left"),
}


class Pictures(ToolTest):
    SIZE = "192x120"

    def make(self, name, options, *, frames=5, source="testsrc2", extra=()):
        path = self.path(name)
        size = self.SIZE
        ffmpeg("-f", "lavfi", "-i", f"{source}=s={size}:r=25", "-frames:v", frames, *extra,
               *options.split(), path)
        return path

    def test_are_those_of_another_conversion(self):
        for name, (options, filters) in INPUTS.items():
            with self.subTest(name):
                clip, out = self.make(name, options), self.path("out.mov")
                self.succeed("encode", "--overwrite", "--variant", "hq", clip, out)
                self.assertEqual(probe(out)["nb_read_packets"], "5")
                ours, theirs = decoded(out), decoded(clip, filters)
                self.assertEqual(len(ours), len(theirs))
                self.assertGreater(psnr(ours, theirs), 45)

    def test_of_odd_size_are_padded_and_cropped(self):
        clip, out = self.path("odd.mkv"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc=s=63x61:r=25", "-frames:v", "3", "-c:v", "ffv1",
               "-pix_fmt", "yuv420p", clip)
        self.succeed("encode", clip, out)
        self.assertEqual((probe(out)["width"], probe(out)["height"]), (63, 61))

    def test_of_rgb_name_their_matrix(self):
        clip = self.make("clip.avi", "-c:v rawvideo -pix_fmt bgr24")
        told = self.succeed("encode", clip, self.path("out.mov")).stderr
        self.assertIn("matrix 6 (bt601)", told)
        told = self.succeed("encode", "--overwrite", "--matrix", "bt709", clip, self.path("out.mov"))
        self.assertIn("matrix 1 (bt709)", told.stderr)
        self.assertEqual(probe(self.path("out.mov"))["color_space"], "bt709")

    def test_of_rgb_from_a_filter_keep_the_matrix_of_their_source(self):
        clip = self.make("clip.mkv", "-c:v ffv1 -pix_fmt yuv444p -colorspace bt2020nc")
        out = self.path("out.mov")
        self.succeed("encode", "--filter", "format=gbrp", clip, out)
        self.assertEqual(probe(out)["color_space"], "bt2020nc")
        self.assertGreater(psnr(decoded(out), decoded(clip, f"zscale={SPLINE}")), 36)

    def test_that_are_turned_come_out_upright(self):
        plain = self.make("plain.mp4", "-c:v libx264 -pix_fmt yuv420p")
        turned, out = self.path("turned.mp4"), self.path("out.mov")
        ffmpeg("-i", plain, "-c", "copy", "-metadata:s:v", "rotate=90", turned)
        told = self.succeed("encode", turned, out).stderr
        self.assertIn("--no-rotate", told)
        self.assertEqual((probe(out)["width"], probe(out)["height"]), (120, 192))
        self.succeed("encode", "--overwrite", "--no-rotate", turned, out)
        self.assertEqual((probe(out)["width"], probe(out)["height"]), (192, 120))

    def test_that_change_their_size_name_the_picture(self):
        parts = []
        for size in ("192x120", "96x60"):
            parts.append(self.path(f"{size}.h264"))
            ffmpeg("-f", "lavfi", "-i", f"testsrc2=s={size}:r=25", "-frames:v", "3", "-c:v",
                   "libx264", "-bf", "0", parts[-1])
        clip, out = self.path("clip.h264"), self.path("out.mov")
        clip.write_bytes(b"".join(part.read_bytes() for part in parts))
        self.fail_with(1, ["picture 3 has 96x60 pixels", "--scale"], "encode", "--rate", "25", clip,
                       out)
        self.succeed("encode", "--overwrite", "--rate", "25", "--scale", "96x60", clip, out)
        self.assertEqual(probe(out)["nb_read_packets"], "6")

    def test_of_a_pipe_are_read(self):
        clip = self.make("clip.ts", "-c:v libx264 -pix_fmt yuv420p")
        with open(clip, "rb") as pipe:
            self.succeed("encode", "-", self.path("out.mov"), stdin=pipe)
        self.succeed("encode", clip, self.path("file.mov"))
        self.assertEqual(frame_hashes(self.path("out.mov")), frame_hashes(self.path("file.mov")))

    def test_are_the_same_for_any_number_of_threads(self):
        clip = self.make("clip.mp4", "-c:v libx264 -pix_fmt yuv420p", frames=20)
        hashes = []
        for threads in (1, 2, 3):
            self.succeed("encode", "--overwrite", "--threads", threads, "--deinterlace", "frames",
                         clip, self.path("out.mov"))
            hashes.append(frame_hashes(self.path("out.mov")))
        self.assertEqual(hashes[0], hashes[1])
        self.assertEqual(hashes[0], hashes[2])


class BottomFieldFirst(ToolTest):
    """Stays bottom field first, and every line in its place."""

    def check(self, clip, *options):
        out = self.path("out.mov")
        self.succeed("encode", "--overwrite", "--variant", "hq", *options, clip, out)
        self.assertIn(probe(out)["field_order"], ("bb", "bt"))
        self.assertGreater(psnr(decoded(out), decoded(clip)), 45)
        # Decoded by the program itself, too.
        raw = self.path("out.y4m")
        self.succeed("decode", "--overwrite", out, raw)
        self.assertGreater(psnr(decoded(raw), decoded(clip)), 45)

    def test_of_packed_video(self):
        clip = self.path("clip.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=192x128:r=50", "-frames:v", "4", "-vf",
               "tinterlace=interleave_bottom,setfield=bff", "-c:v", "v210", "-field_order", "bb",
               clip)
        self.check(clip)
        self.check(clip, "--fields", "bottom")

    def test_of_decoded_video(self):
        clip = self.path("clip.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=192x128:r=50", "-frames:v", "4", "-vf",
               "tinterlace=interleave_bottom,setfield=bff", "-c:v", "ffv1", "-pix_fmt",
               "yuv422p10le", "-field_order", "bb", clip)
        self.check(clip)

    def test_of_dv(self):
        clip, out = self.path("clip.dv"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=720x576:r=25", "-frames:v", "2", "-pix_fmt",
               "yuv420p", "-c:v", "dvvideo", clip)
        self.succeed("encode", clip, out)
        self.assertIn(probe(out)["field_order"], ("bb", "bt"))

    def test_of_raw_frames(self):
        frames, out = self.path("clip.v210"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=192x128:r=25", "-frames:v", "2", "-c:v", "v210", "-f",
               "rawvideo", frames)
        self.succeed("encode", "--fourcc", "V210", "--size", "192x128", "--rate", "25", "--fields",
                     "bottom", frames, out)
        self.assertIn(probe(out)["field_order"], ("bb", "bt"))


class Ranges(ToolTest):
    """--frames gives the frames of the whole run, bit for bit."""

    FIRST, LAST = 40, 52

    def check(self, clip, *options):
        whole, part = self.path("whole.mov"), self.path("part.mov")
        self.succeed("encode", "--overwrite", *options, clip, whole)
        self.succeed("encode", "--overwrite", *options, "--frames", f"{self.FIRST}-{self.LAST}",
                     clip, part)
        self.assertEqual(frame_hashes(part), frame_hashes(whole)[self.FIRST:self.LAST + 1])

    def make(self, name, *options):
        clip = self.path(name)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-frames:v", "80", *options, clip)
        return clip

    def test_of_pictures_that_depend_on_later_ones(self):
        for gop in ("closed", "open"):
            with self.subTest(gop):
                self.check(self.make("clip.mp4", "-c:v", "libx264", "-bf", "3", "-g", "12",
                                     "-x264-params", f"open-gop={int(gop == 'open')}"))

    def test_without_an_index(self):
        for container in ("ts", "mkv"):
            with self.subTest(container):
                self.check(self.make(f"clip.{container}", "-c:v", "libx264", "-bf", "3", "-g", "12"))

    def test_with_sound_and_without_an_index(self):
        whole, part, cut = (self.path(name) for name in ("whole.mov", "part.mov", "cut.mov"))
        late = ("-output_ts_offset", "3600")
        for name, video, options in (("clip.ts", "libx264", ()), ("late.ts", "libx264", late),
                                     ("clip.mpg", "mpeg2video", ()), ("clip.mkv", "libx264", ())):
            with self.subTest(name):
                clip = self.path(name)
                ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-f", "lavfi", "-i",
                       "aevalsrc=sin(t*t*999):s=48000", "-t", "8", "-c:v", video, "-bf", "2", "-g", "12",
                       "-c:a", "ac3", *options, clip)
                self.succeed("encode", "--overwrite", clip, whole)
                for frames in ("10-19", "150-160"):
                    self.succeed("encode", "--overwrite", "--frames", frames, clip, part)
                    self.succeed("copy", "--overwrite", "--frames", frames, whole, cut)
                    self.assertEqual(frame_hashes(part), frame_hashes(cut))
                    self.assertEqual(*(subprocess.run(
                        ["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "md5", "-"],
                        check=True, capture_output=True, timeout=TIMEOUT).stdout
                                       for path in (part, cut)))

    def test_of_refreshed_pictures(self):
        self.check(self.make("clip.mp4", "-c:v", "libx264", "-x264-params", "intra-refresh=1:keyint=12"))

    def test_of_deinterlaced_pictures(self):
        clip = self.make("clip.mp4", "-c:v", "libx264", "-bf", "3", "-g", "12", "-flags",
                         "+ilme+ildct")
        for what in ("frames", "fields"):
            with self.subTest(what):
                self.check(clip, "--deinterlace", what)

    def test_at_another_rate(self):
        clip = self.make("clip.mp4", "-c:v", "libx264", "-vf", "select='not(eq(mod(n,7),3))'",
                         "-vsync", "vfr")
        self.check(clip, "--convert-rate", "30")
        self.check(clip, "--rate", "30")

    def test_of_filters_that_see_numbers(self):
        clip = self.make("clip.mp4", "-c:v", "libx264", "-bf", "3", "-g", "12")
        self.check(clip, "--filter", "crop=64:48:n:0")
        self.check(clip, "--filter", "hflip")


class Colours(ToolTest):
    def test_of_hdr_become_sdr_only_with_a_luminance(self):
        clip, out = self.path("clip.mkv"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-frames:v", "2", "-pix_fmt",
               "yuv420p10le", "-color_primaries", "bt2020", "-color_trc", "smpte2084",
               "-colorspace", "bt2020nc", "-c:v", "ffv1", clip)
        self.fail_with(1, ["is HDR", "--peak-luminance"], "encode", "--convert-color", "bt709", clip,
                       out)
        self.succeed("encode", "--convert-color", "bt709", "--peak-luminance", "203", clip, out)
        track = probe(out)
        self.assertEqual((track["color_space"], track["color_transfer"]), ("bt709", "bt709"))


class Rates(ToolTest):
    def test_are_converted_by_time(self):
        clip, out = self.path("clip.mp4"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=24", "-t", "2", "-c:v", "libx264", clip)
        told = self.succeed("encode", "--convert-rate", "30", clip, out).stderr
        self.assertIn("12 frames repeated and 0 frames dropped to keep 30", told)
        self.assertEqual((probe(out)["nb_read_packets"], probe(out)["avg_frame_rate"]),
                         ("60", "30/1"))

    def test_of_filtered_pictures_are_converted_by_time(self):
        clip, out = self.path("clip.mov"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-t", "1", "-c:v", "libx264", clip)
        for options in (("--filter", "null"), ("--filter", "fps=10"), ("--filter", "fps=50"),
                        ("--filter", "settb=1/1000"), ("--deinterlace", "frames"),
                        ("--deinterlace", "fields")):
            with self.subTest(options):
                self.succeed("encode", "--overwrite", "--convert-rate", "50", *options, clip, out)
                self.assertEqual(probe(out)["nb_read_packets"], "50")

    def test_that_vary_are_refused_with_the_ways_out(self):
        clip = self.path("clip.mp4")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-frames:v", "20", "-vf",
               "select='not(eq(mod(n,5),3))'", "-vsync", "vfr", "-c:v", "libx264", clip)
        told = self.fail_with(1, ["variable frame rate", "--rate N/D", "--convert-rate N/D"],
                              "encode", clip, self.path("out.mov")).stderr
        self.assertNotIn("kept", told)


class Filters(ToolTest):
    def test_that_change_the_rate_keep_the_length(self):
        clip, out = self.path("clip.mov"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-t", "1", "-c:v", "libx264", clip)
        for rate in ("10", "50", "100"):
            with self.subTest(rate):
                self.succeed("encode", "--overwrite", "--filter", f"fps={rate}", clip, out)
                self.assertEqual(probe(out)["nb_read_packets"], rate)

    def test_that_are_wrong_are_refused(self):
        clip = self.path("clip.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25", "-frames:v", "2", "-c:v", "ffv1", clip)
        for graph, words in (("nonsense", "nonsense"), ("movie=other.mp4", "not allowed"),
                             ("subtitles=http://example.org/a.srt", "networks"),
                             ("crop=9999:9999", "--filter")):
            with self.subTest(graph):
                self.fail_with(2, [words], "encode", "--filter", graph, clip, self.path("out.mov"))


if __name__ == "__main__":
    import unittest
    unittest.main()


class EditLists(ToolTest):
    def test_leave_out_pictures(self):
        whole, clip, out = self.path("whole.mp4"), self.path("clip.mp4"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=192x120:r=25", "-frames:v", "100", "-c:v", "libx264",
               "-bf", "2", "-g", "25", whole)
        ffmpeg("-ss", "1.3", "-i", whole, "-c", "copy", clip)
        wanted = decoded(clip, "null")
        self.succeed("encode", "--variant", "hq", clip, out)
        self.assertEqual(len(decoded(out)), len(wanted))
        self.assertGreater(psnr(decoded(out)[:1 << 18], wanted[:1 << 18]), 35)


class Sound(ToolTest):
    def test_of_a_programme_stream_has_no_holes(self):
        """Its times step by two packets, and the next packet has the same time."""
        clip, out = self.path("clip.mpg"), self.path("out.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=720x576:r=25", "-f", "lavfi", "-i",
               "sine=r=48000", "-t", "4", "-c:v", "mpeg2video", "-q:v", "4", "-bf", "2", "-g", "12",
               "-c:a", "ac3", clip)
        times = subprocess.run(
            ["ffprobe", "-v", "error", "-select_streams", "a", "-show_entries", "packet=pts", "-of",
             "csv=p=0", clip], check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout.split()
        self.assertGreater(len(times), len(set(times)), "the clip has no such step")
        told = self.succeed("encode", clip, out).stderr
        self.assertNotIn("sound track 1", told)

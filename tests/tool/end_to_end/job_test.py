# SPDX-License-Identifier: BSD-2-Clause
"""A job of chunks and a join gives the file of one run."""
import json
import pathlib
import re
import shutil
import subprocess
import unittest

from jobs import H264, V210, JobTest, contents, movie
from text_tracks_test import CHAPTERS, SUBTITLES, TextTracks
from tool import ffmpeg, planes, probe, run

AAC = "-c:a aac -b:a 96k"
PCM = "-c:a pcm_s24le"
TOP_FIRST = "-flags +ilme+ildct -top 1"
FIELDS = "tinterlace=interleave_top,fieldorder=tff"


def interlaced(suffix, codec):
    return movie(suffix, f"{codec} {TOP_FIRST}", PCM, rate="50", filters=FIELDS)


class WholeFile(JobTest):
    def check(self, *arguments, name="output.mov", chunks=3):
        """Compares the file of a job with that of one run."""
        shutil.rmtree(self.output.parent)
        self.output.parent.mkdir()
        self.output = self.output.parent / name
        self.parts = self.output.parent / f"{name}.job"
        single = self.single(*arguments, name=name)
        job = self.make(*arguments, chunks=chunks)
        self.assertEqual(len(job["chunks"]), chunks)
        if name.endswith(".mov"):
            self.assert_same_bytes(self.output.read_bytes(), single.read_bytes())
        else:
            self.assertEqual(contents(self.output), contents(single))
        self.assertEqual(job["frames"], int(probe(self.output)["nb_read_packets"]))
        self.assertEqual([path.name for path in self.parts.iterdir()], ["join.json"])
        return job


class Frames(WholeFile):
    def test_movies(self):
        for name, clip in (
                ("H.264 with B-frames and AAC", movie(".mov", H264, AAC)),
                ("V210 and PCM", movie(".mov", V210, PCM)),
                ("Matroska", movie(".mkv", H264, AAC)),
                ("transport stream", movie(".ts", H264, AAC)),
                ("MPEG-2 of 29.97 frames", movie(".ts", "-c:v mpeg2video -bf 2 -g 12", "-c:a mp2",
                                                 rate="30000/1001")),
                ("Material Exchange Format", movie(".mxf", "-c:v mpeg2video -bf 2 -g 12",
                                                   "-c:a pcm_s16le")),
                ("ProRes", movie(".mov", "-c:v prores_ks -pix_fmt yuv422p10le", PCM)),
                ("RGB", movie(".mkv", "-c:v ffv1 -pix_fmt gbrp")),
                ("RGB of 16 bits", movie(".mov", "-c:v png -pix_fmt rgb48be", PCM)),
                ("4:2:0 of 10 bits", movie(".mkv", "-c:v ffv1 -pix_fmt yuv420p10le")),
                ("y4m", movie(".y4m", "-pix_fmt yuv422p"))):
            with self.subTest(name):
                self.check(clip)

    def test_drop_frame_timecode_continues(self):
        clip = movie(".mov", f"{V210} -timecode 00:00:59;20", PCM, rate="30000/1001")
        self.check(clip)
        self.assertEqual(self.succeed("inspect", "--json", self.output).returncode, 0)
        self.check("--frames", "15-40", clip)
        shown = subprocess.run(
            ["ffprobe", "-v", "error", "-show_entries", "stream_tags=timecode", "-of", "csv=p=0",
             self.output], check=True, capture_output=True, text=True).stdout
        # Numbers 0 and 1 of the minute are dropped.
        self.assertIn("00:01:00;07", shown)

    def test_ranges_cut_the_sound_to_the_sample(self):
        for clip in (movie(".mov", V210, PCM), movie(".mov", H264, AAC), movie(".mkv", H264, AAC),
                     movie(".ts", H264, AAC)):
            for frames in ("7-31", "13-"):
                with self.subTest(clip=clip.name, frames=frames):
                    self.check("--frames", frames, clip)

    def test_a_range_of_timecodes(self):
        clip = movie(".mov", f"{V210} -timecode 10:00:00:00", PCM)
        job = self.check("--frames", "10:00:00:05-10:00:01:04", clip)
        self.assertEqual((job["first"], job["frames"]), (5, 25))

    def test_image_sequences_count_from_their_first_number(self):
        self.path("shot").mkdir()
        pattern = self.path("shot/a.%04d.dpx")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=96x64:rate=24", "-frames:v", 14, "-pix_fmt",
               "gbrp10be", "-start_number", 1001, pattern)
        for options, first, chunk in (((), 0, "1001-1004"),
                                      (("--frames", "1003-1012", "--timecode", "frame"), 2,
                                       "1003-1005")):
            with self.subTest(options=options):
                job = self.check("--rate", "24", *options, pattern)
                self.assertEqual(job["first"], first)
                self.assertIn(chunk, job["chunks"][0]["command"])

    def test_missing_images_are_filled_as_in_one_run(self):
        self.path("shot").mkdir()
        pattern = self.path("shot/a.%04d.png")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=96x64:rate=24", "-frames:v", 12, pattern)
        for number in (4, 5, 6, 9):  # at both ends of a chunk
            self.path(f"shot/a.{number:04}.png").unlink()
        for what in ("hold", "black"):
            with self.subTest(what):
                self.check("--rate", "24", "--missing", what, pattern)

    def test_raw_frames(self):
        for code, pixels in (("UYVY", "-c:v rawvideo -pix_fmt uyvy422"), ("V210", V210)):
            with self.subTest(code):
                clip = movie(".raw", f"{pixels} -f rawvideo")
                self.check("--fourcc", code, "--size", "128x96", "--rate", "25", clip)

    def test_pictures_that_are_converted(self):
        for clip, options in (
                (interlaced(".mov", V210), "--deinterlace frames"),
                (interlaced(".mov", V210), "--deinterlace fields"),
                (interlaced(".ts", "-c:v mpeg2video -bf 2 -g 12"), "--deinterlace frames"),
                (interlaced(".ts", "-c:v mpeg2video -bf 2 -g 12"), "--deinterlace fields"),
                (interlaced(".ts", "-c:v mpeg2video -bf 2 -g 12"), ""),
                (interlaced(".mov", V210), "--deinterlace fields --scale 64x48"),
                (movie(".mov", H264, AAC), "--convert-rate 30"),
                (movie(".mov", H264, AAC), "--convert-rate 12"),
                (movie(".mov", V210, PCM), "--convert-rate 30000/1001"),
                (movie(".mov", H264, AAC), "--scale 1/2"),
                (movie(".mov", V210, PCM), "--scale 96x80 --filter hflip"),
                (movie(".mov", H264, AAC), "--convert-color bt2020 --colour bt709"),
                (movie(".mkv", "-c:v ffv1 -pix_fmt gbrp"), "--convert-color bt709"),
                (movie(".mov", f"{H264} -vf transpose"), "--rate 24"),
                (movie(".mov", V210, PCM), "--fields top --par 4:3 --variant proxy")):
            with self.subTest(clip=clip.name, options=options):
                self.check(*options.split(), clip)

    def test_ranges_of_converted_pictures(self):
        for clip, options in ((interlaced(".mov", V210), "--deinterlace frames"),
                              (interlaced(".mov", V210), "--deinterlace fields"),
                              (movie(".mov", H264, AAC), "--convert-rate 30")):
            with self.subTest(options=options):
                self.check("--frames", "9-30", *options.split(), clip)

    def test_sound_of_another_length(self):
        pictures = movie(".mov", V210)
        for codec in ("pcm_s24le", "aac"):
            for seconds, delay in ((0.7, 0), (2.9, 0), (1.6, 0.25), (1.6, -0.25)):
                clip = self.path("clip.mov")
                ffmpeg("-i", pictures, "-itsoffset", delay, "-f", "lavfi", "-i",
                       f"sine=duration={seconds}", "-c:v", "copy", "-c:a", codec, clip)
                for options in ((), ("--frames", "0-39"), ("--frames", "20-")):
                    with self.subTest(codec=codec, seconds=seconds, delay=delay, options=options):
                        self.check(*options, clip, chunks=2)

    def test_sound_is_converted_and_chosen(self):
        clip = movie(".mov", H264, AAC)
        two = self.path("two.mov")
        ffmpeg("-i", clip, "-f", "lavfi", "-i", "sine=duration=1.6", "-map", "0", "-map", "1", "-c:v",
               "copy", "-c:a:0", "copy", "-c:a:1", "pcm_s16le", two)
        other = movie(".wav", "-vn", "-c:a pcm_s16le")
        for options in (("--audio", "copy"), ("--audio", "pcm16"), ("--audio-rate", "44100"),
                        ("--audio-tracks", "2,1"), ("--audio-file", other),
                        ("--add-audio-file", other, "--audio-offset", "0.2"), ("--no-audio",),
                        ("--audio", "pcm32f", "--frames", "11-30"),
                        ("--audio-rate", "96000", "--frames", "11-30")):
            with self.subTest(options=options):
                self.check(*options, two)

    def test_other_containers(self):
        clip = movie(".mov", f"{V210} -timecode 01:00:00:00", PCM)
        for name in ("output.mkv", "output.mxf"):
            with self.subTest(name):
                self.check(clip, name=name)

    def test_labels_and_texts(self):
        clip = movie(".mov", f"{H264} -metadata title=Old -color_primaries bt709", AAC)
        self.check("--title", "A new 'title'", "--reel", "A001", "--metadata", "artist=-X", "--vendor",
                   "test", "--compressor", "Test", "--colour", "bt2020-pq", "--content-light",
                   "1000,400", "--timecode", "09:59:59:20", clip)

    def test_several_inputs(self):
        names = ("a b.mov", "c'd.mkv")
        for name in names:
            shutil.copy(movie(pathlib.Path(name).suffix, H264, AAC), self.path(name))
        inputs = [self.path(name) for name in names]
        self.succeed("encode", "--output-dir", self.path("single"), *inputs)
        for folder in ((), ("--job-dir", self.path("parts"))):
            with self.subTest(folder=folder):
                jobs = self.plan("--chunk-frames", 15, *folder, "--output-dir", self.path("many"),
                                 *inputs)
                self.assertEqual(len({job["folder"] for job in jobs}), 2)
                for job in jobs:
                    self.encode(job)
                    self.run_command(job["join"])
                for path in self.path("single").iterdir():
                    joined = self.path("many") / path.name
                    self.assert_same_bytes(joined.read_bytes(), path.read_bytes())
                shutil.rmtree(self.path("many"))

    def test_names_that_look_like_options(self):
        folder = self.path("odd")
        folder.mkdir()
        shutil.copy(movie(".mov", V210, PCM), folder / "-in.mov")
        single = self.single(folder / "-in.mov")
        job = self.plan("--chunks", 2, "--", "-in.mov", "-out.mov", cwd=folder)[0]
        for command in (*(chunk["command"] for chunk in job["chunks"]), job["join"]):
            self.run_command(command, cwd=folder)
        self.assert_same_bytes((folder / "-out.mov").read_bytes(), single.read_bytes())


class Texts(WholeFile):
    """Subtitles, chapters and captions."""
    def setUp(self):
        super().setUp()
        self.words, self.marks = self.path("words.srt"), self.path("chapters.txt")
        self.words.write_text(SUBTITLES)
        self.marks.write_text(CHAPTERS)

    make_texts, caption = TextTracks.make, TextTracks.caption

    def test_subtitles_and_chapters(self):
        for name, subtitles in (("clip.mov", "mov_text"), ("clip.mkv", "srt")):
            clip = self.make_texts(name, subtitles=subtitles)
            for options in ((), ("--frames", "10-34")):
                with self.subTest(name, options=options):
                    self.check(*options, clip, name="output" + clip.suffix)

    def test_captions_within_pictures(self):
        clip = self.path("captions.mov")
        self.caption(clip, 20)
        for options in ((), ("--frames", "5-16")):
            with self.subTest(options=options):
                self.check(*options, clip)


class Machines(WholeFile):
    """Chunks of one job may run on different machines."""
    def test_processors_and_threads_do_not_change_the_file(self):
        levels = re.search(r"processor: *([^;]*);", run("--version").stdout).group(1)
        levels = re.split(", | and ", levels)
        self.assertIn("scalar", levels)
        for clip, options in (
                (movie(".mov", V210, PCM), ()), (movie(".mov", H264, AAC), ()),
                (movie(".mov", "-c:v png -pix_fmt rgb48be", PCM), ()),
                (movie(".mkv", "-c:v ffv1 -pix_fmt gbrp"), ("--scale", "1/2")),
                (movie(".mov", H264, AAC), ("--convert-color", "bt2020", "--color", "bt709")),
                (interlaced(".mov", V210), ("--deinterlace", "frames"))):
            with self.subTest(clip=clip.name, options=options):
                single = self.single(*options, clip)
                self.output.unlink(missing_ok=True)
                job = self.plan_one(*options, clip, chunks=2 * len(levels))
                for place, chunk in enumerate(job["chunks"]):
                    self.run_command(chunk["command"], "--cpu", levels[place % len(levels)],
                                     "--threads", 1 + place % 3)
                self.run_command(job["join"])
                self.assert_same_bytes(self.output.read_bytes(), single.read_bytes())


del TextTracks  # so that its tests do not run here


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: BSD-2-Clause
"""Chapters, subtitles and other tracks beside picture and sound."""
import json
import subprocess
import unittest

from tool import ToolTest, ffmpeg, run

SUBTITLES = "1\n00:00:00,200 --> 00:00:00,800\nHello\n\n2\n00:00:01,120 --> 00:00:01,600\nWorld\n"
CHAPTERS = """;FFMETADATA1
[CHAPTER]
TIMEBASE=1/1000
START=0
END=1000
title=One
[CHAPTER]
TIMEBASE=1/1000
START=1000
END=2000
title=Two
"""


def probe_all(path):
    return json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-show_streams", "-show_chapters", "-of", "json", path],
        check=True, capture_output=True).stdout)


def chapters(path):
    """Returns (begin, end, title) of each chapter, with times in milliseconds."""
    return [(round(1000 * float(chapter["start_time"])), round(1000 * float(chapter["end_time"])),
             chapter.get("tags", {}).get("title", "")) for chapter in probe_all(path)["chapters"]]


def texts(path, track=0):
    """Returns (begin, duration, text) of each subtitle of a track, with times in milliseconds."""
    packets = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", f"s:{track}", "-show_packets", "-show_data",
         "-of", "json", path], check=True, capture_output=True).stdout)["packets"]
    found = []
    for packet in packets:
        data = bytes.fromhex("".join(line.split("  ")[0].split(": ", 1)[1].replace(" ", "")
                                     for line in packet["data"].strip().split("\n")))
        text = data[2:] if path.suffix == ".mov" else data  # after its length
        if text:
            found.append((round(1000 * float(packet["pts_time"])),
                          round(1000 * float(packet.get("duration_time", 0))), text.decode()))
    return found


class TextTracks(ToolTest):
    def setUp(self):
        super().setUp()
        self.words, self.marks = self.path("words.srt"), self.path("chapters.txt")
        self.words.write_text(SUBTITLES)
        self.marks.write_text(CHAPTERS)
        self.out = self.path("out.mov")

    def make(self, name, *options, subtitles="mov_text", video="libx264"):
        clip = self.path(name)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=2", "-f", "lavfi", "-i",
               "sine=duration=2", "-i", self.words, "-i", self.marks, *options, "-map", "0", "-map",
               "1", "-map", "2", "-map_chapters", "3", "-c:v", video, "-c:a", "pcm_s16le", "-c:s", subtitles,
               "-metadata:s:s:0", "language=fra", "-metadata:s:s:0", "title=French", clip)
        return clip

    def test_encode_keeps_subtitles_and_chapters_in_mov(self):
        clip = self.make("clip.mov")
        self.assertNotIn("left out", self.succeed("encode", clip, self.out).stderr)
        self.assertEqual(texts(self.out), texts(clip))
        self.assertEqual(texts(self.out), [(200, 600, "Hello"), (1120, 480, "World")])
        self.assertEqual(chapters(self.out), [(0, 1000, "One"), (1000, 2000, "Two")])
        track = [stream for stream in probe_all(self.out)["streams"]
                 if stream["codec_type"] == "subtitle"]
        self.assertEqual([stream["tags"]["language"] for stream in track], ["fra"])

    def test_encode_keeps_subtitles_and_chapters_in_mkv(self):
        clip, out = self.make("clip.mkv", subtitles="srt"), self.path("out.mkv")
        self.assertNotIn("left out", self.succeed("encode", clip, out).stderr)
        self.assertEqual(texts(out), [(200, 600, "Hello"), (1120, 480, "World")])
        self.assertEqual(chapters(out), [(0, 1000, "One"), (1000, 2000, "Two")])
        track = [stream for stream in probe_all(out)["streams"]
                 if stream["codec_type"] == "subtitle"]
        self.assertEqual([(stream["tags"]["language"], stream["tags"]["title"])
                          for stream in track], [("fra", "French")])

    def test_uncompressed_video_keeps_them_too(self):
        clip = self.make("clip.mov", video="v210")
        self.succeed("encode", clip, self.out)
        self.assertEqual(texts(self.out), [(200, 600, "Hello"), (1120, 480, "World")])
        self.assertEqual(chapters(self.out), [(0, 1000, "One"), (1000, 2000, "Two")])

    def test_decode_keeps_them(self):
        clip, back = self.make("clip.mov"), self.path("back.mov")
        self.succeed("encode", clip, self.out)
        self.succeed("decode", self.out, back)
        self.assertEqual(texts(back), [(200, 600, "Hello"), (1120, 480, "World")])
        self.assertEqual(chapters(back), [(0, 1000, "One"), (1000, 2000, "Two")])

    def test_a_range_cuts_and_moves_them(self):
        clip = self.make("clip.mov")
        self.succeed("encode", "--frames", "10-34", clip, self.out)
        self.assertEqual(texts(self.out), [(0, 400, "Hello"), (720, 280, "World")])
        self.assertEqual(chapters(self.out), [(0, 600, "One"), (600, 1000, "Two")])

    def test_a_range_of_mkv_keeps_a_subtitle_that_began_before(self):
        clip, out = self.make("clip.mkv", subtitles="srt"), self.path("out.mkv")
        self.succeed("encode", "--frames", "35-49", clip, out)
        self.assertEqual(texts(out), [(0, 200, "World")])

    def test_copy_joins_them(self):
        clip, joined = self.make("clip.mov"), self.path("joined.mov")
        self.succeed("encode", clip, self.out)
        self.succeed("copy", self.out, self.out, joined)
        self.assertEqual(texts(joined), [(200, 600, "Hello"), (1120, 480, "World"),
                                         (2200, 600, "Hello"), (3120, 480, "World")])
        self.assertEqual(chapters(joined), [(0, 1000, "One"), (1000, 2000, "Two"),
                                            (2000, 3000, "One"), (3000, 4000, "Two")])

    def test_copy_of_a_copy_is_the_same_file(self):
        first, second = self.path("first.mov"), self.path("second.mov")
        self.succeed("encode", self.make("clip.mov"), self.out)
        self.succeed("copy", self.out, first)
        self.succeed("copy", first, second)
        self.assert_same_bytes(first.read_bytes(), second.read_bytes())

    def test_inputs_with_other_subtitles_join_without_theirs(self):
        plain, joined = self.path("plain.mov"), self.path("joined.mov")
        self.succeed("encode", self.make("clip.mov"), self.out)
        ffmpeg("-i", self.out, "-map", "0:v", "-map", "0:a", "-c", "copy", "-map_chapters", "-1",
               plain)
        notes = self.succeed("copy", plain, self.out, joined).stderr
        self.assertIn(f"note: {self.out}: left out: subtitles (mov_text, other tracks than those of "
                      "the first input)", notes)
        self.assertEqual(chapters(joined), [(0, 2000, "Start"), (2000, 3000, "One"),
                                            (3000, 4000, "Two")])

    def test_one_note_names_all_that_is_left_out(self):
        cover, font, clip = self.path("cover.png"), self.path("font.ttf"), self.path("clip.mkv")
        ffmpeg("-f", "lavfi", "-i", "color=size=16x16", "-frames:v", "1", cover)
        font.write_bytes(b"\0\1\0\0")
        ffmpeg("-i", self.make("words.mov"), "-attach", font, "-metadata:s:t:0",
               "mimetype=application/x-truetype-font", "-attach", cover, "-metadata:s:t:1",
               "mimetype=image/png", "-c:v", "copy", "-c:s", "ass", clip)
        for output, words in (
                ("out.mov", "subtitles (ass, a .mov cannot hold them); attachments; cover art"),
                ("out.mkv", "attachments; cover art"),
                ("out.mxf", "subtitles (ass, a .mxf cannot hold them); chapters; attachments; "
                            "cover art")):
            with self.subTest(output):
                notes = self.succeed("encode", "--audio-rate", "48000", clip,
                                     self.path(output)).stderr
                self.assertEqual([note for note in notes.split("\n") if f"{clip}: left out" in note],
                                 [f"vixprores: note: {clip}: left out: {words}"])

    def test_cover_art_is_not_the_video(self):
        cover, clip = self.path("cover.png"), self.path("clip.mp4")
        ffmpeg("-f", "lavfi", "-i", "color=size=16x16", "-frames:v", "1", cover)
        ffmpeg("-i", cover, "-i", self.make("words.mov"), "-map", "0", "-map", "1:v", "-c:v:0",
               "png", "-c:v:1", "copy", "-disposition:v:0", "attached_pic", clip)
        result = self.succeed("encode", "--json", clip, self.out)
        self.assertEqual(json.loads(result.stdout)["width"], 128)

    def caption(self, clip, frames, kinds=(0xFC,)):
        """Makes H.264 whose pictures carry captions: a pair of letters each."""
        plain, coded = self.path("plain.h264"), self.path("coded.h264")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25", "-frames:v", frames, "-c:v",
               "libx264", "-x264-params", "bframes=0:slices=1:sliced-threads=0", plain)
        parts = plain.read_bytes().split(b"\0\0\1")
        number, out = 0, [parts[0]]
        for unit in parts[1:]:
            if unit[0] & 31 in (1, 5):
                pair = bytes((0x41 + number % 26, 0x61 + number % 26))
                captions = b"".join(bytes((kind,)) + pair for kind in kinds)
                data = (b"\xB5\0\x31GA94\3" + bytes((0x40 | len(kinds), 0xFF)) + captions + b"\xFF")
                out.append(bytes((6, 4, len(data))) + data + b"\x80")
                number += 1
            out.append(unit)
        self.assertEqual(number, frames)
        coded.write_bytes(b"\0\0\1".join(out))
        ffmpeg("-r", "25", "-i", coded, "-c", "copy", clip)

    def captions(self, path):
        packets = json.loads(subprocess.run(
            ["ffprobe", "-v", "error", "-select_streams", "s:0", "-show_packets", "-show_data",
             "-of", "json", path], check=True, capture_output=True).stdout)["packets"]
        return [(round(25 * float(packet["pts_time"])),
                 bytes.fromhex("".join(line.split("  ")[0].split(": ", 1)[1].replace(" ", "")
                                       for line in packet["data"].strip().split("\n"))))
                for packet in packets]

    def test_captions_within_pictures_become_a_track(self):
        clip = self.path("clip.mov")
        self.caption(clip, 20)
        self.assertNotIn("left out", self.succeed("encode", clip, self.out).stderr)
        expected = [(i, bytes((0xFC, 0x41 + i, 0x61 + i))) for i in range(20)]
        self.assertEqual(self.captions(self.out), expected)
        copied = self.path("copied.mov")
        self.succeed("copy", "--frames", "5-14", self.out, copied)
        self.assertEqual(self.captions(copied), [(i - 5, words) for i, words in expected[5:15]])
        self.succeed("encode", "-y", "--frames", "5-14", clip, self.out)
        self.assertEqual(self.captions(self.out), [(i - 5, words) for i, words in expected[5:15]])

    def test_captions_without_a_place_are_named(self):
        clip = self.path("clip.mov")
        self.caption(clip, 5, (0xFC, 0xFF))
        for output, options, words in (
                ("out.mov", (), "left out: CEA-708 captions"),
                ("out.mkv", (), "left out: captions (eia_608, a .mkv cannot hold them); CEA-708"),
                ("out.mov", ("--convert-rate", "50"), "left out: captions within the pictures")):
            with self.subTest(output=output, options=options):
                notes = self.succeed("encode", "-y", *options, clip, self.path(output)).stderr
                self.assertIn(f"{clip}: {words}", notes)

    def test_data_tracks_are_named(self):
        clip, data = self.path("clip.ts"), self.path("data.bin")
        data.write_bytes(bytes(range(200)))
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "data", "-i",
               data, "-map", "0", "-map", "1", "-c:v", "mpeg2video", "-c:d", "copy", clip)
        notes = self.succeed("encode", clip, self.out).stderr
        self.assertIn(f"{clip}: left out: data (", notes)

    def test_a_chosen_video_track_is_not_noted(self):
        clip = self.path("two.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:duration=1", "-f", "lavfi", "-i",
               "color=size=128x96:duration=1", "-map", "0", "-map", "1", "-c:v", "libx264", clip)
        notes = self.succeed("encode", "--video-track", "2", clip, self.out).stderr
        self.assertNotIn("video tracks", notes)
        notes = self.succeed("encode", "-y", clip, self.out).stderr
        self.assertIn("has 2 video tracks; the first one is taken; --video-track chooses another",
                      notes)

    def test_subtitles_of_a_pipe_are_named(self):
        clip = self.make("clip.mkv", subtitles="srt")
        with open(clip, "rb") as pipe:
            cat = subprocess.Popen(["cat"], stdin=pipe, stdout=subprocess.PIPE)
            result = run("encode", "-", self.path("out.mkv"), stdin=cat.stdout)
            cat.stdout.close()
            cat.wait()
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertIn("left out: subtitles (subrip, the input is a pipe)", result.stderr)

    def test_a_pipe_of_mov_carries_them(self):
        self.succeed("encode", self.make("clip.mov"), self.out)
        piped = self.path("piped.mov")
        piped.write_bytes(self.succeed("copy", self.out, "-", text=False).stdout)
        self.assertEqual([words for _, _, words in texts(piped)], ["Hello", "World"])
        self.assertEqual(chapters(piped), [(0, 1000, "One"), (1000, 2000, "Two")])


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: BSD-2-Clause
"""Copying ProRes frames without coding them again: cut, joined, rewrapped and relabelled."""
import json
import pathlib
import re
import shutil
import struct
import subprocess

import mini_mov
from sound_test import file_tags, sound, tracks_of
from tool import (PROGRAM, TIMEOUT, ToolTest, ffmpeg, make_clip, planes, probe,
                  sample_entry_atom)

NTSC = "30000/1001"


def first_sample(frame, rate):
    """Returns the first sample at or after the start of a frame."""
    numerator, denominator = (int(word) for word in (rate + "/1").split("/")[:2])
    return -(-frame * denominator * 48000 // numerator)


def make_movie(path, *output, rate=NTSC, frames=30, codec="pcm_s24le", tracks=2, seed=0,
               timecode=None, filters="null"):
    """Makes a ProRes movie with moving pictures and noise."""
    seconds = first_sample(frames, rate) / 48000
    arguments = ["-f", "lavfi", "-i", f"testsrc2=size=128x96:rate={rate}"]
    maps = ["-map", 0]
    for track in range(tracks):
        arguments += ["-f", "lavfi", "-i", f"anoisesrc=seed={seed + track + 1}:sample_rate=48000"]
        maps += ["-map", track + 1]
    labels = ["-timecode", timecode] if timecode else []
    ffmpeg(*arguments, *maps, "-vf", f"format=yuv422p10le,hue=h={seed},{filters}", "-t", seconds,
           "-c:v", "prores_ks", "-c:a", codec, *labels, *output, path)


def hashes(path):
    """Returns a hash of each frame, as an independent program finds them in any container."""
    lines = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-map", "0:v:0", "-c", "copy", "-f",
         "framehash", "-hash", "sha256", "-"], check=True, capture_output=True, text=True,
        timeout=TIMEOUT).stdout.splitlines()
    return [line.split(",")[-1].strip() for line in lines if not line.startswith("#")]


def pictures_of(path):
    """Returns the frames without the labels of their headers."""
    frames = []
    for frame in mini_mov.samples(path):
        frame = bytearray(frame)
        frame[21] &= 15  # the aspect
        frame[22:25] = bytes(3)
        frames.append(bytes(frame))
    return frames


class Copy(ToolTest):
    def setUp(self):
        super().setUp()
        self.source, self.out = self.path("source.mov"), self.path("out.mov")

    def copy(self, *arguments):
        return self.succeed("copy", "--overwrite", *arguments)

    def encode(self, path, **movie):
        """Makes a movie as this program writes it."""
        raw = self.path("raw.mov")
        make_movie(raw, "-c:v", "v210", **movie)
        self.succeed("encode", raw, path)
        raw.unlink()

    def assert_same_content(self, copy, source, first=0, last=None, rate=NTSC, tracks=2):
        """Compares frames and sound bit for bit with a range of the source."""
        frames = hashes(source)[first:None if last is None else last + 1]
        self.assertEqual(hashes(copy), frames)
        self.assertEqual(len(tracks_of(copy, "a")), tracks)
        for track in range(tracks):
            samples = sound(source, track)
            end = None if last is None else 3 * first_sample(last + 1, rate)
            self.assert_same_bytes(sound(copy, track),
                                   samples[3 * first_sample(first, rate):end])

    def test_copies_a_whole_file_bit_for_bit(self):
        make_movie(self.source, timecode="01:00:00;02")
        for name in ("out.mov", "out.mkv"):
            self.copy(self.source, self.path(name))
            self.assert_same_content(self.path(name), self.source)
        self.assertEqual(probe(self.out)["tags"]["timecode"], "01:00:00;02")

    def test_copying_a_file_of_this_program_gives_the_same_file(self):
        self.encode(self.source, timecode="01:00:00;02")
        self.copy(self.source, self.out)
        self.assert_same_bytes(self.out.read_bytes(), self.source.read_bytes())

    def test_cuts_frames_and_sound(self):
        for rate, timecode, expected in ((NTSC, "00:00:59;20", "00:01:00;03"),
                                         ("25", "01:00:00:20", "01:00:01:06")):
            make_movie(self.source, rate=rate, timecode=timecode)
            self.copy("--frames", "11-20", self.source, self.out)
            self.assert_same_content(self.out, self.source, 11, 20, rate)
            self.assertEqual(probe(self.out)["tags"]["timecode"], expected)

    def test_cuts_by_timecode_with_both_ends(self):
        make_movie(self.source, rate="25", timecode="01:00:00:20")
        for options, first, last in ((("--from", "01:00:01:00", "--to", "01:00:01:04"), 5, 9),
                                     (("--from", "01:00:01:24"), 29, 29),
                                     (("--frames", "01:00:01:00-01:00:01:04"), 5, 9),
                                     (("--frames", "28-"), 28, 29),
                                     (("--to", "01:00:00:20"), 0, 0)):
            self.copy(*options, self.source, self.out)
            self.assert_same_content(self.out, self.source, first, last, "25")

    def test_refuses_timecodes_outside_of_the_input(self):
        make_movie(self.source, timecode="01:00:00;02")
        for option, timecode in (("--to", "01:00:01;02"), ("--from", "01:00:00;00")):
            self.fail_with(1, ["has the timecodes 01:00:00;02-01:00:01;01, but the range asks for"], "copy", option,
                           timecode, self.source, self.out)
        self.fail_with(1, ["first frame after the last one"], "copy", "--from", "01:00:00;09",
                       "--to", "01:00:00;08", self.source, self.out)
        make_movie(self.source)
        self.fail_with(1, ["has no timecode", "--frames"], "copy", "--from", "01:00:00;04",
                       self.source, self.out)

    def test_a_range_of_a_file_without_an_index_keeps_all_of_its_sound(self):
        make_movie(self.source, rate="25")
        early = self.path("early.mkv")  # sound half a second before its pictures
        ffmpeg("-i", self.source, "-map", 0, "-c", "copy", "-audio_preload", 500000,
               early)
        self.copy("--frames", "7-19", early, self.out)
        self.assert_same_content(self.out, self.source, 7, 19, "25")

    def test_joins_what_was_cut_to_the_same_file(self):
        for rate in (NTSC, "25"):
            self.encode(self.source, rate=rate, timecode="01:00:00:00")
            parts = []
            for first, last in ((0, 10), (11, 11), (12, 29)):
                parts.append(self.path(f"part{first}.mov"))
                self.copy("--frames", f"{first}-{last}", self.source, parts[-1])
            result = self.copy(*parts, self.out)
            self.assertNotIn("note", result.stderr)
            self.assert_same_bytes(self.out.read_bytes(), self.source.read_bytes())
            self.source.unlink()

    def test_joins_what_was_cut_to_the_same_file_with_late_sound(self):
        self.encode(self.source, rate="25", tracks=1)
        late = self.path("late.mov")
        ffmpeg("-i", self.source, "-itsoffset", "0.3", "-i", self.source, "-map", "0:v", "-map",
               "1:a", "-c", "copy", "-vendor", "vixp", late)
        self.copy(late, self.source)
        parts = [self.path("a.mov"), self.path("b.mov")]
        for part, frames in zip(parts, ("0-14", "15-29")):
            self.copy("--frames", frames, self.source, part)
        self.copy(*parts, self.out)
        self.assert_same_bytes(self.out.read_bytes(), self.source.read_bytes())

    def test_joins_files_in_their_order(self):
        parts = []
        for number, frames in enumerate((10, 3, 12)):
            parts.append(self.path(f"reel{number}.mov"))
            make_movie(parts[-1], rate="25", frames=frames, seed=10 * number, tracks=1)
        report = json.loads(self.copy("--json", *parts, self.out).stdout)
        self.assertEqual([(part["first"], part["frames"]) for part in report["parts"]],
                         [(0, 10), (10, 3), (13, 12)])
        self.assertTrue(mini_mov.samples(self.out) ==
                        [frame for part in parts for frame in mini_mov.samples(part)])
        self.assert_same_bytes(sound(self.out), b"".join(sound(part) for part in parts))

    def test_notes_timecodes_that_do_not_follow(self):
        one, two = self.path("one.mov"), self.path("two.mov")
        make_movie(one, rate="25", frames=10, timecode="10:00:00:00")
        make_movie(two, rate="25", frames=10, timecode="11:00:00:00")
        for second, word in ((two, "starts at 11:00:00:00; the output goes on with 10:00:00:10"),):
            self.assertIn(word, self.copy(one, second, self.out).stderr)
        self.assertEqual(probe(self.out)["tags"]["timecode"], "10:00:00:00")
        make_movie(two, rate="25", frames=10, timecode="10:00:00:10")
        self.assertNotIn("timecode of", self.copy(one, two, self.out).stderr)

    def test_fills_gaps_between_parts_with_silence(self):
        one, two = self.path("one.mov"), self.path("two.mov")
        make_movie(one, rate="25", frames=20, tracks=1)
        short = self.path("short.mov")
        ffmpeg("-i", one, "-map", "0:v", "-map", "0:a", "-c", "copy", "-bsf:a",
               "noise=drop='gte(pts,24000)'", short)
        make_movie(two, rate="25", frames=5, tracks=1, seed=7)
        result = self.copy(short, two, self.out)
        length = len(sound(short))
        missing = 3 * 20 * 1920 - length
        self.assertGreater(missing, 3 * 1920)
        self.assertRegex(result.stderr, r"short.mov: sound track 1 \(pcm_s24le\) is shorter than "
                         rf"its pictures: {missing / 144:.0f} ms are filled with silence")
        self.assert_same_bytes(sound(self.out), sound(short) + bytes(missing) + sound(two))

    def test_leaves_out_sound_after_the_pictures_of_a_part(self):
        one, two = self.path("one.mov"), self.path("two.mov")
        make_movie(one, rate="25", frames=20, tracks=1)
        long = self.path("long.mov")
        ffmpeg("-i", one, "-t", "0.4", "-i", one, "-map", "0:a", "-map", "1:v", "-c", "copy", long)
        make_movie(two, rate="25", frames=5, tracks=1, seed=7)
        result = self.copy(long, two, self.out)
        self.assertIn("is longer than its pictures: 400 ms are left out", result.stderr)
        self.assert_same_bytes(sound(self.out), sound(one)[:3 * 19200] + sound(two))

    def test_names_the_first_difference_of_inputs(self):
        one, two = self.path("one.mov"), self.path("two.mov")
        make_clip(one, "-c:v", "prores_ks")
        for options, clip, words in (
                ((), {"size": "64x64"}, "its size is 64x64 instead of 128x96"),
                (("-profile:v", "2"), {}, "its variant is ProRes 422 instead of ProRes 422 HQ"),
                ((), {"rate": "50"}, "its frame rate is 50 instead of 25"),
                ((), {"filters": "setfield=tff"}, "its scan is interlaced instead of progressive"),
                (("-color_primaries", "bt709"), {}, "its colour is")):
            if "setfield=tff" in clip.get("filters", ""):
                options = ("-flags", "+ildct")
            make_clip(two, "-c:v", "prores_ks", *options, **clip)
            with self.subTest(words):
                self.fail_with(1, [f"{two}: cannot follow {one}: {words}"], "copy", one, two,
                               self.out)
        make_movie(one, rate="25", frames=5)
        make_movie(two, rate="25", frames=5, tracks=1)
        self.fail_with(1, ["number of sound tracks is 1 instead of 2", "--audio-tracks"], "copy",
                       one, two, self.out)
        self.copy("--audio-tracks", "1", one, two, self.out)
        make_movie(two, rate="25", frames=5, codec="pcm_s16le")
        self.fail_with(1, ["sound track 1 is pcm_s16le at 48000 Hz, 1 channel instead of pcm_s24le"],
                       "copy", one, two, self.out)
        self.copy("--no-audio", one, two, self.out)

    def test_different_labels_can_be_joined_with_new_ones(self):
        one, two = self.path("one.mov"), self.path("two.mov")
        make_clip(one, "-c:v", "prores_ks")
        make_clip(two, "-c:v", "prores_ks", "-color_primaries", "bt2020", "-color_trc", "bt709",
                  "-colorspace", "bt2020nc")
        self.copy("--color", "bt709", one, two, self.out)
        self.assertTrue(pictures_of(self.out) == pictures_of(one) + pictures_of(two))

    def test_corrects_labels_in_container_and_frames(self):
        make_movie(self.source, timecode="01:00:00;02")
        self.copy("--color", "bt2020", "--transfer", "pq", "--par", "4:3", "--timecode",
                  "02:00:00;02", "--reel", "A001", "--title", "Néw", self.source, self.out)
        self.assertEqual(sample_entry_atom(self.out, "apch", "colr"),
                         b"nclc" + struct.pack(">3H", 9, 16, 9))
        for frame, old in zip(mini_mov.samples(self.out), mini_mov.samples(self.source)):
            self.assertEqual(tuple(frame[22:25]), (9, 16, 9))
            self.assertEqual(frame[21] >> 4, 3)  # a picture of 16:9
            self.assertEqual(frame[21] & 15, old[21] & 15)
        self.assertTrue(pictures_of(self.out) == pictures_of(self.source))
        track = probe(self.out)
        self.assertEqual((track["sample_aspect_ratio"], track["tags"]["timecode"]),
                         ("4:3", "02:00:00;02"))
        self.assertEqual(file_tags(self.out)["title"], "Néw")
        self.assertEqual(tracks_of(self.out, "d")[0]["tags"]["reel_name"], "A001")
        self.succeed("verify", self.out)

    def test_one_label_leaves_the_others_alone(self):
        make_clip(self.source, "-c:v", "prores_ks", "-color_primaries", "bt2020", "-color_trc",
                  "smpte2084", "-colorspace", "bt2020nc")
        self.copy("--transfer", "hlg", self.source, self.out)
        self.assertEqual(tuple(mini_mov.samples(self.out)[0][22:25]), (9, 18, 9))

    def test_a_reel_name_needs_a_timecode(self):
        make_movie(self.source)
        self.fail_with(1, ["--timecode"], "copy", "--reel", "A001", self.source, self.out)

    def test_field_order_changes_without_moving_lines(self):
        for size in ("128x96", "66x50", "64x35"):
            make_clip(self.source, "-c:v", "prores_ks", "-flags", "+ildct", size=size,
                      filters="setfield=tff")
            self.copy("--fields", "bottom", self.source, self.out)
            back = self.path("back.mov")
            self.copy("--fields", "top", self.out, back)
            with self.subTest(size):
                self.assertEqual(probe(self.source)["field_order"], "tb")
                self.assertEqual(probe(self.out)["field_order"], "bt")
                for frame, old in zip(mini_mov.samples(self.out), mini_mov.samples(self.source)):
                    self.assertEqual((old[20] >> 2 & 3, frame[20] >> 2 & 3), (1, 2))
                    self.assertNotEqual(frame[28:], old[28:])
                self.assert_same_bytes(planes(self.out), planes(self.source))
                self.assertTrue(mini_mov.samples(back) == mini_mov.samples(self.source))
                again = self.path("again.mov")
                self.copy("--fields", "bottom", self.out, again)
                self.assertTrue(mini_mov.samples(again) == mini_mov.samples(self.out))
        for name in ("source", "out"):
            self.succeed("decode", self.path(f"{name}.mov"), self.path(f"{name}.v210"))
        self.assert_same_bytes(self.path("out.v210").read_bytes(),
                               self.path("source.v210").read_bytes())

    def test_refuses_to_change_between_progressive_and_interlaced(self):
        make_clip(self.source, "-c:v", "prores_ks")
        self.fail_with(1, ["is progressive"], "copy", "--fields", "top", self.source, self.out)
        self.fail_with(2, ["--fields"], "copy", "--fields", "progressive", self.source, self.out)

    def test_copies_4444_with_alpha(self):
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25", "-vf",
               "format=yuva444p10le,geq=lum='lum(X,Y)':a='X*8'", "-frames:v", 5, "-c:v",
               "prores_ks", "-profile:v", "4444", self.source)
        for name in ("out.mov", "out.mkv", "out.mxf"):
            self.copy(self.source, self.path(name))
            self.assertEqual(hashes(self.path(name)), hashes(self.source))
            self.assert_same_bytes(planes(self.path(name), "yuva444p10le"),
                                   planes(self.source, "yuva444p10le"))
        self.assertEqual(probe(self.out)["codec_tag_string"], "ap4h")

    def test_names_parts_whose_alpha_has_another_depth(self):
        parts = [self.path(f"{bits}.mov") for bits in (16, 8, 16)]
        raw = self.path("raw.y416")
        raw.write_bytes(bytes(8 * 64 * 48))
        for bits, part in zip((16, 8), parts):
            self.succeed("encode", "--variant", "4444", "--fourcc", "Y416", "--size", "64x48",
                         "--rate", "25", "--alpha", bits, raw, part)
        notes = self.copy(*parts, self.out).stderr
        self.assertIn(f"{parts[1]}: alpha has 8 bits, but 16 bits in {parts[0]}", notes)
        self.assertEqual(notes.count("alpha has"), 1)
        self.assertIn("frame 1: alpha changes from 16 bits to 8 bits",
                      self.succeed("inspect", self.out).stdout)

    def test_rewraps_between_all_containers(self):
        make_movie(self.source, rate="25", timecode="01:00:00:00")
        for first in ("mkv", "mxf"):
            self.copy(self.source, self.path(f"one.{first}"))
            for second in ("mov", "mkv", "mxf"):
                out = self.path(f"two.{second}")
                self.copy(self.path(f"one.{first}"), out)
                with self.subTest(first=first, second=second):
                    self.assertEqual(hashes(out), hashes(self.source))
                    for track in range(2):
                        self.assert_same_bytes(sound(out, track), sound(self.source, track))
        self.assertEqual(probe(self.path("two.mov"))["codec_tag_string"], "apch")

    def test_keeps_the_encoder_of_the_input(self):
        make_movie(self.source)
        self.copy(self.source, self.out)
        for path in (self.source, self.out):
            self.assertEqual(probe(path)["tags"]["vendor_id"],
                             probe(self.source)["tags"]["vendor_id"])
            self.assertIn("prores_ks", probe(path)["tags"]["encoder"])

    def test_compressed_sound_is_cut_with_an_edit_list(self):
        # Noise substitution would decode to other noise.
        make_movie(self.source, "-aac_pns", 0, rate="25", frames=50, codec="aac", tracks=1)
        self.copy("--frames", "13-37", self.source, self.out)
        track = tracks_of(self.out, "a")[0]
        self.assertAlmostEqual(float(track["start_time"]), 0, places=3)
        self.assertAlmostEqual(float(track["duration"]), 1.0, delta=0.002)
        whole, part = sound(self.source, 0, "pcm_s24le"), sound(self.out, 0, "pcm_s24le")
        start = 3 * 13 * 1920
        # A few samples at both ends depend on packets outside.
        self.assert_same_bytes(part[3 * 1100:3 * 46000], whole[start + 3 * 1100:start + 3 * 46000])

    def test_notes_how_far_compressed_sound_is_off_in_other_containers(self):
        make_movie(self.source, rate="25", frames=50, codec="aac", tracks=1)
        result = self.copy("--frames", "13-37", self.source, self.path("out.mkv"))
        note = re.search(r"sound track 1 \(aac\) is cut at a whole packet: it starts ([0-9.]+) ms "
                         "after the first picture", result.stderr)
        start = float(tracks_of(self.path("out.mkv"), "a")[0]["start_time"])
        self.assertAlmostEqual(float(note[1]) / 1000, start, delta=0.0011)
        self.assertIn("it ends ", result.stderr)

    def test_compressed_sound_is_joined_by_packets(self):
        parts = [self.path("one.mov"), self.path("two.mov")]
        for number, part in enumerate(parts):
            make_movie(part, rate="25", frames=33, codec="aac", tracks=1, seed=number)
        result = self.copy(*parts, self.out)
        self.assertRegex(result.stderr, r"two.mov: sound track 1 \(aac\) is joined at a whole "
                         "packet, [0-9.]+ ms later")
        self.assertAlmostEqual(float(tracks_of(self.out, "a")[0]["duration"]), 66 / 25, delta=0.03)
        self.assertTrue(sound(self.out))

    def test_chooses_and_drops_sound(self):
        make_movie(self.source, tracks=3)
        self.copy("--audio-tracks", "3,1", self.source, self.out)
        self.assert_same_bytes(sound(self.out, 0), sound(self.source, 2))
        self.assert_same_bytes(sound(self.out, 1), sound(self.source, 0))
        self.copy("--no-audio", self.source, self.out)
        self.assertEqual(tracks_of(self.out, "a"), [])
        self.fail_with(1, ["has 3 sound tracks", "number 4"], "copy", "--overwrite",
                       "--audio-tracks", "4", self.source, self.out)

    def test_copies_from_and_to_pipes(self):
        make_movie(self.source, "-movflags", "frag_keyframe+empty_moov", rate="25")
        piped = self.succeed("copy", "-", "-", input=self.source.read_bytes(), text=False)
        self.out.write_bytes(piped.stdout)
        self.assertTrue(mini_mov.samples(self.out) == mini_mov.samples(self.source))

    def test_stops_at_damage_and_keeps_the_frames_before(self):
        self.encode(self.source, rate="25")
        self.damage_frame(self.source, 7)
        self.fail_with(1, ["frame 7", "its checksum differs", "7 frames before that are kept"],
                       "copy", self.source, self.out)
        result = self.copy("--on-error", "skip", self.source, self.out)
        self.assertIn("frame 7", result.stderr)
        frames = mini_mov.samples(self.source)
        self.assertTrue(mini_mov.samples(self.out) == frames[:7] + frames[8:])
        self.assert_same_bytes(sound(self.out), sound(self.source))

    def damage_frame(self, path, number):
        data = bytearray(path.read_bytes())
        position, size = mini_mov.places(path)[number]
        data[position + size // 2] ^= 1
        path.write_bytes(data)

    def test_names_the_input_of_a_damaged_frame(self):
        other = self.path("other.mov")
        self.encode(self.source, rate="25")
        self.encode(other, rate="25")
        self.damage_frame(other, 3)
        report = json.loads(self.copy("--json", "--on-error", "skip", self.source, other,
                                      self.out).stdout)
        self.assertEqual((report["damage"][0]["frame"], report["damage"][0]["input"]),
                         (3, str(other)))

    def test_copied_frames_have_right_checksums(self):
        self.encode(self.source)
        self.copy("--color", "bt709", self.source, self.out)
        self.succeed("verify", self.out)
        recovered = self.path("recovered.mov")
        self.succeed("recover", self.out, recovered)
        self.assert_same_bytes(recovered.read_bytes(), self.out.read_bytes())

    def test_large_frames_are_relabelled_in_memory_only(self):
        # Frames of more than a megabyte stay in the file that they are read from.
        make_clip(self.source, "-c:v", "prores_ks", "-profile:v", "3", "-bits_per_mb", "8000",
                  size="1920x1080", frames=3, filters="noise=alls=60")
        self.assertGreater(len(mini_mov.samples(self.source)[1]), 1 << 20)
        before = self.source.read_bytes()
        self.copy("--color", "bt709", self.source, self.out)
        self.assert_same_bytes(self.source.read_bytes(), before)
        self.assertTrue(pictures_of(self.out) == pictures_of(self.source))
        self.assertEqual({tuple(frame[22:25]) for frame in mini_mov.samples(self.out)}, {(1, 1, 1)})

    def test_refuses_an_input_as_output(self):
        make_movie(self.source)
        other = self.path("other.mov")
        make_movie(other)
        self.fail_with(1, ["is the input itself"], "copy", "--overwrite", self.source, other, other)

    def test_the_output_may_come_first(self):
        make_movie(self.source)
        self.succeed("copy", "-o", self.out, self.source, self.source)
        self.assertEqual(hashes(self.out), 2 * hashes(self.source))

    def test_refuses_wrong_uses(self):
        make_movie(self.source)
        for words, *arguments in (
                (["OUTPUT is missing"], self.source),
                (["choose one of .mov, .mkv, .mxf"], self.source, self.path("out.avi")),
                (["for one input"], "--frames", "0-1", self.source, self.source, self.out),
                (["contradict"], "--frames", "0-1", "--from", "00:00:00:00", self.source,
                 self.out)):
            self.fail_with(2, words, "copy", *arguments)

    def test_runs_without_the_plug_in(self):
        make_movie(self.source)
        program = self.path("bin/vixprores")
        for folder in (program.parent, self.path("lib")):
            folder.mkdir()
        shutil.copy(PROGRAM, program)
        for library in ("libProRes.so.1", "libvixCore.so.1"):
            shutil.copy(pathlib.Path(PROGRAM).parent.parent / "lib" / library, self.path("lib"))
        subprocess.run([program, "copy", self.source, self.out], check=True, capture_output=True,
                       timeout=TIMEOUT)

    def make_noise(self, name, seconds, *options):
        path = self.path(name)
        ffmpeg("-f", "lavfi", "-i", f"anoisesrc=seed=9:sample_rate=48000:duration={seconds}",
               "-c:a", "pcm_s16le", *options, path)
        return path

    def test_a_sound_file_replaces_the_sound(self):
        make_movie(self.source, rate="25", frames=20, tracks=2)
        noise = self.make_noise("noise.wav", 2)
        result = self.copy("--audio-file", noise, self.source, self.out)
        self.assertIn("begins with the first picture", result.stderr)
        self.assertEqual(hashes(self.out), hashes(self.source))
        self.assert_same_bytes(sound(self.out, 0),
                               sound(noise, 0)[:20 * 1920 * 2])
        self.assertEqual(len(tracks_of(self.out, "a")), 1)

    def test_sound_files_follow_the_sound_of_joined_inputs(self):
        make_movie(self.source, rate="25", frames=10, tracks=1)
        noise = self.make_noise("noise.wav", 2)
        self.copy("--add-audio-file", noise, self.source, self.source, self.out)
        own = sound(self.source, 0)
        self.assert_same_bytes(sound(self.out, 0), own + own)
        self.assert_same_bytes(sound(self.out, 1),
                               sound(noise, 0)[:20 * 1920 * 2])

    def test_a_range_takes_its_part_of_a_sound_file(self):
        make_movie(self.source, rate="25", frames=20, tracks=1)
        noise = self.make_noise("noise.wav", 2)
        self.copy("--frames", "5-14", "--audio-offset", "480samples", "--audio-file", noise,
                  self.source, self.out)
        first = 2 * (5 * 1920 - 480)
        self.assert_same_bytes(sound(self.out, 0),
                               sound(noise, 0)[first:first + 10 * 1920 * 2])

    def test_a_short_sound_file_is_filled_with_silence(self):
        make_movie(self.source, rate="25", frames=20, tracks=0)
        noise = self.make_noise("noise.wav", 0.2)
        self.copy("--audio-file", noise, self.source, self.out)
        expected = sound(noise, 0)
        self.assert_same_bytes(sound(self.out, 0),
                               expected + bytes(20 * 1920 * 2 - len(expected)))

    def test_compressed_sound_with_times_that_go_back(self):
        clip = self.path("back.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=2", "-f", "lavfi", "-i",
               "sine=duration=2:sample_rate=48000", "-c:v", "prores_ks", "-c:a", "aac", "-bsf:a",
               "setts=pts=if(eq(N\\,40)\\,PTS-9600\\,PTS):dts=if(eq(N\\,40)\\,PTS-9600\\,PTS)",
               clip)
        result = self.copy(clip, self.out)
        self.assertIn(f"{clip}: sound track 1 (aac) has times that go back: 1 packet left out",
                      result.stderr)
        self.assertEqual(hashes(self.out), hashes(clip))

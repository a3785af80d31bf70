# SPDX-License-Identifier: BSD-2-Clause
"""Sound, timecode and other content besides the pictures."""
import json
import subprocess

from tool import TIMEOUT, ToolTest, ffmpeg, make_v210, mov_atom, probe, run


def make_movie(path, *output, tracks=1, seconds=1, rate="25", codec="pcm_s24le"):
    """Makes a movie whose sound tracks all differ."""
    inputs = ["-f", "lavfi", "-i", f"testsrc2=size=128x96:rate={rate}:duration={seconds}"]
    maps = ["-map", "0"]
    for track in range(tracks):
        inputs += ["-f", "lavfi", "-i",
                   f"anoisesrc=seed={track + 1}:sample_rate=48000:duration={seconds}"]
        maps += ["-map", track + 1]
    ffmpeg(*inputs, *maps, "-c:v", "v210", "-c:a", codec, *output, path)


def sound(path, track=0, codec="copy"):
    """Returns the bytes of a sound track."""
    return subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-map", f"0:a:{track}", "-c:a",
         codec, "-f", "data" if codec == "copy" else "s24le", "-"], check=True,
        capture_output=True, timeout=TIMEOUT).stdout


def tracks_of(path, kind):
    result = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", kind, "-show_streams", "-of", "json",
         str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT)
    return json.loads(result.stdout)["streams"]


def file_tags(path):
    result = subprocess.run(["ffprobe", "-v", "error", "-show_format", "-of", "json", str(path)],
                            check=True, capture_output=True, text=True, timeout=TIMEOUT)
    return json.loads(result.stdout)["format"]["tags"]


class Sound(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.decoded = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "decoded.mov"))

    def there_and_back(self, *options):
        self.succeed("encode", *options, self.clip, self.encoded)
        self.succeed("decode", self.encoded, self.decoded)

    def test_tracks_are_copied_bit_for_bit(self):
        for count, codec in ((1, "pcm_s16le"), (2, "pcm_s24be"), (8, "pcm_s24le"),
                             (1, "pcm_f32le"), (2, "aac")):
            with self.subTest(tracks=count, codec=codec):
                make_movie(self.clip, tracks=count, codec=codec)
                self.there_and_back(*(("--audio", "copy") if codec == "aac" else ()))
                for path in (self.encoded, self.decoded):
                    self.assertEqual(len(tracks_of(path, "a")), count)
                    for track in range(count):
                        self.assert_same_bytes(sound(path, track), sound(self.clip, track))
                for path in (self.encoded, self.decoded):
                    path.unlink()

    def test_channels_and_their_layout_stay(self):
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "lavfi", "-i",
               "anoisesrc=sample_rate=48000:duration=1", "-af", "pan=5.1|c0=c0|c1=c0|c2=c0|c3=c0"
               "|c4=c0|c5=c0", "-c:v", "v210", "-c:a", "pcm_s16le", self.clip)
        self.there_and_back()
        for path in (self.clip, self.encoded, self.decoded):
            track = tracks_of(path, "a")[0]
            self.assertEqual((track["channels"], track["channel_layout"]), (6, "5.1"))

    def test_reports_a_lost_layout(self):
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "lavfi", "-i",
               "anullsrc=sample_rate=48000:channel_layout=5.1:duration=1", "-c:v", "v210", "-c:a",
               "pcm_s16le", self.clip)
        for name, layout in (("out.mov", "5.1"), ("out.mkv", "unknown"), ("out.mxf", "unknown")):
            with self.subTest(name):
                result = self.succeed("encode", self.clip, self.path(name))
                self.assertEqual(tracks_of(self.path(name), "a")[0].get("channel_layout",
                                                                        "unknown"), layout)
                self.assertEqual("layout of the sound's channels (5.1)" in result.stderr,
                                 layout == "unknown")

    def test_reports_sound_that_no_longer_fits(self):
        make_movie(self.clip)
        for rate, differs in (("25", False), ("30", True)):
            result = self.succeed("encode", "--overwrite", "--rate", rate, self.clip, self.encoded)
            self.assertEqual("plays at 30 instead of 25 frames per second" in result.stderr,
                             differs)
        silent = self.succeed("encode", "--overwrite", "--no-audio", "--rate", "30", self.clip,
                              self.encoded)
        self.assertNotIn("note:", silent.stderr)

    def test_languages_stay(self):
        clip = self.path("clip.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "lavfi", "-i",
               "anoisesrc=sample_rate=48000:duration=1", "-map", 0, "-map", 1, "-map", 1, "-c:v",
               "v210", "-c:a", "pcm_s16le", "-metadata:s:a:0", "language=deu", "-metadata:s:a:1",
               "language=jpn", clip)
        self.clip = clip
        self.there_and_back()
        for path in (self.encoded, self.decoded):
            self.assertEqual([track["tags"]["language"] for track in tracks_of(path, "a")],
                             ["deu", "jpn"])

    def test_a_range_of_frames_takes_its_sound_to_the_sample(self):
        make_movie(self.clip, rate="30000/1001", seconds=2)
        whole = sound(self.clip)
        parts = []
        # 48000 * 1001 / 30000 = 1601.6 samples a frame
        for first, last, samples in ((0, 9, 16016), (10, 10, 1602), (11, 30, 32032)):
            self.succeed("encode", "--overwrite", "--frames", f"{first}-{last}", self.clip,
                         self.encoded)
            parts.append(sound(self.encoded))
            self.assertAlmostEqual(len(parts[-1]) / 3, samples, delta=1)
        self.assert_same_bytes(b"".join(parts), whole[:sum(map(len, parts))])
        start = -(-11 * 48048 // 30)
        self.assert_same_bytes(parts[-1], whole[3 * start:][:len(parts[-1])])

    def test_a_range_of_a_range(self):
        make_movie(self.clip, seconds=2)
        self.succeed("encode", "--frames", "10-39", self.clip, self.encoded)
        self.succeed("decode", "--frames", "5-14", self.encoded, self.decoded)
        self.assert_same_bytes(sound(self.decoded),
                               sound(self.clip)[3 * 15 * 1920:3 * 25 * 1920])

    def test_sound_that_is_longer_or_shorter_than_the_pictures(self):
        for seconds in ("0.3", "1.7"):
            ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "lavfi",
                   "-i", f"anoisesrc=sample_rate=48000:duration={seconds}", "-c:v", "v210", "-c:a",
                   "pcm_s24le", self.clip)
            self.succeed("encode", "--overwrite", self.clip, self.encoded)
            self.assert_same_bytes(sound(self.encoded), sound(self.clip))
            self.assertEqual(probe(self.encoded)["nb_read_packets"], "25")

    def test_sound_that_starts_later_still_does(self):
        make_movie(self.clip)
        late = self.path("late.mov")
        ffmpeg("-i", self.clip, "-itsoffset", "0.25", "-i", self.clip, "-map", "0:v", "-map",
               "1:a", "-c", "copy", late)
        self.clip = late
        self.there_and_back()
        for path in (late, self.encoded, self.decoded):
            self.assertAlmostEqual(float(tracks_of(path, "a")[0]["start_time"]), 0.25, places=3)

    def test_tracks_are_chosen(self):
        make_movie(self.clip, tracks=3)
        self.succeed("encode", "--audio-tracks", "3,1", self.clip, self.encoded)
        self.assert_same_bytes(sound(self.encoded, 0), sound(self.clip, 2))
        self.assert_same_bytes(sound(self.encoded, 1), sound(self.clip, 0))
        self.assertEqual(len(tracks_of(self.encoded, "a")), 2)
        result = self.succeed("decode", "--no-audio", self.encoded, self.decoded)
        self.assertEqual(tracks_of(self.decoded, "a"), [])
        self.assertNotIn("note", result.stderr)
        self.fail_with(1, ["3 sound tracks", "number 4"], "encode", "--audio-tracks", "4",
                       self.clip, self.path("out.mov"))

    def test_reports_an_output_without_sound(self):
        make_movie(self.clip, tracks=2)
        self.succeed("encode", self.clip, self.encoded)
        result = self.succeed("decode", self.encoded, self.path("out.y4m"))
        self.assertIn(f"note: {self.encoded}: its sound is left out", result.stderr)

    def test_matroska_and_material_exchange_files_take_sound(self):
        for name, codec in (("out.mkv", "pcm_s24le"), ("out.mxf", "pcm_s16le")):
            with self.subTest(name=name):
                make_movie(self.clip, codec=codec)
                self.succeed("encode", self.clip, self.path(name))
                self.assert_same_bytes(sound(self.path(name)), sound(self.clip))
        self.succeed("decode", self.path("out.mkv"), self.decoded)
        self.assert_same_bytes(sound(self.decoded), sound(self.path("out.mkv")))

    def test_sound_comes_through_pipes(self):
        make_movie(self.clip, tracks=2)
        streamable = self.path("streamable.mov")
        ffmpeg("-i", self.clip, "-map", 0, "-c", "copy", "-movflags", "faststart", streamable)
        piped = run("encode", "-", "-", input=streamable.read_bytes(), text=False)
        self.assertEqual(piped.returncode, 0, piped.stderr)
        self.encoded.write_bytes(piped.stdout)
        self.assertEqual(probe(self.encoded)["nb_read_packets"], "25")
        self.assert_same_bytes(sound(self.encoded, 1), sound(self.clip, 1))
        self.succeed("decode", self.encoded, self.decoded)
        self.assert_same_bytes(sound(self.decoded, 1), sound(self.clip, 1))

    def test_damage_is_found_and_reported(self):
        make_movie(self.clip)
        self.succeed("encode", self.clip, self.encoded)
        data = bytearray(self.encoded.read_bytes())
        data[data.index(sound(self.clip)[60000:60100])] ^= 1
        self.encoded.write_bytes(data)
        result = run("verify", "--json", self.encoded)
        file = json.loads(result.stdout)["files"][0]
        self.assertEqual((result.returncode, file["damagedFrames"], file["damagedSoundPackets"]),
                         (1, 0, 1))
        self.assertIn("1 damaged packet of sound", run("verify", self.encoded).stdout)
        result = self.succeed("decode", self.encoded, self.decoded)
        self.assertIn("1 damaged packet of sound", result.stderr)
        # The sample is the 20000th of 3 bytes, in the packet from 0.405 or 0.4 s on.
        damage, = file["soundDamage"]
        self.assertEqual((damage["track"], damage["what"]), (1, "altered"))
        self.assertLessEqual(damage["begin"], 20000 / 48000)
        self.assertGreater(damage["begin"] + damage["seconds"], 20000 / 48000)
        self.assertRegex(result.stderr, r"sound track 1 has \d+ ms at 00:00:00\.\d{3} that are not "
                                        "what was written, kept as they are")


class LostSound(ToolTest):
    """Missing sound is replaced by silence of its length; later sound is not early."""

    LONGEST = 9600  # bytes of sound that the damage may cost: 5000 of damage touch few packets

    def damage(self, name, codec="pcm_s16le"):
        clip, whole, broken = self.path("clip.mov"), self.path(name), self.path("broken-" + name)
        make_movie(clip, tracks=2, seconds=3, codec=codec)
        self.succeed("encode", "--overwrite", clip, whole)
        data = bytearray(whole.read_bytes())
        middle = len(data) // 2
        data[middle:middle + 5000] = b"\xaa" * 5000
        broken.write_bytes(data)
        return clip, broken

    def drop_packets(self, path, output):
        """Copies a file without the sound packets 10 to 12, of 1024 samples each."""
        ffmpeg("-i", path, "-c", "copy", "-bsf:a", "noise=drop=between(n\\,10\\,12)", output)

    def check_three_packets_silenced(self, clip):
        filled = bytearray(sound(clip))
        filled[10 * 2048:13 * 2048] = bytes(3 * 2048)
        self.assert_same_bytes(sound(self.path("out.mov")), bytes(filled))

    def check_filled(self, was, now):
        self.assertEqual(len(now), len(was))
        changed = [i for i, (a, b) in enumerate(zip(was, now)) if a != b]
        self.assertGreater(len(changed), 1000)
        first, last = changed[0], changed[-1] + 1
        self.assertLess(last - first, self.LONGEST)
        return now[first:last]

    def test_silence_replaces_it_in_every_output(self):
        clip, broken = self.damage("whole.mkv")
        for name in ("out.mov", "out.avi", "out.nut"):
            with self.subTest(name):
                result = self.succeed("decode", "--on-error", "conceal", "--json", broken,
                                      self.path(name))
                report = json.loads(result.stdout)
                self.assertEqual(report["frames"], 75)
                self.assertGreaterEqual(report["soundGaps"], 1)
                for gap in report["soundDamage"]:
                    self.assertEqual(gap["treatment"], "filled with silence")
                    lost = self.check_filled(sound(clip, gap["track"] - 1),
                                             sound(self.path(name), gap["track"] - 1))
                    self.assertEqual(lost.strip(b"\0"), b"")
                    self.assertAlmostEqual(len(lost) / 96000, gap["seconds"], delta=0.001)
        result = self.succeed("decode", "--on-error", "conceal", "--overwrite", broken,
                              self.path("out.mov"))
        self.assertRegex(result.stderr, r"sound track \d lacks \d+ ms at 00:00:01\.\d{3}, "
                                        "filled with silence")

    def test_encoding_fills_it_too(self):
        clip, gappy = self.path("clip.mov"), self.path("gappy.mkv")
        make_movie(clip, codec="pcm_s16le")
        self.drop_packets(clip, gappy)
        result = self.succeed("encode", gappy, self.path("out.mov"))
        self.assertIn("sound track 1 lacks 64 ms at 00:00:00.213, filled with silence\n",
                      result.stderr)
        self.assertIn("1 gap in the sound", result.stderr)
        self.check_three_packets_silenced(clip)

    def test_verify_reports_it(self):
        for name in ("whole.mkv", "whole.mxf"):
            with self.subTest(name):
                _, broken = self.damage(name)
                result = run("verify", "--json", broken)
                file = json.loads(result.stdout)["files"][0]
                self.assertEqual((result.returncode, file["intact"]), (1, False))
                self.assertEqual(file["soundGaps"], len(file["soundDamage"]))
                for gap in file["soundDamage"]:
                    self.assertEqual(gap["what"], "missing")
                    self.assertAlmostEqual(gap["begin"], 1.5, delta=0.1)
                self.assertRegex(run("verify", broken).stdout,
                                 r"sound track \d lacks \d+ ms at 00:00:01\.\d{3}\n(.*\n)*.*"
                                 r"\d gaps? in the sound\n")

    def test_gaps_alone_are_damage(self):
        whole, gappy = self.path("whole.mov"), self.path("gappy.mkv")
        clip = self.path("clip.mov")
        make_movie(clip, codec="pcm_s16le")
        self.succeed("encode", clip, whole)
        self.drop_packets(whole, gappy)
        result = run("verify", gappy)
        self.assertEqual(result.returncode, 1)
        self.assertIn("sound track 1 lacks 64 ms at 00:00:00.213\n", result.stdout)
        self.assertIn("25 frames, 0 damaged, 1 gap in the sound", result.stdout)
        self.succeed("decode", gappy, self.path("out.mov"))
        self.check_three_packets_silenced(clip)

    def test_a_range_behind_it_is_cut_where_it_stood(self):
        clip, broken = self.damage("whole.mkv")
        self.succeed("decode", "--frames", "50-59", "--on-error", "conceal", broken,
                     self.path("out.mov"))
        self.assert_same_bytes(sound(self.path("out.mov")),
                               sound(clip)[2 * 50 * 1920:2 * 60 * 1920])


class Timecode(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.decoded = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "decoded.mov"))

    def timecode(self, path):
        return probe(path)["tags"].get("timecode")

    def test_it_is_copied_there_and_back(self):
        for rate, timecode in (("25", "10:11:12:13"), ("30000/1001", "01:00:59;28"),
                               ("30000/1001", "01:00:59:28"), ("60000/1001", "23:59:59;58"),
                               ("24000/1001", "00:00:00:00"), ("50", "10:00:00:49")):
            with self.subTest(rate=rate, timecode=timecode):
                make_movie(self.clip, "-timecode", timecode, rate=rate)
                self.succeed("encode", "--overwrite", self.clip, self.encoded)
                self.succeed("decode", "--overwrite", self.encoded, self.decoded)
                self.assertEqual(self.timecode(self.clip), timecode)
                self.assertEqual(self.timecode(self.encoded), timecode)
                self.assertEqual(self.timecode(self.decoded), timecode)

    def test_a_range_of_frames_shifts_it(self):
        make_movie(self.clip, "-timecode", "00:00:59;20", rate="30000/1001")
        result = self.succeed("encode", "--json", "--frames", "10-19", self.clip, self.encoded)
        self.assertEqual(self.timecode(self.encoded), "00:01:00;02")
        self.assertEqual(json.loads(result.stdout)["timecode"], "00:01:00;02")

    def test_a_given_timecode_replaces_that_of_the_input_without_a_note(self):
        make_movie(self.clip, "-timecode", "01:00:00:00", "-movflags", "faststart")
        data = self.clip.read_bytes()
        for options, isMissed in (((), True), (("--timecode", "02:00:00:00"), False)):
            result = self.succeed("encode", "--overwrite", *options, "-", self.encoded, input=data,
                                  text=False)
            self.assertEqual(b"its timecode cannot be read" in result.stderr, isMissed)

    def test_it_is_set(self):
        make_movie(self.clip, "-timecode", "01:00:00:00")
        self.succeed("encode", "--timecode", "02:00:00:05", self.clip, self.encoded)
        self.assertEqual(self.timecode(self.encoded), "02:00:00:05")
        self.fail_with(2, ["25:00:00:00", "00:00:00 to 23:59:59"], "encode", "--timecode",
                       "25:00:00:00", self.clip, self.path("out.mov"))
        self.fail_with(2, ["01:00:00;00", "drop frame is for"], "encode", "--timecode",
                       "01:00:00;00", self.clip, self.path("out.mov"))

    def test_other_containers_keep_it_or_report_its_loss(self):
        make_movie(self.clip, "-timecode", "10:11:12:13", codec="pcm_s16le")
        for name in ("out.mkv", "out.mxf"):
            self.succeed("encode", self.clip, self.path(name))
            self.succeed("decode", "--overwrite", self.path(name), self.decoded)
            self.assertEqual(self.timecode(self.decoded), "10:11:12:13", name)
        result = self.succeed("decode", self.path("out.mkv"), self.path("out.avi"))
        self.assertIn("cannot keep the timecode (10:11:12:13)", result.stderr)

    def test_reports_a_timecode_that_the_container_adds(self):
        make_movie(self.clip, codec="pcm_s16le")
        result = self.succeed("encode", "--json", self.clip, self.path("out.mxf"))
        self.assertIn("starts at 00:00:00:00, as none is known", result.stderr)
        self.assertEqual(json.loads(result.stdout)["timecode"], "00:00:00:00")
        self.assertEqual(file_tags(self.path("out.mxf"))["timecode"], "00:00:00:00")
        result = self.succeed("encode", "--timecode", "00:00:00:00", self.clip,
                              self.path("set.mxf"))
        self.assertNotIn("timecode; it starts", result.stderr)

    def test_another_rate_counts_its_own_labels(self):
        make_movie(self.clip, "-timecode", "01:00:00:24")
        for rate, timecode in (("30", "01:00:00:24"), ("24", None)):
            with self.subTest(rate):
                result = self.succeed("encode", "--json", "--overwrite", "--rate", rate, self.clip,
                                      self.encoded)
                self.assertEqual(self.timecode(self.encoded), timecode)
                self.assertEqual(json.loads(result.stdout).get("timecode"), timecode)
                self.assertEqual("drops the timecode '01:00:00:24'" in result.stderr,
                                 timecode is None)
        self.succeed("encode", "--overwrite", "--rate", "30", "--frames", "6-9", self.clip,
                     self.encoded)
        self.assertEqual(self.timecode(self.encoded), "01:00:01:00")


class OtherMetadata(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.decoded = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "decoded.mov"))

    def test_title_reel_and_creation_time_are_copied(self):
        make_movie(self.clip, "-timecode", "10:00:00:00", "-metadata", "title=A title", "-metadata",
                   "comment=A comment", "-metadata", "creation_time=2020-01-02T03:04:05Z",
                   "-metadata:s:v", "reel_name=A001C002")
        self.succeed("encode", self.clip, self.encoded)
        self.succeed("decode", self.encoded, self.decoded)
        for path in (self.encoded, self.decoded):
            tags = file_tags(path)
            self.assertEqual((tags["title"], tags["comment"]), ("A title", "A comment"))
            self.assertTrue(tags["creation_time"].startswith("2020-01-02T03:04:05"))
            self.assertEqual(tracks_of(path, "d")[0]["tags"]["reel_name"], "A001C002")

    def test_compressor_and_vendor_can_be_set(self):
        make_v210(self.clip)
        self.succeed("encode", self.clip, self.encoded)
        tags = probe(self.encoded)["tags"]
        self.assertEqual((tags["encoder"], tags["vendor_id"]), ("vix ProRes 422", "vixp"))
        self.succeed("encode", "--overwrite", "--compressor", "Another name", "--vendor", "abcd",
                     self.clip, self.encoded)
        tags = probe(self.encoded)["tags"]
        self.assertEqual((tags["encoder"], tags["vendor_id"]), ("Another name", "abcd"))

    def test_labels_are_set_in_container_and_frames(self):
        make_v210(self.clip)
        self.succeed("encode", "--color", "bt2020-pq", "--par", "4:3", "--fields", "top", "--rate",
                     "24", self.clip, self.encoded)
        track = probe(self.encoded)
        self.assertEqual((track["color_primaries"], track["color_transfer"], track["color_space"]),
                         ("bt2020", "smpte2084", "bt2020nc"))
        self.assertEqual((track["sample_aspect_ratio"], track["r_frame_rate"]), ("4:3", "24/1"))
        self.assertEqual(track["field_order"], "tb")
        header = self.encoded.read_bytes().split(b"icpf")[1][:28]
        self.assertEqual(header[12] >> 2 & 3, 1)  # top field first
        self.assertEqual(header[13], 0x32)  # a picture of 16:9, 24 frames a second
        self.assertEqual(tuple(header[14:17]), (9, 16, 9))

    def test_unspecified_colour_stays_so_and_is_reported(self):
        make_v210(self.clip)
        result = self.succeed("encode", self.clip, self.encoded)
        self.assertIn("colour unspecified", result.stderr)
        self.assertNotIn("color_primaries", probe(self.encoded))
        self.succeed("encode", "--overwrite", "--color", "bt709", "--transfer", "hlg", self.clip,
                     self.encoded)
        self.assertEqual(probe(self.encoded)["color_transfer"], "arib-std-b67")


class ShortSound(ToolTest):
    def make(self, name, seconds, *output):
        """Makes a file of another program: 2 s of pictures with that much sound."""
        path = self.path(name)
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=2", "-f", "lavfi", "-i",
               f"anoisesrc=sample_rate=48000:duration={seconds}", "-c:v", "prores_ks", "-c:a",
               "pcm_s16le", *output, path)
        return path

    def test_sound_that_ends_before_the_pictures_is_noted(self):
        for name in ("short.mov", "short.mkv", "short.nut"):
            with self.subTest(name):
                short = self.make(name, 1.3)
                note = (f"note: {short}: sound track 1 ends at 00:00:01.300, 700 ms before the "
                        "pictures\n")
                self.assertIn(note, self.succeed("verify", short).stderr)
                self.assertIn(note, self.succeed("decode", "--overwrite", short,
                                                 self.path("out.avi")).stderr)
                self.assertNotIn("before the pictures", self.succeed("decode", "--overwrite", "--frames",
                                                             "0-9", short, self.path("out.avi")).stderr)
        for seconds in (1.97, 2, 2.5):  # less than a frame is no loss
            self.assertNotIn("note", self.succeed("verify", self.make("whole.mov", seconds)).stderr)

    def test_sound_beyond_the_end_of_the_file_is_damage(self):
        cut = self.make("cut.mov", 2, "-movflags", "faststart")
        cut.write_bytes(cut.read_bytes()[:cut.stat().st_size * 2 // 3])
        result = run("verify", "--json", cut)
        self.assertEqual(result.returncode, 1)
        lost, = json.loads(result.stdout)["files"][0]["soundDamage"]
        self.assertEqual((lost["track"], lost["what"]), (1, "missing"))
        self.assertAlmostEqual(lost["begin"] + lost["seconds"], 2, places=3)
        self.assertGreater(lost["seconds"], 0.5)
        self.assertRegex(run("verify", cut).stdout, r"frame \d+ and \d+ more: are missing")

    def test_sound_after_the_last_picture_of_an_mxf_is_reported(self):
        clip, out = self.path("clip.mov"), self.path("out.mxf")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25:duration=1", "-f", "lavfi", "-i",
               "anoisesrc=sample_rate=48000:duration=1.5", "-c:v", "v210", "-c:a", "pcm_s16le",
               clip)
        self.assertIn("500 ms of sound after the last picture are left out",
                      self.succeed("encode", clip, out).stderr)
        self.assertNotIn("after the last picture",
                         self.succeed("encode", clip, self.path("out.mov")).stderr)

    def test_no_picture_is_lost_after_the_end_of_the_sound(self):
        clip = self.path("clip.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25", "-f", "lavfi", "-i",
               "sine=duration=0.3:sample_rate=48000", "-frames:v", "75", "-c:v", "v210", "-c:a",
               "pcm_s24le", clip)
        for name in ("out.mov", "out.mkv", "out.mxf"):
            with self.subTest(name):
                self.succeed("encode", clip, self.path(name))
                self.assertEqual(probe(self.path(name))["nb_read_packets"], "75")


class Avi(ToolTest):
    def test_sound_has_its_rate(self):
        for codec, channels in (("pcm_s16le", 2), ("pcm_s24le", 1)):
            with self.subTest(codec):
                clip, encoded, out = (self.path(name) for name in ("clip.mov", "p.mov", "out.avi"))
                ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-f", "lavfi", "-i",
                       "sine=r=48000", "-t", "1", "-c:v", "v210", "-pix_fmt", "yuv422p10le", "-c:a",
                       codec, "-ac", str(channels), clip)
                self.succeed("encode", "--overwrite", clip, encoded)
                self.succeed("decode", "--overwrite", encoded, out)
                found = subprocess.run(
                    ["ffprobe", "-v", "error", "-select_streams", "a", "-show_entries",
                     "stream=time_base", "-of", "csv=p=0", out], check=True, capture_output=True,
                    text=True, timeout=TIMEOUT).stdout
                self.assertEqual(found.strip(), "1/48000")

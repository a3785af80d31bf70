# SPDX-License-Identifier: BSD-2-Clause
"""Decoding, conversion and alignment of sound."""
import array
import json
import re
import subprocess
import wave

from tool import TIMEOUT, ToolTest, ffmpeg, run

RATE = 48000
PULSE = 24000  # sample of the pulse, half a second after the start


def samples(path, track=0, options=()):
    """Returns the samples of a track as an independent program reads them, in 32 bits."""
    data = subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", *options, "-i", str(path), "-map", f"0:a:{track}",
         "-f", "s32le", "-"], check=True, capture_output=True, timeout=TIMEOUT).stdout
    return array.array("i", data)


def stored(path, track=0):
    """Returns the bytes of a track as they are stored."""
    return subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-i", str(path), "-map", f"0:a:{track}", "-c:a",
         "copy", "-f", "data", "-"], check=True, capture_output=True, timeout=TIMEOUT).stdout


def peak(values):
    return max(range(len(values)), key=lambda place: abs(values[place]))


def streams(path, kind):
    result = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", kind, "-show_streams", "-of", "json",
         str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT)
    return json.loads(result.stdout)["streams"]


def start_of(path, kind):
    return float(streams(path, kind)[0]["start_time"])


class SoundConversion(ToolTest):
    def setUp(self):
        super().setUp()
        self.output = self.path("out.mov")

    def make_sound(self, name, source, seconds=1, *options):
        path = self.path(name)
        ffmpeg("-f", "lavfi", "-i", f"{source}:d={seconds}", *options, path)
        return path

    def make_pulse(self, name="pulse.wav", seconds=1, rate=RATE, *options):
        return self.make_sound(name, f"aevalsrc='if(eq(n,{rate // 2}),0.9,0)':s={rate}", seconds,
                               *options)

    def make_noise(self, name="noise.wav", seconds=1, *options):
        return self.make_sound(name, "anoisesrc=seed=7:r=48000:a=0.3", seconds, *options)

    def make_movie(self, name, sound, *options, seconds=1, input_options=()):
        path = self.path(name)
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=s=64x48:r=25:d={seconds}", *input_options, "-i",
               sound, "-map", "0:v", "-map", "1:a", "-c:v", "v210", *options, path)
        return path

    def encode(self, *arguments):
        return self.succeed("encode", "--overwrite", *arguments, self.output)


class Decoding(SoundConversion):
    def test_compressed_sound_is_in_sync_to_the_sample(self):
        pulse = self.make_pulse()
        for codec, extension, length in (
                ("aac", "mov", RATE), ("ac3", "mov", RATE), ("eac3", "mov", RATE),
                ("libmp3lame", "mov", RATE), ("alac", "mov", RATE), ("flac", "mkv", RATE),
                ("libopus", "mkv", RATE)):
            with self.subTest(codec=codec):
                clip = self.make_movie("clip." + extension, pulse, "-c:a", codec)
                self.encode(clip)
                self.assertEqual(streams(self.output, "a")[0]["codec_name"], "pcm_s24le")
                found = samples(self.output)
                before = round(start_of(clip, "v") * RATE)  # sound before the first picture
                self.assertEqual(peak(found), PULSE - before)
                # AC-3 has no edit of its last packet.
                self.assertAlmostEqual(len(found), length - before,
                                       delta=1536 if "ac3" in codec else 0)

    def test_pictures_that_start_between_frames_keep_their_sound(self):
        """In a .mkv of another program the delay of the encoder is in the times of the pictures, in
        milliseconds."""
        clip = self.make_movie("clip.mkv", self.make_pulse(), "-c:a", "aac")
        self.assertEqual(start_of(clip, "v"), 0.021)
        self.encode(clip)
        first = start_of(self.output, "v") * RATE
        start = start_of(self.output, "a") * RATE
        self.assertAlmostEqual(start + peak(samples(self.output)) - first, PULSE, delta=RATE / 1000)

    def test_sound_that_starts_later_keeps_its_time(self):
        late = self.make_movie("late.mov", self.make_pulse(), "-c:a", "aac",
                               input_options=("-itsoffset", "0.25"))
        self.encode(late)
        self.assertEqual(start_of(self.output, "a"), 0)
        wanted = round(start_of(late, "a") * RATE) + peak(samples(late))
        self.assertEqual(peak(samples(self.output)), wanted)

    def test_lossless_sound_is_decoded_bit_for_bit(self):
        noise = self.make_noise("noise.wav", 1, "-c:a", "pcm_s24le")
        for codec, extension in (("flac", "mkv"), ("alac", "mov")):
            with self.subTest(codec=codec):
                clip = self.make_movie("clip." + extension, noise, "-c:a", codec, "-sample_fmt",
                                       "s32" if codec == "flac" else "s32p")
                self.encode(clip)
                self.assertEqual(samples(self.output), samples(noise))

    def test_lossy_sound_is_what_others_decode(self):
        noise = self.make_noise(seconds=5)
        for codec, extension, options in (("aac", "mov", ("-aac_pns", "0")),
                                          ("libmp3lame", "mov", ()), ("libopus", "mkv", ())):
            with self.subTest(codec=codec):
                clip = self.make_movie("clip." + extension, noise, "-c:a", codec, *options,
                                       seconds=5)
                self.encode("--audio", "pcm32f", clip)
                found, wanted = samples(self.output), samples(clip)
                wanted = wanted[round(start_of(clip, "v") * RATE):]
                # The other program leaves the padding of the last packet.
                self.assertAlmostEqual(len(found), len(wanted), delta=1024)
                difference = max(abs(a - b) for a, b in zip(found, wanted))
                self.assertLess(difference, 2 ** 31 * 1e-5)

    def test_ranges_have_the_samples_of_the_whole(self):
        noise = self.make_noise(seconds=12)
        for codec, extension in (("aac", "mov"), ("ac3", "mov"), ("libmp3lame", "mov"),
                                 ("libopus", "mkv")):
            with self.subTest(codec=codec):
                clip = self.make_movie("clip." + extension, noise, "-c:a", codec, "-b:a", "64k",
                                       seconds=12)
                self.encode("--frames", "0-299", clip)
                whole = stored(self.output)
                for first, last in ((0, 3), (60, 69), (212, 260)):
                    self.encode("--frames", f"{first}-{last}", clip)
                    self.assert_same_bytes(stored(self.output),
                                           whole[3 * 1920 * first:3 * 1920 * (last + 1)])

    def test_compressed_video_has_its_sound_in_sync_in_ranges_too(self):
        for source, seconds in ((self.make_pulse(), 1), (self.make_noise(seconds=12), 12)):
            clip = self.path("clip.mp4")
            ffmpeg("-f", "lavfi", "-i", f"testsrc2=s=64x48:r=25:d={seconds}", "-i", source,
                   "-c:v", "libx264", "-g", "30", "-c:a", "aac", clip)
            self.encode(clip)
            whole = stored(self.output)
            self.assertEqual(len(whole), 3 * seconds * RATE)
            if seconds == 1:
                self.assertEqual(peak(samples(self.output)), PULSE)
                continue
            for first, last in ((3, 9), (230, 260)):
                self.encode("--frames", f"{first}-{last}", clip)
                self.assert_same_bytes(stored(self.output),
                                       whole[3 * 1920 * first:3 * 1920 * (last + 1)])

    def test_every_one_of_many_tracks_is_decoded(self):
        pulse = self.make_pulse()
        clip = self.path("clip.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-i", pulse, "-map", "0:v",
               *["-map", "1:a"] * 8, "-c:v", "v210", "-c:a", "aac", clip)
        self.encode(clip)
        self.assertEqual(len(streams(self.output, "a")), 8)
        for track in range(8):
            self.assertEqual(peak(samples(self.output, track)), PULSE)

    def test_uncompressed_sound_stays_beside_compressed_sound(self):
        clip = self.path("clip.mov")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-i", self.make_noise(), "-map",
               "0:v", "-map", "1:a", "-map", "1:a", "-c:v", "v210", "-c:a:0", "pcm_s16be",
               "-c:a:1", "aac", clip)
        self.encode(clip)
        self.assertEqual([track["codec_name"] for track in streams(self.output, "a")],
                         ["pcm_s16be", "pcm_s24le"])
        self.assert_same_bytes(stored(self.output), stored(clip))

    def test_compressed_sound_is_copied_on_request(self):
        clip = self.make_movie("clip.mov", self.make_noise(), "-c:a", "aac")
        self.encode("--audio", "copy", clip)
        self.assert_same_bytes(stored(self.output), stored(clip))
        decoded = self.path("decoded.mov")
        self.succeed("decode", self.output, decoded)
        self.assert_same_bytes(stored(decoded), stored(clip))
        self.succeed("decode", "--overwrite", "--audio", "pcm16", self.output, decoded)
        self.assertEqual(streams(decoded, "a")[0]["codec_name"], "pcm_s16le")
        self.assertEqual(len(samples(decoded)), RATE)

    def test_channels_and_their_layout_stay(self):
        sound = self.make_sound("sound.wav", "aevalsrc=0.1|0.2|0.3|0.4|0.5|0.6:c=5.1:s=48000", 1)
        clip = self.make_movie("clip.mkv", sound, "-c:a", "flac")
        self.encode(clip)
        track = streams(self.output, "a")[0]
        self.assertEqual((track["channels"], track["channel_layout"]), (6, "5.1"))
        self.assertEqual(samples(self.output), samples(sound))

    def test_takes_up_to_64_channels(self):
        sound = self.make_sound(
            "sound.wav", "aevalsrc=" + "|".join(f"{i}/100" for i in range(64)) + ":s=48000", "0.2")
        clip = self.make_movie("clip.mov", sound, "-c:a", "pcm_s24le")
        self.encode("--audio", "pcm32f", clip)
        self.assertEqual(streams(self.output, "a")[0]["channels"], 64)
        found = samples(self.output)
        self.assertEqual(found, samples(clip))
        self.assertEqual(found[63], samples(sound)[63])

    def test_reports_damaged_packets_and_silences_them(self):
        clip = self.make_movie("clip.mkv", self.make_noise(), "-c:a", "flac")
        self.encode(clip)
        whole = samples(self.output)
        data = bytearray(clip.read_bytes())
        packets = [match.start() for match in re.finditer(b"\xff\xf8", data)]
        place = packets[len(packets) // 2] + 500
        data[place:place + 100] = bytes(byte ^ 0x55 for byte in data[place:place + 100])
        clip.write_bytes(data)
        result = self.encode("--json", clip)
        damage, = json.loads(result.stdout)["soundDamage"]
        self.assertEqual((damage["what"], damage["treatment"]), ("missing", "filled with silence"))
        found = samples(self.output)
        self.assertEqual(len(found), len(whole))
        changed = [i for i, (a, b) in enumerate(zip(whole, found)) if a != b]
        self.assertEqual(set(found[changed[0]:changed[-1] + 1]), {0})
        self.assertAlmostEqual(changed[0] / RATE, damage["begin"], delta=0.001)
        self.assertAlmostEqual((changed[-1] + 1 - changed[0]) / RATE, damage["seconds"],
                               delta=0.001)

    def test_rejects_sound_without_a_decoder(self):
        clip = self.make_movie("clip.mov", self.make_noise(), "-c:a", "libmp3lame")
        clip.write_bytes(clip.read_bytes().replace(b".mp3", b"zzzz"))
        self.fail_with(1, ["clip.mov: cannot decode sound track 1 (none)", "no decoder",
                           "--no-audio", "--audio-tracks", "--audio copy"],
                       "encode", clip, self.output)
        self.encode("--no-audio", clip)

    def test_survives_truncated_files(self):
        clip = self.make_movie("clip.mkv", self.make_noise(), "-c:a", "aac")
        data = clip.read_bytes()
        for share in (3, 2):
            clip.write_bytes(data[:len(data) * (share - 1) // share])
            result = run("encode", "--overwrite", clip, self.output)
            self.assertIn(result.returncode, (0, 1), result.stderr)


class Conversion(SoundConversion):
    def test_format_is_chosen(self):
        clip = self.make_movie("clip.mov", self.make_noise(), "-c:a", "pcm_s24be")
        for name, codec in (("pcm16", "pcm_s16le"), ("pcm24", "pcm_s24le"),
                            ("pcm32f", "pcm_f32le"), ("copy", "pcm_s24be")):
            with self.subTest(name):
                self.encode("--audio", name, clip)
                self.assertEqual(streams(self.output, "a")[0]["codec_name"], codec)
                if name != "pcm16":
                    self.assertEqual(samples(self.output), samples(clip))

    def test_uncompressed_sound_of_every_kind_stays(self):
        noise = self.make_noise(seconds="0.2")
        for codec, extension in (("pcm_u8", "mov"), ("pcm_s8", "mov"), ("pcm_s32be", "mov"),
                                 ("pcm_f32be", "mov"), ("pcm_f64le", "mov"), ("pcm_alaw", "mov"),
                                 ("pcm_s16be", "mkv"), ("pcm_s32le", "avi")):
            with self.subTest(codec=codec):
                clip = self.make_movie("clip." + extension, noise, "-c:a", codec, seconds="0.2")
                self.encode(clip)
                self.assertEqual(streams(self.output, "a")[0]["codec_name"], codec)
                self.assert_same_bytes(stored(self.output), stored(clip))

    def test_resampling_keeps_time_and_length(self):
        pulse = self.make_pulse(rate=44100)
        clip = self.make_movie("clip.mov", pulse, "-c:a", "pcm_s16le")
        self.encode("--audio-rate", "48000", clip)
        track = streams(self.output, "a")[0]
        self.assertEqual((track["sample_rate"], track["codec_name"]), ("48000", "pcm_s24le"))
        found = samples(self.output)
        self.assertEqual((peak(found), len(found)), (PULSE, RATE))

    def test_resampled_ranges_have_the_samples_of_the_whole(self):
        noise = self.make_sound("noise.wav", "anoisesrc=seed=3:r=44100", 12)
        clip = self.make_movie("clip.mov", noise, "-c:a", "aac", seconds=12)
        self.encode("--audio-rate", "48000", clip)
        whole = stored(self.output)
        self.encode("--audio-rate", "48000", "--frames", "207-255", clip)
        self.assert_same_bytes(stored(self.output), whole[3 * 1920 * 207:3 * 1920 * 256])

    def test_equal_rates_are_not_resampled(self):
        clip = self.make_movie("clip.mov", self.make_noise(), "-c:a", "pcm_s16le")
        self.encode("--audio-rate", "48000", clip)
        self.assertEqual(streams(self.output, "a")[0]["codec_name"], "pcm_s16le")
        self.assert_same_bytes(stored(self.output), stored(clip))

    def test_refuses_sound_that_the_output_does_not_hold(self):
        noise = self.make_noise()
        opus = self.make_movie("opus.mkv", noise, "-c:a", "libopus")
        flac = self.make_movie("flac.mkv", noise, "-c:a", "flac")
        low = self.make_movie("low.mov", self.make_pulse(rate=44100), "-c:a", "pcm_f32le")
        for clip, name, options, advice in (
                (opus, "out.mov", ["--audio", "copy"], ["opus at 48000 Hz", "--audio pcm24 "]),
                (flac, "out.mov", ["--audio", "copy"], ["flac at 48000 Hz", "--audio pcm24 "]),
                (low, "out.mxf", [], ["pcm_f32le at 44100 Hz",
                                      "--audio pcm24 --audio-rate 48000"]),
                (low, "out.mxf", ["--audio", "pcm16"], ["44100", "; --audio-rate 48000 converts"])):
            with self.subTest(clip=clip.name, options=options):
                output = self.path(name)
                self.fail_with(1, [f"{output}: cannot store sound track 1", "--no-audio", *advice],
                               "encode", *options, clip, output)
        output = self.path("out.mxf")
        self.succeed("encode", "--audio", "pcm24", "--audio-rate", "48000", low, output)
        self.assertEqual(peak(samples(output)), PULSE)

    def test_rejects_options_that_contradict_each_other(self):
        clip = self.make_movie("clip.mov", self.make_noise(), "-c:a", "pcm_s16le")
        for options in (["--audio", "copy", "--audio-rate", "48000"],
                        ["--audio-file", clip, "--no-audio"],
                        ["--audio-file", clip, "--audio-tracks", "1"], ["--audio-offset", "1"],
                        ["--audio-file", "-"], ["--audio", "mp3"], ["--audio-rate", "7"],
                        ["--audio-offset", "soon", "--audio-file", clip],
                        ["--audio-offset", "1.5samples", "--audio-file", clip]):
            with self.subTest(options=options):
                self.fail_with(2, [options[0]], "encode", *options, clip, self.output)


class SoundFiles(SoundConversion):
    def make_pictures(self, timecode=None, seconds=2, rate="25"):
        path = self.path("pictures.mov")
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=s=64x48:r={rate}:d={seconds}", "-f", "lavfi", "-i",
               f"anoisesrc=d={seconds}:r=48000", "-c:v", "v210", "-c:a", "pcm_s16le",
               *(["-timecode", timecode] if timecode else []), path)
        return path

    def test_a_file_replaces_all_sound(self):
        clip = self.make_pictures()
        for name, options in (("sound.wav", ()), ("sound.flac", ()), ("sound.m4a", ()),
                              ("sound.mp3", ()), ("sound.ogg", ("-c:a", "libopus")),
                              ("sound.aiff", ()), ("sound.w64", ()), ("sound.mov", ())):
            with self.subTest(name):
                sound = self.make_pulse(name, 2, RATE, *options)
                result = self.encode("--audio-file", sound, clip)
                self.assertIn(f"note: {sound}: begins with the first picture, as it has no time "
                              "reference", result.stderr)
                self.assertEqual(len(streams(self.output, "a")), 1)
                found = samples(self.output)
                self.assertEqual((peak(found), len(found)), (PULSE, 2 * RATE))

    def test_files_are_added(self):
        clip = self.make_pictures()
        first, second = self.make_pulse("first.wav", 2), self.make_noise("second.wav", 2)
        self.encode("--add-audio-file", first, "--add-audio-file", second, clip)
        self.assertEqual(len(streams(self.output, "a")), 3)
        self.assert_same_bytes(stored(self.output, 0), stored(clip))
        self.assert_same_bytes(stored(self.output, 1), stored(first))
        self.assert_same_bytes(stored(self.output, 2), stored(second))

    def test_sound_is_as_long_as_the_pictures(self):
        clip = self.make_pictures()
        for seconds in ("0.7", "1.96", "3.3"):
            with self.subTest(seconds):
                sound = self.make_noise("sound.wav", seconds)
                self.encode("--audio-file", sound, clip)
                data, wanted = stored(self.output), stored(sound)
                self.assertEqual(len(data), 2 * 2 * RATE)
                self.assert_same_bytes(data[:len(wanted)], wanted[:len(data)])
                self.assertEqual(data[len(wanted):].strip(b"\0"), b"")

    def test_pictures_without_sound_get_it(self):
        frames = self.path("clip.y4m")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=64x48:r=25:d=1", "-pix_fmt", "yuv422p", frames)
        self.encode("--audio-file", self.make_pulse(), frames)
        self.assertEqual(peak(samples(self.output)), PULSE)

    def make_reference(self, samples_since_midnight, name="sound.wav"):
        return self.make_pulse(name, 2, RATE, "-write_bext", "1", "-metadata",
                               f"time_reference={samples_since_midnight}")

    def test_the_time_reference_aligns_it_with_the_timecode(self):
        for rate, timecode, second in (("25", "10:00:00:00", 36000),
                                       ("30000/1001", "01:00:00:00", 108000 * 1001 / 30000),
                                       ("30000/1001", "01:00:00;00", 107892 * 1001 / 30000)):
            for begin in (-12345, 0, 777):
                with self.subTest(timecode=timecode, begin=begin):
                    clip = self.make_pictures(timecode, rate=rate)
                    sound = self.make_reference(round(second * RATE) + begin)
                    result = self.encode("--audio-file", sound, clip)
                    self.assertIn("by its time reference and the timecode " + timecode,
                                  result.stderr)
                    found = samples(self.output)
                    self.assertEqual(peak(found), PULSE + begin)

    def test_an_offset_overrides_it(self):
        clip = self.make_pictures("10:00:00:00")
        sound = self.make_reference(36000 * RATE + 4800)
        for offset, begin in (("0", 0), ("0.5", 24000), ("-0.25", -12000), ("1234samples", 1234),
                              ("-1234samples", -1234)):
            with self.subTest(offset):
                result = self.encode("--audio-file", sound, f"--audio-offset={offset}", clip)
                self.assertIn("as --audio-offset says", result.stderr)
                self.assertEqual(peak(samples(self.output)), PULSE + begin)

    def test_a_range_of_frames_takes_its_part(self):
        clip = self.make_pictures("10:00:00:00")
        sound = self.make_reference(36000 * RATE + 100)
        self.encode("--audio-file", sound, clip)
        whole = stored(self.output)
        self.encode("--audio-file", sound, "--frames", "10-29", clip)
        self.assert_same_bytes(stored(self.output), whole[2 * 1920 * 10:2 * 1920 * 30])

    def test_refuses_sound_that_is_nowhere_beside_the_pictures(self):
        clip = self.make_pictures("10:00:00:00")
        for begin, word in ((-3 * RATE, "3.000 s before"), (2 * RATE, "2.000 s after")):
            sound = self.make_reference(36000 * RATE + begin, f"sound{begin}.wav")
            self.fail_with(1, [f"{sound}: begins {word} the first picture", "--audio-offset 0"],
                           "encode", "--audio-file", sound, clip, self.output)

    def test_rejects_files_without_sound(self):
        clip = self.make_pictures()
        silent = self.path("silent.mov")
        ffmpeg("-i", clip, "-an", "-c", "copy", silent)
        self.fail_with(1, [f"{silent}: has no sound"], "encode", "--audio-file", silent, clip,
                       self.output)
        text = self.path("text.wav")
        text.write_text("no sound")
        self.fail_with(1, [text, "sound file"], "encode", "--audio-file", text, clip, self.output)
        self.fail_with(1, ["missing.wav"], "encode", "--audio-file", self.path("missing.wav"),
                       clip, self.output)

    def test_compressed_files_are_decoded_or_copied(self):
        clip = self.make_pictures()
        sound = self.make_noise("sound.m4a", 2, "-c:a", "aac")
        self.encode("--audio-file", sound, "--audio", "copy", clip)
        self.assertEqual(streams(self.output, "a")[0]["codec_name"], "aac")
        self.encode("--audio-file", sound, clip)
        self.assertEqual(streams(self.output, "a")[0]["codec_name"], "pcm_s24le")

    def test_decoding_takes_files_too(self):
        clip = self.make_pictures()
        self.encode(clip)
        decoded = self.path("decoded.mov")
        self.succeed("decode", "--audio-file", self.make_pulse(), self.output, decoded)
        self.assertEqual(peak(samples(decoded)), PULSE)
        self.fail_with(1, ["out.y4m: holds no sound"], "decode", "--audio-file",
                       self.path("pulse.wav"), self.output, self.path("out.y4m"))

    def test_hostile_headers_do_no_harm(self):
        clip = self.make_pictures()
        sound = self.make_noise("sound.wav", 1)
        with wave.open(str(sound)) as file:
            self.assertEqual(file.getframerate(), RATE)
        data = sound.read_bytes()
        for place, value in ((22, b"\xff\xff"), (24, b"\0\0\0\0"), (24, b"\xff\xff\xff\xff"),
                             (32, b"\0\0"), (34, b"\xff\xff"), (4, b"\xff\xff\xff\xff")):
            sound.write_bytes(data[:place] + value + data[place + len(value):])
            result = run("encode", "--overwrite", "--audio-file", sound, clip, self.output)
            self.assertIn(result.returncode, (0, 1), result.stderr)

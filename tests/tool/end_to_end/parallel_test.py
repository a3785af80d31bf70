# SPDX-License-Identifier: BSD-2-Clause
"""Output and errors are the same for every number of threads and every instruction set."""
import re
import subprocess

from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, frame_bytes, make_v210, run

THREADS = (1, 2, 5)
LEVELS = ("scalar", "sse4", "avx2", "avx512")
RAW_FRAMES = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")


class Parallel(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded = self.path("clip.mov"), self.path("encoded.mov")
        make_v210(self.clip, frames=23)

    def encode_clip(self):
        self.succeed("encode", "--threads", 1, self.clip, self.encoded)

    def output(self, *arguments, name):
        """Returns the bytes of the file that a run writes."""
        self.succeed(*arguments, "--overwrite", self.path(name))
        return self.path(name).read_bytes()

    def check_all_alike(self, option, values, *arguments, name):
        first = None
        for value in values:
            with self.subTest(value=value, name=name):
                output = self.output(*arguments[:1], option, value, *arguments[1:], name=name)
                self.assert_same_bytes(output, first or output)
                first = first or output


class SameOutput(Parallel):
    def test_encoding(self):
        y4m, raw = self.path("clip.y4m"), self.path("clip.raw")
        ffmpeg("-i", self.clip, "-strict", "-1", y4m)
        ffmpeg("-i", self.clip, "-c", "copy", "-f", "rawvideo", raw)
        for arguments in ((self.clip,), (y4m,), (*RAW_FRAMES, raw)):
            self.check_all_alike("--threads", THREADS, "encode", *arguments, name="out.mov")

    def test_decoding(self):
        self.encode_clip()
        for name in ("out.mov", "out.y4m", "out.raw"):
            self.check_all_alike("--threads", THREADS, "decode", self.encoded, name=name)

    def test_copying_beside_reading(self):
        self.encode_clip()
        self.succeed("copy", "--color", "bt709", self.encoded, self.encoded, self.path("twice.mkv"))
        self.succeed("copy", "--frames", "23-", self.path("twice.mkv"), self.path("part.mkv"))
        self.assertEqual(self.output("decode", self.path("part.mkv"), name="part.raw"),
                         self.output("decode", self.encoded, name="whole.raw"))

    def test_part_of_the_frames(self):
        self.encode_clip()
        for frames in ("0-0", "5-7", "22-22"):
            self.check_all_alike("--threads", THREADS, "decode", "--frames", frames, self.encoded,
                                 name="out.mov")
            self.check_all_alike("--threads", THREADS, "encode", "--frames", frames, self.clip,
                                 name="coded.mov")

    def test_through_pipes(self):
        frames, count = self.path("clip.raw"), 23
        ffmpeg("-i", self.clip, "-c", "copy", "-f", "rawvideo", frames)
        self.encode_clip()
        expected = self.output("decode", self.encoded, name="whole.raw")
        self.assertEqual(len(expected), count * frame_bytes("V210", 128, 96))
        for threads in THREADS:
            with self.subTest(threads=threads):
                result = self.succeed("decode", "--threads", threads, self.encoded, "-", text=False)
                self.assert_same_bytes(result.stdout, expected)
                self.succeed("encode", "--threads", threads, "--overwrite", *RAW_FRAMES, "-",
                             self.path("piped.mov"), input=frames.read_bytes(), text=False)
                self.assert_same_bytes(
                    self.output("decode", self.path("piped.mov"), name="piped.raw"), expected)

    def test_every_cpu_level(self):
        self.encode_clip()
        available = [level for level in LEVELS
                     if run("bench", "--cpu", level, "--size", "16x16", "--frames", "1",
                            "--threads", "1").returncode == 0]
        self.assertIn("scalar", available)
        for level in (*available, "auto"):
            self.check_all_alike("--cpu", ("scalar", level), "encode", self.clip, name="out.mov")
            self.check_all_alike("--cpu", ("scalar", level), "decode", self.encoded,
                                 name="out.raw")


class SameErrors(Parallel):
    """A failing run reports the same error, whatever later frames are in progress."""

    def check_all_fail_alike(self, *arguments, words):
        first = None
        for threads in THREADS:
            with self.subTest(threads=threads):
                result = self.fail_with(1, words, *arguments[:1], "--threads", threads, "--json",
                                        *arguments[1:])
                report = re.sub(r'"(seconds|framesPerSecond|realTimeFactor)":[^,]+', "",
                                result.stdout)
                first = first or (result.stderr, report)
                self.assertEqual((result.stderr, report), first)

    def damage(self, *frames):
        """Makes the pictures of the given frames unreadable."""
        data = bytearray(self.encoded.read_bytes())
        position = -1
        for number in range(max(frames) + 1):
            position = data.index(b"icpf", position + 1)
            if number in frames:
                data[position + 24] = 0  # the size of the picture header
        self.encoded.write_bytes(data)

    def test_frames_that_cannot_be_decoded(self):
        self.encode_clip()
        self.damage(13, 14, 17)
        self.check_all_fail_alike("decode", self.encoded, self.path("out.raw"),
                                  words=["frame 13"])
        for threads in THREADS:
            self.succeed("decode", "--threads", threads, "--overwrite", "--frames", "0-12",
                         self.encoded, self.path("out.raw"))

    def test_input_that_ends_inside_a_frame(self):
        raw = self.path("clip.raw")
        ffmpeg("-i", self.clip, "-c", "copy", "-f", "rawvideo", raw)
        raw.write_bytes(raw.read_bytes()[:-1])
        self.check_all_fail_alike("encode", *RAW_FRAMES, raw, self.path("out.mov"),
                                  words=["frame 22 is cut short"])

    def test_frames_past_the_end(self):
        self.check_all_fail_alike("encode", "--frames", "20-30", self.clip, self.path("out.mov"),
                                  words=["has 23 frames"])

    def test_change_of_scanning_where_only_fields_are_decoded(self):
        self.encode_clip()
        data = bytearray(self.encoded.read_bytes())
        position = -1
        for _ in range(10):
            position = data.index(b"icpf", position + 1)
        data[position + 16] |= 1 << 2  # interlace_mode
        self.encoded.write_bytes(data)
        self.check_all_fail_alike("decode", "--skip-field", self.encoded, self.path("out.raw"),
                                  words=["frame 9 at byte", "although the stream began", "--skip-field"])

    def test_a_failing_output_ends_the_wait_for_input(self):
        self.encode_clip()
        streamable = self.path("streamable.mov")
        ffmpeg("-i", self.encoded, "-c", "copy", "-movflags", "faststart", streamable)
        data = streamable.read_bytes()
        second = data.index(b"icpf", data.index(b"icpf") + 1)
        for threads in THREADS:
            with self.subTest(threads=threads):
                process = subprocess.Popen(
                    [PROGRAM, "decode", "--threads", str(threads), "-", "/dev/full"],
                    stdin=subprocess.PIPE, stderr=subprocess.PIPE)
                self.addCleanup(process.kill)
                # Another thread waits for the rest of the second frame, which is never written.
                process.stdin.write(data[:second + 100])
                process.stdin.flush()
                self.assertEqual(process.wait(TIMEOUT), 1)
                self.assertIn(b"No space left", process.stderr.read())
                process.stdin.close()
                process.stderr.close()


class CpuLevels(ToolTest):
    def test_unknown_level(self):
        for command in (("encode", "in.mov", "out.mov"), ("decode", "in.mov", "out.mov"),
                        ("bench",)):
            self.fail_with(2, ["'mmx'", "auto, scalar, sse4, avx2 and avx512"], *command, "--cpu",
                           "mmx", cwd=self.folder)

    def test_level_that_the_processor_lacks(self):
        for level in LEVELS:
            result = run("bench", "--cpu", level, "--size", "16x16", "--frames", "1")
            with self.subTest(level=level, errors=result.stderr):
                if result.returncode != 0:
                    self.assertIn(f"--cpu {level}: this processor has no such instructions",
                                  result.stderr)
                    self.assertIn("it has auto, scalar", result.stderr)
                else:
                    self.assertIn(f"CPU level {level}", result.stdout)

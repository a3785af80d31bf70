# SPDX-License-Identifier: BSD-2-Clause
"""What a file may ask for: users set limits, and every command keeps them."""
import itertools
import os
import struct
import subprocess
import unittest

import mini_mov
from jobs import JobTest, movie
from tool import PROGRAM, ToolTest, count_read_bytes, ffmpeg, make_clip, make_v210, run

MEBIBYTE = 1 << 20
HUGE = 20000


def peak_memory(*arguments):
    """Runs the program; returns its exit code, its messages and its largest resident memory in
    bytes."""
    with subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.PIPE) as process:
        errors = process.stderr.read().decode()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
    return process.returncode, errors, usage.ru_maxrss * 1024


class PictureSize(ToolTest):
    """Clips of 128x96 pictures with limits above and below."""

    def setUp(self):
        super().setUp()
        self.out, self.y4m = self.path("out.mov"), self.path("out.y4m")

    def check(self, path, *commands):
        for command, limit in itertools.product(commands, ("127x96", "128x95")):
            with self.subTest(path.name, command=command[0], limit=limit):
                self.fail_with(1, [path, "128x96", limit, "--limit-size"], *command,
                               "--limit-size", limit)
        for command in commands:
            with self.subTest(path.name, command=command[0]):
                self.succeed(*command, "--limit-size", "128x96")
                self.out.unlink(missing_ok=True)
                self.y4m.unlink(missing_ok=True)

    def test_of_prores(self):
        clip, labelled = self.path("clip.mov"), self.path("labelled.mov")
        make_clip(clip, "-c:v", "prores_ks")
        self.succeed("encode", clip, labelled)
        self.check(labelled, ("decode", labelled, self.y4m), ("decode", "--scan", labelled, self.y4m),
                   ("encode", labelled, self.out), ("encode", "--scale", "1/2", labelled, self.out),
                   ("copy", labelled, self.out), ("recover", labelled, self.out),
                   ("inspect", labelled), ("verify", labelled), ("verify", "--scan", labelled),
                   ("compare", labelled, labelled), ("thumbs", labelled, "--overwrite", "--sheet",
                                                     self.folder.parent / f"{self.folder.name}.png"))
        (self.folder.parent / f"{self.folder.name}.png").unlink()

    def test_of_other_video(self):
        for name, output in (("h264.mp4", ("-c:v", "libx264")), ("plain.mkv", ("-c:v", "ffv1")),
                             ("mpeg.ts", ("-c:v", "mpeg2video")), ("clip.y4m", ())):
            clip = self.path(name)
            make_clip(clip, *output, pixels="yuv422p" if not output else "yuv420p")
            self.check(clip, ("encode", clip, self.out), ("compare", clip, clip), ("inspect", clip))
        make_v210(clip := self.path("v210.mov"))
        self.check(clip, ("encode", clip, self.out), ("inspect", clip))

    def test_of_images(self):
        for extension in ("png", "dpx", "tif"):
            pattern = self.path(f"a.%04d.{extension}")
            ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96", "-frames:v", "2", "-pix_fmt", "rgb24",
                   "-start_number", "0", pattern)
            command = ("encode", "--rate", "24", pattern, self.out)
            self.fail_with(1, [f"a.0000.{extension}", "128x96", "--limit-size"], *command,
                           "--limit-size", "127x96")
            self.succeed(*command, "--limit-size", "128x96")
            self.out.unlink()

    def test_of_raw_frames(self):
        frames = self.path("frames.uyvy")
        frames.write_bytes(bytes(128 * 96 * 2))
        self.check(frames, ("encode", "--fourcc", "UYVY", "--size", "128x96", "--rate", "25", frames,
                            self.out))

    def test_that_changes_within_a_stream(self):
        # The pictures of the second half are wider.
        for name, codec in (("wide.ts", "mpeg2video"), ("wide.mkv", "prores_ks")):
            parts = []
            for size in ("128x96", "192x96"):
                part = self.path(f"{size}{name[-3:] if codec != 'prores_ks' else '.mov'}")
                make_clip(part, "-c:v", codec, size=size, frames=5,
                          pixels="yuv420p" if codec == "mpeg2video" else "yuv422p10le")
                parts.append(part)
            clip = self.path(name if codec == "mpeg2video" else "wide.mov")
            if codec == "mpeg2video":
                clip.write_bytes(b"".join(part.read_bytes() for part in parts))
            else:
                mini_mov.write(clip, [*mini_mov.samples(parts[0]), *mini_mov.samples(parts[1])])
            with self.subTest(codec):
                command = ("decode", clip, self.y4m) if codec == "prores_ks" else (
                    "encode", clip, self.out)
                words = ["192x96"] if codec == "prores_ks" else ["192x96", "--limit-size"]
                self.fail_with(1, words, *command, "--limit-size", "128x96")

    def test_that_the_container_does_not_know(self):
        clip = self.path("clip.mov")
        make_clip(clip, "-c:v", "prores_ks", frames=1)
        mini_mov.write(clip, [mini_mov.with_empty_slices(mini_mov.samples(clip)[0], HUGE, HUGE)])
        for command in (("decode", clip, self.y4m), ("decode", "--scan", clip, self.y4m),
                        ("encode", clip, self.out), ("encode", "--filter", "null", clip, self.out),
                        ("verify", clip), ("inspect", clip), ("thumbs", clip, "-o", self.folder)):
            with self.subTest(command=command[0]):
                code, errors, memory = peak_memory(*command)
                self.assertEqual(code, 1, errors)
                self.assertIn(f"{HUGE}x{HUGE}", errors)
                self.assertIn("--limit-size", errors)
                self.assertLess(memory, 256 * MEBIBYTE)


class Memory(ToolTest):
    def setUp(self):
        super().setUp()
        self.coded, self.other = self.path("clip.mov"), self.path("clip.mp4")
        self.out = self.path("out.mov")
        make_clip(self.coded, "-c:v", "prores_ks", size="2048x1152", frames=10)
        make_clip(self.other, "-c:v", "libx264", size="2048x1152", frames=10, pixels="yuv420p")

    def test_beyond_the_limit_is_not_used(self):
        limit = 48
        for command in (("decode", self.coded, self.out), ("encode", self.other, self.out),
                        ("encode", self.coded, self.out), ("compare", self.coded, self.other),
                        ("thumbs", self.coded, "-o", self.folder)):
            with self.subTest(command=command[0]):
                code, errors, memory = peak_memory(*command, "--threads", "8", "--limit-memory",
                                                   f"{limit}M")
                self.assertEqual(code, 1, errors)
                self.assertIn("clip.m", errors)
                self.assertIn(f"limit of {limit} MiB", errors)
                self.assertIn("--limit-memory", errors)
                # Mapped files and libraries do not count.
                self.assertLess(memory, (limit + 100) * MEBIBYTE)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         ["clip.mov", "clip.mp4"])

    def test_within_the_limit_is_enough_for_fewer_threads(self):
        for command in (("decode", self.coded, self.out), ("encode", self.other, self.out)):
            self.succeed(*command, "--overwrite", "--threads", "1", "--limit-memory", "512M")

    def test_is_described_as_json(self):
        result = self.fail_with(1, ["--limit-memory"], "decode", "--json", self.coded, self.out,
                                "--limit-memory", "10M")
        self.assertIn("--limit-memory", result.stdout)


class OutputSize(ToolTest):
    def test_ends_the_run_and_keeps_the_frames_before(self):
        clip = self.path("clip.mov")
        make_v210(clip, frames=10)
        for name in ("out.mov", "out.mkv"):
            with self.subTest(name):
                out, partial = self.path(name), self.path(name.replace(".", ".partial."))
                self.succeed("encode", clip, out)
                size = out.stat().st_size
                out.unlink()
                result = run("encode", "--limit-output", size // 2, clip, out)
                self.assertEqual(result.returncode, 1)
                self.assertIn("--limit-output", result.stderr)
                self.assertFalse(out.exists())
                self.assertLess(partial.stat().st_size, size * 3 // 4)
                self.assertIn("intact", self.succeed("verify", partial).stdout)

    def test_counts_all_images(self):
        clip = self.path("clip.mov")
        make_clip(clip, "-c:v", "prores_ks", size="128x96")
        result = run("decode", "--limit-output", "100K", clip, self.path("a.%04d.dpx"))
        self.assertEqual(result.returncode, 1)
        self.assertIn("--limit-output", result.stderr)
        written = sum(path.stat().st_size for path in self.folder.glob("*.dpx"))
        self.assertLessEqual(written, 100 << 10)
        self.assertGreater(written, 0)

    def test_of_copies_and_recovered_files(self):
        clip, coded, out = self.path("clip.mov"), self.path("coded.mov"), self.path("out.mov")
        make_v210(clip, frames=10)
        self.succeed("encode", clip, coded)
        for command in ("copy", "recover"):
            with self.subTest(command):
                self.fail_with(1, ["--limit-output"], command, "--limit-output", "10K", coded, out)


class Index(ToolTest):
    def test_with_millions_of_entries_that_are_not_there_takes_no_memory(self):
        path = self.path("crafted.mov")
        keys = struct.pack(">I4sII", 16, b"keys", 0, 200_000_000)
        keys = struct.pack(">I4s8x4s13x", 33, b"hdlr", b"mdta") + keys
        meta = struct.pack(">I4s", 8 + len(keys), b"meta") + keys
        movie = struct.pack(">I4s", 8 + len(meta), b"moov") + meta
        path.write_bytes(b"\0\0\0\x14ftypqt  \0\0\2\0qt  " + movie)
        for command in (("verify", path), ("inspect", path), ("encode", path, self.path("out.mov"))):
            with self.subTest(command=command[0]):
                code, errors, memory = peak_memory(*command)
                self.assertEqual(code, 1)
                self.assertIn("crafted.mov", errors)
                self.assertLess(memory, 512 * MEBIBYTE)

    def test_that_leads_to_the_same_bytes_takes_no_quadratic_time(self):
        clip = self.path("clip.mov")
        make_clip(clip, "-c:v", "prores_ks", frames=1)
        frame = mini_mov.samples(clip)[0] + bytes(80000)  # padding
        frame = struct.pack(">I", len(frame)) + frame[4:]
        mini_mov.write_repeated(clip, frame, 20000, 128, 96)
        for command in (("verify", clip), ("inspect", clip), ("copy", clip, self.path("a.mov")),
                        ("decode", clip, self.path("a.y4m"))):
            with self.subTest(command=command[0]):
                result = run(*command)
                self.assertEqual(result.returncode, 1)
                self.assertIn("same bytes", result.stderr + result.stdout)
                for path in self.folder.glob("a*"):
                    path.unlink()
        self.assertLess(count_read_bytes("verify", clip, code=1), 100 * clip.stat().st_size)

    def test_may_lead_to_a_frame_a_few_times(self):
        clip = self.path("clip.mov")
        make_clip(clip, "-c:v", "prores_ks", frames=1)
        mini_mov.write_repeated(clip, mini_mov.samples(clip)[0], 20, 128, 96)
        self.assertIn("20 frames, intact", self.succeed("verify", clip).stdout)


class Silence(ToolTest):
    """Sound that is filled up to the end of its pictures, which may last for centuries."""

    def test_that_takes_ages_is_refused(self):
        clip, tone, out = self.path("clip.mov"), self.path("tone.wav"), self.path("out.mov")
        make_v210(clip, frames=10)
        ffmpeg("-f", "lavfi", "-i", "sine=duration=0.1", tone)
        for rate, code in (("1/10", 0), ("1/100000", 1)):
            part = self.path(rate.replace("/", "-") + ".mov")
            self.succeed("encode", "--rate", rate, "--audio-file", tone, clip, part)
            with self.subTest(rate):
                found, errors, memory = peak_memory("copy", part, part, out)
                self.assertEqual(found, code, errors)
                self.assertLess(memory, 256 * MEBIBYTE)
                self.assertEqual("limit of silence" in errors, code == 1, errors)
                out.unlink(missing_ok=True)


class Jobs(JobTest):
    def test_pass_limits_on_to_their_chunks(self):
        limits = ["--limit-size", "100x100", "--limit-memory", "1T", "--limit-output", "1G"]
        clip = movie(".mov", "-pix_fmt yuv422p10le -c:v v210", size="96x64")
        for line in self.plan("--chunks", "2", *limits, clip, self.output)[0]["chunks"]:
            self.assertIn(" ".join(limits), " ".join(line["command"]) if isinstance(
                line["command"], list) else line["command"])
        result = run("plan", "--chunks", "2", "--limit-size", "95x64", clip, self.output)
        self.assertEqual(result.returncode, 1)
        self.assertIn("--limit-size 96x64", result.stderr)


if __name__ == "__main__":
    unittest.main()

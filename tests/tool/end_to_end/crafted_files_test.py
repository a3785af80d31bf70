# SPDX-License-Identifier: BSD-2-Clause
"""Files whose headers claim content that the file does not have: billions of frames, absurd sound,
extreme times. Every command ends within limits of time and memory, with a regular exit code and a
message that names the file."""
import itertools
import re
import resource
import signal
import struct
import subprocess
import threading
import unittest

from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, make_clip, make_v210, run

MEMORY = 1 << 30  # bytes of address space
SECONDS = 10  # of processor time
DISK = 1 << 30  # bytes of an output
BILLIONS = 0xFFFFFFF0


def limit(memory):
    """Returns a function that limits a process; sanitizers reserve more than any limit."""
    def set_limits():
        if memory:
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
            resource.setrlimit(resource.RLIMIT_CPU, (SECONDS, SECONDS))
        resource.setrlimit(resource.RLIMIT_FSIZE, (DISK, DISK))
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    return set_limits


def runs_limited():
    try:
        return run("--version", preexec_fn=limit(True)).returncode == 0
    except subprocess.SubprocessError:
        return False


IS_LIMITED = runs_limited()


def patched(data, mark, offset, replacement, places=None):
    """Replaces bytes at `offset` after the start of `mark`, in its first `places` places."""
    data = bytearray(data)
    position = data.find(mark)
    if position < 0:
        raise KeyError(mark)
    for _ in range(places) if places else itertools.count():
        data[position + offset:position + offset + len(replacement)] = replacement
        position = data.find(mark, position + 1)
        if position < 0:
            break
    return bytes(data)


class CraftedFile(ToolTest):
    def check(self, path, *commands):
        """Runs each command on the file; each must succeed or fail in a regular way."""
        for arguments in commands:
            with self.subTest(path.name, command=arguments[0]):
                try:
                    result = run(*arguments, preexec_fn=limit(IS_LIMITED))
                except subprocess.TimeoutExpired:
                    self.fail("does not end")
                self.assertIn(result.returncode, (0, 1, 2), result.stderr[-2000:])
                if result.returncode != 0:
                    # What an output cannot hold names the output.
                    self.assertRegex(result.stderr + result.stdout,
                                     f"{re.escape(path.name)}|out.mov: the container cannot")
                self.assertNotIn("bad_alloc", result.stderr)

    def check_prores(self, path):
        out, stills = self.path("out.mov"), self.path("stills")
        self.check(path, ("verify", path), ("inspect", path),
                   ("decode", "--overwrite", path, out),
                   ("decode", "--overwrite", "--frames", "2-4", path, out),
                   ("thumbs", "--overwrite", path, "-o", stills), ("compare", path, path),
                   ("recover", "--overwrite", path, out))

    def check_raw(self, path):
        out = self.path("out.mov")
        self.check(path, ("encode", "--overwrite", path, out),
                   ("encode", "--overwrite", "--rate", "30", path, out),
                   ("thumbs", "--overwrite", path, "-o", self.path("stills")))

    def make(self, name, data):
        path = self.path(name)
        path.write_bytes(data)
        return path

    def clip(self, name, *sound):
        """Makes a ProRes clip of ten frames, and with `sound` as options, of a tone."""
        path = self.path("plain-" + name)
        inputs = ("-f", "lavfi", "-i", "testsrc2=size=64x48:rate=25:duration=0.4")
        if sound:
            inputs += ("-f", "lavfi", "-i", "sine=frequency=400:duration=0.4")
        ffmpeg(*inputs, "-c:v", "prores_ks", "-pix_fmt", "yuv422p10le", *sound, path)
        return path.read_bytes()


class AnnouncedFrames(CraftedFile):
    """Announced counts and durations of billions end at the end of the file."""

    def test_avi(self):
        for make, check in ((lambda: self.clip("clip.avi"), self.check_prores),
                            (self.v210_avi, self.check_raw)):
            data = patched(make(), b"avih", 8 + 16, struct.pack("<I", BILLIONS))
            check(self.make("count.avi", patched(data, b"strh", 8 + 32,
                                                 struct.pack("<I", BILLIONS))))

    def v210_avi(self):
        path = self.path("raw.avi")
        make_v210(path, size="64x48")
        return path.read_bytes()

    def test_avi_that_was_streamed_is_intact(self):
        self.clip("clip.avi")
        streamed = subprocess.run(
            ["ffmpeg", "-nostdin", "-v", "error", "-i", self.path("plain-clip.avi"), "-c", "copy",
             "-f", "avi", "-"], check=True, capture_output=True, timeout=TIMEOUT).stdout
        path = self.make("streamed.avi", patched(streamed, b"strh", 8 + 32,
                                                 struct.pack("<I", 0x40000000)))
        self.check_prores(path)
        self.succeed("verify", path)

    def test_matroska(self):
        data = self.clip("clip.mkv")
        for duration in (1e18, 1e300, float("inf"), float("nan"), -1.0):
            self.check_prores(self.make("duration.mkv", patched(
                data, b"\x44\x89\x88", 3, struct.pack(">d", duration))))

    def test_mxf(self):
        path = self.path("plain.mxf")
        make_v210(self.path("clip.mov"), size="128x96")
        self.succeed("encode", self.path("clip.mov"), path)
        for frames in (1 << 40, (1 << 63) - 1, -1):
            self.check_prores(self.make("duration.mxf", patched(
                path.read_bytes(), b"\x02\x02\x00\x08", 4, struct.pack(">q", frames))))

    def test_mov(self):
        path = self.path("plain.mov")
        make_v210(path, size="64x48")
        for count in (1 << 20, 1 << 27, BILLIONS):
            self.check_raw(self.make("count.mov", patched(
                path.read_bytes(), b"stsz", 12, struct.pack(">I", count))))


class Times(CraftedFile):
    def test_durations_of_a_mov(self):
        data = self.clip("clip.mov")
        for duration in (0, 1, 0x7FFFFFFF, 0xFFFFFFFF):
            self.check_prores(self.make("durations.mov", patched(
                data, b"stts", 16, struct.pack(">I", duration))))

    def test_clock_of_a_mov(self):
        data = self.clip("clip.mov")
        for ticks in (0, 1, 0x7FFFFFFF, 0xFFFFFFFF):
            self.check_prores(self.make("clock.mov", patched(data, b"mdhd", 16,
                                                             struct.pack(">I", ticks))))

    def test_times_far_apart(self):
        self.clip("clip.nut", "-c:a", "pcm_s16le")
        for track, times in itertools.product(
                ("v", "a"), (("4611686018427387904", "0"), ("0", "4611686018427387904"))):
            path = self.path("times.nut")
            ffmpeg("-i", self.path("plain-clip.nut"), "-c", "copy", f"-bsf:{track}",
                   f"setts=ts=if(gte(N\\,5)\\,{times[0]}+N\\,{times[1]}+N)", path)
            self.check_prores(path)


class VariableRate(CraftedFile):
    """Checks that a file is intact at any times that its index states."""

    def setUp(self):
        super().setUp()
        self.variable = self.path("variable.mov")
        make_clip(self.variable, "-c:v", "prores_ks", "-vsync", "vfr",
                  filters="select='not(eq(mod(n,5),3))'", frames=20)

    def test_verify_accepts_it_with_a_note(self):
        result = self.succeed("verify", self.variable)
        self.assertIn("20 frames, intact", result.stdout)
        self.assertIn("variable frame rate", result.stderr)

    def test_thumbs_accepts_it(self):
        self.succeed("thumbs", self.variable, "-o", self.path("stills"))
        self.assertEqual(len(list(self.path("stills").iterdir())), 10)

    def test_a_constant_rate_is_not_noted(self):
        steady = self.path("steady.mov")
        make_clip(steady, "-c:v", "prores_ks")
        self.assertNotIn("variable", self.succeed("verify", steady).stderr)


class Sound(CraftedFile):
    """Silence for gaps is bounded by the amount of sound."""

    def make_gaps(self, name, step):
        """Makes every second packet `step` ticks late."""
        self.clip("clip.mkv", "-c:a", "pcm_s32le", "-ac", "4")
        path = self.path(name)
        ffmpeg("-i", self.path("plain-clip.mkv"), "-c", "copy", "-bsf:a",
               f"setts=ts=PTS+{step}*floor(N/2)", path)
        return path.read_bytes()

    def check_rate(self, name, data, rate):
        self.check_prores(self.make(name, patched(data, b"\xb5\x88", 2, struct.pack(">d", rate))))

    def test_gaps_at_rates_beyond_any_memory(self):
        # A second has 2^32 + 64 bytes at the first rate.
        for rate in (268435460.0, 20e6, 2147483647.0, 1.0):
            self.check_rate("rate.mkv", self.make_gaps("gaps.mkv", 3000), rate)

    def test_gaps_of_a_minute(self):
        for rate in (20e6, 192000.0):
            self.check_rate("minutes.mkv", self.make_gaps("gaps.mkv", 59000), rate)

    def test_numbers_of_channels(self):
        data = self.make_gaps("gaps.mkv", 3000)
        for channels in (1, 127):
            self.check_prores(self.make("channels.mkv", patched(data, b"\x9f\x81", 2,
                                                                bytes([channels]))))


class Interrupted(ToolTest):
    def test_a_search_of_the_container_library_ends(self):
        make_clip(clip := self.path("clip.mkv"), "-c:v", "prores_ks")
        start = clip.read_bytes()[:5000]
        searched, ended = threading.Event(), threading.Event()

        def feed(pipe):
            try:
                pipe.write(start)
                for megabytes in itertools.count():
                    if megabytes == 20:
                        searched.set()
                    if ended.is_set():
                        return
                    pipe.write(bytes(1 << 20))
            except BrokenPipeError:
                searched.set()

        process = subprocess.Popen([PROGRAM, "verify", "-"], stdin=subprocess.PIPE,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        feeder = threading.Thread(target=feed, args=(process.stdin,))
        feeder.start()
        try:
            self.assertTrue(searched.wait(TIMEOUT))
            process.send_signal(signal.SIGINT)
            process.wait(TIMEOUT)
        finally:
            ended.set()
            process.kill()
            process.stdout.close()
            process.stderr.close()
            feeder.join()
            try:
                process.stdin.close()
            except BrokenPipeError:
                pass


if __name__ == "__main__":
    unittest.main()

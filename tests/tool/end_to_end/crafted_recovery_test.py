# SPDX-License-Identifier: BSD-2-Clause
"""Files with misleading sizes, times and counts. Every command ends soon, in little memory, with a
regular exit code and message."""
import ctypes
import ctypes.util
import json
import os
import resource
import signal
import struct
import subprocess
import threading

from sound_test import make_movie, sound
from tool import PROGRAM, TIMEOUT, ToolTest, folder_events, make_v210, probe

MARK = b"\xf7vixpkt\x1a"
SECONDS, BYTES = 10, 1 << 30


def checksum(data):
    library = ctypes.CDLL(ctypes.util.find_library("xxhash") or "libxxhash.so.0")
    library.XXH3_64bits.restype = ctypes.c_uint64
    library.XXH3_64bits.argtypes = (ctypes.c_char_p, ctypes.c_size_t)
    return library.XXH3_64bits(bytes(data), len(data))


def tag(track, time, packet, duration=1, size=None):
    """Returns the tag of a packet as the program writes it, with any values."""
    head = MARK + struct.pack(">IIqqQ", track, len(packet) if size is None else size, time,
                              duration, checksum(packet))
    return head + struct.pack(">Q", checksum(head))


def read_tags(data):
    """Returns track, time, duration and packet of each tag, in order."""
    found, place = [], data.find(MARK)
    while place >= 0:
        track, size, moment, duration = struct.unpack_from(">IIqq", data, place + 8)
        found.append((track, moment, duration, data[place + 48:place + 48 + size]))
        place = data.find(MARK, place + 48 + size)
    return found


class Crafted(ToolTest):
    """Commands with a limit of time and memory."""

    def run_limited(self, *arguments, code=None, names=None):
        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (2 * BYTES, 2 * BYTES))
            resource.setrlimit(resource.RLIMIT_FSIZE, (BYTES, BYTES))
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                   preexec_fn=limit)
        guard = threading.Timer(SECONDS * 6, process.kill)  # machines under load are slower
        guard.start()
        with process.stdout, process.stderr:
            errors = []
            reader = threading.Thread(target=lambda: errors.append(process.stderr.read()))
            reader.start()
            output = process.stdout.read()
            reader.join()
        _, status, usage = os.wait4(process.pid, 0)
        guard.cancel()
        process.returncode = os.waitstatus_to_exitcode(status)
        message = errors[0].decode()
        self.assertIn(process.returncode, (0, 1, 2) if code is None else (code,), message)
        self.assertLess(usage.ru_utime + usage.ru_stime, SECONDS)
        self.assertLess(usage.ru_maxrss * 1024, BYTES)
        if names:
            self.assertIn(str(names), message)
        return subprocess.CompletedProcess(process.args, process.returncode, output, message)


class TaggedFiles(Crafted):
    def setUp(self):
        super().setUp()
        self.clip, self.whole, self.crafted, self.out = (
            self.path(name) for name in ("clip.mov", "whole.mov", "crafted.mov", "out.mov"))
        make_movie(self.clip, tracks=1, seconds=1)
        self.succeed("encode", self.clip, self.whole)
        data = self.whole.read_bytes()
        self.start = data[:data.index(MARK)]
        self.tags = read_tags(data)
        self.frames = [packet for track, _, _, packet in self.tags if track == 1]

    def craft(self, tags, rest=b""):
        """Makes a file with tags before the given packets, and no index."""
        self.crafted.write_bytes(self.start + b"".join(
            tag(track, moment, packet, duration) + packet
            for track, moment, duration, packet in tags) + rest)

    def move(self, track, number, change):
        """Returns the tags with one tag of a track at another time."""
        tags = list(self.tags)
        place = [index for index, each in enumerate(tags) if each[0] == track][number]
        _, moment, duration, packet = tags[place]
        tags[place] = (track, *change(moment, duration), packet)
        return tags

    def recover(self, code=0):
        result = self.run_limited("recover", "--overwrite", "--json", self.crafted, self.out,
                                  code=code, names=self.crafted if code else None)
        return json.loads(result.stdout) if code == 0 else result.stderr

    def test_an_invalid_rate_in_the_file_is_not_wrong_use(self):
        track, moment, duration, description = self.tags[0]
        rate = b"data\0\0\0\1\0\0\0\0" + b"25"
        self.assertEqual(description.count(rate), 1)
        for invalid in (b"xx", b"0/", b"-1"):
            changed = description.replace(rate, rate[:-2] + invalid)
            self.craft([(track, moment, duration, changed), *self.tags[1:]])
            self.assertIn("does not state a frame rate", self.recover(code=1))

    def test_a_size_beyond_the_file_is_not_allocated(self):
        description = self.tags[0][3]
        self.crafted.write_bytes(
            self.start + tag(0, 0, description, 0, size=0xfffffff0) + description)
        for command in (("verify",), ("recover",), ("decode", "--overwrite")):
            output = () if command == ("verify",) else (self.out,)
            self.run_limited(*command, self.crafted, *output, code=1, names=self.crafted)

    def test_a_time_far_ahead_does_not_fill_the_disk(self):
        for moment in (1 << 40, (1 << 63) - 1, -1 << 63, -1):
            with self.subTest(moment):
                self.craft(self.move(1, 10, lambda _, duration: (moment, duration)))
                report = self.recover()
                self.assertEqual(report["frames"], 25)
                self.assertIn((moment, "left out"),
                              [(each["frame"], each["treatment"]) for each in report["damage"]])
                self.assertLess(self.out.stat().st_size, 2 * self.crafted.stat().st_size)

    def test_a_gap_is_filled_up_to_a_limit(self):
        for gap, frames in ((3000, 3025), (5000, 25)):
            with self.subTest(gap):
                tags = [(track, moment + gap if track == 1 and moment >= 10 else moment, *rest)
                        for track, moment, *rest in self.tags]
                self.craft(tags)
                report = self.recover()
                self.assertEqual(report["frames"], frames)
                damage, = [each for each in report["damage"] if each["what"] == "is missing"]
                self.assertEqual((damage["frame"], damage["count"], damage["treatment"]),
                                 (10, gap, "replaced" if frames > 25 else "left out"))
                # The rest stays a gap: the last frame keeps its time.
                self.assertAlmostEqual(float(probe(self.out)["duration"]), 1 + gap / 25, delta=.05)

    def test_out_of_order_sound_is_dropped(self):
        self.craft(self.move(2, 5, lambda moment, duration: (0, duration)))
        report = self.recover()
        self.assertEqual(report["frames"], 25)
        altered, gap = report["soundDamage"]
        self.assertEqual(altered["treatment"], "left out")
        self.assertEqual(gap["treatment"], "filled with silence")
        was, now = sound(self.whole), sound(self.out)
        self.assertEqual(len(was), len(now))
        begin, length = (round(gap[key] * 48000) * 3 for key in ("begin", "seconds"))
        self.assert_same_bytes(now, was[:begin] + bytes(length) + was[begin + length:])

    def test_overflowing_times_of_sound(self):
        for moment, duration in (((1 << 63) - 1, 1), (-1 << 63, 1), (0, -1 << 63),
                                 (0, (1 << 63) - 1), (1 << 40, 1 << 40)):
            with self.subTest((moment, duration)):
                self.craft(self.move(2, 3, lambda *_: (moment, duration)))
                self.assertEqual(self.recover()["frames"], 25)

    def test_tracks_without_a_description(self):
        self.craft([*self.tags, (3, 0, 1, b"x"), (0xffffffff, 0, 1, b"x"), (0, 0, 0, b"x")])
        self.assertEqual(self.recover()["frames"], 25)

    def test_sound_without_pictures(self):
        self.craft([each for each in self.tags if each[0] != 1])
        self.assertIn("holds no complete frame", self.recover(code=1))

    def test_a_packet_beyond_the_end_does_not_hide_later_packets(self):
        cut = tag(1, 7, b"", size=1 << 31) + b"cut"
        self.craft(self.tags[:9], cut + b"".join(
            tag(track, moment, packet, duration) + packet
            for track, moment, duration, packet in self.tags[9:]))
        self.assertEqual(self.recover()["frames"], 25)

    def test_false_marks_take_linear_time(self):
        for noise in (MARK * (1 << 20), (MARK + bytes(33)) * 200_000):
            self.craft(self.tags, noise)
            self.assertEqual(self.recover()["frames"], 25)

    def test_an_interrupt_is_seen_while_gaps_are_filled(self):
        # One large frame, repeated 3600 times, would take much longer than the test.
        clip = self.path("large.mov")
        make_v210(clip, size="1920x1080", frames=2)
        self.succeed("encode", clip, self.path("large.whole.mov"))
        data = self.path("large.whole.mov").read_bytes()
        tags = read_tags(data)
        self.start = data[:data.index(MARK)]
        self.craft([(track, moment + 3000 if moment == 1 else moment, *rest)
                    for track, moment, *rest in tags])
        sizes = [0]
        with folder_events(self.folder) as wait:
            process = subprocess.Popen([PROGRAM, "recover", self.crafted, self.out],
                                       stderr=subprocess.DEVNULL)
            self.addCleanup(process.kill)
            while sizes[-1] < 2 * len(data):
                self.assertTrue(wait(), "no frame was repeated")
                sizes += [path.stat().st_size for path in self.folder.glob("out.mov.part-*")]
        process.send_signal(signal.SIGINT)
        self.assertNotEqual(process.wait(TIMEOUT), 0)
        self.assertLess(max(sizes), 100 * len(data))
        self.assertFalse(self.out.exists())


class IndexCheck(ToolTest):
    """Verifies a complete index without a read for every packet."""

    def count_reads(self, frames):
        clip, whole = self.path("clip.y4m"), self.path(f"{frames}.mov")
        make_v210(self.path("clip.mov"), size="16x16", frames=frames)
        self.succeed("encode", self.path("clip.mov"), whole)
        clip = self.path(f"{frames}.uyvy")
        process = subprocess.Popen([PROGRAM, "decode", "--frames", "0-0", whole, clip],
                                   stderr=subprocess.DEVNULL)
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
        with open(f"/proc/{process.pid}/io") as usage:
            reads, = [int(line.split()[1]) for line in usage if line.startswith("syscr")]
        self.assertEqual(process.wait(), 0)
        return reads

    def test_a_complete_index_needs_no_read_for_each_packet(self):
        self.assertLess(self.count_reads(1000), self.count_reads(20) + 100)


class ScannedFiles(Crafted):
    def setUp(self):
        super().setUp()
        self.crafted = self.path("crafted.bin")

    def scan(self, data, code=None):
        self.crafted.write_bytes(data)
        return self.run_limited("verify", "--scan", "--rate", "25", "--json", self.crafted,
                                code=code)

    @staticmethod
    def header(width, height, size=1 << 20):
        """Returns a frame header without pictures."""
        return struct.pack(">I4sHBB4sHHBBBBBBBB", size, b"icpf", 20, 0, 0, b"vixp", width, height,
                           0x80, 0, 2, 2, 2, 0, 0, 0)

    def test_headers_of_differing_sizes_take_linear_time(self):
        for count in (16_000, 200_000):
            self.scan(b"".join(self.header(16 + i % 60_000, 16 + i // 60_000)
                               for i in range(count)))

    def test_headers_of_one_size_take_linear_time(self):
        self.scan(self.header(1920, 1080) * 100_000)

    def test_headers_that_claim_everything_keep_memory_small(self):
        self.scan((self.header(64, 64, 0x0fffffff) + bytes(2000)) * 20_000)

# SPDX-License-Identifier: BSD-2-Clause
"""Ctrl-C: the current frame is completed, the frames so far are kept as a playable file, and the
program ends by the signal."""
import fcntl
import itertools
import json
import re
import signal
import subprocess

from tool import PROGRAM, TIMEOUT, ToolTest, frame_bytes, make_v210, planes, probe

SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
RAW_FRAMES = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")


def reset_signals():
    """Undoes signals that the tests' caller ignores, as nohup does; programs inherit that."""
    for number in SIGNALS:
        signal.signal(number, signal.SIG_DFL)


class Interruption(ToolTest):
    def setUp(self):
        super().setUp()
        make_v210(self.path("frames.raw"), "-f", "rawvideo")
        self.frames = self.path("frames.raw").read_bytes()
        self.succeed("encode", *RAW_FRAMES, self.path("frames.raw"), self.path("whole.mov"))

    def start(self, *arguments):
        """Starts the program on a pipe that the test keeps open, so that it waits for frames."""
        return subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.PIPE,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                preexec_fn=reset_signals)

    def interrupt(self, process, number=signal.SIGINT):
        process.send_signal(number)
        process.wait(TIMEOUT)
        output, errors = process.stdout.read(), process.stderr.read().decode()
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()
        self.assertEqual(process.returncode, -number, "ended otherwise than by the signal")
        return output, errors

    def test_encoded_frames_are_kept(self):
        for number, threads in itertools.product(SIGNALS, (1, 2, 5)):
            with self.subTest(number=number, threads=threads):
                process = self.start("encode", "--threads", threads, *RAW_FRAMES, "-",
                                     self.path("out.mov"))
                process.stdin.write(self.frames[:5 * frame_bytes("V210", 128, 96)])
                process.stdin.flush()
                self.wait_for_frame("out.mov")
                _, errors = self.interrupt(process, number)
                partial = self.path("out.partial.mov")
                kept = r"\d+ frames? before that (?:is|are) kept in " + re.escape(str(partial))
                self.assertRegex(errors, kept)
                count = int(re.search(r"interrupted after (\d+) frames?\n", errors).group(1))
                self.assertGreaterEqual(count, 1)
                self.assertLessEqual(count, 5)
                self.assertEqual(probe(partial)["nb_read_packets"], str(count))
                kept = planes(partial)
                self.assert_same_bytes(kept, planes(self.path("whole.mov"))[:len(kept)])
                self.assertFalse(self.path("out.mov").exists())
                self.assertEqual(list(self.folder.glob("*.part-*")), [])
                partial.unlink()

    def test_the_work_file_is_locked(self):
        process = self.start("encode", *RAW_FRAMES, "-", self.path("out.mov"))
        process.stdin.write(self.frames[:5 * frame_bytes("V210", 128, 96)])
        process.stdin.flush()
        self.wait_for_frame("out.mov")
        with open(next(self.folder.glob("out.mov.part-*")), "rb") as file:
            with self.assertRaises(BlockingIOError):
                fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        self.interrupt(process)

    def test_an_earlier_partial_file_stays(self):
        self.path("out.partial.mov").write_text("earlier")
        process = self.start("encode", *RAW_FRAMES, "-", self.path("out.mov"))
        process.stdin.write(self.frames)
        process.stdin.flush()
        self.wait_for_frame("out.mov")
        self.interrupt(process)
        self.assertEqual(self.path("out.partial.mov").read_text(), "earlier")
        self.assertEqual(probe(self.path("out.partial-2.mov"))["codec_name"], "prores")

    def test_nothing_is_kept_without_frames(self):
        process = self.start("encode", *RAW_FRAMES, "-", self.path("out.mov"))
        self.wait_for_work_file("out.mov", lambda data: True)
        _, errors = self.interrupt(process)
        self.assertIn("nothing was kept", errors)
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         ["frames.raw", "whole.mov"])

    def test_decoded_frames_are_kept(self):
        self.succeed("encode", *RAW_FRAMES, self.path("frames.raw"), self.path("whole.mkv"))
        data = self.path("whole.mkv").read_bytes()
        process = self.start("decode", "-", self.path("out.mov"))
        process.stdin.write(data[:len(data) * 3 // 4])
        process.stdin.flush()
        frame = frame_bytes("V210", 128, 96)
        self.wait_for_work_file("out.mov", lambda data: len(data) >= frame)
        self.interrupt(process)
        self.assertEqual(probe(self.path("out.partial.mov"))["codec_name"], "v210")

    def test_json_reports_the_interrupt(self):
        process = self.start("encode", "--json", *RAW_FRAMES, "-", self.path("out.mov"))
        process.stdin.write(self.frames)
        process.stdin.flush()
        self.wait_for_frame("out.mov")
        output, _ = self.interrupt(process)
        report = json.loads(output)
        self.assertEqual(report["status"], "interrupted")
        self.assertEqual(report["output"], str(self.path("out.partial.mov")))
        self.assertEqual(probe(self.path("out.partial.mov"))["nb_read_packets"],
                         str(report["frames"]))

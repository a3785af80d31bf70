# SPDX-License-Identifier: BSD-2-Clause
"""Several inputs in one run, and the progress of runs."""
import contextlib
import fcntl
import json
import os
import pathlib
import pty
import resource
import struct
import subprocess
import termios

from tool import PROGRAM, TIMEOUT, ToolTest, ffmpeg, make_v210, probe, run


class Batch(ToolTest):
    def setUp(self):
        super().setUp()
        self.inputs = [self.path(f"clip{number}.mov") for number in range(4)]
        for number, path in enumerate(self.inputs):
            make_v210(path, frames=number + 2)
        self.out = self.path("out")

    def names(self):
        return sorted(path.name for path in self.out.iterdir())

    def test_every_input_gets_an_output(self):
        for jobs in (1, 3, 10):
            with self.subTest(jobs=jobs):
                result = self.succeed("encode", "--overwrite", "--jobs", jobs, "--output-dir",
                                      self.out, *self.inputs)
                self.assertEqual(self.names(), [path.name for path in self.inputs])
                for number, path in enumerate(self.inputs):
                    self.assertEqual(probe(self.out / path.name)["nb_read_packets"],
                                     str(number + 2))
                    self.assertIn(str(path), result.stderr)
                self.assertIn("4 of 4 are there; 14 frames", result.stderr)

    def test_outputs_equal_those_of_single_runs(self):
        self.succeed("encode", "--jobs", 2, "--variant", "hq", "--output-dir", self.out,
                     *self.inputs)
        single = self.path("single.mov")
        self.succeed("encode", "--variant", "hq", self.inputs[3], single)
        self.assert_same_bytes((self.out / "clip3.mov").read_bytes(), single.read_bytes())
        back = self.path("back")
        self.succeed("decode", "--output-dir", back, "--name", "{number}-{name}.y4m",
                     *sorted(self.out.iterdir()))
        self.assertEqual(sorted(path.name for path in back.iterdir()),
                         [f"{number + 1}-clip{number}.y4m" for number in range(4)])

    def test_existing_outputs_are_skipped(self):
        self.succeed("encode", "--output-dir", self.out, *self.inputs[:2])
        before = {path: path.stat().st_mtime_ns for path in self.out.iterdir()}
        result = self.succeed("encode", "--json", "--output-dir", self.out, *self.inputs)
        reports = json.loads(result.stdout)
        self.assertEqual([report["status"] for report in reports],
                         ["skipped", "skipped", "done", "done"])
        for path, time in before.items():
            self.assertEqual(path.stat().st_mtime_ns, time)
        self.succeed("encode", "--overwrite", "--output-dir", self.out, *self.inputs[:2])
        for path, time in before.items():
            self.assertNotEqual(path.stat().st_mtime_ns, time)

    def test_changed_inputs_are_encoded_again(self):
        arguments = ("encode", "--json", "--output-dir", self.out, *self.inputs[:3])
        self.succeed(*arguments)
        newer, larger, _ = self.inputs[:3]
        os.utime(newer)
        make_v210(larger, frames=9)
        with contextlib.suppress(OSError):  # without attributes, only the time is compared
            os.getxattr(self.out / "clip1.mov", "user.vixprores.input")
            os.utime(larger, (1e9, 1e9))
        result = self.succeed(*arguments)
        self.assertEqual([report["status"] for report in json.loads(result.stdout)],
                         ["done", "done", "skipped"])
        self.assertIn(f"{larger}: changed since {self.out / 'clip1.mov'} was made", result.stderr)
        self.assertEqual(probe(self.out / "clip1.mov")["nb_read_packets"], "9")
        self.assertNotIn("changed since", self.succeed(*arguments).stderr)

    def test_a_folder_stands_for_its_videos(self):
        day = self.path("day")
        (day / "b").mkdir(parents=True)
        os.link(self.inputs[0], day / "x.mov")
        os.link(self.inputs[1], day / "b/x.mov")
        (day / "notes.txt").write_text("no video")
        options = ("--variant", "lt", "--name", "{name}-{variant}.mov", "--output-dir", self.out)
        self.succeed("encode", *options, day)
        self.assertEqual(self.names(), ["x-lt.mov"])
        self.succeed("encode", *options, "--recursive", day)
        self.assertEqual(self.names(), ["b", "x-lt.mov"])
        self.assertEqual(probe(self.out / "b/x-lt.mov")["nb_read_packets"], "3")
        self.fail_with(2, ["--recursive needs --output-dir"], "encode", "--recursive", day,
                       self.path("out.mov"))

    def test_only_matching_outputs_are_skipped(self):
        one = self.inputs[0]
        for extension in ("mov", "mkv", "mxf"):
            with self.subTest(extension=extension):
                arguments = ("--name", "{name}." + extension, "--output-dir", self.out, one)
                output = self.out / f"clip0.{extension}"
                self.succeed("encode", *arguments)
                self.assertIn("skipped", self.succeed("encode", *arguments).stderr)
                for options, words in ((("--frames", "0-0"), "2 frames instead of 1"),
                                       (("--variant", "hq"), "ProRes 422 HQ")):
                    if extension == "mxf" and options[0] == "--variant":
                        continue  # not in the container
                    before = output.read_bytes()
                    result = run("encode", *options, *arguments)
                    self.assertEqual(result.returncode, 1, result.stderr)
                    self.assertIn("exists, but differs from the output", result.stderr)
                    self.assertIn(words, result.stderr)
                    self.assertIn("--overwrite", result.stderr)
                    self.assertEqual(output.read_bytes(), before)
        self.path("out/clip0.mov").write_text("something else")
        result = run("encode", "--output-dir", self.out, one)
        self.assertEqual(result.returncode, 1)
        self.assertIn("is not a complete mov", result.stderr)

    def test_outputs_with_other_labels_are_rejected(self):
        clip = self.path("labels.mov")
        make_v210(clip, "-timecode", "01:00:00:00")
        for extension in ("mov", "mkv", "mxf"):
            arguments = ("--name", "{name}." + extension, "--output-dir", self.out, clip)
            self.succeed("encode", *arguments)
            for options, words in (
                    (("--color", "bt2020"), "colour unspecified instead of colour bt2020"),
                    (("--timecode", "05:00:00:00"),
                     "timecode 01:00:00:00 instead of timecode 05:00:00:00"),
                    (("--rate", "24"), "25 fps instead of 24 fps"),
                    (("--par", "64:45"), "shown 128x96 instead of shown 182x96"),
                    (("--fields", "top"), "progressive instead of top field first")):
                with self.subTest(extension=extension, options=options):
                    self.fail_with(1, ["exists, but differs from the output", words,
                                       "--overwrite"], "encode", *options, *arguments)
                    self.succeed("encode", "--overwrite", *options, *arguments)
                    self.assertIn("skipped", self.succeed("encode", *options, *arguments).stderr)
                    self.succeed("encode", "--overwrite", *arguments)

    def test_outputs_with_other_sound_are_rejected(self):
        clip = self.path("sound.mov")
        make_v210(self.path("silent.mov"))
        ffmpeg("-i", self.path("silent.mov"), "-f", "lavfi", "-i", "sine=sample_rate=48000",
               "-t", "0.4", "-c:v", "copy", "-c:a", "pcm_s16le", clip)
        self.succeed("encode", "--output-dir", self.out, clip)
        self.assertIn("skipped", self.succeed("encode", "--output-dir", self.out, clip).stderr)
        self.fail_with(1, ["1 sound track instead of 0 sound tracks"], "encode", "--no-audio",
                       "--output-dir", self.out, clip)

    def test_decoded_outputs_are_compared_too(self):
        encoded = self.path("encoded.mov")
        self.succeed("encode", self.inputs[1], encoded)
        for extension in ("mov", "avi", "nut", "y4m", "raw"):
            with self.subTest(extension=extension):
                arguments = ("--name", "{name}." + extension, "--output-dir", self.out, encoded)
                self.succeed("decode", *arguments)
                self.assertIn("skipped", self.succeed("decode", *arguments).stderr)
                for options in (("--fourcc", "UYVY"), ("--frames", "0-1")):
                    if extension == "nut" and options[0] == "--frames":
                        continue  # not in the container
                    result = run("decode", *options, *arguments)
                    self.assertEqual(result.returncode, 1, result.stderr)
                    self.assertIn("exists, but differs from the output", result.stderr)

    def test_coded_video_does_not_count_as_decoded(self):
        encoded = self.path("encoded.mov")
        self.succeed("encode", self.inputs[1], encoded)
        self.out.mkdir()
        (self.out / "encoded.mov").write_bytes(encoded.read_bytes())
        self.fail_with(1, ["exists, but differs", "found prores"], "decode", "--output-dir",
                       self.out, encoded)

    def test_a_failure_does_not_stop_the_other_inputs(self):
        self.inputs[1].write_bytes(b"no container")
        missing = self.path("missing.mov")
        for jobs in (1, 3):
            with self.subTest(jobs=jobs):
                result = run("encode", "--overwrite", "--jobs", jobs, "--output-dir", self.out,
                             *self.inputs, missing)
                self.assertEqual(result.returncode, 1)
                self.assertEqual(self.names(), ["clip0.mov", "clip2.mov", "clip3.mov"])
                self.assertIn(f"vixprores: {self.inputs[1]}: is no video file", result.stderr)
                self.assertIn(f"vixprores: {missing}: cannot be read", result.stderr)
                self.assertIn("3 of 5 are there", result.stderr)

    def test_a_batch_does_not_need_all_its_threads(self):
        def reserve_too_large_stacks():
            # No new thread can be created: its stack would fill the address space.
            resource.setrlimit(resource.RLIMIT_STACK, (1 << 47, resource.RLIM_INFINITY))

        if resource.getrlimit(resource.RLIMIT_STACK)[1] != resource.RLIM_INFINITY:
            self.skipTest("the size of stacks is limited")
        if b"__tsan_init" in pathlib.Path(PROGRAM).read_bytes():
            self.skipTest("the thread sanitizer needs the usual layout of the address space")
        result = self.succeed("encode", "--jobs", 3, "--threads", 2, "--name", "{name}.mkv",
                              "--output-dir", self.out, *self.inputs,
                              preexec_fn=reserve_too_large_stacks)
        self.assertIn("4 of 4 are there", result.stderr)

    def test_names_cannot_control_the_terminal(self):
        for name in ("red\x1b[31m.mov", "csi\u009b31m.mov", "line\rfeed.mov"):
            with self.subTest(name=name):
                result = run("encode", "--output-dir", self.out, self.path(name), text=False)
                self.assertEqual(result.returncode, 1)
                self.assertNotRegex(result.stderr.decode(), "[\x00-\x09\x0b-\x1f\x7f-\x9f]")
        self.assertIn(b"red\\x1B[31m.mov: cannot be read",
                      run("encode", self.path("red\x1b[31m.mov"), self.path("out.mov"),
                          text=False).stderr)

    def test_outputs_of_one_name_are_rejected(self):
        other = self.path("other")
        other.mkdir()
        os.link(self.inputs[0], other / "clip0.mov")
        self.fail_with(2, ["would both be written to", "{number}"], "encode", "--output-dir", self.out,
                       self.inputs[0], other / "clip0.mov")
        self.fail_with(2, ["{title}.mov", "{name}, {number} and {variant}"], "encode", "--name",
                       "{title}.mov", "--output-dir", self.out, self.inputs[0])
        self.fail_with(2, ["missing INPUT"], "encode", "--output-dir", self.out)

    def test_the_output_folder_cannot_be_created(self):
        self.fail_with(1, [self.inputs[0] / "x", "cannot be created"], "encode", "--output-dir",
                       self.inputs[0] / "x", self.inputs[1])


class Progress(ToolTest):
    def test_json_lines(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        result = self.succeed("encode", "--progress", "json", clip, self.path("out.mov"))
        lines = [json.loads(line) for line in result.stderr.splitlines() if line.startswith("{")]
        self.assertEqual((lines[-1]["frames"], lines[-1]["total"], lines[-1]["input"]),
                         (10, 10, str(clip)))
        for line in lines:
            self.assertLessEqual({"seconds", "framesPerSecond", "realTimeFactor",
                                  "megabitsPerSecond"}, set(line))

    def test_json_lines_name_their_input(self):
        clips = [self.path("a.mov"), self.path("b.mov")]
        for clip in clips:
            make_v210(clip)
        result = self.succeed("encode", "--progress", "json", "--jobs", 2, "--output-dir",
                              self.path("out"), *clips)
        lines = [json.loads(line) for line in result.stderr.splitlines() if line.startswith("{")]
        self.assertEqual({line["input"] for line in lines}, set(map(str, clips)))

    def show_progress(self, columns, *arguments):
        """Runs the program on a terminal; returns the progress lines that it drew."""
        primary, secondary = pty.openpty()
        fcntl.ioctl(secondary, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stderr=secondary)
        os.close(secondary)
        shown = b""
        with contextlib.suppress(OSError):  # once the terminal's other end is closed
            while chunk := os.read(primary, 4096):
                shown += chunk
        os.close(primary)
        self.assertEqual(process.wait(TIMEOUT), 0, shown)
        drawn = [text for text in shown.decode().split("\r\x1b[K")
                 if text.startswith(("frame ", "input"))]
        self.assertTrue(drawn, shown)
        return drawn

    def test_a_line_is_no_wider_than_its_terminal(self):
        clip = self.path("clip.mov")
        make_v210(clip, frames=50)
        for text in self.show_progress(30, "encode", clip, self.path("out.mov")):
            self.assertLess(len(text), 30)

    def test_the_line_of_a_batch_counts_its_inputs(self):
        clips = [self.path(f"{name}.mov") for name in "abc"]
        for clip in clips:
            make_v210(clip)
        batch = ("encode", "--overwrite", "--output-dir", self.path("out"), *clips)
        drawn = self.show_progress(80, *batch)
        for number in (1, 2, 3):
            self.assertTrue(any(text.startswith(f"input {number}/3  frame ") for text in drawn),
                            drawn)
        drawn = self.show_progress(80, *batch, "--jobs", 2)
        self.assertTrue(drawn[0].startswith("inputs 0/3  frame "), drawn)

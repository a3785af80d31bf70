# SPDX-License-Identifier: BSD-2-Clause
"""The plan of a job: its chunks, its identity, and what it refuses."""
import os
import shutil
import unittest

from jobs import H264, V210, JobTest, movie, quoted
from tool import ffmpeg, run

FRAMES = 40  # of movie()


class Plan(JobTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        shutil.copy(movie(".mov", V210), self.clip)

    def test_chunks_of_nearly_equal_length(self):
        for chunks, expected in ((1, [40]), (3, [13, 13, 14]), (7, [5, 6, 6, 5, 6, 6, 6]),
                                 (40, [1] * 40), (999, [1] * 40)):
            with self.subTest(chunks=chunks):
                job = self.plan_one(self.clip, chunks=chunks)
                self.assertEqual([chunk["frames"] for chunk in job["chunks"]], expected)
                self.check_cover(job, 0, FRAMES)

    def test_chunks_of_a_given_length(self):
        for frames, expected in ((1, [1] * 40), (15, [15, 15, 10]), (40, [40]), (10 ** 6, [40])):
            with self.subTest(frames=frames):
                job = self.plan("--chunk-frames", frames, self.clip, self.output)[0]
                self.assertEqual([chunk["frames"] for chunk in job["chunks"]], expected)
                self.check_cover(job, 0, FRAMES)

    def check_cover(self, job, first, frames):
        self.assertEqual((job["first"], job["frames"]), (first, frames))
        for place, chunk in enumerate(job["chunks"]):
            self.assertEqual((chunk["number"], chunk["first"]), (place + 1, first))
            self.assertEqual(chunk["part"], f"{job['folder']}/{place + 1:04}.mov")
            self.assertEqual(chunk["command"][-1], chunk["part"])
            first += chunk["frames"]
        self.assertEqual(first, job["first"] + job["frames"])

    def test_ranges_are_divided(self):
        self.check_cover(self.plan_one("--frames", "3-12", self.clip), 3, 10)
        self.check_cover(self.plan_one("--frames", "30-", self.clip), 30, 10)
        self.check_cover(self.plan_one("--frames", "7", self.clip), 7, 1)

    def test_a_film_of_one_frame_is_one_chunk(self):
        clip = movie(".mov", V210, seconds=0.04)
        self.check_cover(self.plan_one(clip, chunks=12), 0, 1)
        self.make(clip, chunks=12)
        self.assert_same_bytes(self.output.read_bytes(), self.single(clip).read_bytes())

    def test_the_same_input_has_the_same_plan(self):
        first = self.plan_one("--variant", "hq", self.clip)
        self.assertEqual(self.plan_one("--variant", "hq", self.clip), first)
        os.utime(self.clip, (1e9, 1e9))
        one = {min(os.sched_getaffinity(0))}
        elsewhere = self.plan("--variant", "hq", "--chunks", 3, self.clip, self.output,
                              preexec_fn=lambda: os.sched_setaffinity(0, one))[0]
        self.assertEqual(elsewhere, first)
        for options in (("--threads", 7), ("--cpu", "scalar"), ("--overwrite",), ("--progress",
                        "none"), ("--job-dir", self.path("other"))):
            with self.subTest(options=options):
                job = self.plan_one("--variant", "hq", *options, self.clip)
                self.assertEqual(job["job"], first["job"])

    def test_the_join_keeps_the_parts_if_the_plan_says_so(self):
        self.assertNotIn("--keep-parts", self.plan_one(self.clip)["join"])
        self.assertIn("--keep-parts", self.plan_one("--keep-parts", self.clip)["join"])

    def test_another_job_has_another_identity(self):
        longer = self.path("longer.mov")
        found = [self.plan_one(*options, self.clip)["job"] for options in (
            (), ("--variant", "hq"), ("--frames", "0-38"), ("--frames", "0-39"), ("--scale", "1/2"),
            ("--title", "A"), ("--title", "B"), ("--audio", "pcm16"))]
        found.append(self.plan_one(self.clip, chunks=4)["job"])
        shutil.copy(self.clip, longer)
        found.append(self.plan_one(longer)["job"])
        with open(longer, "ab") as file:
            file.write(b"\0\0\0\x10free" + bytes(8))
        found.append(self.plan_one(longer)["job"])
        self.assertEqual(len(set(found)), len(found))

    def test_commands_carry_what_was_given(self):
        job = self.plan("--chunks", 2, "--variant", "hq", "--title", "-A 'b'", "--threads", "3",
                        "--audio", "pcm16", "--overwrite", "--job-dir", self.parts, self.clip,
                        self.output)[0]
        for chunk in job["chunks"]:
            words = chunk["command"]
            self.assertEqual(words[:2], ["vixprores", "encode"])
            self.assertIn("--title=-A 'b'", words)
            self.assertIn("--no-audio", words)
            self.assertNotIn("--audio", words)
            self.assertEqual(words[words.index("--chunk") + 1],
                             f"{job['job']}:{chunk['number']}/2")
        self.assertEqual(job["join"][:2], ["vixprores", "join"])
        self.assertEqual(job["join"][-2:], [str(self.clip), str(self.output)])
        for word in ("--audio", "--overwrite", "--job-dir", "--threads"):
            self.assertIn(word, job["join"])

    def test_an_input_without_a_count_is_read(self):
        for suffix in (".mkv", ".ts"):
            clip = movie(suffix, H264)
            result = self.succeed("plan", "--chunks", 3, clip, self.output)
            self.assertIn("only reading shows how many frames there are; counting them", result.stderr)
            self.check_cover(self.plan_one(clip), 0, FRAMES)
            self.check_cover(self.plan_one("--frames", "10-", clip), 10, 30)

    def test_nothing_is_written(self):
        self.plan_one(self.clip)
        self.assertEqual(list(self.output.parent.iterdir()), [])


class Refused(JobTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        shutil.copy(movie(".mov", V210), self.clip)

    def refuse(self, code, words, *arguments, **options):
        self.fail_with(code, words, "plan", *arguments, **options)

    def test_layout(self):
        words = ["plan needs --chunks or --chunk-frames"]
        self.refuse(2, words, self.clip, self.output)
        self.refuse(2, words, "--chunks", 2, "--chunk-frames", 2, self.clip, self.output)
        for value in ("0", "-1", "x", "1.5", "1000001", "99999999999999999999"):
            self.refuse(2, ["--chunks: invalid number", value], f"--chunks={value}", self.clip,
                        self.output)
            self.refuse(2, ["--chunk-frames: invalid number"], "--chunk-frames=0", self.clip,
                        self.output)

    def test_pipes(self):
        self.refuse(2, ["a job needs an input with a name, not a pipe"], "--chunks", 2, "-",
                    self.output)
        self.refuse(2, ["a job needs an output with a name, not a pipe"], "--chunks", 2, self.clip,
                    "-")
        fifo = self.path("fifo.uyvy")
        os.mkfifo(fifo)
        with open(fifo, "r+b", buffering=0) as pipe:  # so that no reader waits for a writer
            self.refuse(1, ["is no file or image sequence"], "--chunks", 2, "--fourcc", "UYVY",
                        "--size", "128x96", "--rate", "25", f"/proc/{os.getpid()}/fd/{pipe.fileno()}",
                        self.output)

    def test_damage_that_needs_other_frames(self):
        for what in ("skip", "conceal"):
            self.refuse(2, ["--on-error skip and conceal", "encode such an input in one run"],
                        "--chunks", 2, "--on-error", what, self.clip, self.output)

    def test_ranges_beyond_the_end(self):
        self.refuse(1, [self.clip, "40"], "--chunks", 2, "--frames", "30-40", self.clip, self.output)
        for frames in ("40-", "50-60"):
            self.refuse(1, [self.clip], "--chunks", 2, "--frames", frames, self.clip, self.output)

    def test_a_chunk_finds_the_end_of_an_input_without_a_count(self):
        clip = movie(".mkv", H264)
        self.refuse(1, [clip], "--chunks", 2, "--frames", "40-", clip, self.output)
        job = self.plan_one("--frames", "30-40", clip, chunks=2)
        self.run_command(job["chunks"][0]["command"])
        self.parts.rename(self.path("parts"))
        result = run(*job["chunks"][1]["command"][1:])
        self.assertEqual(result.returncode, 1)
        self.assertIn(str(clip), result.stderr)

    def test_missing_and_broken_inputs(self):
        self.refuse(1, ["missing.mov"], "--chunks", 2, self.path("missing.mov"), self.output)
        self.path("broken.mov").write_bytes(b"broken")
        self.refuse(1, ["broken.mov"], "--chunks", 2, self.path("broken.mov"), self.output)

    def test_names_that_are_not_utf8(self):
        odd = os.fsencode(self.folder) + b"/\xff.mov"
        shutil.copy(self.clip, odd)
        self.refuse(1, ["a plan is JSON, which holds only names in UTF-8"], "--chunks", 2,
                    os.fsdecode(odd), self.output)

    def test_an_endless_number_of_chunks(self):
        job = self.plan_one(self.clip)
        for frames in ("0-99999999999", "0-9223372036854775000"):
            join = [f"{job['job']}:{frames}" if word.startswith(job["job"]) else word
                    for word in job["join"]]
            join[join.index("--chunks"):][:2] = []
            join = quoted(join).replace("--chunks 3", "--chunk-frames 1").split()
            self.fail_with(2, ["a job has at most 1000000"], *join[1:])

    def test_commands_that_no_plan_made(self):
        for words, message in (
                (("join", self.clip, self.output), "needs --chunks or --chunk-frames"),
                (("join", "--chunks", 2, self.clip, self.output), "join needs --job"),
                (("join", "--chunks", 2, "--job", "a", self.clip, self.output), "invalid job 'a'"),
                (("join", "--chunks", 2, "--job", "a:0-", self.clip, self.output), "invalid job"),
                (("join", "--chunks", 2, "--job", ":0-9", self.clip, self.output), "invalid job"),
                (("encode", "--chunk", "a:1/2", self.clip, self.output), "--chunk needs --frames"),
                (("encode", "--chunk", "a:3/2", self.clip, self.output), "--chunk"),
                (("encode", "--chunk", "a", self.clip, self.output), "--chunk"),
                (("encode", "--chunk", "a:1/2", "--frames", "0-", "--no-audio", self.clip,
                  self.output), "--chunk needs --frames"),
                (("encode", "--chunk", "a:1/2", "--frames", "0-3", self.clip, self.output),
                 "--chunk needs --frames")):
            with self.subTest(words=words):
                self.fail_with(2, [message], *words)


if __name__ == "__main__":
    unittest.main()

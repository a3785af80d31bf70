# SPDX-License-Identifier: BSD-2-Clause
"""Parts of a job: a join takes only whole ones of its own, and names the chunks to run again. A chunk
may be run again, killed, and run twice at a time."""
import json
import os
import resource
import shutil
import signal
import subprocess
import unittest

from jobs import V210, JobTest, movie
from tool import PROGRAM, TIMEOUT, ffmpeg, folder_events, run

CHUNKS = 4
PRELOADED = os.environ["VIXPRORES_KILL_AT_WRITE"]


def written(path):
    """Returns what tells a file from one that is written again; reading changes the other times."""
    state = path.stat()
    return state.st_ino, state.st_size, state.st_mtime_ns


class Parts(JobTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip with spaces.mov")
        shutil.copy(movie(".mov", V210, "-c:a pcm_s24le"), self.clip)
        self.single_bytes = self.single(self.clip).read_bytes()
        self.job = self.plan_one(self.clip, chunks=CHUNKS)

    def part(self, number):
        return self.parts / f"{number:04}.mov"

    def outcome(self, name):
        return json.loads((self.parts / f"{name}.json").read_text())

    def run_chunk(self, number, code=0, **options):
        result = run(*self.job["chunks"][number - 1]["command"][1:], **options)
        self.assertEqual(result.returncode, code, result.stderr)
        return result

    def status(self, job_folder=None):
        return json.loads(run("status", "--json", job_folder or self.write_plan()).stdout)[0]

    def write_plan(self):
        """Returns the folder of the job with its plan in it, as a submission leaves it."""
        self.parts.mkdir(exist_ok=True)
        (self.parts / "plan.json").write_text(json.dumps({"version": 1, "jobs": [self.job]}))
        return self.parts

    def assert_joined(self):
        self.run_command(self.job["join"])
        self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)


class Join(Parts):
    def setUp(self):
        super().setUp()
        self.encode(self.job)

    def assert_mended(self, chunks, *words):
        """Requires that a join fails with these words, and succeeds after the commands that it
        prints, which are those of `chunks`."""
        printed = self.join_fails(self.job, f"{len(chunks)} of {CHUNKS} chunks cannot be joined",
                                  *(f"chunk {number}: " for number in chunks), *words)
        self.assertEqual(len(printed), len(chunks))
        outcome = self.outcome("join")
        self.assertFalse(outcome["done"])
        self.assertIn("cannot be joined", outcome["message"])
        self.run_printed(printed)
        self.assert_joined()

    def damage(self, number, place=0.5):
        data = bytearray(self.part(number).read_bytes())
        data[int(len(data) * place)] ^= 1
        self.part(number).write_bytes(data)

    def test_missing_parts(self):
        self.part(2).unlink()
        self.part(4).unlink()
        self.assert_mended([2, 4], f"{self.part(2)} is missing", f"{self.part(4)} is missing")

    def test_all_parts_are_missing(self):
        shutil.rmtree(self.parts)
        result = run(*self.job["join"][1:])
        self.assertIn(f"{CHUNKS} of {CHUNKS} chunks cannot be joined", result.stderr)
        self.assertFalse(self.output.exists())

    def test_a_part_of_another_job(self):
        other = self.plan("--chunks", CHUNKS, "--variant", "hq", self.clip, self.output)[0]
        shutil.move(self.part(3), self.path("kept.mov"))
        self.run_command(other["chunks"][2]["command"])
        self.assert_mended([3], f"{self.part(3)} is a part of the job {other['job']}")

    def test_swapped_parts(self):
        os.rename(self.part(1), self.path("kept.mov"))
        os.rename(self.part(3), self.part(1))
        os.rename(self.path("kept.mov"), self.part(3))
        self.assert_mended([1, 3], "0001.mov holds chunk 3", "0003.mov holds chunk 1")

    def test_a_doubled_part(self):
        shutil.copy(self.part(1), self.part(2))
        self.assert_mended([2], "0002.mov holds chunk 1")

    def test_a_part_of_other_frames(self):
        words = list(self.job["chunks"][1]["command"][1:])
        words[words.index("--frames") + 1] = "10-18"
        self.part(2).unlink()
        self.succeed(*words)
        self.assert_mended([2], "has other frames than 10 frames from 10 on")

    def test_a_truncated_part(self):
        size = self.part(2).stat().st_size
        for length in (0, 20, size // 2, size - 40):
            with self.subTest(length=length):
                os.truncate(self.part(2), length)
                self.assert_mended([2], self.part(2))
                self.output.unlink()
                self.encode(self.job)

    def test_a_file_that_is_no_part(self):
        for name, data in (("text", b"text"), ("a movie", self.single_bytes),
                           ("another format", movie(".mkv", V210).read_bytes())):
            with self.subTest(name):
                self.part(3).write_bytes(data)
                self.assert_mended([3], self.part(3))
                self.output.unlink()
                self.encode(self.job)

    def test_damaged_frames_of_many_parts(self):
        for number in (1, 3, 4):
            self.damage(number)
        self.assert_mended([1, 3, 4], "frame ", "at byte")

    def test_damaged_parts_are_chunks_to_be_run_again(self):
        self.damage(2)
        self.join_fails(self.job, "chunk 2")
        state = self.status()
        self.assertEqual((state["chunks"]["done"], state["chunks"]["failed"]), (CHUNKS - 1, 1))
        self.assertEqual([failure["chunk"] for failure in state["failures"]], [2])
        self.run_chunk(2)
        self.assertEqual(self.status()["chunks"]["done"], CHUNKS)
        self.assert_joined()

    def test_a_change_of_the_input(self):
        os.utime(self.clip, (1e9, 1e9))
        self.assertEqual(self.status()["chunks"]["waiting"], CHUNKS)
        self.assert_mended(list(range(1, CHUNKS + 1)), f"was made before {self.clip} changed")

    def test_other_pictures_in_the_input(self):
        ffmpeg("-f", "lavfi", "-i", "mandelbrot=size=128x96:rate=25", "-i",
               movie(".mov", V210, "-c:a pcm_s24le"), "-map", "0:v", "-map", "1:a", "-frames:v", 40,
               *V210.split(), "-c:a", "copy", self.clip)
        self.single_bytes = self.single(self.clip).read_bytes()
        self.assert_mended(list(range(1, CHUNKS + 1)), f"was made before {self.clip} changed")

    def test_a_change_of_an_image(self):
        shutil.rmtree(self.output.parent)
        self.output.parent.mkdir()
        self.path("shot").mkdir()
        pattern = self.path("shot/a.%04d.dpx")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=96x64:rate=24", "-frames:v", 12, "-pix_fmt",
               "gbrp10be", "-start_number", 1001, pattern)
        self.job = self.plan_one("--rate", "24", pattern, chunks=CHUNKS)
        self.encode(self.job)
        shutil.copyfile(self.path("shot/a.1001.dpx"), self.path("shot/a.1006.dpx"))
        self.single_bytes = self.single("--rate", "24", pattern).read_bytes()
        self.assertEqual(self.status()["chunks"]["done"], CHUNKS - 1)
        self.assert_mended([2], f"was made before {pattern} changed")

    def test_an_existing_output(self):
        self.output.write_bytes(b"mine")
        result = run(*self.job["join"][1:])
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{self.output} exists; --overwrite replaces it", result.stderr)
        self.assertEqual(self.output.read_bytes(), b"mine")
        self.assertEqual(len(list(self.parts.glob("*.mov"))), CHUNKS)
        self.run_command(self.job["join"], "--overwrite")
        self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)

    def test_parts_are_kept_on_request(self):
        self.run_command(self.job["join"], "--keep-parts")
        self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)
        self.assertEqual(len(list(self.parts.glob("*.mov"))), CHUNKS)
        again = self.path("again.mov")
        self.succeed(*self.job["join"][1:-1], "--job-dir", self.parts, again)
        self.assertTrue(again.exists() or self.outcome("join")["done"])

    def test_outcomes_are_recorded(self):
        for number in range(1, CHUNKS + 1):
            outcome = self.outcome(f"{number:04}")
            self.assertEqual((outcome["done"], outcome["message"], outcome["frames"]), (True, "", 10))
            self.assertEqual((outcome["job"], outcome["output"]),
                             (self.job["job"], str(self.part(number))))
            self.assertEqual(outcome["outputBytes"], self.part(number).stat().st_size)
            self.assertEqual(outcome["host"], os.uname().nodename)
        self.run_command(self.job["join"])
        outcome = self.outcome("join")
        self.assertEqual((outcome["done"], outcome["frames"], outcome["output"]),
                         (True, 40, str(self.output)))
        self.assertEqual([path.name for path in self.parts.iterdir()], ["join.json"])

    def test_a_job_that_is_joined_stays_so(self):
        self.assert_joined()
        state = written(self.output)
        for command in (self.job["join"], *(chunk["command"] for chunk in self.job["chunks"])):
            self.run_command(command)
        self.assertEqual(written(self.output), state)
        self.assertEqual([path.name for path in self.parts.iterdir()], ["join.json"])
        self.assertTrue(self.status()["joined"])
        self.output.unlink()
        self.encode(self.job)
        self.assert_joined()

    def test_a_joined_job_starts_again_when_its_input_changes(self):
        self.assert_joined()
        os.utime(self.clip, (1e9, 1e9))
        self.encode(self.job)
        self.assertEqual(len(list(self.parts.glob("*.mov"))), CHUNKS)
        self.run_command(self.job["join"], "--overwrite")
        self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)

    def test_verification_is_that_of_the_chunks(self):
        self.job = self.plan_one("--verify", self.clip, chunks=CHUNKS)
        self.assertIn("--verify", self.job["chunks"][0]["command"])
        self.encode(self.job)
        self.assert_joined()


class Chunks(Parts):
    def kill(self, number, change):
        """Runs a chunk up to one of its changes of files; returns its exit code."""
        environment = {**os.environ, "LD_PRELOAD": PRELOADED, "KILL_AT_CHANGE": str(change)}
        return run(*self.job["chunks"][number - 1]["command"][1:], env=environment).returncode

    def test_a_chunk_that_is_done_is_not_encoded_again(self):
        self.run_chunk(2)
        state, outcome = written(self.part(2)), self.outcome("0002")
        self.assertIn("done already", self.run_chunk(2).stderr)
        self.assertEqual(written(self.part(2)), state)
        self.assertEqual(self.outcome("0002"), outcome)

    def test_a_damaged_one_is_encoded_again(self):
        self.run_chunk(2)
        whole = self.part(2).read_bytes()
        for place in (200, len(whole) // 2, len(whole) - 200):
            data = bytearray(whole)
            data[place:place + 8] = bytes(8)
            self.part(2).write_bytes(data)
            self.run_chunk(2)
            self.assert_same_bytes(self.part(2).read_bytes(), whole)

    def test_a_killed_chunk_starts_clean(self):
        for change in (1, 3, 10, 20):
            self.assertEqual(self.kill(2, change), 137)
            self.assertFalse(self.part(2).exists())
        self.assertGreater(len(list(self.parts.glob("0002.mov.part-*"))), 0)
        self.assertEqual(self.status()["chunks"]["interrupted"], 1)
        self.run_chunk(2)
        # A file without a byte may be one that another run is about to write.
        self.assertEqual([path for path in self.parts.glob("0002.mov.*") if path.stat().st_size], [])
        self.encode(self.job)
        self.assert_joined()
        left = [path.name for path in self.parts.iterdir() if path.stat().st_size]
        self.assertEqual(sorted(left), ["join.json", "plan.json"])

    def test_the_failure_of_a_join_is_shown_until_a_chunk_ends(self):
        self.encode(self.job)
        self.part(2).unlink()
        self.assertEqual(run(*self.job["join"][1:]).returncode, 1)
        self.assertIn("joinFailure", self.status())
        self.run_chunk(2)
        self.assertNotIn("joinFailure", self.status())

    def test_an_interrupted_chunk_leaves_no_partial_file(self):
        environment = {**os.environ, "LD_PRELOAD": PRELOADED, "KILL_AT_CHANGE": "12",
                       "SIGNAL_AT_CHANGE": str(int(signal.SIGTERM))}
        result = run(*self.job["chunks"][1]["command"][1:], env=environment)
        self.assertEqual(result.returncode, -signal.SIGTERM)
        # A chunk that was about to end may be whole.
        whole = {self.part(2)} if self.status()["chunks"]["done"] else set()
        self.assertEqual(set(self.parts.glob("*.mov*")), whole)
        self.assertEqual(self.outcome("0002")["done"], bool(whole))
        self.run_chunk(2)

    def test_two_copies_of_a_chunk(self):
        self.run_chunk(2)
        whole = self.part(2).read_bytes()
        for _ in range(5):
            self.part(2).unlink()
            command = [PROGRAM, *self.job["chunks"][1]["command"][1:]]
            copies = [subprocess.Popen(command, stderr=subprocess.PIPE) for _ in range(3)]
            for copy in copies:
                errors = copy.communicate(timeout=TIMEOUT)[1]
                self.assertEqual(copy.returncode, 0, errors)
            self.assert_same_bytes(self.part(2).read_bytes(), whole)
            self.assertEqual(list(self.parts.glob("*.part-*")), [])

    def test_a_copy_that_ends_after_the_join_leaves_nothing(self):
        for options, left in (((), ["join.json"]),
                              (("--keep-parts",), ["0001.mov", "0002.mov", "0003.mov", "0004.mov"])):
            with self.subTest(options=options):
                go = self.path(f"go{len(options)}")
                environment = {**os.environ, "LD_PRELOAD": PRELOADED, "KILL_AT_CHANGE": "12",
                               "WAIT_FOR": str(go)}
                command = [PROGRAM, *self.job["chunks"][1]["command"][1:]]
                with folder_events(self.folder) as wait:
                    late = subprocess.Popen(command, env=environment, stderr=subprocess.PIPE)
                    while not self.path(go.name + ".pid").exists():
                        self.assertTrue(wait())
                self.encode(self.job)
                self.run_command(self.job["join"], *options)
                go.touch()
                errors = late.communicate(timeout=TIMEOUT)[1]
                self.assertEqual(late.returncode, 0, errors)
                kept = [path.name for path in self.parts.iterdir()
                        if path.suffix == ".mov" or path.name == "join.json"]
                self.assertEqual(sorted(kept), sorted({*left, "join.json"}))
                self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)
                self.output.unlink()
                shutil.rmtree(self.parts)

    def test_two_joins(self):
        self.encode(self.job)
        command = [PROGRAM, *self.job["join"][1:]]
        copies = [subprocess.Popen(command, stderr=subprocess.PIPE) for _ in range(3)]
        results = [(copy.communicate(timeout=TIMEOUT)[1], copy.returncode) for copy in copies]
        self.assertIn(0, [code for _, code in results], results)
        self.assert_same_bytes(self.output.read_bytes(), self.single_bytes)
        self.run_command(self.job["join"])

    def test_a_full_disk_leaves_no_part_and_a_reason(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (30_000, 30_000))
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)

        self.assertIn("File too large", self.run_chunk(2, code=1, preexec_fn=limit).stderr)
        self.assertEqual(list(self.parts.glob("*.mov*")), [])
        outcome = self.outcome("0002")
        self.assertFalse(outcome["done"])
        self.assertIn("File too large", outcome["message"])
        self.assertEqual(self.status()["failures"][0]["chunk"], 2)
        self.encode(self.job)
        self.assertEqual(self.status()["failures"], [])
        self.assert_joined()

    def test_a_failed_copy_does_not_undo_a_part(self):
        self.run_chunk(2)
        kept = self.path("kept.mov")
        os.rename(self.part(2), kept)
        outcome = {**self.outcome("0002"), "done": False, "message": "no space left"}
        (self.parts / "0002.json").write_text(json.dumps(outcome))
        os.rename(kept, self.part(2))
        self.assertEqual(self.status()["chunks"]["failed"], 1)
        self.run_chunk(2)
        self.assertEqual(self.status()["chunks"]["failed"], 0)
        self.assertEqual(self.status()["chunks"]["done"], 1)

    def test_a_damaged_input_fails_with_its_reason(self):
        data = bytearray(self.clip.read_bytes())
        del data[len(data) // 2:]
        self.clip.write_bytes(data)
        result = run(*self.job["chunks"][3]["command"][1:])
        self.assertEqual(result.returncode, 1)
        self.assertFalse(self.outcome("0004")["done"])
        self.assertIn(self.outcome("0004")["message"].splitlines()[0], result.stderr)


if __name__ == "__main__":
    unittest.main()

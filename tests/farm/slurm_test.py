# SPDX-License-Identifier: BSD-2-Clause
"""Jobs on a real Slurm of two nodes. Whatever happens to a task, the job ends in the file of one run,
or in an error that names the chunk, and submitting it again finishes it."""
import json
import os
import re
import shutil
import signal
import subprocess
import unittest

import cluster
from jobs import H264, JobTest, movie
from tool import run

CHUNKS = 6
WAITING = 3  # chunk that waits in the middle
CHANGE = 12  # of its files, at which it does
PCM = "-c:a pcm_s24le"
PRELOADED = os.environ["VIXPRORES_KILL_AT_WRITE"]


def clip(seconds):
    return movie(".mov", f"{H264} -timecode 00:00:50;00", PCM, rate="30000/1001", seconds=seconds)


class FarmTest(JobTest):
    max_array_size = 1001

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        reason = cluster.why_not()
        if reason:
            raise unittest.SkipTest(reason)
        cls.slurm = cluster.Cluster(cls.max_array_size)
        cls.addClassCleanup(cls.slurm.stop)
        cls.slurm.start()

    def setUp(self):
        super().setUp()
        folder = self.path("a 'job' & more")
        folder.mkdir()
        self.input, self.output = folder / "in put.mov", folder / "out put.mov"
        self.parts = folder / "out put.mov.job"
        shutil.copy(clip(2), self.input)
        self.addCleanup(self.empty_queue)

    def empty_queue(self):
        self.slurm.run("scancel", "--user=root", check=False)
        self.slurm.wait_for_end()

    def submit(self, *options, chunks=CHUNKS, code=0, **variables):
        """Submits self.input; returns the numbers of the array ("" = none) and the join."""
        result = run("submit", "--slurm", "--chunks", chunks, *options, self.input, self.output,
                     env={**self.slurm.environment, **variables})
        self.assertEqual(result.returncode, code, result.stderr)
        self.answer = result.stdout + result.stderr
        found = re.search(r"(?:array (\d+) .*|all chunks are done), job (\d+) joins", result.stdout)
        return (found.group(1) or "", found.group(2)) if found else ("", "")

    def submit_waiting(self):
        """Submits a job of which one chunk waits in the middle, and waits until all others are done.
        Returns the number of the task and its process."""
        job = self.plan_one(self.input, chunks=CHUNKS)
        array, _ = self.submit(LD_PRELOAD=PRELOADED, WAIT_FOR=str(self.path("go")),
                               KILL_AT_CHANGE=str(CHANGE),
                               KILL_COMMAND=f"{job['job']}:{WAITING}/{CHUNKS}")
        process = int(cluster.wait_until(lambda: self.read("go.pid").strip(), "a waiting chunk"))
        cluster.wait_until(lambda: self.status()["chunks"]["done"] == CHUNKS - 1, "the other chunks")
        return f"{array}_{WAITING}", process

    def read(self, name):
        path = self.path(name)
        return path.read_text() if path.exists() else ""

    def let_go(self):
        self.path("go").touch()

    @staticmethod
    def wait_for_death(process):
        cluster.wait_until(lambda: not os.path.exists(f"/proc/{process}"), "the death of a chunk")

    def status(self, code=None):
        result = run("status", "--json", self.parts, cwd="/")
        if code is not None:
            self.assertEqual(result.returncode, code, result.stdout)
        return json.loads(result.stdout)[0]

    def assert_chunks(self, code, **counts):
        state = self.status(code)
        found = {word: count for word, count in state["chunks"].items() if count and word != "all"}
        self.assertEqual(found, counts)
        return state

    def assert_finished(self):
        """Waits for the end of all tasks, and compares the output with that of one run."""
        self.slurm.wait_for_end()
        self.assertTrue(self.output.exists(), self.logs())
        single = self.single(self.input).read_bytes()
        self.assert_same_bytes(self.output.read_bytes(), single)
        self.assertTrue(self.status(0)["joined"])
        self.assertEqual(list(self.parts.glob("*.mov*")), [])

    def assert_unfinished(self, *words):
        """Waits for the end of all tasks, which must leave no output and an error."""
        self.slurm.wait_for_end()
        self.assertFalse(self.output.exists())
        shown = run("status", self.parts)
        self.assertEqual(shown.returncode, 1, shown.stdout)
        for word in words:
            self.assertIn(word, shown.stdout)

    def logs(self):
        return "\n".join(path.read_text() for path in (self.parts / "logs").iterdir())


class Jobs(FarmTest):
    def test_600_frames_with_sound_and_timecode(self):
        shutil.copy(clip(600 * 1001 / 30000), self.input)
        for node in cluster.NODES:
            self.slurm.run("scontrol", "update", f"nodename={node}", "state=drain", "reason=test")
        array, join = self.submit(chunks=12)
        self.assertIn("encodes 12 chunks in 12 tasks", self.answer)
        state = self.assert_chunks(0, waiting=12)
        self.assertEqual((state["frames"], state["framesDone"]), (600, 0))
        self.assertEqual(self.slurm.show(join)["Dependency"].split("(")[0], f"afterok:{array}_*")
        for node in cluster.NODES:
            self.slurm.run("scontrol", "update", f"nodename={node}", "state=resume")
        self.assert_finished()
        state = self.assert_chunks(0, done=12)
        self.assertEqual((state["framesDone"], state["joined"]), (600, True))
        self.submit(chunks=12)
        self.assertIn("joined already; there is nothing to submit", self.answer)
        self.assertEqual(self.slurm.jobs(), {})

    def test_a_killed_chunk(self):
        _, process = self.submit_waiting()
        state = self.assert_chunks(0, done=CHUNKS - 1, running=1)
        self.assertGreater(state["framesDone"], 50)
        self.assertLess(state["framesDone"], 60)
        os.kill(process, signal.SIGKILL)
        self.assert_unfinished(f"chunk {WAITING} (frames 20-29) was interrupted")
        self.assert_chunks(1, done=CHUNKS - 1, interrupted=1)
        self.submit()
        self.assertIn("encodes 1 chunk in 1 task", self.answer)
        self.assert_finished()

    def test_a_cancelled_chunk(self):
        task, _ = self.submit_waiting()
        self.slurm.run("scancel", task)
        self.assert_unfinished(f"chunk {WAITING} (frames 20-29) was interrupted")
        self.submit()
        self.assertIn("encodes 1 chunk in 1 task", self.answer)
        self.assert_finished()

    def test_a_requeued_chunk(self):
        task, process = self.submit_waiting()
        self.slurm.run("scontrol", "requeue", task)
        self.wait_for_death(process)
        self.let_go()
        self.assert_finished()

    def test_a_node_that_goes_down(self):
        task, process = self.submit_waiting()
        node = self.slurm.show(task)["NodeList"]
        self.assertIn(node, cluster.NODES)
        # It comes back when it answers again (ReturnToService).
        self.slurm.run("scontrol", "update", f"nodename={node}", "state=down", "reason=test")
        self.wait_for_death(process)
        self.let_go()
        self.assert_finished()
        self.assertEqual(self.slurm.show(task)["Restarts"], "1")

    def test_a_submission_while_chunks_run(self):
        self.submit_waiting()
        self.submit()
        self.assertIn("encodes 1 chunk in 1 task", self.answer)
        cluster.wait_until(self.output.exists, "the output of the second submission")
        self.let_go()
        self.assert_finished()

    def test_a_full_disk(self):
        disk = self.path("disk")
        disk.mkdir()
        size = self.single(self.input).stat().st_size
        mount = ["mount", "-t", "tmpfs", "-o", f"size={size * 2 // 5}", "none", disk]
        if subprocess.run(mount, capture_output=True, check=False).returncode != 0:
            self.skipTest("cannot mount a small file system")
        self.addCleanup(subprocess.run, ["umount", "--lazy", disk], check=True)
        self.parts = disk / "job"
        self.submit("--job-dir", self.parts)
        self.assert_unfinished("failed on", "No space left on device")
        state = self.status(1)
        # The reason why a chunk failed may find no room either.
        self.assertGreater(state["chunks"]["failed"], 0)
        done = state["chunks"]["done"]
        self.assertGreater(done, 0)
        subprocess.run(["mount", "-o", "remount,size=64m", disk], check=True)
        self.submit("--job-dir", self.parts)
        self.assertIn(f"encodes {CHUNKS - done} chunk", self.answer)
        self.assert_finished()

    def test_a_damaged_part(self):
        self.submit_waiting()
        part = self.parts / "0005.mov"
        data = bytearray(part.read_bytes())
        data[len(data) // 2] ^= 1
        part.write_bytes(data)
        self.let_go()
        self.assert_unfinished("chunk 5 (frames 40-49) failed on", "the last join failed")
        self.submit()
        self.assertIn("encodes 1 chunk in 1 task", self.answer)
        self.assert_finished()

    def test_a_join_alone_is_submitted_when_all_chunks_are_done(self):
        self.encode(self.plan_one(self.input, chunks=CHUNKS))
        array, _ = self.submit()
        self.assertEqual(array, "")
        self.assertIn("all chunks are done", self.answer)
        self.assert_finished()

    def test_several_inputs(self):
        inputs = [self.path(f"{number}.mov") for number in range(3)]
        for path in inputs:
            shutil.copy(clip(1), path)
        result = run("submit", "--slurm", "--chunks", 2, "--output-dir", self.path("out"), *inputs,
                     env=self.slurm.environment)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assertEqual(len(result.stdout.splitlines()), 3)
        self.slurm.wait_for_end()
        single = self.single(inputs[0]).read_bytes()
        for path in inputs:
            self.assert_same_bytes((self.path("out") / path.name).read_bytes(), single)

    def test_relative_names_mean_the_same_everywhere(self):
        folder = self.output.parent
        result = run("submit", "--slurm", "--chunks", 2, self.input.name, self.output.name, cwd=folder,
                     env=self.slurm.environment)
        self.assertEqual(result.returncode, 0, result.stderr)
        self.assert_finished()
        self.submit(chunks=2)
        self.assertIn("joined already", self.answer)
        result = run("submit", "--slurm", "--chunks", 2, f"./{self.input.name}",
                     f"./{self.output.name}", cwd=folder, env=self.slurm.environment)
        self.assertIn("joined already", result.stderr)

    def test_another_job_in_the_folder_is_noted(self):
        self.submit()
        self.assertNotIn("holds an unfinished job", self.answer)
        self.empty_queue()
        self.submit("--variant", "lt")
        self.assertIn("holds an unfinished job of other options", self.answer)


class Options(FarmTest):
    def test_a_dry_run_submits_nothing(self):
        self.submit("--dry-run", "--partition", "second", "--time", "5", "--max-parallel", "2")
        self.assertEqual(self.slurm.jobs(), {})
        self.assertFalse(self.parts.exists())
        for words in ("#!/bin/bash", "--array=1-6%2", "--partition=second", "--time=5",
                      "--kill-on-invalid-dep=yes", "--dependency=afterok:ARRAY", "--requeue"):
            self.assertIn(words, self.answer)

    def test_what_slurm_is_asked_for(self):
        self.slurm.run("scontrol", "update", "nodename=n2", "state=drain", "reason=test")
        try:
            array, join = self.submit("--partition", "second", "--time", "7", "--cpus", "1",
                                      "--max-parallel", "1", chunks=2)
            task = self.slurm.show(array)
            for name, value in (("Partition", "second"), ("TimeLimit", "00:07:00"), ("NumCPUs", "1"),
                                ("ArrayTaskThrottle", "1"), ("Requeue", "1")):
                self.assertEqual(task[name], value, name)
            self.assertEqual(self.slurm.show(join)["Partition"], "second")
        finally:
            self.slurm.run("scontrol", "update", "nodename=n2", "state=resume")
        self.assert_finished()

    def test_faults_of_a_submission(self):
        result = run("submit", "--slurm", "--chunks", 2, "--partition", "nosuch", self.input,
                     self.output, env=self.slurm.environment)
        self.assertEqual(result.returncode, 1)
        self.assertIn("sbatch: failed", result.stderr)
        self.assertIn("invalid partition", result.stderr)
        configuration = self.path("broken.conf")
        configuration.write_text("nonsense\n")
        broken = {**self.slurm.environment, "SLURM_CONF": str(configuration)}
        result = run("submit", "--slurm", "--chunks", 2, self.input, self.output, env=broken)
        self.assertEqual(result.returncode, 1)
        self.assertIn("scontrol: failed", result.stderr)
        self.output.write_bytes(b"mine")
        self.submit(code=1)
        self.assertIn("exists already; --overwrite replaces it", self.answer)
        self.assertEqual(self.output.read_bytes(), b"mine")


class SmallArrays(FarmTest):
    max_array_size = 4

    def test_a_task_does_several_chunks(self):
        self.submit(chunks=7)
        self.assertIn("encodes 7 chunks in 3 tasks", self.answer)
        self.assert_finished()

    def test_a_failed_chunk_does_not_stop_the_others_of_its_task(self):
        job = self.plan_one(self.input, chunks=CHUNKS)
        self.submit(LD_PRELOAD=PRELOADED, KILL_AT_CHANGE=str(CHANGE),
                    KILL_COMMAND=f"{job['job']}:{WAITING}/{CHUNKS}")
        self.assertIn("encodes 6 chunks in 3 tasks", self.answer)
        self.assert_unfinished(f"chunk {WAITING} (frames 20-29) was interrupted")
        self.assert_chunks(1, done=CHUNKS - 1, interrupted=1)
        self.submit()
        self.assert_finished()


if __name__ == "__main__":
    unittest.main()

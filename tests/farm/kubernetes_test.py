# SPDX-License-Identifier: BSD-2-Clause
"""The Kubernetes example: its containers' commands, run on this machine with the variables of an
indexed Job, make the file of one run."""
import os
import pathlib
import subprocess

import yaml

from jobs import H264, JobTest, movie
from tool import PROGRAM, TIMEOUT

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples/farm"
CHUNKS = 12


def read_job(name):
    return yaml.safe_load((EXAMPLES / f"kubernetes-{name}.yaml").read_text())


class Kubernetes(JobTest):
    def run_container(self, job, **variables):
        """Runs the container of a job as a pod would."""
        pod = job["spec"]["template"]["spec"]
        container, = pod["containers"]
        mount, = container["volumeMounts"]
        volume, = pod["volumes"]
        self.assertEqual(mount["name"], volume["name"])
        self.assertEqual(container["workingDir"], mount["mountPath"])
        path = f"{pathlib.Path(PROGRAM).parent}:{os.environ['PATH']}"
        result = subprocess.run(
            [*container["command"], *container["args"]], cwd=self.folder, capture_output=True,
            text=True, timeout=TIMEOUT, check=False,
            env={**os.environ, "PATH": path, **variables})  # fmt: skip
        self.assertEqual(result.returncode, 0, result.stderr)

    def test_the_jobs_make_the_file_of_one_run(self):
        clip = movie(".mov", H264, "-c:a aac")
        plan = subprocess.run([PROGRAM, "plan", "--chunks", str(CHUNKS), clip, self.output],
                              capture_output=True, text=True, timeout=TIMEOUT, check=True)
        self.path("plan.json").write_text(plan.stdout)
        encode = read_job("encode")
        self.assertEqual((encode["kind"], encode["spec"]["completionMode"]), ("Job", "Indexed"))
        self.assertEqual(encode["spec"]["completions"], CHUNKS)
        for index in range(CHUNKS):
            self.run_container(encode, JOB_COMPLETION_INDEX=str(index))
        self.run_container(read_job("join"))
        self.assert_same_bytes(self.output.read_bytes(), self.single(clip).read_bytes())

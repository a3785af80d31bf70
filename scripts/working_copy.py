# SPDX-License-Identifier: BSD-2-Clause
"""A copy of the tree in which scripts change sources and build them."""

import pathlib
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[1]


class Problem(Exception):
    """Something that cannot be changed or built."""


class WorkingCopy:
    """A copy of the tree in build/NAME, with builds of its own, which are kept."""

    def __init__(self, name):
        self.root = ROOT / "build" / name

    def update(self):
        """Brings the copy up to date. Files that did not change keep their time."""
        top = [path for path in ROOT.iterdir() if path.name not in (".git", "build", "demo")]
        files = [file for path in top for file in (path.rglob("*") if path.is_dir() else [path])]
        for source in filter(pathlib.Path.is_file, files):
            target = self.root / source.relative_to(ROOT)
            if not target.is_file() or source.read_bytes() != target.read_bytes():
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)

    def write(self, file, text):
        (self.root / file).write_text(text, encoding="utf-8")

    def restore(self, file):
        shutil.copy(ROOT / file, self.root / file)

    def run(self, command, what):
        done = subprocess.run(command, cwd=self.root, check=False, text=True, errors="replace",
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)  # fmt: skip
        if done.returncode != 0:
            raise Problem(f"{what} failed:\n{done.stdout}")

    def build(self, preset, target):
        self.run(["cmake", "--build", f"build/{preset}", "--target", target], f"the build of {target}")

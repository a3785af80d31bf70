# SPDX-License-Identifier: BSD-2-Clause
"""Run paths of the binaries of a build and of its installation.

An empty or relative element is the current folder of whoever starts the program: a library that
somebody left there would be loaded. The environment names the build (VIX_BUILD), CMAKE and READELF."""
import os
import pathlib
import re
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["VIX_BUILD"])


def unsafe_run_paths(dynamic_section):
    """Returns the run paths in the output of `readelf -d` that have an unsafe element."""
    paths = re.findall(r"\(R(?:UN)?PATH\) .*\[(.*)\]$", dynamic_section, re.MULTILINE)
    return [path for path in paths
            if not all(re.match(r"/|\$ORIGIN(/|$)", element) for element in path.split(":"))]


def binaries(*folders):
    """Yields the ELF files below the folders."""
    for folder in folders:
        for path in folder.rglob("*"):
            if path.is_file() and not path.is_symlink():
                with path.open("rb") as file:
                    if file.read(4) == b"\x7fELF":
                        yield path


class RunPaths(unittest.TestCase):
    def check(self, *folders):
        checked = 0
        for path in binaries(*folders):
            section = subprocess.run([os.environ["READELF"], "-dW", path], check=True,
                                     capture_output=True, text=True).stdout
            self.assertEqual(unsafe_run_paths(section), [], path)
            checked += 1
        self.assertGreater(checked, 3)

    def test_unsafe_elements_are_found(self):
        line = " 0x000000000000001d (RUNPATH)            Library runpath: [{}]\n"
        for path in ("", ":::", "/usr/lib:", ":/usr/lib", "lib", "/usr/lib:../lib", "$ORIGINAL/lib"):
            self.assertEqual(unsafe_run_paths(line.format(path)), [path])
        for path in ("/usr/lib", "$ORIGIN", "$ORIGIN/../lib:/usr/lib"):
            self.assertEqual(unsafe_run_paths(line.format(path)), [])

    def test_the_build_tree_has_only_absolute_elements(self):
        self.check(BUILD / "bin", BUILD / "lib")

    def test_the_installation_has_only_absolute_elements(self):
        with tempfile.TemporaryDirectory() as prefix:
            subprocess.run([os.environ["CMAKE"], "--install", BUILD, "--prefix", prefix], check=True,
                           stdout=subprocess.DEVNULL)
            self.check(pathlib.Path(prefix))


if __name__ == "__main__":
    unittest.main()

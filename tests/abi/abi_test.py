# SPDX-License-Identifier: BSD-2-Clause
"""Binary compatibility with version 1.0, and the lists of exported symbols.

The environment names the build (VIX_BUILD), its COMPILER, NM, and the programs of CMakeLists.txt."""
import importlib.machinery
import importlib.util
import os
import pathlib
import re
import subprocess
import unittest

BUILD = pathlib.Path(os.environ["VIX_BUILD"])
SYMBOLS = pathlib.Path(__file__).resolve().parents[2] / "scripts/symbols"
CODEC_PLUGIN = BUILD / "lib/libvixVideoCodecProRes.so"


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def load_symbols_script():
    loader = importlib.machinery.SourceFileLoader("symbols", str(SYMBOLS))
    module = importlib.util.module_from_spec(importlib.util.spec_from_loader("symbols", loader))
    loader.exec_module(module)
    return module


class Release_1_0(unittest.TestCase):
    def test_its_host_codes_pictures(self):
        output = run(os.environ["HOST"], CODEC_PLUGIN)
        qualities = [float(value) for value in re.findall(r"luma PSNR ([\d.]+) dB\n", output)]
        self.assertEqual(len(qualities), 5)
        self.assertGreater(min(qualities), 40)
        self.assertRegex(output, r"\n[1-9]\d* blocks of memory came from this program")

    def test_its_plugin_processes_pictures(self):
        output = run(os.environ["HOST"], CODEC_PLUGIN, os.environ["PLUGIN"])
        means = re.findall(r"mean luma ([\d.]+), after the gain ([\d.]+)\n", output)
        self.assertEqual(len(means), 5)
        for before, after in means:
            self.assertAlmostEqual(float(after), 16 + (float(before) - 16) / 2, delta=1)

    def test_its_codec_program_codes_a_frame(self):
        self.assertRegex(run(os.environ["CODEC_PROGRAM"]), r"^\d+ bytes\n$")

    def test_its_programs_require_no_versions_of_our_symbols(self):
        for program in ("HOST", "PLUGIN", "CODEC_PROGRAM"):
            symbols = run(os.environ["NM"], "-D", "--undefined-only", os.environ[program])
            self.assertRegex(symbols, r" U (_ZN3vix|WPR)")
            self.assertNotRegex(symbols, "@(VIXCORE|PRORES)_")

    def test_its_types_have_the_same_layout(self):
        before, now = run(os.environ["LAYOUT_1_0"]), run(os.environ["LAYOUT"])
        self.assertIn("size of vix::ElementDriver 8\n", before)
        self.assertEqual(now, before)


class Lists(unittest.TestCase):
    @unittest.skipUnless(os.environ["COMPILER"] == "GNU", "the lists are those of g++")
    def test_they_name_the_symbols_of_the_libraries(self):
        result = subprocess.run([SYMBOLS, "--check", "--build", BUILD], capture_output=True,
                                text=True)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    def differences(self, now, before):
        return list(load_symbols_script().differences(now, before, "1.1"))

    def test_equal_lists_have_no_differences(self):
        self.assertEqual(self.differences({"a": "1.0", "b": "1.1"}, {"a": "1.0", "b": "1.1"}), [])

    def test_a_new_symbol_is_added(self):
        self.assertEqual(self.differences({"a": "1.1"}, {}), [("a", "is not in the list", True)])

    def test_an_unreleased_symbol_may_go(self):
        self.assertEqual(self.differences({}, {"a": "1.1"}),
                         [("a", "is in the list and not exported", True)])

    def test_a_released_symbol_must_stay_with_its_version(self):
        (_, problem, updatable), = self.differences({}, {"a": "1.0"})
        self.assertIn("programs that use version 1.0 need it", problem)
        self.assertFalse(updatable)
        (_, problem, updatable), = self.differences({"a": "1.1"}, {"a": "1.0"})
        self.assertIn("has version 1.1, and 1.0 in the list", problem)
        self.assertFalse(updatable)


if __name__ == "__main__":
    unittest.main()

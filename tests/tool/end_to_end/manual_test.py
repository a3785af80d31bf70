# SPDX-License-Identifier: BSD-2-Clause
"""The manual pages that the program writes."""
import os
import re
import subprocess

from tool import TIMEOUT, ToolTest, run


def commands():
    """Returns the commands that the help lists."""
    return re.findall(r"(?m)^  ([a-z]+)  ", run("help").stdout.split("Examples:")[0])


class Manual(ToolTest):
    def setUp(self):
        super().setUp()
        self.succeed("manual", "--pages", self.folder)

    def page(self, name):
        """Returns a page as man shows it."""
        return subprocess.run(
            ["man", "--warnings", "-l", self.path(name + ".1")], check=True, capture_output=True,
            text=True, timeout=TIMEOUT,
            env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "100", "MANPAGER": "cat"}).stdout

    def test_there_is_a_page_for_the_program_and_one_for_each_command(self):
        wanted = {"vixprores.1"} | {f"vixprores-{name}.1" for name in commands()}
        self.assertEqual({path.name for path in self.folder.iterdir()}, wanted)
        self.assertGreaterEqual(len(wanted), 7)

    def test_pages_have_no_warnings(self):
        for page in sorted(self.folder.iterdir()):
            for formatter in (["man", "--warnings", "-E", "UTF-8", "-l", "-Tutf8", "-Z", page],
                              ["groff", "-man", "-ww", "-Tutf8", "-z", page]):
                with self.subTest(page=page.name, formatter=formatter[0]):
                    result = subprocess.run(
                        formatter, capture_output=True, text=True, timeout=TIMEOUT,
                        env={**os.environ, "LC_ALL": "C.UTF-8", "MANROFFSEQ": "", "MANWIDTH": "80"})
                    self.assertEqual((result.returncode, result.stderr), (0, ""))

    def test_pages_hold_plain_characters_that_every_formatter_reads(self):
        for page in self.folder.iterdir():
            with self.subTest(page=page.name):
                self.assertTrue(page.read_bytes().isascii())

    def test_pages_contain_all_text_of_the_help(self):
        for name in commands():
            page = self.page(f"vixprores-{name}")
            words = re.sub(r"\s+", " ", page)
            options = re.findall(r"(?m)^  (--[a-z-]+)", self.succeed("help", name).stdout)
            for option in options:
                with self.subTest(command=name, option=option):
                    self.assertRegex(page, rf"(?m)^ +{option}\b")
            for part in ("NAME", "SYNOPSIS", "DESCRIPTION", "EXIT STATUS", "vixprores(1)"):
                with self.subTest(command=name, part=part):
                    self.assertIn(part, words)
            for variable in ("ENVIRONMENT", "VIX_PRORES_CPU", "VIX_PRORES_THREADS"):
                with self.subTest(command=name, variable=variable):
                    self.assertEqual(variable in words, "--cpu" in options)

    def test_descriptions_say_more_than_the_summary(self):
        for name in commands():
            with self.subTest(command=name):
                page = re.sub(r"\s+", " ", self.page(f"vixprores-{name}"))
                summary = re.search(rf"NAME vixprores-{name} - (.*?) SYNOPSIS", page).group(1)
                self.assertNotIn(f"DESCRIPTION {summary}.", page)

    def test_examples_are_printed_as_they_are_typed(self):
        page = self.page("vixprores-encode")
        self.assertIn("vixprores encode --variant hq camera.mp4 output.mov\n", page)
        self.assertIn("vixprores encode --rate 24 --timecode frame 'plates/shot.####.dpx' shot.mov\n",
                      page)

    def test_prints_one_page(self):
        self.assertEqual(self.succeed("manual").stdout, self.path("vixprores.1").read_text())
        self.assertEqual(self.succeed("manual", "encode").stdout,
                         self.path("vixprores-encode.1").read_text())

    def test_rejects_unknown_commands(self):
        self.fail_with(2, ["encod", "did you mean 'encode'"], "manual", "encod")
        self.fail_with(2, ["unexpected argument"], "manual", "encode", "decode")
        missing = self.path("missing")
        self.fail_with(1, [missing / "vixprores.1"], "manual", "--pages", missing)

# SPDX-License-Identifier: BSD-2-Clause
"""Shells complete command lines with the scripts that the program prints.

bash and zsh run on a terminal of their own, where the tab key is pressed. The line is then entered,
and what stands for the program tells how it was called."""
import os
import pty
import select
import subprocess
import time

from tool import TIMEOUT, ToolTest

STAND_IN = """#!/bin/sh
for word; do printf '<%s>' "$word"; done >"$CALLED.part"
mv "$CALLED.part" "$CALLED"
"""


class Terminal:
    """A shell on a terminal. Its output is read continuously so that it never blocks, and kept for
    failures."""

    def __init__(self, command, environment, folder):
        self.primary, secondary = pty.openpty()
        self.process = subprocess.Popen(command, stdin=secondary, stdout=secondary,
                                        stderr=secondary, env=environment, cwd=folder,
                                        start_new_session=True)
        os.close(secondary)
        self.shown = b""

    def read_until(self, done):
        end = time.monotonic() + TIMEOUT
        while not done():
            if select.select([self.primary], [], [], 0.02)[0]:
                self.shown += os.read(self.primary, 4096)
            if time.monotonic() > end:
                raise AssertionError(f"the shell does not answer: {self.shown!r}")

    def type(self, text):
        os.write(self.primary, text.encode())

    def close(self):
        self.process.kill()
        self.process.wait()
        os.close(self.primary)


class ShellTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.home = self.path("home")
        self.work = self.path("work")
        (self.home / "bin").mkdir(parents=True)
        self.work.mkdir()
        (self.work / "my clip.mov").touch()
        (self.work / "folder").mkdir()
        stand_in = self.home / "bin/vixprores"
        stand_in.write_text(STAND_IN)
        stand_in.chmod(0o755)
        self.called = self.path("called")
        self.environment = {"PATH": f"{self.home}/bin:/usr/bin:/bin", "HOME": str(self.home),
                            "TERM": "dumb", "LC_ALL": "C.UTF-8", "CALLED": str(self.called)}

    def script(self, shell):
        path = self.home / f"_{shell}"
        path.write_text(self.succeed("completion", shell).stdout)
        return path

    def open(self, command, prepare):
        """Returns a shell that has run `prepare`."""
        terminal = Terminal(command, self.environment, self.work)
        self.addCleanup(terminal.close)
        ready = self.path("ready")
        terminal.type(f"{prepare}; touch {ready}\n")
        terminal.read_until(ready.exists)
        return terminal

    def press(self, terminal, keys):
        """How the program is called after these keys and the return key."""
        self.called.unlink(missing_ok=True)
        terminal.type(keys + "\n")
        terminal.read_until(self.called.exists)
        return self.called.read_text()

    def check(self, terminal):
        for keys, called in (
                ("vixprores enc\t", "<encode>"),
                ("vixprores encode --vari\t", "<encode><--variant>"),
                ("vixprores encode --variant pro\t", "<encode><--variant><proxy>"),
                ("vixprores encode --variant=pro\t", "<encode><--variant=proxy>"),
                ("vixprores decode --fourcc uy\t", "<decode><--fourcc><uyvy>"),
                ("vixprores decode --overw\tmy\t", "<decode><--overwrite><my clip.mov>"),
                ("vixprores encode my\t", "<encode><my clip.mov>"),
                ("vixprores encode --size my\t", "<encode><--size><my>"),
                ("vixprores elements --plugin my\t", "<elements><--plugin><my clip.mov>"),
                ("vixprores elements my\t", "<elements><my>"),
                ("vixprores manual --pages fol\t", "<manual><--pages><folder>"),
                ("vixprores manual --pages my\t", "<manual><--pages><my>"),
                ("vixprores help enc\t", "<help><encode>"),
                ("vixprores completion fi\t", "<completion><fish>")):
            with self.subTest(keys=keys):
                # zsh adds an equals sign to an option, bash a slash to a folder.
                shown = self.press(terminal, keys).replace("=>", ">").replace("/>", ">")
                self.assertEqual(shown, called)


class Bash(ShellTest):
    def test_completes(self):
        script = self.script("bash")
        self.check(self.open(["bash", "--norc", "--noprofile", "-i"],
                             f"bind 'set enable-bracketed-paste off'; . {script}"))

    def test_offers_every_option_and_nothing_else(self):
        lines = subprocess.run(
            ["bash", "-c", f". {self.script('bash')}\n"
             "COMP_WORDS=(vixprores decode --) COMP_CWORD=2; _vixprores; "
             "printf '%s\\n' \"${COMPREPLY[@]}\""],
            check=True, capture_output=True, text=True, timeout=TIMEOUT, env=self.environment)
        offered = lines.stdout.split()
        self.assertEqual(lines.stderr, "")
        for option in ("--fourcc", "--skip-field", "--threads", "--help"):
            self.assertIn(option, offered)
        self.assertNotIn("--variant", offered)


class Zsh(ShellTest):
    def test_completes(self):
        script = self.script("zsh")
        script.rename(self.home / "_vixprores")
        self.check(self.open(
            ["zsh", "-f", "-i"],
            f"fpath=({self.home} $fpath); autoload -U compinit; compinit -u -D"))


class Fish(ShellTest):
    def complete(self, line):
        result = subprocess.run(
            ["fish", "--no-config", "-c", f"source {self.script('fish')}; complete -C '{line}'"],
            check=True, capture_output=True, text=True, timeout=TIMEOUT, cwd=self.work,
            env=self.environment)
        self.assertEqual(result.stderr, "")
        return [offer.split("\t")[0] for offer in result.stdout.splitlines()]

    def test_completes(self):
        for line, wanted in (
                ("vixprores enc", ["encode"]),
                ("vixprores encode --vari", ["--variant"]),
                ("vixprores encode --variant pro", ["proxy"]),
                ("vixprores encode --variant=pro", ["--variant=proxy"]),
                ("vixprores decode --fourcc uy", ["uyvy"]),
                ("vixprores decode --overwrite my", ["my clip.mov"]),
                ("vixprores encode --size my", []),
                ("vixprores elements --plugin my", ["my clip.mov"]),
                ("vixprores elements my", []),
                ("vixprores manual --pages fol", ["folder/"]),
                ("vixprores manual --pages my", []),
                ("vixprores help enc", ["encode"]),
                ("vixprores completion fi", ["fish"])):
            with self.subTest(line=line):
                self.assertEqual(self.complete(line), wanted)


class WrongUse(ToolTest):
    def test_names_the_shells(self):
        self.fail_with(2, ["csh", "bash, zsh and fish"], "completion", "csh")
        self.fail_with(2, ["missing SHELL"], "completion")

# SPDX-License-Identifier: BSD-2-Clause
"""The command line: help, wrong use, reports."""
import json
import os
import pathlib
import pty
import re
import shutil
import subprocess

from tool import PLUGIN, PROGRAM, TIMEOUT, ToolTest, ffmpeg, make_clip, make_v210, probe, run


class Help(ToolTest):
    def test_help_names_the_commands(self):
        result = self.succeed("--help")
        for command in ("encode", "decode", "bench", "elements", "help", "--version"):
            self.assertIn(command, result.stdout)
        self.assertEqual(result.stderr, "")

    def test_help_of_a_command_names_its_options(self):
        for arguments in (("help", "encode"), ("encode", "--help")):
            result = self.succeed(*arguments)
            for option in ("--variant", "--threads", "--frames", "--overwrite", "--fourcc",
                           "--size", "--rate", "--interlaced", "--json", "--quiet", "--plugin"):
                self.assertIn(option, result.stdout)
        for option in ("--skip-field", "--threads", "--cpu"):
            self.assertIn(option, self.succeed("help", "decode").stdout)
        for option in ("--size", "--variant", "--threads", "--cpu", "--frames", "--json"):
            self.assertIn(option, self.succeed("help", "bench").stdout)

    def test_version_prints_build_and_machine(self):
        lines = self.succeed("--version").stdout.splitlines()
        self.assertRegex(lines[0], r"\Avixprores \d+\.\d+\.\d+\Z")
        facts = dict(line.split(":", 1) for line in lines[1:])
        self.assertRegex(facts["compiler"], r"(GNU|Clang) \d+\.\d+")
        self.assertRegex(facts["libavformat"], r"\d+\.\d+\.\d+, built against \d+\.\d+\.\d+")
        self.assertIn("scalar", facts["processor"])
        second = PLUGIN.replace("ProRes.so", "ProRes4444.so")
        for label, plugin in (("plug-in", PLUGIN), ("for 4444", second)):
            path, version = re.fullmatch(r" +(\S+) \((.*)\)", facts[label]).groups()
            self.assertEqual(pathlib.Path(path).resolve(), pathlib.Path(plugin).resolve())
            self.assertEqual(f"vixprores {version.removeprefix('version ')}", lines[0])

    def test_version_names_the_instructions_in_use(self):
        environment = {**os.environ, "VIX_PRORES_CPU": "scalar"}
        self.assertIn("in use: scalar\n", self.succeed("--version", env=environment).stdout)


class Environment(ToolTest):
    def setUp(self):
        super().setUp()
        make_v210(self.path("clip.mov"))

    def notes(self, **variables):
        results = [self.succeed(*words, env={**os.environ, **variables})
                   for words in (("encode", "--overwrite", self.path("clip.mov"), self.path("out.mov")),
                                 ("compare", self.path("clip.mov"), self.path("clip.mov")),
                                 ("bench", "--size", "64x64", "--frames", "1"))]
        notes = [[line for line in result.stderr.splitlines() if "VIX_PRORES" in line]
                 for result in results]
        self.assertEqual(notes[1:], notes[:1] * 2)
        return notes[0]

    def test_ignored_values_are_noted(self):
        self.assertEqual(self.notes(VIX_PRORES_CPU="sse5"),
                         ["vixprores: note: VIX_PRORES_CPU: 'sse5' is ignored (expected one of "
                          "scalar, sse4, avx2 and avx512)"])
        for value in ("0", "4097", "-1", "two", "2 "):
            self.assertEqual(self.notes(VIX_PRORES_THREADS=value),
                             [f"vixprores: note: VIX_PRORES_THREADS: '{value}' is ignored (expected "
                              "1 to 4096)"])

    def test_valid_values_are_not_noted(self):
        self.assertEqual(self.notes(VIX_PRORES_CPU="scalar", VIX_PRORES_THREADS="2"), [])


class OtherNames(ToolTest):
    def test_short_and_familiar_words(self):
        clip, out = self.path("clip.mov"), self.path("out.mov")
        make_v210(clip)
        out.write_text("to be replaced")
        result = self.succeed("encode", "-y", "-q", "--profile", "422hq", "--fps", "23.976",
                              "--colour", "rec709", "-o", out, clip)
        self.assertEqual(result.stderr, "")
        stream = probe(out)
        self.assertEqual((stream["codec_tag_string"], stream["r_frame_rate"],
                          stream["color_space"]), ("apch", "24000/1001", "bt709"))

    def test_help_and_manual_list_them(self):
        self.assertIn("--variant, --profile NAME", self.succeed("help", "encode").stdout)
        self.assertIn("-y, --overwrite", self.succeed("help", "encode").stdout)
        manual = self.succeed("manual", "encode").stdout
        self.assertIn("apch for hq", manual)
        self.assertIn("tff for top", manual)


class Ranges(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        make_v210(self.clip, "-timecode", "01:00:00:00", frames=40)

    def encoded(self, frames, *options):
        out = self.path("out.mov")
        self.succeed("encode", "-y", "--frames", frames, *options, self.clip, out)
        return out.read_bytes()

    def test_a_range_by_timecode_is_that_by_number(self):
        self.assert_same_bytes(self.encoded("01:00:00:05-01:00:01:02"), self.encoded("5-27"))
        self.assertEqual(probe(self.path("out.mov"))["nb_read_packets"], "23")
        self.assert_same_bytes(self.encoded("01:00:01:10-"), self.encoded("35-39"))
        self.assert_same_bytes(self.encoded("5"), self.encoded("5-5"))
        self.assert_same_bytes(self.encoded("10:00:00:05", "--timecode", "10:00:00:00"),
                               self.encoded("5", "--timecode", "10:00:00:00"))

    def test_other_commands_take_them(self):
        encoded = self.path("encoded.mov")
        self.succeed("encode", self.clip, encoded)
        for command in ("inspect", "compare"):
            words = (encoded, encoded) if command == "compare" else (encoded,)
            report = json.loads(self.succeed(command, "--json", "--frames", "01:00:01:10-",
                                             *words).stdout)
            self.assertEqual([frame["frame"] for frame in report["frames"]],
                             [35, 36, 37, 38, 39])

    def test_ranges_outside_of_the_input_are_rejected(self):
        for frames, words in (("40-", "asks for 40-"), ("00:59:59:00", "asks for"),
                              ("5-01:00:10:00", "has the timecodes 01:00:00:00-01:00:01:14, but "
                               "the range asks for 5-01:00:10:00")):
            self.fail_with(1, [self.clip, words], "encode", "--frames", frames, self.clip,
                           self.path("out.mov"))
        self.fail_with(2, ["at 25 frames per second the frames go from 00 to 24"], "encode",
                       "--frames", "01:00:00:25", self.clip, self.path("out.mov"))

    def test_sound_of_an_open_range_is_cut(self):
        sound = self.path("sound.mov")
        ffmpeg("-i", self.clip, "-f", "lavfi", "-i", "sine=sample_rate=48000", "-t", "1.6",
               "-c:v", "copy", "-c:a", "pcm_s16le", sound)
        self.clip = sound
        self.assert_same_bytes(self.encoded("30-"), self.encoded("30-39"))


class WrongUse(ToolTest):
    def test_json_reports_it(self):
        for words in (("encode", "--json", "--colr", "x"), ("transmogrify", "--json"),
                      ("verify", "--json")):
            result = run(*words)
            self.assertEqual(result.returncode, 2)
            error = json.loads(result.stdout)["error"]
            self.assertIn(f"vixprores: {error}\n", result.stderr)
        self.assertEqual(run("encode", "--colr", "x").stdout, "")

    def test_the_hint_names_the_command(self):
        self.assertIn("Run 'vixprores help decode'", run("decode").stderr)
        self.assertIn("Run 'vixprores help COMMAND'", run("transmogrify").stderr)

    def test_rejects_a_name_outside_of_the_folder(self):
        for pattern in ("../{name}.mov", "/tmp/{name}.mov", "{name}/x.mov", ".."):
            with self.subTest(pattern=pattern):
                self.fail_with(2, [pattern, "not a file name in the folder"], "decode",
                               "--output-dir", self.path("out"), "--name", pattern, "in.mov")

    def test_rejects_containers_as_raw_frames(self):
        raw_frames = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")
        for container in ("mov", "avi", "mkv", "mxf", "nut", "y4m"):
            with self.subTest(container=container):
                clip = self.path(f"clip.{container}")
                if container == "mxf":
                    self.succeed("encode", self.path("clip.mov"), clip)
                elif container == "y4m":
                    make_clip(clip, "-strict", "-1")
                else:
                    make_v210(clip)
                self.fail_with(2, [clip, "not raw frames", "leave out --fourcc"], "encode",
                               *raw_frames, clip, self.path("out.mov"))
                self.fail_with(1, ["standard input", "not raw frames"], "encode", *raw_frames,
                               "-", self.path("out.mov"), input=clip.read_bytes(), text=False)

    def test_frames_are_not_written_to_a_terminal(self):
        clip = self.path("clip.mov")
        make_v210(clip)
        for command in ("encode", "decode"):
            if command == "decode":
                self.succeed("encode", clip, self.path("encoded.mov"))
                clip = self.path("encoded.mov")
            primary, secondary = pty.openpty()
            result = subprocess.run([PROGRAM, command, clip, "-"], stdin=subprocess.DEVNULL,
                                    stdout=secondary, stderr=subprocess.PIPE, text=True,
                                    timeout=TIMEOUT)
            os.close(secondary)
            os.close(primary)
            self.assertEqual(result.returncode, 2)
            self.assertIn("standard output is a terminal; redirect it", result.stderr)

    def test_exit_code_is_2_and_the_message_names_the_fault(self):
        raw_frames = ("--fourcc", "V210", "--size", "128x96", "--rate", "25")
        cases = [
            ((), "missing command"),
            (("transmogrify",), "transmogrify"),
            (("verify", ""), "FILE: empty name"),
            (("encode", "--output-dir", "out", ""), "INPUT: empty name"),
            (("encode", "--color", "bt709", "--color=bt2020", "in.mov", "out.mov"),
             "--color is given twice"),
            (("thumbs", "in.mov", "--sheet", "s.jpg"), "does not end in .png"),
            (("thumbs", "in.mov", "-o", "still.png"), "--sheet still.png"),
            (("encode", "--crf", "25", "in.mov", "out.mov"), "unknown option --crf\n"),
            (("encode", "--variant", "4444xx", "in.mov", "out.mov"),
             "choose one of proxy, lt, 422, hq, 4444 and 4444xq"),
            (("encode", "--alpha", "16", "in.mov", "out.mov"),
             "--alpha 8 and 16 need --variant 4444 or 4444xq"),
            (("encode", "--fourcc", "Y416", *raw_frames[2:], "in", "out.mov"),
             "raw frames of Y416 need --variant 4444 or 4444xq"),
            (("decode", "--skip-field", "in.mov", "out.b64a"), "--skip-field cannot decode to b64A"),
            (("bench", "--fourcc", "Y416"), "bench has no test pictures of Y416 for ProRes 422"),
            (("bench", "--variant", "4444", "--fourcc", "b64A"), "no test pictures of b64A"),
            (("help", "transmogrify"), "transmogrify"),
            (("encode", "in.mov"), "OUTPUT"),
            (("encode", "--sideways", "in.mov", "out.mov"), "--sideways"),
            (("encode", "--variant", "best", "in.mov", "out.mov"), "best"),
            (("encode", "--threads", "-1", "in.mov", "out.mov"), "--threads"),
            (("encode", "--threads", "many", "in.mov", "out.mov"), "--threads"),
            (("encode", "--threads", "1000", "in.mov", "out.mov"), "256"),
            (("encode", "--frames", "9-3", "in.mov", "out.mov"), "9-3"),
            (("encode", "--frames", "five", "in.mov", "out.mov"), "five"),
            (("encode", "in.mov", "out.mp4"), ".mov, .mkv, .mxf"),
            (("encode", "--fourcc", "V210", "in.v210", "out.mov"), "--size"),
            (("encode", "--interlaced", "in.mov", "out.mov"), "--fourcc"),
            (("encode", "--fourcc", "RGBA", *raw_frames[2:], "in", "out.mov"), "RGBA"),
            (("encode", *raw_frames[:2], "--size", "1x1", *raw_frames[4:], "in", "out.mov"), "1x1"),
            (("encode", *raw_frames[:2], "--size", "70000x96", *raw_frames[4:], "in", "out.mov"),
             "70000x96"),
            (("encode", *raw_frames[:2], "--size", "65535x65535", *raw_frames[4:], "in", "out.mov"),
             "--size 65535x65535: pictures of 4294836225 pixels"),
            (("encode", *raw_frames[:4], "--rate", "29.98", "in", "out.mov"), "30000/1001"),
            (("encode", *raw_frames[:4], "--rate", "0", "in", "out.mov"), "'0'"),
            (("decode", "--fourcc", "RGBA", "in.mov", "out.mov"), "RGBA"),
            (("encode", "--name", "{name}.mov", "in.mov", "out.mov"), "--output-dir"),
            (("decode", "--jobs", "2", "in.mov", "out.mov"), "--output-dir"),
            (("decode", "--output-dir", "d", "--name", "{name}.mp4", "in.mov"), ".y4m"),
            (("encode", "--no-audio", "--audio-tracks", "1", "in.mov", "out.mov"), "contradict"),
            (("encode", "--fourcc", "UYVY", "--size", "64x64", "--rate", "25", "--interlaced",
              "--fields", "progressive", "in.uyvy", "out.mov"),
             "--interlaced and --fields progressive contradict each other"),
            (("encode", "--output-dir", "d", "--name", "{name}.mp4", "in.mov"),
             ".mov, .mkv, .mxf"),
            (("encode", "--compressor", "x" * 32, "in.mov", "out.mov"), "room for 31"),
        ]
        for arguments, word in cases:
            with self.subTest(arguments=arguments):
                result = self.fail_with(2, [word], *arguments, cwd=self.folder)
                self.assertIn("vixprores help", result.stderr)


class Scripts(ToolTest):
    def test_help_of_the_benchmark_lists_both_forms(self):
        script = pathlib.Path(__file__).resolve().parents[3] / "scripts/bench"
        for arguments in (["--help"], ["--profile", "-h"]):
            with self.subTest(arguments=arguments):
                text = subprocess.run([script, *arguments], check=True, capture_output=True,
                                      text=True, timeout=TIMEOUT).stdout
                self.assertRegex(text, r"(?m)^  scripts/bench \[--pairs N\] \[--only TEXT\]")
                self.assertRegex(text, r"(?m)^  scripts/bench --profile \[--draw-only\]$")
                self.assertNotIn("set -", text)


class Elements(ToolTest):
    def test_lists_elements_with_their_schemas(self):
        text = self.succeed("elements").stdout
        for word in ("VideoEncoder", "VideoDecoder", "ProRes", "NumThreads", "ProResCodecVariant",
                     "SkipField", "OutputFourCC", "UYVY V210", "Allocator", "default: none",
                     "default: \"Standard\"", "allowed: Proxy LT Standard HQ",
                     "default: \"0\"", "decoding only one field out of two"):
            self.assertIn(word, text)

    def test_loads_the_given_plugin(self):
        self.assertIn("SkipField", self.succeed("elements", "--plugin", PLUGIN).stdout)

    def test_error_names_a_plugin_that_cannot_be_loaded(self):
        missing = self.path("missing.so")
        self.fail_with(1, [missing], "elements", "--plugin", missing)
        text = self.path("text.so")
        text.write_text("no library\n")
        self.fail_with(1, [text], "elements", "--plugin", text)


class PluginSearch(ToolTest):
    """Runs a copy of the program that is far from its plug-in."""

    def setUp(self):
        super().setUp()
        self.libraries = pathlib.Path(PLUGIN).resolve().parent
        self.program = self.path("prefix/bin/vixprores")
        self.program.parent.mkdir(parents=True)
        shutil.copy(PROGRAM, self.program)
        self.core = self.path("core")
        self.core.mkdir()
        for name in ("libvixCore.so*", "libProRes.so*"):
            for library in self.libraries.glob(name):
                shutil.copy(library, self.core, follow_symlinks=False)

    def run_copy(self, *arguments, library_path, **options):
        return subprocess.run([self.program, *arguments], capture_output=True, text=True,
                              timeout=TIMEOUT, **options,
                              env={**os.environ, "LD_LIBRARY_PATH": str(library_path)})

    def list_elements(self, library_path, **options):
        return self.run_copy("elements", library_path=library_path, **options)

    def print_version(self):
        return self.run_copy("--version", library_path=self.core).stdout

    def test_finds_the_plugin_beside_the_program(self):
        os.symlink(self.libraries, self.path("prefix/lib"))
        self.assertIn("SkipField", self.list_elements(self.core).stdout)

    def test_finds_the_plugin_in_the_library_path(self):
        self.assertIn("SkipField", self.list_elements(self.libraries).stdout)

    def test_version_names_plugins_that_are_missing(self):
        prefix = self.path("prefix/lib")
        shutil.copytree(self.core, prefix, symlinks=True)
        self.assertRegex(self.print_version(), r"plug-in: +none found\nfor 4444: +none found\n\Z")
        shutil.copyfile(PLUGIN, prefix / "libvixVideoCodecProRes.so.1")
        self.assertRegex(self.print_version(),
                         r"plug-in: +\S+ProRes\.so\.1 \(unknown version\)\nfor 4444: +none found\n\Z")

    def test_error_lists_the_places_searched(self):
        result = self.list_elements(self.core)
        self.assertEqual(result.returncode, 1)
        self.assertIn(str(self.path("prefix/lib/libvixVideoCodecProRes.so.")), result.stderr)
        self.assertIn("--plugin", result.stderr)

    def test_ignores_the_current_folder(self):
        result = self.list_elements(self.core, cwd=self.libraries)
        self.assertEqual(result.returncode, 1, result.stdout)


class Reports(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        make_v210(self.clip, rate="30000/1001")

    def test_summary_is_one_line_on_standard_error(self):
        result = self.succeed("encode", self.clip, self.path("out.mov"))
        self.assertEqual(result.stdout, "")
        self.assertEqual(result.stderr.count("\n"), 1)
        for word in ("out.mov", "10 frames", "128x96", "ProRes 422", "30000/1001 fps"):
            self.assertIn(word, result.stderr)

    def test_quiet_prints_nothing(self):
        result = self.succeed("encode", "--quiet", self.clip, self.path("out.mov"))
        self.assertEqual(result.stdout + result.stderr, "")

    def test_json_reports_a_complete_run(self):
        result = self.succeed("encode", "--json", "--variant", "lt", self.clip,
                              self.path("out.mov"))
        report = json.loads(result.stdout)
        self.assertEqual(result.stderr, "")
        self.assertEqual(report["command"], "encode")
        self.assertEqual(report["status"], "done")
        self.assertEqual(report["output"], str(self.path("out.mov")))
        self.assertEqual(report["resultFormat"], "ProRes 422 LT")
        self.assertEqual((report["frames"], report["width"], report["height"]), (10, 128, 96))
        self.assertEqual(report["rate"], "30000/1001")
        self.assertGreater(report["resultBytes"], 0)
        self.assertAlmostEqual(report["megabitsPerSecond"],
                               report["resultBytes"] * 8 / 10 * 30000 / 1001 / 1e6, places=6)

    def test_summary_states_the_size_of_the_file(self):
        encoded = self.path("out.mov")
        self.succeed("encode", self.clip, encoded)
        for name in ("out.mov", "out.y4m", "out.avi", "out.raw"):
            with self.subTest(name=name):
                command = "encode" if name == "out.mov" else "decode"
                source = self.clip if name == "out.mov" else encoded
                out = self.path(f"again-{name}")
                report = json.loads(self.succeed(command, "--json", source, out).stdout)
                self.assertEqual(report["outputBytes"], out.stat().st_size)
                line = self.succeed(command, "--overwrite", source, out).stderr
                self.assertIn(f" {out.stat().st_size / 1e6:.1f} MB,", line)

    def test_json_reports_a_failure(self):
        result = run("encode", "--json", self.path("missing.mov"), self.path("out.mov"))
        report = json.loads(result.stdout)
        self.assertEqual((result.returncode, report["status"]), (1, "failed"))
        self.assertIn("missing.mov", report["message"])
        self.assertIn("missing.mov", result.stderr)

    def test_json_leaves_standard_output_to_the_frames(self):
        self.succeed("encode", self.clip, self.path("out.mov"))
        result = run("decode", "--json", self.path("out.mov"), "-", text=False)
        self.assertEqual(len(result.stdout) % (128 * 3 * 96), 0)
        self.assertEqual(json.loads(result.stderr)["frames"], 10)

    def test_verbose_shows_log_records_once_each(self):
        result = self.succeed("encode", "--verbose", self.clip, self.path("out.mov"))
        milestones = [line for line in result.stderr.splitlines() if "MILESTONE" in line]
        self.assertGreater(len(milestones), 0)
        self.assertNotIn("MILESTONE", self.succeed("decode", self.path("out.mov"),
                                                   "/dev/null").stderr)

    def test_progress_line_only_on_a_terminal(self):
        primary, secondary = pty.openpty()
        process = subprocess.Popen([PROGRAM, "encode", self.clip, self.path("out.mov")],
                                   stderr=secondary)
        os.close(secondary)
        shown = b""
        while True:
            try:
                chunk = os.read(primary, 4096)
            except OSError:  # the terminal's other end was closed
                break
            if not chunk:
                break
            shown += chunk
        os.close(primary)
        self.assertEqual(process.wait(TIMEOUT), 0)
        line = re.search(rb"\r\033\[Kframe (\d+)/10  ([\d.]+) fps  [\d.]+x  [\d.]+ Mb/s  "
                         rb"\d+:\d\d:\d\d left", shown)
        self.assertTrue(line, shown)
        self.assertTrue(shown.split(b"\r\033[K")[-1].startswith(bytes(self.path("out.mov"))))
        piped = self.succeed("encode", self.clip, self.path("again.mov"))
        self.assertNotIn("\r", piped.stderr)

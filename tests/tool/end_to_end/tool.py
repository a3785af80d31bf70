# SPDX-License-Identifier: BSD-2-Clause
"""Shared by the end-to-end tests: the program, input clips, and inspection of its output.

The environment names the program (VIXPRORES) and the plug-in (VIXPRORES_PLUGIN)."""
import contextlib
import ctypes
import functools
import json
import os
import pathlib
import re
import select
import shutil
import struct
import subprocess
import tempfile
import unittest

PROGRAM = os.environ["VIXPRORES"]
PLUGIN = os.environ["VIXPRORES_PLUGIN"]
FRAME_IDENTIFIER = b"icpf"
TIMEOUT = 120  # seconds after which a run counts as hanging
_CLIPS = tempfile.TemporaryDirectory(prefix="vixprores-clips-")


def run(*arguments, **options):
    """Runs the program; the result has returncode, stdout and stderr."""
    options.setdefault("text", True)
    options.setdefault("stdin", subprocess.DEVNULL if "input" not in options else None)
    if options["stdin"] is None:
        del options["stdin"]
    return subprocess.run([PROGRAM, *map(str, arguments)], capture_output=True, timeout=TIMEOUT,
                          **options)


def count_read_bytes(*arguments, code=0):
    """Runs the program, which must end with `code`; returns the bytes that it requested from the
    system."""
    with subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
        usage = pathlib.Path(f"/proc/{process.pid}/io").read_text()
    if process.returncode != code:
        raise AssertionError(f"{arguments}: {process.returncode}")
    return int(re.search(r"^rchar: (\d+)", usage, re.MULTILINE).group(1))


@contextlib.contextmanager
def folder_events(folder):
    """Yields a function that waits until a file in the folder is created or written to, and returns
    False if none is for TIMEOUT seconds. Events since the beginning of the context count."""
    create, modify, moved_to = 0x100, 0x2, 0x80  # of sys/inotify.h
    system = ctypes.CDLL(None, use_errno=True)
    events = system.inotify_init1(os.O_CLOEXEC)
    watch = system.inotify_add_watch(events, os.fsencode(folder), create | modify | moved_to)
    try:
        if watch < 0:
            raise OSError(ctypes.get_errno(), "cannot watch", folder)

        def wait():
            ready = select.select([events], [], [], TIMEOUT)[0]
            return bool(ready and os.read(events, 1 << 16))

        yield wait
    finally:
        os.close(events)


def ffmpeg(*arguments):
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)], check=True,
                   timeout=TIMEOUT)


def make_clip(path, *output, size="128x96", rate="25", frames=10, filters="null",
              pixels="yuv422p10le"):
    """Makes a moving test picture; `output` are options before the output's name."""
    clip = _cached_clip(path.suffix, output, size, rate, frames, filters, pixels)
    shutil.copyfile(clip, path)


@functools.lru_cache(maxsize=None)
def _cached_clip(suffix, output, size, rate, frames, filters, pixels):
    """Returns a cached clip: most tests of a module use the same few clips."""
    path = pathlib.Path(_CLIPS.name) / f"{len(os.listdir(_CLIPS.name))}{suffix}"
    ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}", "-vf",
           f"format={pixels},{filters},{colour_filter(output)}", "-frames:v", frames, *output, path)
    if "prores_ks" in output:
        set_bitstream_version_0(path)
    return path


def colour_filter(output):
    """Returns a filter for the colour options of an output: since version 7, ffmpeg takes the colour
    of an output from its frames alone."""
    values = dict(zip(output, output[1:]))
    names = {"-color_primaries": "color_primaries", "-color_trc": "color_trc",
             "-colorspace": "colorspace"}
    given = [f"{name}={values[option]}" for option, name in names.items() if option in values]
    return f"setparams={':'.join(given)}" if given else "null"


def set_bitstream_version_0(path):
    """Sets version 0, the only one that the elements accept; ffmpeg writes version 1 into 4:4:4
    frames since version 7."""
    data = path.read_bytes()
    path.write_bytes(re.sub(rb"(icpf\x00.\x00)\x01", b"\\1\0", data, flags=re.DOTALL))


def make_v210(path, *output, **clip):
    make_clip(path, "-c:v", "v210", *output, **clip)


def make_uyvy(path, *output, **clip):
    make_clip(path, "-c:v", "rawvideo", "-pix_fmt", "uyvy422", *output, **clip,
              pixels="uyvy422")


def probe(path):
    """Returns what an independent program reports about the first video track."""
    result = subprocess.run(
        ["ffprobe", "-v", "error", "-count_packets", "-select_streams", "v:0", "-show_streams",
         "-of", "json", str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT)
    return json.loads(result.stdout)["streams"][0]


def planes(path, pixels="yuv422p10le", *options):
    """Returns the pictures of a file, as an independent program decodes them."""
    return subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "warning", *options, "-i", str(path), "-vsync",
         "passthrough", "-f", "rawvideo", "-pix_fmt", pixels, "-"], check=True, capture_output=True, timeout=TIMEOUT).stdout


def largest_difference(first, second, sample="H"):
    """Returns the largest difference of two sequences of equal length; sample "H" = 16 bits, "B" =
    8 bits."""
    if len(first) != len(second):
        raise AssertionError(f"{len(first)} bytes against {len(second)}")
    return max(map(lambda a, b: abs(a - b), memoryview(first).cast(sample),
                   memoryview(second).cast(sample)), default=0)


def frame_bytes(fourcc, width, height):
    stride = (width + 47) // 48 * 128 if fourcc == "V210" else (width + 1) // 2 * 4
    return stride * height


def mov_atom(path, *types):
    """Returns the contents of the first atom on a path, for example mov_atom(p, "moov", "trak").
    The path into a sample description leads through "stsd" to its type."""
    headers = {"stsd": 8, "apco": 78, "apcs": 78, "apcn": 78, "apch": 78, "ap4h": 78, "v210": 78, "2vuy": 78}
    data = pathlib.Path(path).read_bytes()
    for index, wanted in enumerate(types):
        inner = headers.get(types[index - 1], 0) if index else 0
        data = _child(data[inner:], wanted.encode())
    return data


def _child(data, wanted):
    position = 0
    while position + 8 <= len(data):
        size, kind = struct.unpack_from(">I4s", data, position)
        header = 8
        if size == 1:
            size, header = struct.unpack_from(">Q", data, position + 8)[0], 16
        if kind == wanted:
            return data[position + header:position + size]
        position += max(size, 8)
    raise KeyError(wanted)


def sample_entry(path, code):
    return mov_atom(path, "moov", "trak", "mdia", "minf", "stbl", "stsd", code)


def sample_entry_atom(path, code, name):
    return mov_atom(path, "moov", "trak", "mdia", "minf", "stbl", "stsd", code, name)


class ToolTest(unittest.TestCase):
    """A test with a folder of its own, which is empty before and removed after each test."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vixprores-test-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)

    def path(self, name):
        return self.folder / name

    def succeed(self, *arguments, **options):
        result = run(*arguments, **options)
        self.assertEqual(result.returncode, 0, result.stderr)
        return result

    def wait_for_work_file(self, name, is_ready):
        """Waits until `is_ready` holds for the bytes of a work file of `name`, which it returns."""
        with folder_events(self.folder) as wait:
            while True:
                for path in self.folder.glob(name + ".part-*"):
                    if is_ready(path.read_bytes()):
                        return path
                self.assertTrue(wait(), "nothing was written")

    def wait_for_frame(self, name):
        """Waits until a work file of `name` holds at least a part of a ProRes frame."""
        return self.wait_for_work_file(name, lambda data: FRAME_IDENTIFIER in data)

    def assert_same_bytes(self, first, second):
        """Compares like assertEqual, but does not print what may be megabytes."""
        self.assertTrue(first == second, f"{len(first)} and {len(second)} bytes differ")

    def fail_with(self, code, words, *arguments, **options):
        """Runs the program, which must end with `code`, an error that contains every one of
        `words`, and no new file except a reported partial file, which is removed."""
        before = sorted(self.folder.iterdir())
        result = run(*arguments, **options)
        self.assertEqual(result.returncode, code, result.stderr)
        errors = result.stderr if isinstance(result.stderr, str) else result.stderr.decode()
        self.assertTrue(errors.startswith("vixprores: "), errors)
        for word in words:
            self.assertIn(str(word), errors)
        kept = re.search(r"^[0-9]+ frames? before that (?:is|are) kept in ([^\n;]*)", errors,
                         re.MULTILINE)
        if kept:
            pathlib.Path(kept.group(1)).unlink()
        self.assertEqual(sorted(self.folder.iterdir()), before)
        return result

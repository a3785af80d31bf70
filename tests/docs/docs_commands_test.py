# SPDX-License-Identifier: BSD-2-Clause
"""Runs the command lines of the documents: every block marked `sh`.

The blocks of a document run one after the other in one folder with the inputs that they name. The
environment names the program (VIXPRORES) and the folder of the elements for GStreamer
(GST_PLUGIN_PATH_1_0), which is empty where they are not built."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

from documents import DOCUMENTS, ROOT, blocks

TIMEOUT = 120  # seconds after which a block hangs
PROGRAM = pathlib.Path(os.environ["VIXPRORES"])

V210 = ("-pix_fmt", "yuv422p10le", "-c:v", "v210")
UYVY = ("-pix_fmt", "uyvy422", "-c:v", "rawvideo")
PRORES = ("-pix_fmt", "yuv422p10le", "-c:v", "prores_ks", "-profile:v", "3")

# Pictures of 4 samples of 16 bits; what they show does not matter.
DEEP = ("-pix_fmt", "rgba64be", "-f", "rawvideo")

# A camera file: compressed pictures and sound.
CAMERA = ("-f", "lavfi", "-i", "sine=r=48000:d=0.48", "-c:v", "libx264", "-pix_fmt", "yuv420p",
          "-c:a", "aac", "-timecode", "01:00:00:00")

# Inputs by name: size, and ffmpeg's options for the output. All other files that a document names must
# come from its own commands.
CLIPS = {
    "input.mov": ("128x96", V210),
    "input.avi": ("128x96", V210),
    "input.mp4": ("128x96", ("-pix_fmt", "yuv420p", "-c:v", "mpeg4")),
    "input.y4m": ("128x96", ("-pix_fmt", "yuv422p10le", "-strict", "-1")),
    "frames.uyvy": ("1920x1080", (*UYVY, "-f", "rawvideo")),
    "frames.v210": ("1920x1080", (*V210, "-f", "rawvideo")),
    "frames.y416": ("128x96", DEEP),
    "frames.b64a": ("128x96", DEEP),
    "prores.mov": ("128x96", PRORES),
    "original.mov": ("128x96", V210),
    "camera.mp4": ("1280x720", CAMERA),
    "card": ("1280x720", CAMERA),
    "shot.####.dpx": ("1280x720", ("-pix_fmt", "gbrp10le", "-start_number", "1001")),
    "shot.####.exr": ("1280x720", ("-pix_fmt", "gbrpf32le", "-start_number", "1001")),
}
# The files of inputs that are folders or sequences.
FILES = {"card": "card/day/A001.mp4", "shot.####.dpx": "plates/shot.%04d.dpx",
         "shot.####.exr": "plates/shot.%04d.exr"}
# A look that changes nothing.
CUBE = "LUT_3D_SIZE 2\n" + "".join(f"{r} {g} {b}\n" for b in (0, 1) for g in (0, 1) for r in (0, 1))


def make_clip(name, folder):
    size, output = CLIPS[name]
    path = folder / FILES.get(name, name)
    path.parent.mkdir(parents=True, exist_ok=True)
    frames = 2 if size == "1920x1080" else 12
    subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i",
                    f"testsrc2=size={size}:rate=25", *output, "-t", str(frames / 25), path],
                   check=True, timeout=TIMEOUT)


def run_block(block, folder):
    """Makes the inputs that a block names, and runs its lines."""
    for name in CLIPS:
        missing = not (folder / FILES.get(name, name).replace("%04d", "1001")).exists()
        if re.search(rf"(?<![\w.]){re.escape(name)}(?!\w)", block) and missing:
            make_clip(name, folder)
    (folder / "show.cube").write_text(CUBE)
    environment = {**os.environ, "GST_REGISTRY_1_0": str(folder / "registry.bin"), "PATH": f"{PROGRAM.parent}:{os.environ['PATH']}"}
    return subprocess.run(["bash", "-euo", "pipefail", "-c", block], cwd=folder, env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, text=True, errors="replace", timeout=TIMEOUT)


class Commands(unittest.TestCase):
    def make_folder(self):
        folder = pathlib.Path(tempfile.mkdtemp(prefix="vixprores-docs-"))
        self.addCleanup(shutil.rmtree, folder, ignore_errors=True)
        return folder

    def test_commands_of_every_document_succeed(self):
        count = 0
        for document in DOCUMENTS:
            if document.name == "gstreamer.md" and not os.environ.get("GST_PLUGIN_PATH_1_0"):
                continue
            folder = self.make_folder()
            for line, block in blocks(document, "sh"):
                count += 1
                with self.subTest(document=document.relative_to(ROOT), line=line):
                    result = run_block(block, folder)
                    self.assertEqual(result.returncode, 0, f"{block}\n{result.stdout}")
        self.assertGreater(count, 0, "no document has commands that can be run")

    def test_a_failing_command_is_noticed(self):
        folder = self.make_folder()
        for block in ("vixprores decode missing.mov output.y4m\ntrue\n",
                      "vixprores decode missing.mov - | cat\n"):
            self.assertNotEqual(run_block(block, folder).returncode, 0, block)

# SPDX-License-Identifier: BSD-2-Clause
"""Which folder may include which, and how long a file may be (docs/architecture.md)."""
import os
import pathlib
import re
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
MOST_LINES = 350

# Folders in which a quoted or angled name is looked up, beside the folder of the including file.
INCLUDE_PATHS = {
    "include": ["include"],
    "src": ["include"],
    "src4444": ["include"],
    "core": ["include", "core", "codec"],
    "codec": ["include", "codec"],
    "tool": ["include", "tool", "codec"],
    "images": ["include", "images", "tool"],
    "gstreamer": ["include", "gstreamer"],
}


def layers(*folders):
    """Each folder may include itself and all that follow it."""
    return {folder: list(folders[index:]) for index, folder in enumerate(folders)}


TOOL = layers("tool/cli", "tool/report", "tool/check", "tool/farm", "tool/run", "tool/recovery", "tool/media",
              "tool/frames", "tool/format", "tool/base")
CODEC_BASE = ["codec/cpu", "codec/Status.h", "codec/Ensure.h", "codec/FrameLimits.h", "include/ProRes"]
MATRICES = "include/vix/RgbMatrix.h"  # constants that hosts and the codec library share

# What files may include, by folder or file. The longest name that a path starts with counts.
ALLOWED = {
    "include/vix": ["include/vix"],
    "include/vix/ProResCodecHook.h": ["include"],  # for hosts that link both libraries
    "include/ProRes": ["include/ProRes"],
    "src": ["src", "include"],
    "src4444": ["src4444", "include"],
    "core": ["core", "include", "codec/cpu", "codec/bitstream"],
    "core/pixels": ["core/pixels", "include", "codec/pixel", "codec/cpu"],
    "codec/api": ["codec", "include/ProRes"],
    "codec/decode": ["codec/decode", "codec/pixel", "codec/bitstream", "codec/parallel",
                     "codec/Kernels.h", *CODEC_BASE],
    "codec/encode": ["codec/encode", "codec/pixel", "codec/bitstream", "codec/parallel",
                     "codec/Kernels.h", *CODEC_BASE],
    "codec/pixel": ["codec/pixel", "codec/bitstream", MATRICES, *CODEC_BASE],
    "codec/bitstream": ["codec/bitstream", *CODEC_BASE],
    "codec/parallel": ["codec/parallel", *CODEC_BASE],
    "codec/cpu": CODEC_BASE,
    "codec/Kernels.h": ["codec", "include/ProRes"],
    "codec/Kernels.cpp": ["codec", "include/ProRes"],
    "codec/Status.h": CODEC_BASE,
    "codec/Ensure.h": CODEC_BASE,
    "codec/FrameLimits.h": CODEC_BASE,
    **{folder: [*below, "include"] for folder, below in TOOL.items()},
    "tool": ["tool", "include"],
    "images": ["images", "tool/media/sequence/ImageModule.h", "include/vix/Version.h"],
    "gstreamer": ["gstreamer", "include"],
}
for reader_of_frames in ("tool/recovery", "tool/media", "tool/frames"):
    ALLOWED[reader_of_frames].append("codec/bitstream")
# The table of kernels names the types of all of them, and the coders name the table.
OUTSIDE_CYCLES = ["codec/Kernels.h"]


def starts_with(path, names):
    return any(path == name or path.startswith(name + "/") for name in names)


def sources(root):
    """Yields the C and C++ files of the product, relative to the root."""
    for top in INCLUDE_PATHS:
        for path in sorted((root / top).rglob("*")):
            if path.suffix in (".h", ".cpp", ".c"):
                yield path.relative_to(root)


def included_files(root, source):
    """Yields (line number, file of this project) for every include directive of a source."""
    places = [source.parent, *map(pathlib.Path, INCLUDE_PATHS[source.parts[0]])]
    text = (root / source).read_text(encoding="utf-8")
    for number, line in enumerate(text.splitlines(), 1):
        match = re.match(r'\s*#\s*(?:include|define HWY_TARGET_INCLUDE)\s*["<]([^">]+)[">]', line)
        for place in places if match else ():
            target = pathlib.Path(os.path.normpath(place / match[1]))
            if (root / target).is_file():
                yield number, target
                break


def forbidden_includes(root):
    problems = []
    for source in sources(root):
        names = [name for name in ALLOWED if starts_with(source.as_posix(), [name])]
        if not names:
            problems.append(f"{source}: no rule for this folder")
            continue
        rule = max(names, key=len)
        for number, target in included_files(root, source):
            if not starts_with(target.as_posix(), ALLOWED[rule]):
                problems.append(f"{source}:{number}: {rule} must not include {target}")
    return problems


def node(path):
    """The folder with a rule of its own; a file directly in codec/ counts as one, because all others
    may share it. Folders further down belong to it."""
    if path.parent.as_posix() == "codec":
        return path.as_posix()
    return "/".join(path.parent.parts[:2])


def folder_cycles(root):
    """Returns the groups of folders that include each other, directly or through others."""
    reached = {}
    for source in sources(root):
        targets = {node(target) for _, target in included_files(root, source)}
        reached.setdefault(node(source), set()).update(targets.difference(OUTSIDE_CYCLES))
    for middle in reached:  # transitive closure
        for edges in reached.values():
            if middle in edges:
                edges |= reached[middle]
    groups = {tuple(sorted({other for other in reached[folder]
                            if folder in reached.get(other, ())} | {folder}))
              for folder in reached}
    return sorted(group for group in groups if len(group) > 1)


def long_files(root):
    lengths = {source: len((root / source).read_text(encoding="utf-8").splitlines())
               for source in sources(root)}
    return [f"{source}: {lines} lines" for source, lines in lengths.items() if lines > MOST_LINES]


class Tree(unittest.TestCase):
    def test_folders_include_only_what_they_may(self):
        self.assert_none(forbidden_includes(ROOT))

    def test_folders_do_not_include_each_other_in_a_cycle(self):
        self.assert_none(" <-> ".join(group) for group in folder_cycles(ROOT))

    def test_files_are_short(self):
        self.assert_none(long_files(ROOT))

    def assert_none(self, problems):
        lines = list(problems)
        self.assertFalse(lines, f"{len(lines)} problems\n" + "\n".join(lines))

    def test_all_sources_are_read(self):
        for top in INCLUDE_PATHS:
            self.assertTrue(any(source.parts[0] == top for source in sources(ROOT)), top)


class MadeUpTree(unittest.TestCase):
    """The checks find what they are for."""

    def make(self, **files):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        root = pathlib.Path(folder.name)
        for name, text in files.items():
            path = root / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        return root

    def test_an_include_of_a_higher_folder_is_forbidden(self):
        root = self.make(**{"tool/media/Reader.cpp": '#include "run/Batch.h"\n',
                            "tool/run/Batch.h": '#include "media/Reader.h"\n',
                            "tool/media/Reader.h": ""})
        self.assertEqual(forbidden_includes(root),
                         ["tool/media/Reader.cpp:1: tool/media must not include tool/run/Batch.h"])

    def test_an_include_of_another_product_is_forbidden(self):
        root = self.make(**{"src/Element.cpp": '#include "../codec/api/Api.h"\n',
                            "core/Log.cpp": "#include <vix/vix.h>\n#include <vector>\n",
                            "tool/run/Run.cpp": '#include "bitstream/Header.h"\n',
                            "tool/frames/Header.cpp": '# include "bitstream/Header.h"\n',
                            "codec/api/Api.h": '#include "vix/vix.h"\n',
                            "codec/bitstream/Header.h": "", "include/vix/vix.h": ""})
        self.assertEqual(len(forbidden_includes(root)), 3)

    def test_a_folder_without_a_rule_is_noticed(self):
        root = self.make(**{"codec/misc/Bits.h": ""})
        self.assertEqual(forbidden_includes(root),
                         ["codec/misc/Bits.h: no rule for this folder"])

    def test_a_cycle_through_a_third_folder_is_found(self):
        root = self.make(**{"tool/a/A.h": '#include "b/B.h"\n',
                            "tool/b/B.h": '#include "c/C.h"\n',
                            "tool/c/C.h": '#include "a/A.h"\n',
                            "tool/base/D.h": "", "tool/run/E.h": '#include "base/D.h"\n'})
        self.assertEqual(folder_cycles(root), [("tool/a", "tool/b", "tool/c")])

    def test_a_long_file_is_found(self):
        root = self.make(**{"core/Long.cpp": "\n" * (MOST_LINES + 1),
                            "core/Short.cpp": "\n" * MOST_LINES})
        self.assertEqual(long_files(root), [f"core/Long.cpp: {MOST_LINES + 1} lines"])


if __name__ == "__main__":
    unittest.main()

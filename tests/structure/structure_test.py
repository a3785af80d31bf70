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
    "core": ["include"],
    "codec": ["include", "codec"],
    "tool": ["include", "tool", "codec"],
}


def layers(*folders):
    """Each folder may include itself and all that follow it."""
    return {folder: folders[index:] for index, folder in enumerate(folders)}


CODEC = layers("codec/api", "codec/encode", "codec/decode", "codec/pixel", "codec/bitstream",
               "codec/parallel", "codec/cpu")
TOOL = layers("tool/cli", "tool/report", "tool/check", "tool/run", "tool/recovery", "tool/media",
              "tool/frames", "tool/format", "tool/base")

# What each folder may include. The longest name that is a prefix of a file's folder counts.
ALLOWED = {
    "include/vix": ["include/vix"],
    "include/ProRes": ["include/ProRes"],
    "src": ["src", "include"],
    "core": ["core", "include"],
    **{folder: [*below, "include/ProRes"] for folder, below in CODEC.items()},
    **{folder: [*below, "include"] for folder, below in TOOL.items()},
    "tool": ["tool", "include"],
}
ALLOWED["tool/frames"].append("codec/bitstream")


def is_within(folder, parents):
    return any(folder == parent or folder.startswith(parent + "/") for parent in parents)


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
        folder = source.parent.as_posix()
        rule = max((name for name in ALLOWED if is_within(folder, [name])), key=len, default=None)
        if rule is None:
            problems.append(f"{source}: no rule for the folder {folder}")
            continue
        for number, target in included_files(root, source):
            if not is_within(target.parent.as_posix(), ALLOWED[rule]):
                problems.append(f"{source}:{number}: {rule} must not include {target}")
    return problems


def folder_cycles(root):
    """Returns the groups of folders that include each other, directly or through others."""
    reached = {}
    for source in sources(root):
        edges = reached.setdefault(source.parent.as_posix(), set())
        edges.update(target.parent.as_posix() for _, target in included_files(root, source))
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
                         ["codec/misc/Bits.h: no rule for the folder codec/misc"])

    def test_a_cycle_through_a_third_folder_is_found(self):
        root = self.make(**{"tool/media/a/A.h": '#include "media/b/B.h"\n',
                            "tool/media/b/B.h": '#include "media/c/C.h"\n',
                            "tool/media/c/C.h": '#include "media/a/A.h"\n',
                            "tool/base/D.h": "", "tool/run/E.h": '#include "base/D.h"\n'})
        self.assertEqual(folder_cycles(root), [("tool/media/a", "tool/media/b", "tool/media/c")])

    def test_a_long_file_is_found(self):
        root = self.make(**{"core/Long.cpp": "\n" * (MOST_LINES + 1),
                            "core/Short.cpp": "\n" * MOST_LINES})
        self.assertEqual(long_files(root), [f"core/Long.cpp: {MOST_LINES + 1} lines"])


if __name__ == "__main__":
    unittest.main()

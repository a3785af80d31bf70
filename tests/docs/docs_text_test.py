# SPDX-License-Identifier: BSD-2-Clause
"""Code and links in documents."""
import re
import unittest

from documents import DOCUMENTS, ROOT, blocks


def without_spaces(text):
    return re.sub(r"\s+", "", text)


def anchor(heading):
    """Returns the link target of a heading."""
    return re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")


class Documents(unittest.TestCase):
    def test_code_of_the_host_guide_comes_from_the_examples(self):
        examples = without_spaces("".join(
            path.read_text() for path in sorted(ROOT.glob("examples/*/*")) if path.is_file()))
        guide = ROOT / "docs/host-guide.md"
        shown = [block for language in ("c", "cpp", "cmake") for block in blocks(guide, language)]
        self.assertGreater(len(shown), 10)
        for line, block in shown:
            with self.subTest(line=line):
                self.assertIn(without_spaces(block), examples)

    def test_links_have_targets(self):
        for document in DOCUMENTS:
            text = re.sub(r"(?ms)^```.*?^```$", "", document.read_text())
            for target in re.findall(r"\]\(([^)\s]+)\)", text):
                with self.subTest(document=document.name, target=target):
                    if re.match(r"https?:", target):
                        continue
                    path, _, section = target.partition("#")
                    file = document.parent / path if path else document
                    self.assertTrue(file.exists())
                    if section:
                        headings = re.findall(r"(?m)^#+ (.*)$", file.read_text())
                        self.assertIn(section, map(anchor, headings))

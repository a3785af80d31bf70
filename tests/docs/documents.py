# SPDX-License-Identifier: BSD-2-Clause
"""The documents of the project and their blocks of code."""
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])


def blocks(document, language):
    """Yields (line number, text) of every block of code in that language."""
    text = document.read_text()
    for block in re.finditer(r"(?ms)^```(\w+)\n(.*?)^```$", text):
        if block[1] == language:
            yield text.count("\n", 0, block.start()) + 1, block[2]

# SPDX-License-Identifier: BSD-2-Clause
"""Writes the measured figures into the pages on quality and draws docs/quality.svg.

Replaces the text between the marks of a page; the rest of it is written by hand.
"""

import re

import generations
import goals
import tables
from drawing import COLOURS, pyplot, save
from material import VARIANTS
from pictures import PEERS, STEPS

EVERYTHING = dict.fromkeys(STEPS, list(VARIANTS))
DRAWN = [*goals.NATURAL, "synthetic_1080p"]


def machine(results):
    where = results["machine"]
    return [f"{where['processor']}, {where['processors']} processors, {where['system']}, "
            f"{where['peer']}, {where['date']}."]  # fmt: skip


PAGES = {
    "quality.md": {"machine": machine, "goals": goals.summary},
    "quality-tables.md": {"clips": tables.main_table, "generations": generations.table},
}


def rewritten(text, parts, results):
    for name, lines_of in parts.items():
        marked = re.compile(rf"(<!-- measured: {name} -->\n).*?(<!-- end -->)", re.DOTALL)
        lines = "\n".join(["", *lines_of(results), "", ""])
        text, found = marked.subn(lambda marks: marks[1] + lines + marks[2], text)
        if found != 1:
            raise SystemExit(f"quality: the page has {found} places for {name}, not one")
    return text


def draw_clip(axes, clip, results):
    own = [tables.middle(result["frames"]) for result in results["clips"][clip].values()]
    for peer, colour in zip(PEERS, COLOURS[1:]):
        points = [(size / 1000, value) for size, value in sorted(results["curves"][clip][peer])]
        axes.plot(*zip(*points), "o-", color=colour, markersize=3, linewidth=1, label=peer)
    axes.plot([size / 1000 for size, _ in own], [value for _, value in own], "o-",
              color=COLOURS[0], linewidth=2, label="vixprores")  # fmt: skip
    for (size, value), variant in zip(own, VARIANTS):
        axes.annotate(variant, (size / 1000, value), (-4, 5), textcoords="offset points",
                      ha="right", fontsize=7)  # fmt: skip
    sizes, values = zip(*own)
    axes.set_xscale("log")
    axes.set_xlim(min(sizes) / 1000 * 0.8, max(sizes) / 1000 * 1.25)
    axes.set_ylim(min(values) - 6, max(values) + 2)
    axes.set_xticks([size / 1000 for size in sizes], [f"{size / 1000:.0f}" for size in sizes])
    axes.minorticks_off()
    axes.set_xlabel("kB per frame")
    axes.set_ylabel("PSNR-Y, dB")
    axes.set_title(clip)
    axes.legend(fontsize=7, loc="lower right")


def draw(results, path):
    figure, axes = pyplot.subplots(3, 2, figsize=(10, 12))
    for place, clip in zip(axes.flat, DRAWN):
        draw_clip(place, clip, results)
    save(figure, path)


def write(results, folder):
    if {of: list(variants) for of, variants in results["clips"].items()} != EVERYTHING:
        raise SystemExit("quality: the page wants results of every clip and variant")
    for name, parts in PAGES.items():
        page = folder / name
        page.write_text(rewritten(page.read_text(), parts, results))
    draw(results, folder / "quality.svg")

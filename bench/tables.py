# SPDX-License-Identifier: BSD-2-Clause
"""Tables of quality results."""

from statistics import mean

import clips
import pictures
from curves import VALUES

# Published rates in Mb/s at 25 frames per second, by picture height.
RATES = {
    576: {"proxy": 12, "lt": 28, "422": 41, "hq": 61},
    1080: {"proxy": 38, "lt": 85, "422": 122, "hq": 184},
    2160: {"proxy": 151, "lt": 342, "422": 492, "hq": 737},
}


def target(clip, variant):
    """Returns the bytes of a frame at the published rate."""
    return RATES[clips.CLIPS[clip].height][variant] * 1e6 / 8 / 25


def known(values):
    return [value for value in values if value is not None]


def best_peer(frame, name):
    """Returns the gain over the best of the peers."""
    return min(known(gain[name] for gain in frame["gains"].values()), default=None)


def gain_over(peer, name):
    return lambda frame: frame["gains"][peer][name]


def middle(frames):
    """Returns mean bytes and mean PSNR-Y of the frames of a setting."""
    return mean(frame["bytes"] for frame in frames), mean(frame["y"] for frame in frames)


def curves(points):
    """Returns the points of each peer's curve."""
    return {
        peer: [middle(frames) for frames in settings] for peer, settings in points.items()
    }


def shown(function, values, form):
    values = known(values)
    return f"{function(values):{form}}" if values else "-"


def plain(name, form):
    return lambda clip, variant, result: shown(mean, [f[name] for f in result["frames"]], form)


def gained(function, gain, form="+.2f"):
    return lambda clip, variant, result: shown(
        function, [gain(frame) for frame in result["frames"]], form)  # fmt: skip


def share(function):
    return lambda clip, variant, result: (
        f"{function(result['sizes']) / target(clip, variant) * 100:.1f}"
    )


COLUMNS = {
    "clip": lambda clip, variant, result: clip,
    "variant": lambda clip, variant, result: variant,
    "kB mean": lambda clip, variant, result: f"{mean(result['sizes']) / 1000:.1f}",
    "max": lambda clip, variant, result: f"{max(result['sizes']) / 1000:.1f}",
    "% of target min": share(min),
    "% max": share(max),
    "Y": plain("y", ".2f"),
    "U": plain("u", ".2f"),
    "V": plain("v", ".2f"),
    "SSIM": plain("ssim", ".5f"),
    "over ks": gained(mean, gain_over("ks profiles", "y")),
    "over ks q": gained(mean, gain_over("ks quantiser", "y")),
    "over aw": gained(mean, gain_over("aw profiles", "y")),
    "over best": gained(mean, lambda frame: best_peer(frame, "y")),
    "worst": gained(min, lambda frame: best_peer(frame, "y")),
    "SSIM worst": gained(min, lambda frame: best_peer(frame, "ssim"), "+.5f"),
    "U ks": gained(mean, gain_over("ks profiles", "u")),
    "U worst": gained(min, gain_over("ks profiles", "u")),
    "V ks": gained(mean, gain_over("ks profiles", "v")),
    "V worst": gained(min, gain_over("ks profiles", "v")),
}


def as_table(rows):
    """Returns the lines of a table with aligned columns; the first row is its heading."""
    widths = [max(len(cell) for cell in column) for column in zip(*rows)]
    lines = ["| " + " | ".join(c.ljust(w) for c, w in zip(row, widths)) + " |" for row in rows]
    return [lines[0], "|" + "|".join("-" * (w + 2) for w in widths) + "|", *lines[1:]]


def results_of(results):
    for clip, variants in results["clips"].items():
        for variant, result in variants.items():
            yield clip, variant, result


def main_table(results):
    rows = [[cell(*of) for cell in COLUMNS.values()] for of in results_of(results)]
    return as_table([list(COLUMNS), *rows])


def frame_table(results):
    """Returns a table of every compared frame: bytes, values, and luma gain over each peer."""
    rows = [["clip", "variant", "frame", "bytes", "Y", "U", "V", "SSIM",
             *(f"over {peer}" for peer in pictures.PEERS), "SSIM over best"]]  # fmt: skip
    for clip, variant, result in results_of(results):
        for frame in result["frames"]:
            rows.append([
                clip, variant, str(frame["frame"]), str(frame["bytes"]),
                *(f"{frame[c]:.2f}" for c in "yuv"), f"{frame['ssim']:.5f}",
                *(shown(min, [gain["y"]], "+.2f") for gain in frame["gains"].values()),
                shown(min, [best_peer(frame, "ssim")], "+.5f"),
            ])  # fmt: skip
    return as_table(rows)


def difference_table(results, old):
    """Returns a table of changes since older results, over the frames that both contain."""
    rows = [["clip", "variant", "bytes %", "Y", "Y worst", "U", "V", "SSIM"]]
    for clip, variant, result in results_of(results):
        was_measured = old["clips"].get(clip, {}).get(variant, {"frames": []})["frames"]
        before = {frame["frame"]: frame for frame in was_measured}
        pairs = [(f, before[f["frame"]]) for f in result["frames"] if f["frame"] in before]
        if not pairs:
            continue
        change = {name: [new[name] - was[name] for new, was in pairs] for name in VALUES}
        size = sum(new["bytes"] for new, _ in pairs) / sum(was["bytes"] for _, was in pairs)
        rows.append([
            clip, variant, f"{(size - 1) * 100:+.2f}", f"{mean(change['y']):+.3f}",
            f"{min(change['y']):+.3f}", f"{mean(change['u']):+.3f}", f"{mean(change['v']):+.3f}",
            f"{mean(change['ssim']):+.6f}",
        ])  # fmt: skip
    return as_table(rows)

# SPDX-License-Identifier: BSD-2-Clause
"""What the drawings of all measurements share."""

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "performance", "font.size": 9, "axes.grid": True,
                            "axes.axisbelow": True, "grid.alpha": 0.3})  # fmt: skip
from matplotlib import pyplot  # noqa: E402  (after the choice of what draws)

COLOURS = ["#3b6ea5", "#d98532", "#5a9e6f", "#a45a8c", "#c2b04a", "#9a9a9a"]


def save(figure, path):
    """The same bytes for the same figures."""
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)

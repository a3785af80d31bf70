# SPDX-License-Identifier: BSD-2-Clause
"""Settings and helpers of all charts."""

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams.update({"svg.hashsalt": "performance", "font.size": 9, "axes.grid": True,
                            "axes.axisbelow": True, "grid.alpha": 0.3})  # fmt: skip
from matplotlib import pyplot  # noqa: E402  (after the backend was chosen)

COLOURS = ["#3b6ea5", "#d98532", "#5a9e6f", "#a45a8c", "#c2b04a", "#9a9a9a"]


def save(figure, path):
    """Writes the same bytes for the same figures."""
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
    pyplot.close(figure)

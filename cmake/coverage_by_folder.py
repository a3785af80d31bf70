# SPDX-License-Identifier: BSD-2-Clause
"""Prints line coverage of each library, and fails if it is below the project's minimum."""
import collections
import json
import sys

MINIMUM = {"src": 95.0, "core": 95.0, "codec": 90.0}

lines = collections.defaultdict(lambda: [0, 0])
for file in json.load(open(sys.argv[1]))["files"]:
    folder = lines[file["filename"].split("/")[0]]
    folder[0] += file["line_covered"]
    folder[1] += file["line_total"]

low = False
for name, minimum in MINIMUM.items():
    covered, total = lines[name]
    share = 100.0 * covered / total if total else 0.0
    print(f"{name + '/':8} {covered:6} of {total:6} lines  {share:5.1f} %  (minimum: {minimum:.0f} %)")
    low |= share < minimum
sys.exit(low)

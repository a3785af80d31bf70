# SPDX-License-Identifier: BSD-2-Clause
"""Prints the coverage of each library, and fails if it is below the project's minimum."""
import collections
import json
import sys

# Per cent of lines and of branches.
MINIMUM = {"src": (99, 95), "core": (98, 90), "codec": (97, 90)}

PLURAL = {"line": "lines", "branch": "branches"}

counts = collections.defaultdict(collections.Counter)
for file in json.load(open(sys.argv[1]))["files"]:
    for kind in PLURAL:
        for count in (f"{kind}_covered", f"{kind}_total"):
            counts[file["filename"].split("/")[0]][count] += file[count]

low = False
for name, minima in MINIMUM.items():
    for kind, minimum in zip(PLURAL, minima):
        covered, total = counts[name][f"{kind}_covered"], counts[name][f"{kind}_total"]
        share = 100.0 * covered / total if total else 0.0
        print(f"{name + '/':8} {covered:6} of {total:6} {PLURAL[kind]:9} {share:5.1f} %  (minimum: {minimum} %)")
        low |= share < minimum
sys.exit(low)

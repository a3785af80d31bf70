#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Runs a fuzz target on its seeds and on inputs made from them, the same ones each time.

usage: replay.py PROGRAM SEEDS FOLDER [INPUTS]

libFuzzer's own search depends on addresses and times. Inputs that break the target are kept in the
FOLDER.
"""

import pathlib
import random
import shutil
import subprocess
import sys

INPUTS = 3000
MOST_EDITS = 4
EXTREMES = (0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF)


def flip_bit(data, _, choice):
    data[choice.randrange(len(data))] ^= 1 << choice.randrange(8)


def set_byte(data, _, choice):
    data[choice.randrange(len(data))] = choice.randrange(256)


def set_extreme(data, _, choice):
    value = choice.choice(EXTREMES)
    size = 1 if value <= 0xFF else 2 if value <= 0xFFFF else 4
    place = choice.randrange(len(data))
    data[place : place + size] = value.to_bytes(size, choice.choice(("big", "little")))


def some_range(data, choice):
    begin = choice.randrange(len(data))
    return begin, begin + min(choice.randrange(1, len(data) + 1), choice.choice((4, 64, 4096)))


def remove_range(data, _, choice):
    begin, end = some_range(data, choice)
    del data[begin:end]


def repeat_range(data, _, choice):
    begin, end = some_range(data, choice)
    data[begin:begin] = data[begin:end]


def copy_other(data, seeds, choice):
    other = choice.choice(seeds)
    begin, end = some_range(other, choice)
    place = choice.randrange(len(data))
    data[place : place + end - begin] = other[begin:end]


def cut_end(data, _, choice):
    del data[choice.randrange(len(data)) :]


EDITS = (flip_bit, set_byte, set_extreme, remove_range, repeat_range, copy_other, cut_end)


def inputs_from(seeds, count):
    choice = random.Random(1)
    for _ in range(count):
        data = bytearray(choice.choice(seeds))
        for _ in range(choice.randint(1, MOST_EDITS)):
            if data:
                choice.choice(EDITS)(data, seeds, choice)
        yield data


def main():
    program, seeds, folder = map(pathlib.Path, sys.argv[1:4])
    count = int(sys.argv[4]) if len(sys.argv) > 4 else INPUTS
    made = folder / "inputs"
    shutil.rmtree(folder, ignore_errors=True)
    made.mkdir(parents=True)
    contents = [path.read_bytes() for path in sorted(seeds.iterdir())]
    for number, data in enumerate(inputs_from([data for data in contents if data], count)):
        (made / str(number)).write_bytes(data)
    limits = (pathlib.Path(__file__).parent / "limits").read_text().split()
    sys.exit(subprocess.run([program, "-runs=0", "-entropic=0", *limits, f"-artifact_prefix={folder}/", made, seeds],
                            check=False).returncode)  # fmt: skip


if __name__ == "__main__":
    main()

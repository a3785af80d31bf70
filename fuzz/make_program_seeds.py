#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""Writes the seeds of the targets that read files of the program and of other programs.

usage: make_program_seeds.py VIXPRORES CORPUS

Needs ffmpeg. Replaces the seeds of the targets in TARGETS below.
"""

import pathlib
import random
import subprocess
import sys
import tempfile

MARK = b"\xf7vixpkt\x1a"
TAG_BYTES = 48


class Clips:
    """Small files, made once by name."""

    def __init__(self, program, folder):
        self.program, self.folder = program, folder

    def run(self, *command):
        subprocess.run(list(map(str, command)), check=True, stderr=subprocess.DEVNULL, cwd=self.folder)

    def ffmpeg(self, *arguments):
        self.run("ffmpeg", "-v", "error", "-y", *arguments, "-flags", "+bitexact", "-fflags", "+bitexact",
                 arguments[-1])  # fmt: skip

    def source(self, name, size="16x16", frames=2, sound=("pcm_s16le",), rate=48000):
        inputs = ["-f", "lavfi", "-i", f"testsrc=size={size}:rate=25"]
        for _ in sound:
            inputs += ["-f", "lavfi", "-i", f"sine=sample_rate={rate}:duration={frames / 25}"]
        maps = [word for i in range(len(sound) + 1) for word in ("-map", str(i))]
        codecs = [word for i, codec in enumerate(sound) for word in (f"-c:a:{i}", codec)]
        self.run("ffmpeg", "-v", "error", "-y", *inputs, *maps, "-frames:v", frames, "-c:v", "ffv1",
                 *codecs, "-pix_fmt", "yuv422p10", "-metadata", "title=A title", name)  # fmt: skip
        return name

    def encode(self, source, name, *options):
        self.run(self.program, "encode", "--overwrite", *options, source, name)
        return self.read(name)

    def read(self, name):
        return (self.folder / name).read_bytes()


def without_index(movie):
    """Returns a .mov as a killed run leaves it."""
    return movie[: movie.rindex(b"moov") - 4]


def frames_of(movie):
    """Returns the frames of a .mov of this program."""
    place, frames = movie.find(MARK), []
    while place >= 0:
        size = int.from_bytes(movie[place + 12 : place + 16], "big")
        packet = movie[place + TAG_BYTES : place + TAG_BYTES + size]
        if packet[4:8] == b"icpf":
            frames.append(packet)
        place = movie.find(MARK, place + TAG_BYTES + size)
    return frames


def tags_only(movie):
    """Returns the tags with the first bytes of each packet."""
    parts = movie.split(MARK)
    return b"".join(MARK + part[: TAG_BYTES + 8] for part in parts[1:])


def make_packet_tags(clips):
    plain = tags_only(clips.encode(clips.source("plain.mkv"), "plain.mov"))
    return {"repaired": b"\0\0" + plain, "own_sizes": b"\x55\x55" + plain, "damaged": b"\xaa\xaa" + plain,
            "as_they_are": b"\xff\xff" + plain, "between_bytes": b"\x1b\x1b" + b"bytes".join(
                MARK + part for part in plain.split(MARK)[1:])}  # fmt: skip


def make_recovery(clips):
    whole = clips.encode(clips.source("plain.mkv", sound=("pcm_s16le", "aac"), rate=8000), "tagged.mov",
                         "--timecode", "10:00:00:00", "--reel", "A001")  # fmt: skip
    silent = clips.encode(clips.source("silent.mkv", frames=3, sound=()), "silent.mov")
    return {
        "whole": b"\xff\xff" + whole,
        "without_index": b"\xff\xff" + without_index(whole),
        "repaired": b"\0\0" + without_index(whole),
        "own_sizes": b"\x55\x55" + whole,
        "silent": b"\xff\xff" + silent,
        "damaged_packets": b"\xaa\xab" + without_index(silent),
    }


def make_frame_scanner(clips):
    small = frames_of(clips.encode(clips.source("silent.mkv", frames=3, sound=()), "silent.mov"))
    wide = clips.source("wide.mkv", size="34x18", sound=())
    other = frames_of(clips.encode(wide, "wide.mov", "--fields", "top"))
    damaged = bytearray(small[1])
    damaged[8 + 148] ^= 0xFF
    return {"frames": b"\0" + b"".join(small), "two_streams": b"\1" + b"".join(small[:2] + other),
            "between_bytes": b"\0junkicpf" + b"junk".join(small) + b"icpf",
            "damaged": b"\0" + small[0] + bytes(damaged) + small[2],
            "truncated": b"\1" + b"".join(other)[:-20],
            "padded": b"\0" + b"".join(frame[:3] + bytes([frame[3] + 9]) + frame[4:] + bytes(9)
                                       for frame in small if frame[3] < 240)}  # fmt: skip


def make_commands(clips):
    """Returns a file for each line of the target, which the first byte selects."""
    tagged = clips.encode(clips.source("plain.mkv", rate=8000), "small.mov")
    matroska = clips.encode("plain.mkv", "small.mkv")
    clips.ffmpeg("-i", "small.mov", "-c", "copy", "small.avi")
    files = {"mov": tagged, "mkv": matroska, "avi": clips.read("small.avi")[:5000]}
    return {f"{kind}_{line}": bytes((line, 255, 255)) + data
            for kind, data in files.items()
            for line in ((0, 3, 4, 8, 9, 10, 11, 13, 14) if kind == "mov" else (0, 6))}  # fmt: skip


def make_container(clips):
    tagged = clips.encode(clips.source("plain.mkv", rate=8000), "read.mov")
    matroska = clips.encode("plain.mkv", "read.mkv")
    clips.ffmpeg("-i", "plain.mkv", "-vn", "-c", "copy", "read.wav")
    mxf = clips.encode(clips.source("fields.mkv", sound=()), "read.mxf")
    change = b"".join(number.to_bytes(8, "big") for number in (2, 2, 2)) + b"23xy"
    journal = b"vixundo\1" + (10).to_bytes(8, "big") + (1).to_bytes(8, "big") + change + bytes(8)
    return {
        "mov": b"\0\0" + tagged,
        "mov_in_place": b"\0\x0e" + tagged,
        "mov_part": b"\0\x38" + tagged,
        "matroska": b"\0\0" + matroska,
        "mxf": b"\0\0" + mxf[:9000],
        "wave": b"\1" + clips.read("read.wav")[:1500],
        "atoms": b"\2" + tagged,
        "vendor": b"\3\0\0\0" + tagged,
        "media_end": b"\3\1\0\x60" + tagged[:3000],
        "languages": b"\3\2\0\0" + tagged,
        "mxf_fields": b"\3\3\0\0" + mxf[:6000],
        "journal": b"\4\n01xy456789" + journal,
    }


def make_pipeline(clips):
    """Returns two files for each line of the target, which fail early and late."""
    encoded = clips.encode(clips.source("plain.mkv", rate=8000), "small.mov")
    footage = clips.read("plain.mkv")
    lines = ("encode", "decode", "copy", "recover", "verify", "compare", "conceal", "encode_4444")
    return {f"{line}_{when}": bytes((number, place, 0, number % 2))
            + (footage if line.startswith("encode") else encoded)
            for number, line in enumerate(lines) for when, place in (("early", 1), ("late", 4))}  # fmt: skip


def make_sound(_):
    choice = random.Random(5)
    seeds = {}
    for part, name in enumerate(("cut", "aligned", "converted", "joined", "resampled")):
        track = bytes((choice.choice((0, 1, 2)), 0, 1, choice.choice((0, 1)), 1))
        packets = bytes(value for _ in range(40) for value in (
            0, choice.choice((0, 1, 2, 16, 17, 18)), choice.randrange(32), choice.randrange(8)))  # fmt: skip
        seeds[name] = bytes((part,)) + track + choice.randbytes(6) + packets
        seeds[name + "_two_tracks"] = bytes((130 + part,)) + choice.randbytes(299)
    return seeds


TARGETS = {
    "Commands": make_commands,
    "Container": make_container,
    "FrameScanner": make_frame_scanner,
    "PacketTags": make_packet_tags,
    "Pipeline": make_pipeline,
    "Recovery": make_recovery,
    "Sound": make_sound,
}


def main():
    program, corpus = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    with tempfile.TemporaryDirectory() as folder:
        clips = Clips(program, pathlib.Path(folder))
        for target, make in TARGETS.items():
            (corpus / target).mkdir(parents=True, exist_ok=True)
            for name, data in make(clips).items():
                (corpus / target / name).write_bytes(data)


if __name__ == "__main__":
    main()

# SPDX-License-Identifier: BSD-2-Clause
"""Writes minimal .mov files, one video track with any samples, and reads the samples of a file."""
import json
import struct
import subprocess

from tool import TIMEOUT


def samples(path):
    """Returns the bytes of each sample of the first video track, in order."""
    data = path.read_bytes()
    return [data[position:position + size] for position, size in places(path)]


def places(path):
    """Returns position and size of each sample, as an independent program finds them."""
    result = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pos,size",
         "-of", "json", str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT)
    return [(int(packet["pos"]), int(packet["size"]))
            for packet in json.loads(result.stdout)["packets"]]


def break_slice(path, number):
    """Damages the first slice of a frame: sets a wrong size of its header."""
    data = bytearray(path.read_bytes())
    start = places(path)[number][0]
    table = start + 8 + struct.unpack_from(">H", data, start + 8)[0] + 8
    slices = struct.unpack_from(">H", data, table - 3)[0]
    data[table + 2 * slices] = 0xff
    path.write_bytes(data)


def break_header(path, number):
    """Sets the size of a frame's header to 0."""
    data = bytearray(path.read_bytes())
    start = places(path)[number][0]
    data[start + 8:start + 10] = bytes(2)
    path.write_bytes(data)


def break_picture(path, number):
    """Sets the size of the header of a frame's first picture to 0."""
    data = bytearray(path.read_bytes())
    start = places(path)[number][0]
    data[start + 8 + struct.unpack_from(">H", data, start + 8)[0]] = 0
    path.write_bytes(data)


def with_empty_slices(frame, width, height):
    """Returns a progressive frame of that size, with the header of `frame` and the smallest slices
    that can be parsed: 8 bytes for each 128x16 pixels."""
    header = bytearray(frame[:8 + struct.unpack_from(">H", frame, 8)[0]])
    struct.pack_into(">HH", header, 16, width, height)
    columns, rows = (width + 15) // 16, (height + 15) // 16
    count = rows * (columns // 8 + (columns % 8).bit_count())
    slices = _u16(6) * count + bytes([6 << 3, 2, 0, 0, 0, 0]) * count
    picture = bytes([8 << 3]) + _u32(8 + len(slices)) + _u16(count & 0xffff) + b"\x30" + slices
    return _u32(len(header) + len(picture)) + header[4:] + picture


def write(path, frames, code=b"apcn", width=128, height=96, rate=25, aspect=None):
    """Writes a file with those samples at `rate` per second; `aspect` is the width and the height
    of a pixel."""
    frames = list(frames)
    head = _atom(b"ftyp", b"qt  ", _u32(0x200), b"qt  ")
    first = len(head) + 8
    positions = [first + sum(map(len, frames[:i])) for i in range(len(frames))]
    path.write_bytes(head + _atom(b"mdat", *frames)
                     + _moov(positions, [len(frame) for frame in frames], code, width, height,
                             rate, aspect))


def write_repeated(path, frame, count, width, height):
    """Writes a file with one frame, to which an index of `count` entries leads."""
    head = _atom(b"ftyp", b"qt  ", _u32(0x200), b"qt  ")
    path.write_bytes(head + _atom(b"mdat", frame)
                     + _moov([len(head) + 8] * count, [len(frame)] * count, b"apcn", width, height,
                             25, None))


def _moov(positions, sizes, code, width, height, rate, aspect):
    count = len(sizes)
    pasp = _atom(b"pasp", _u32(aspect[0]), _u32(aspect[1])) if aspect else b""
    entry = _atom(code, bytes(6), _u16(1), bytes(16), _u16(width), _u16(height),
                  _u32(72 << 16) * 2, _u32(0), _u16(1), bytes(32), _u16(24), b"\xff\xff", pasp)
    stbl = _atom(b"stbl",
                 _full(b"stsd", _u32(1), entry),
                 _full(b"stts", _u32(1), _u32(count), _u32(1)),
                 _full(b"stsc", _u32(1), _u32(1), _u32(1), _u32(1)),
                 _full(b"stsz", _u32(0), _u32(count), *map(_u32, sizes)),
                 _full(b"stco", _u32(count), *map(_u32, positions)))
    dinf = _atom(b"dinf", _full(b"dref", _u32(1), _atom(b"url ", _u32(1))))
    minf = _atom(b"minf", _atom(b"vmhd", _u32(1), bytes(8)), dinf, stbl)
    mdia = _atom(b"mdia", _full(b"mdhd", bytes(8), _u32(rate), _u32(count), bytes(4)),
                 _full(b"hdlr", b"mhlr", b"vide", bytes(12), b"\0"), minf)
    matrix = struct.pack(">9I", 1 << 16, 0, 0, 0, 1 << 16, 0, 0, 0, 1 << 30)
    tkhd = _atom(b"tkhd", _u32(3), bytes(8), _u32(1), bytes(4), _u32(count), bytes(16), matrix,
                 _u32(width << 16), _u32(height << 16))
    mvhd = _full(b"mvhd", bytes(8), _u32(rate), _u32(count), _u32(1 << 16), _u16(256), bytes(10),
                 matrix, bytes(24), _u32(2))
    return _atom(b"moov", mvhd, _atom(b"trak", tkhd, mdia))


def _atom(kind, *contents):
    data = b"".join(contents)
    return _u32(len(data) + 8) + kind + data


def _full(kind, *contents):
    """Returns an atom with version and flags, both 0."""
    return _atom(kind, bytes(4), *contents)


def _u32(value):
    return struct.pack(">I", value)


def _u16(value):
    return struct.pack(">H", value)

# SPDX-License-Identifier: BSD-2-Clause
"""Prints a hash of every frame that a codec library encodes, and of the pictures that it decodes.

    codec_bytes.py libProRes.so

Two builds of the library, from any compilers, must print the same. The pictures come from integer
arithmetic alone, so that they are the same everywhere."""
import ctypes
import hashlib
import itertools
import os
import sys

VARIANTS = ("apco", "apcs", "apcn", "apch")
MODES = {"progressive": 0, "interlaced": 1}
SIZES = ((2, 2), (50, 34), (131, 97), (720, 486))
LEVELS = ("scalar", "sse4", "avx2", "avx512")  # levels that the processor lacks fall back


class EncodeParams(ctypes.Structure):
    _fields_ = [("codec_type", ctypes.c_uint32), ("interlace_mode", ctypes.c_uint32)]


class PixelBuffer(ctypes.Structure):
    _fields_ = [("base_address", ctypes.c_void_p), ("row_bytes", ctypes.c_uint32),
                ("pixel_format", ctypes.c_uint32), ("width", ctypes.c_uint32),
                ("height", ctypes.c_uint32)]


def code(text):
    return int.from_bytes(text.encode(), "big")


def noise(count, seed):
    """Bytes of a linear congruential generator."""
    values, state = bytearray(count), seed
    for i in range(count):
        state = (state * 1103515245 + 12345) & 0x7FFFFFFF
        values[i] = state >> 16 & 255
    return values


def picture(content, pixel_format, width, height):
    """Returns the packed rows and the bytes of a row."""
    if pixel_format == "2vuy":
        row_bytes = (width + 1) // 2 * 4
    else:
        row_bytes = (width + 47) // 48 * 128
    if content == "noise":
        return noise(row_bytes * height, width + height), row_bytes
    grain = noise(4096, height)
    rows = bytearray()
    for y in range(height):
        # Ramps across and down with a little grain, a triangle wave as detail.
        samples = [16 + (x + 2 * y) % 160 + abs((x * y // 7) % 32 - 16) + grain[(x + 61 * y) % 4096] % 4
                   for x in range(row_bytes)]
        if pixel_format == "2vuy":
            rows += bytes(samples)
        else:
            for x in range(row_bytes // 4):
                first, second, third = samples[3 * x % row_bytes:][:3] or samples[:3]
                word = first << 2 | second << 12 | (third << 22)
                rows += word.to_bytes(4, "little")
    return rows, row_bytes


class Codec:
    def __init__(self, path):
        self.library = ctypes.CDLL(path)
        self.library.WPROpenEncoder.restype = ctypes.c_void_p
        self.library.WPROpenDecoder.restype = ctypes.c_void_p

    def encode(self, variant, mode, buffer):
        """Returns the result code and the frame."""
        most = ctypes.c_uint32()
        self.library.WPRGetCompressedFrameSize(code(variant), buffer.width, buffer.height,
                                               ctypes.byref(most), None)
        frame, size = (ctypes.c_uint8 * most.value)(), ctypes.c_uint32()
        encoder = ctypes.c_void_p(self.library.WPROpenEncoder(2, None))
        params = EncodeParams(code(variant), mode)
        result = self.library.WPREncodeFrame(encoder, ctypes.byref(params), ctypes.byref(buffer),
                                             frame, most, ctypes.byref(size))
        self.library.WPRCloseEncoder(encoder)
        return result, bytes(frame[:size.value])

    def decode(self, frame, pixel_format, width, height, row_bytes):
        """Returns the result code and the picture's bytes."""
        pixels = (ctypes.c_uint8 * (row_bytes * height))()
        buffer = PixelBuffer(ctypes.addressof(pixels), row_bytes, code(pixel_format), width, height)
        decoder = ctypes.c_void_p(self.library.WPROpenDecoder(2, None))
        result = self.library.WPRDecodeFrame(decoder, frame, len(frame), ctypes.byref(buffer), 0)
        self.library.WPRCloseDecoder(decoder)
        return result, bytes(pixels)


def digest(data):
    return hashlib.sha256(data).hexdigest()[:32]


def main():
    codec = Codec(sys.argv[1])
    for content, pixel_format, (width, height) in itertools.product(
            ("noise", "ramps"), ("2vuy", "v210"), SIZES):
        rows, row_bytes = picture(content, pixel_format, width, height)
        pixels = (ctypes.c_uint8 * len(rows)).from_buffer(rows)
        buffer = PixelBuffer(ctypes.addressof(pixels), row_bytes, code(pixel_format), width, height)
        for level, variant, (mode_name, mode) in itertools.product(LEVELS, VARIANTS, MODES.items()):
            os.environ["VIX_PRORES_CPU"] = level  # read when a handle is opened
            result, frame = codec.encode(variant, mode, buffer)
            outcome = [result]
            if result == 0:
                result, decoded = codec.decode(frame, pixel_format, width, height, row_bytes)
                outcome += [len(frame), digest(frame), result, digest(decoded)]
            print(content, pixel_format, f"{width}x{height}", variant, mode_name, level, *outcome)


if __name__ == "__main__":
    main()

# SPDX-License-Identifier: BSD-2-Clause
"""Frames without the prefix of size and 'icpf', one frame or one field in a sample: they decode to
the same pictures as the frames with the prefix."""
import json
import struct

import mini_mov
from tool import ToolTest, make_v210, run

FRAMES = 6


def fields(frame):
    """Returns the two bare fields of a standard interlaced frame: each has the frame header and one
    picture."""
    bare = frame[8:]
    header_bytes = struct.unpack_from(">H", bare)[0]
    header, pictures = bare[:header_bytes], bare[header_bytes:]
    first_bytes = struct.unpack_from(">I", pictures, 1)[0]
    return header + pictures[:first_bytes], header + pictures[first_bytes:]


class BareFrames(ToolTest):
    def encode(self, filters):
        make_v210(self.path("clip.mov"), filters=filters, frames=FRAMES)
        self.succeed("encode", self.path("clip.mov"), self.path("standard.mov"))
        self.succeed("decode", "--quiet", self.path("standard.mov"), self.path("standard.raw"))
        return mini_mov.samples(self.path("standard.mov"))

    def check(self, samples, note, rate="25", container_rate=25):
        mini_mov.write(self.path("bare.mov"), samples, rate=container_rate)
        result = self.succeed("decode", self.path("bare.mov"), self.path("bare.raw"))
        self.assertIn(note, result.stderr)
        self.assert_same_bytes(self.path("bare.raw").read_bytes(),
                               self.path("standard.raw").read_bytes())
        result = self.succeed("decode", "--json", "--overwrite", self.path("bare.mov"),
                              self.path("bare.raw"))
        self.assertEqual(json.loads(result.stdout)["rate"], rate)

    def test_standard_samples_are_not_noted(self):
        samples = self.encode("null")
        mini_mov.write(self.path("same.mov"), samples)
        result = self.succeed("decode", self.path("same.mov"), self.path("same.raw"))
        self.assertNotIn("icpf", result.stderr)
        self.assert_same_bytes(self.path("same.raw").read_bytes(),
                               self.path("standard.raw").read_bytes())

    def test_progressive_frames(self):
        self.check([sample[8:] for sample in self.encode("null")], "no prefix")

    def test_both_fields_in_a_sample(self):
        self.check([sample[8:] for sample in self.encode("setfield=tff")], "no prefix")

    def test_one_field_in_a_sample(self):
        samples = [field for sample in self.encode("setfield=tff") for field in fields(sample)]
        self.check(samples, "each sample is one field", container_rate=50)

    def test_one_field_in_a_sample_of_odd_rate(self):
        samples = [field for sample in self.encode("setfield=tff") for field in fields(sample)]
        self.check(samples, "25/2 frames per second", rate="25/2")

    def test_a_range_counts_frames(self):
        samples = [field for sample in self.encode("setfield=tff") for field in fields(sample)]
        mini_mov.write(self.path("bare.mov"), samples, rate=50)
        self.succeed("decode", "--frames", "2-3", self.path("bare.mov"), self.path("bare.raw"))
        whole = self.path("standard.raw").read_bytes()
        size = len(whole) // FRAMES
        self.assert_same_bytes(self.path("bare.raw").read_bytes(), whole[2 * size:4 * size])

    def test_a_lone_last_field_is_named(self):
        samples = [field for sample in self.encode("setfield=tff") for field in fields(sample)]
        mini_mov.write(self.path("bare.mov"), samples[:-1], rate=50)
        result = run("decode", self.path("bare.mov"), self.path("bare.raw"))
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, f"frame {FRAMES - 1} at byte .*: has one field only")

    def test_a_lone_field_is_named(self):
        mini_mov.write(self.path("bare.mov"), fields(self.encode("setfield=tff")[0])[:1], rate=50)
        self.fail_with(1, ["frame 0 has one field only"], "decode", self.path("bare.mov"),
                       self.path("bare.raw"))

    def test_a_missing_field_is_that_of_its_frame(self):
        samples = [field for sample in self.encode("setfield=tff") for field in fields(sample)]
        mini_mov.write(self.path("bare.mov"), samples, rate=50)
        # Far beyond the end of the file.
        data = self.path("bare.mov").read_bytes()
        place = data.index(b"stco") + 12 + 4 * 7
        self.path("bare.mov").write_bytes(data[:place] + b"\x7f" + data[place + 1:])
        result = run("decode", self.path("bare.mov"), self.path("bare.raw"))
        self.assertEqual(result.returncode, 1)
        self.assertRegex(result.stderr, "frame 3 at byte .*: lacks a field")

# SPDX-License-Identifier: BSD-2-Clause
"""verify finds and locates damage and continues after it; --scan finds frames in any bytes."""
import json
import re
import struct

import mini_mov
from sound_test import make_movie
from tool import ToolTest, ffmpeg, make_v210, run

FRAMES = 8


class VerifyTest(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded = self.path("clip.mov"), self.path("encoded.mov")
        self.make(self.encoded)

    def make(self, output, filters="null", *options):
        make_v210(self.clip, filters=filters, frames=FRAMES)
        self.succeed("encode", "--overwrite", *options, self.clip, output)

    def overwrite(self, path, position, replacement):
        data = bytearray(path.read_bytes())
        data[position:position + len(replacement)] = replacement
        path.write_bytes(data)

    def verify(self, code, *arguments):
        """Return the report of `verify --json` on the files."""
        result = run("verify", "--json", *arguments)
        self.assertEqual(result.returncode, code, result.stdout + result.stderr)
        report = json.loads(result.stdout)
        self.assertEqual(report["intact"], code == 0)
        return report["files"]

    def verify_one(self, code, *arguments):
        files = self.verify(code, *arguments)
        self.assertEqual(len(files), 1)
        return files[0]

    def damaged(self, *arguments):
        """Return the numbers of the damaged frames of one file."""
        return [frame["frame"] + i for frame in self.verify_one(1, *arguments)["damage"]
                for i in range(frame["count"])]


class Verify(VerifyTest):
    def test_intact_files(self):
        names = [self.path(name) for name in ("a.mkv", "b.mxf", "c.mov")]
        for name in names:
            self.make(name, "null" if name.suffix == ".mxf" else "setfield=tff")
        for file, name in zip(self.verify(0, *names), names):
            self.assertEqual(file, {"file": str(name), "intact": True, "frames": FRAMES,
                                    "damagedFrames": 0, "damagedSoundPackets": 0,
                                    "soundGaps": 0, "soundDamage": [], "damage": [],
                                    "indexFaults": []})
        result = self.succeed("verify", *names)
        self.assertEqual(result.stdout, "".join(f"{name}: {FRAMES} frames, intact\n"
                                                for name in names))
        self.assertEqual(self.succeed("verify", "--quiet", *names).stdout, "")

    def test_a_header_a_slice_and_the_size_field(self):
        places = mini_mov.places(self.encoded)
        self.overwrite(self.encoded, places[1][0] + 8, b"\0\0")  # size of the frame header
        # The first slice of frame 5 follows headers and a table of 6 slices.
        frame = self.encoded.read_bytes()[places[5][0]:]
        table = 8 + struct.unpack_from(">H", frame, 8)[0] + 8
        slices = struct.unpack_from(">H", frame, table - 3)[0]
        self.overwrite(self.encoded, places[5][0] + table + 2 * slices + 2, b"\xff")
        self.overwrite(self.encoded, places[7][0] + 2, b"\xff")
        file = self.verify_one(1, self.encoded)
        self.assertEqual((file["frames"], file["damagedFrames"]), (FRAMES, 3))
        header, slice_, size = file["damage"]
        self.assertEqual((header["frame"], header["offset"]), (1, places[1][0]))
        self.assertIn("frame header", header["faults"][0])
        self.assertEqual((slice_["frame"], slice_["faults"]),
                         (5, ["is not what was written: its checksum differs"]))
        self.assertEqual(slice_["slices"], [{"picture": 1, "row": 0, "slice": 0,
                                             "offsetInFrame": table + 2 * slices}])
        self.assertEqual(size["frame"], 7)
        self.assertIn("bytes, but", size["faults"][0])

        result = run("verify", self.encoded)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"frame 5 at byte {places[5][0]}: is not what was written: its checksum "
                      "differs; 1 damaged slice (picture 1 row 0 slice 0)", result.stdout)
        self.assertTrue(result.stdout.endswith(f"{FRAMES} frames, 3 damaged\n"))

    def test_damage_at_the_start(self):
        places = mini_mov.places(self.encoded)
        self.overwrite(self.encoded, places[0][0] + 4, b"junk")
        self.overwrite(self.encoded, places[1][0] + 4, b"junk")
        self.assertEqual(self.damaged(self.encoded), [0, 1])

    def test_another_size(self):
        places = mini_mov.places(self.encoded)
        self.overwrite(self.encoded, places[2][0] + 16, b"\0\x40\0\x40")
        file = self.verify_one(1, self.encoded)
        self.assertEqual([frame["frame"] for frame in file["damage"]], [2])
        self.assertIn("is 64x64", file["damage"][0]["faults"][0])

    def test_frames_of_bitstream_version_1_are_not_damaged(self):
        frames = self.path("frames")
        data = self.encoded.read_bytes()
        for place, size in mini_mov.places(self.encoded):
            frame = bytearray(data[place:place + size])
            frame[11] = 1
            with frames.open("ab") as file:
                file.write(frame)
        self.verify_one(0, "--scan", frames)

    def test_a_truncated_file(self):
        front = self.path("front.mov")
        ffmpeg("-i", self.encoded, "-c", "copy", "-movflags", "faststart", front)
        position, size = mini_mov.places(front)[5]
        front.write_bytes(front.read_bytes()[:position + size // 2])
        file = self.verify_one(1, front)
        self.assertEqual((file["frames"], file["damagedFrames"]), (FRAMES, 3))
        self.assertIn("cut short", file["damage"][0]["faults"][0])
        # Lost frames are found one by one or reported as missing.
        self.assertEqual(self.damaged(front), [5, 6, 7])

    def test_a_truncated_matroska_file(self):
        whole, cut = self.path("whole.mkv"), self.path("cut.mkv")
        make_movie(self.clip, tracks=2)
        self.succeed("encode", self.clip, whole)
        frames = self.verify_one(0, whole)["frames"]
        cut.write_bytes(whole.read_bytes()[:whole.stat().st_size // 2])
        file = self.verify_one(1, cut)
        self.assertEqual(file["frames"], frames)
        self.assertIn(f"announces {frames} frames", file["damage"][-1]["faults"][0])
        self.assertGreater(file["damagedFrames"], frames // 3)
        self.fail_with(1, ["cut.mkv", "is missing"], "decode", cut, self.path("out.mov"))

    def test_a_broken_chain_of_fragments(self):
        whole, broken = self.path("whole.mov"), self.path("broken.mov")
        self.succeed("encode", self.clip, whole)
        ffmpeg("-i", whole, "-c", "copy", "-movflags", "frag_keyframe+empty_moov",
               "-frag_duration", "40000", broken)
        self.verify_one(0, broken)
        data = broken.read_bytes()
        fragments = [found.start() for found in re.finditer(b"moof", data)]
        self.assertGreater(len(fragments), 3)
        for name, damage in (("cut", data[:data.rindex(b"mdat") + 40]),
                             ("torn", data[:fragments[2] - 4] + bytes(100) +
                              data[fragments[2] + 96:])):
            with self.subTest(name):
                broken.write_bytes(damage)
                self.assertIn("damaged or cut off from byte", self.verify_one(1, broken)["error"])
                self.fail_with(1, ["broken.mov"], "decode", broken, self.path("out.mov"))
                for policy in ("skip", "conceal"):
                    result = self.succeed("decode", "--json", "--overwrite", "--on-error", policy,
                                          broken, self.path("out.mov"))
                    *_, lost = json.loads(result.stdout)["damage"]
                    self.assertEqual((lost["count"], lost["treatment"]), (0, "left out"))
                    result = self.succeed("decode", "--overwrite", "--on-error", policy, broken,
                                          self.path("out.mov"))
                    self.assertIn(f"at byte {lost['offset']}: is lost with all frames after it: the "
                                  "file is damaged or truncated there; left out\n", result.stderr)
                    self.path("out.mov").unlink()

    def test_a_broken_place_in_the_index(self):
        mini_mov.write(self.encoded, mini_mov.samples(self.encoded))
        data = self.encoded.read_bytes()
        place = data.index(b"stco") + 12
        self.overwrite(self.encoded, place + 4 * 3, b"\x7f")  # far beyond the end
        self.overwrite(self.encoded, place + 4 * 6 + 3, bytes([data[place + 4 * 6 + 3] ^ 0x10]))
        self.assertEqual(self.damaged(self.encoded), [3, 6])
        self.overwrite(self.encoded, place, b"\x7f")
        self.assertEqual(self.damaged(self.encoded), [0, 3, 6])

    def test_a_file_that_cannot_be_read_does_not_stop_the_others(self):
        text = self.path("text.mov")
        text.write_text("This is no video.\n" * 1000)
        files = self.verify(1, text, self.clip, self.path("missing.mov"), self.encoded)
        self.assertEqual([file["intact"] for file in files], [False, False, False, True])
        self.assertIn("--scan finds frames without it", files[0]["error"])
        self.assertIn("not ProRes", files[1]["error"])
        self.assertIn("No such file", files[2]["error"])
        result = run("verify", text, self.encoded)
        self.assertIn("is not a complete mov", result.stderr)
        self.assertEqual(result.stdout, f"{text}: not verified\n"
                                        f"{self.encoded}: {FRAMES} frames, intact\n")

    def test_the_number_of_threads_does_not_matter(self):
        places = mini_mov.places(self.encoded)
        for frame in (1, 2, 6):
            self.overwrite(self.encoded, places[frame][0] + 60, b"\xff" * 40)
        reports = {run("verify", "--threads", threads, self.encoded).stdout
                   for threads in (1, 2, 5)}
        self.assertEqual(len(reports), 1)
        self.assertEqual(self.damaged(self.encoded), [1, 2, 6])

    def test_standard_input(self):
        self.make(self.path("clip.mkv"))
        with open(self.path("clip.mkv"), "rb") as pipe:
            result = self.succeed("verify", "-", stdin=pipe)
        self.assertEqual(result.stdout, f"standard input: {FRAMES} frames, intact\n")

    def test_wrong_use(self):
        self.fail_with(2, ["missing FILE"], "verify")
        self.fail_with(2, ["--rate is for --scan"], "verify", "--rate", "25", self.encoded)
        self.fail_with(2, ["--rate is for --scan"], "decode", "--rate", "25", self.encoded,
                       self.path("out.raw"))


class Index(VerifyTest):
    """Damage to the index, which locates the frames and the other tracks."""

    def setUp(self):
        super().setUp()
        make_movie(self.clip, "-timecode", "10:00:00:00", "-metadata", "title=A title", tracks=2)
        self.succeed("encode", "--overwrite", self.clip, self.encoded)
        data = self.encoded.read_bytes()
        self.index = data.rindex(b"moov")
        self.packets = [data.count(tag(track)) for track in range(4)]

    def places(self, kind):
        """Return the places of the atoms of one kind: video, sound, sound, timecode."""
        data = self.encoded.read_bytes()
        places, position = [], self.index
        while (position := data.find(kind, position + 1)) >= 0:
            places.append(position)
        return places

    def faults(self):
        """Return the faults of the index; nothing else is damaged, and recovery repairs it."""
        file = self.verify_one(1, self.encoded)
        result = run("verify", self.encoded)
        self.assertEqual(result.returncode, 1)
        for fault in file["indexFaults"]:
            self.assertIn(f"{self.encoded}: index: {fault}; 'vixprores recover' makes a file with "
                          "a whole one\n", result.stdout)
        self.assertRegex(result.stdout, r"2[05] frames, 0 damaged, index damaged\n$")
        recovered = self.path("recovered.mov")
        self.succeed("recover", "--overwrite", self.encoded, recovered)
        self.assertEqual(self.verify_one(0, recovered)["indexFaults"], [])
        return file["indexFaults"]

    def test_lost_tracks(self):
        tracks = self.places(b"trak")
        self.overwrite(self.encoded, tracks[1], b"junk")
        self.assertEqual(self.faults(),
                         [f"lacks sound track 1: {self.packets[2]} packets"])
        self.overwrite(self.encoded, tracks[2], b"junk")
        self.assertEqual(self.faults(), [f"lacks sound track {number}: {count} packets"
                                         for number, count in enumerate(self.packets[2:], 1)])

    def test_redirected_input(self):
        with open(self.encoded, "rb") as whole:
            self.succeed("verify", "-", stdin=whole)
        self.overwrite(self.encoded, self.places(b"trak")[1], b"junk")
        with open(self.encoded, "rb") as broken:
            result = run("verify", "-", stdin=broken)
        self.assertEqual(result.returncode, 1)
        self.assertIn("standard input: index: lacks sound track 1", result.stdout)

    def test_a_lost_timecode(self):
        for damage in ("tmcd", "place"):
            with self.subTest(damage):
                self.succeed("encode", "--overwrite", self.clip, self.encoded)
                if damage == "place":
                    self.overwrite(self.encoded, self.places(b"stco")[3] + 12, b"\0\0\0\1")
                else:
                    for place in self.places(b"tmcd"):
                        self.overwrite(self.encoded, place, b"junk")
                fault, = self.faults()
                self.assertRegex(fault, "^has (no timecode|the timecode [0-9:;]+) where "
                                        "10:00:00:00 was written$")
                notes = self.succeed("decode", "--overwrite", self.encoded,
                                     self.path("decoded.mov")).stderr
                self.assertIn(f"{self.encoded}: index: {fault}; 'vixprores recover'", notes)

    def test_places_of_sound(self):
        place = self.places(b"stco")[2] + 12 + 4 * 3
        self.overwrite(self.encoded, place, b"\0\0\1\0")
        count = self.packets[3]
        self.assertEqual(self.faults(),
                         [f"leads to {count - 1} of {count} packets of sound track 2"])

    def test_fewer_packets_than_were_written(self):
        place = self.places(b"stsz")[0] + 12
        self.overwrite(self.encoded, place, struct.pack(">I", 20))
        self.assertEqual(self.faults(), ["leads to 20 of 25 packets of the video track"])

    def test_times_of_sound(self):
        place = self.places(b"stts")[1]
        self.overwrite(self.encoded, place + 19, b"\2")  # ticks of a sample, for 1
        fault, = self.faults()
        self.assertRegex(fault, "^(leads to|has another time for) .* of sound track 1$")

    def test_the_start_of_sound(self):
        place = self.places(b"elst")[1] + 12  # its duration and its start
        self.overwrite(self.encoded, place + 4, struct.pack(">I", 4800))
        fault, = self.faults()
        self.assertRegex(fault, "^(leads to|has another time for) .* of sound track 1$")

    def test_the_description_of_sound(self):
        place = self.places(b"in24")[0]
        self.overwrite(self.encoded, place, b"sowt")
        fault = self.faults()[-1]
        self.assertRegex(fault, "^describes sound track 1 as .* where pcm_s24le, 48000 Hz, 1 "
                                "channel was written$")

    def test_a_lost_title(self):
        self.overwrite(self.encoded, self.places(b"A title")[0], b"B")
        self.assertEqual(self.faults(), ["lacks the title 'A title'"])
        page = self.path("page.html")
        self.assertEqual(run("verify", "--html", page, self.encoded).returncode, 1)
        self.assertIn("lacks the title ", page.read_text())

    def test_an_index_that_cannot_be_read(self):
        self.overwrite(self.encoded, self.index, b"junk")
        self.assertIn("'vixprores recover' makes a file with a whole index",
                      self.verify_one(1, self.encoded)["error"])

    def test_a_damaged_description_of_the_tracks(self):
        place = self.encoded.read_bytes().index(tag(0))
        for offset in (3, 20, 300):  # the mark, the rest of the tag, the description
            with self.subTest(offset=offset):
                self.succeed("encode", "--overwrite", self.clip, self.encoded)
                self.overwrite(self.encoded, place + offset, b"\xee")
                file = self.verify_one(1, self.encoded)
                self.assertEqual((file["frames"], file["damagedFrames"]), (25, 0))
                self.assertIn("description of the tracks", file["error"])

    def test_packets_that_another_program_moved_are_not_damaged(self):
        room = struct.pack(">I4s", 5000, b"free") + bytes(4992)
        data = bytearray(self.encoded.read_bytes())
        for place in self.places(b"stco"):
            count, = struct.unpack_from(">I", data, place + 8)
            offsets = struct.unpack_from(f">{count}I", data, place + 12)
            struct.pack_into(f">{count}I", data, place + 12,
                             *(offset + len(room) for offset in offsets))
        head, = struct.unpack_from(">I", data)
        self.encoded.write_bytes(data[:head] + room + data[head:])
        self.assertEqual(self.verify_one(0, self.encoded)["frames"], 25)

    def test_a_scan_ignores_the_index(self):
        self.overwrite(self.encoded, self.places(b"trak")[1], b"junk")
        self.assertEqual(self.verify_one(0, "--scan", self.encoded)["indexFaults"], [])


def tag(track):
    """Return the first bytes of the tags of a track's packets."""
    return b"\xf7vixpkt\x1a" + struct.pack(">I", track)


class Scan(VerifyTest):
    def test_a_file_without_its_index(self):
        self.succeed("decode", self.encoded, self.path("whole.raw"))
        data = self.encoded.read_bytes()
        self.encoded.write_bytes(data[:data.rindex(b"moov") - 4])
        self.fail_with(1, ["--scan finds frames without it"], "decode", self.encoded,
                       self.path("out.raw"))
        self.succeed("decode", "--scan", self.encoded, self.path("out.raw"))
        self.assert_same_bytes(self.path("out.raw").read_bytes(),
                               self.path("whole.raw").read_bytes())
        self.assertEqual(self.verify_one(0, "--scan", self.encoded)["frames"], FRAMES)

    def test_rate_of_a_scan_is_in_the_headers_or_an_option(self):
        self.succeed("decode", "--scan", self.encoded, self.path("out.mov"))
        report = json.loads(self.succeed("decode", "--json", "--scan", "--rate", "50", "--overwrite",
                                         self.encoded, self.path("out.mov")).stdout)
        self.assertEqual(report["rate"], "50")
        make_v210(self.clip, rate="15", frames=FRAMES)
        self.succeed("encode", "--overwrite", self.clip, self.encoded)
        self.fail_with(1, ["frame rate is unknown", "--rate"], "decode", "--scan", self.encoded,
                       self.path("other.mov"))
        self.succeed("decode", "--scan", "--rate", "15", self.encoded, self.path("other.mov"))

    def test_damage_is_located(self):
        places = mini_mov.places(self.encoded)
        self.overwrite(self.encoded, places[3][0] + 28, b"\0")  # the picture header
        file = self.verify_one(1, "--scan", self.encoded)
        self.assertEqual(file["frames"], FRAMES)
        self.assertEqual([(frame["frame"], frame["offset"]) for frame in file["damage"]],
                         [(3, places[3][0])])

    def test_bytes_between_frames_are_reported(self):
        frames = mini_mov.samples(self.encoded)
        pieces = self.path("pieces")
        pieces.write_bytes(frames[0] + bytes(1000) + frames[1] + b"x" * 70 + frames[2])
        note = ("no frame was found in 1070 bytes in 2 places, the largest of 1000 bytes at byte "
                f"{len(frames[0])}")
        self.assertEqual(self.verify_one(0, "--scan", pieces)["note"], note)
        page = self.path("page.html")
        for command in ("verify", "inspect"):
            with self.subTest(command):
                result = self.succeed(command, "--scan", "--overwrite", "--html", page, pieces)
                self.assertEqual(result.stderr, f"vixprores: note: {pieces}: {note}\n")
                self.assertIn(note, page.read_text())
        self.assertEqual(
            json.loads(self.succeed("inspect", "--json", "--scan", pieces).stdout)["note"], note)
        part = json.loads(
            self.succeed("inspect", "--json", "--scan", "--frames", "0-1", pieces).stdout)
        self.assertNotIn("note", part)
        self.assertNotIn("note", self.verify_one(0, self.encoded))

    def test_bare_stream_on_standard_input(self):
        frames = b"".join(mini_mov.samples(self.encoded))
        result = self.succeed("verify", "--scan", "-", input=frames, text=False)
        self.assertIn(b"8 frames, intact", result.stdout)

    def test_nothing_to_find(self):
        self.path("text.mov").write_text("no video, icpf or not\n" * 1000)
        self.fail_with(1, ["no ProRes frame was found"], "decode", "--scan", self.path("text.mov"),
                       self.path("out.raw"))


class Expectations(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.out = self.path("clip.mov"), self.path("out.mov")
        make_v210(self.path("silent.mov"), "-timecode", "10:00:00:00", filters="setfield=tff",
                  frames=50)
        sine = ("-f", "lavfi", "-i", "sine=sample_rate=48000")
        ffmpeg("-i", self.path("silent.mov"), *sine, *sine, "-map", "0:v", "-map", "1:a", "-map",
               "2:a", "-t", "2", "-c:v", "copy", "-c:a", "pcm_s24le", self.clip)
        self.succeed("encode", "--variant", "hq", "--color", "bt709", self.clip, self.out)

    def test_a_delivery_as_expected(self):
        expected = ("variant=422hq,size=128x96,rate=25,fields=tff,audio-tracks=2,"
                    "timecode=10:00:00:00,color=rec709,duration=1.9-2.1")
        result = self.succeed("verify", "--expect", expected, self.out)
        self.assertIn("50 frames, intact, as expected", result.stdout)
        listed = self.path("delivery.txt")
        listed.write_text("# what the station wants\n" + expected.replace(",", "\n") + "\n")
        self.succeed("verify", "--expect", f"@{listed}", "--expect",
                     "audio-rate=48000,audio-codec=pcm_s24le,audio-channels=1", self.out)

    def test_shortfalls_are_listed(self):
        expected = "variant=lt,rate=25,audio-tracks=8,duration=58-62"
        result = run("verify", "--expect", expected, self.out)
        self.assertEqual(result.returncode, 1, result.stderr)
        for words in ("variant is hq, expected lt", "audio-tracks is 2, expected 8",
                      "duration is 2, expected 58-62", "50 frames, intact, 3 unmet expectations"):
            self.assertIn(f"{self.out}: {words}\n", result.stdout)
        report = json.loads(run("verify", "--json", "--expect", expected, self.out).stdout)
        file = report["files"][0]
        self.assertTrue(file["intact"])
        self.assertEqual(file["shortfalls"][1],
                         {"property": "audio-tracks", "found": "2", "expected": "8"})

    def test_wrong_expectations_are_rejected(self):
        self.fail_with(2, ["unknown property 'varient'", "variant"], "verify", "--expect",
                       "varient=hq", self.out)
        self.fail_with(1, ["missing.txt", "cannot be read"], "verify", "--expect",
                       "@" + str(self.path("missing.txt")), self.out)

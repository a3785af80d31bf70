# SPDX-License-Identifier: BSD-2-Clause
"""Output of inspect against independent programs and the bytes of the files."""
import json
import os
import struct
import subprocess

import mini_mov
from tool import TIMEOUT, ToolTest, ffmpeg, make_clip, make_v210, run

COLOUR = ("-color_primaries", "bt709", "-color_trc", "bt709", "-colorspace", "bt709")


def packets(path):
    """Return position and size of each frame from an independent program."""
    text = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=pos,size",
         "-of", "json", str(path)], check=True, capture_output=True, text=True, timeout=TIMEOUT).stdout
    return [(int(packet["pos"]), int(packet["size"])) for packet in json.loads(text)["packets"]]


class Inspect(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")

    def make_prores(self, *options, **clip):
        """Make the clip with an independent encoder."""
        make_clip(self.clip, "-c:v", "prores_ks", *options, **clip)

    def encode(self, *options, **clip):
        make_v210(self.path("raw.mov"), *COLOUR, **clip)
        self.succeed("encode", *options, self.path("raw.mov"), self.clip)

    def inspect(self, *options):
        return json.loads(self.succeed("inspect", "--json", *options, self.clip).stdout)

    def states(self):
        return {entry["property"]: entry["state"] for entry in self.inspect()["properties"]}

    def test_sizes_and_places_match_the_container(self):
        self.make_prores("-profile:v", "hq")
        report = self.inspect()
        self.assertEqual(report["status"], "done")
        self.assertEqual([(frame["offset"], frame["bytes"]) for frame in report["frames"]],
                         packets(self.clip))
        sizes = [frame["bytes"] for frame in report["frames"]]
        self.assertEqual((report["size"]["minBytes"], report["size"]["maxBytes"]),
                         (min(sizes), max(sizes)))
        self.assertAlmostEqual(report["size"]["meanBytes"], sum(sizes) / len(sizes))
        self.assertAlmostEqual(report["megabitsPerSecond"],
                               8 * 25 * sum(sizes) / len(sizes) / 1e6)

    def test_variant_encoder_and_format(self):
        self.make_prores("-profile:v", "lt", "-vendor", "abcd")
        report = self.inspect()["format"]
        self.assertEqual((report["code"], report["name"]), ("apcs", "ProRes 422 LT"))
        self.assertEqual((report["encoderIdentifier"], report["bitstreamVersion"]), ("abcd", 0))
        self.assertEqual((report["chromaFormat"], report["alpha"]), ("4:2:2", "none"))
        text = self.succeed("inspect", self.clip).stdout
        self.assertIn("ProRes 422 LT (apcs), 128x96, progressive, 25 fps, 4:2:2, no alpha", text)
        self.assertLess(text.count("\n"), 30)

    def test_matrices_and_chroma_of_other_variants(self):
        self.make_prores("-profile:v", "4444", "-alpha_bits", "0", pixels="yuv444p10le")
        self.assertEqual(self.inspect()["format"]["chromaFormat"], "4:4:4")
        self.make_prores("-profile:v", "proxy")
        luma = self.inspect()["matrices"]["luma"]
        self.assertFalse(luma["flat"])
        data = self.clip.read_bytes()
        header = data.index(b"icpf") + 4
        self.assertEqual(bytes(luma["weights"]), data[header + 20:header + 84])

    def test_size_as_a_share_of_the_target(self):
        self.encode("--variant", "hq", size="320x240", filters="noise=alls=40:allf=t")
        report = self.inspect()
        target = report["size"]["targetBytes"]
        for frame in report["frames"]:
            self.assertAlmostEqual(frame["shareOfTarget"], frame["bytes"] / target)
            # A frame of noise uses nearly all of its target and never more.
            self.assertGreater(frame["shareOfTarget"], 0.9)
            self.assertLessEqual(frame["shareOfTarget"], 1)

    def test_properties_that_agree(self):
        self.encode(filters="setsar=1,setfield=tff")
        self.assertEqual(set(self.states().values()), {"same"})
        self.assertNotIn("MISMATCH", self.succeed("inspect", self.clip).stdout)

    def test_whole_macroblocks_of_mxf_are_not_a_mismatch(self):
        self.clip = self.path("clip.mxf")
        self.encode(size="128x104")
        size = self.inspect()["properties"][0]
        # Newer versions of libavformat return the size that is shown.
        self.assertIn(size["container"], ("128x112", "128x104"))
        self.assertEqual(size["header"], "128x104")
        self.assertEqual(size["state"], "same")

    def test_marks_a_container_whose_tags_were_changed(self):
        self.encode()
        data = bytearray(self.clip.read_bytes())
        place = data.rindex(b"nclc") + 4
        self.assertEqual(struct.unpack_from(">3H", data, place), (1, 1, 1))
        struct.pack_into(">3H", data, place, 9, 16, 9)
        self.clip.write_bytes(data)
        states = self.states()
        for name in ("colourPrimaries", "transfer", "matrix"):
            self.assertEqual(states[name], "mismatch")
        self.assertEqual(states["size"], "same")
        lines = self.succeed("inspect", self.clip).stdout.splitlines()
        marked = [line for line in lines if line.endswith("<- MISMATCH")]
        self.assertEqual(len(marked), 3)
        self.assertRegex(marked[1], r"transfer +16 \(pq\) +1 \(bt709\)")

    def test_unspecified_is_not_a_mismatch(self):
        make_v210(self.path("raw.mov"))
        self.succeed("encode", self.path("raw.mov"), self.clip)
        states = self.states()
        for name in ("colourPrimaries", "transfer", "matrix"):
            self.assertEqual(states[name], "unspecified")
        self.assertRegex(self.succeed("inspect", self.clip).stdout,
                         r"matrix +unspecified +unspecified\n")

    def test_slices_fill_their_frame(self):
        self.encode(size="320x240", filters="setfield=tff")
        frame = self.inspect("--slices", "--frames", "3-3")["frames"][0]
        slices = frame["sliceList"]
        self.assertEqual(frame["frame"], 3)
        self.assertEqual(len(slices), frame["slices"])
        # 20 macroblocks make slices of 8, 8 and 4; each field has 8 rows of them.
        self.assertEqual(len(slices), 2 * 8 * 3)
        self.assertEqual([entry["macroblocks"] for entry in slices[:3]], [8, 8, 4])
        for before, after in zip(slices, slices[1:]):
            if before["picture"] == after["picture"]:
                self.assertEqual(before["offset"] + before["bytes"], after["offset"])
        self.assertEqual(slices[-1]["offset"] + slices[-1]["bytes"], frame["bytes"])
        for entry in slices:
            self.assertEqual(entry["bytes"], 6 + entry["y"] + entry["cb"] + entry["cr"])
        quantisers = [entry["quantiser"] for entry in slices]
        self.assertEqual((frame["quantiser"]["min"], frame["quantiser"]["max"]),
                         (min(quantisers), max(quantisers)))
        self.assertAlmostEqual(frame["quantiser"]["mean"], sum(quantisers) / len(quantisers))
        self.assertEqual(frame["componentBytes"]["y"], sum(entry["y"] for entry in slices))
        rows = self.succeed("inspect", "--slices", "--frames", "3-3", self.clip).stdout
        rows = rows.split("Slices:\n")[1].splitlines()[1:]
        # The text counts pictures from 1, as messages about damage do.
        self.assertEqual([[int(cell) for cell in row.split()[1:4]] for row in rows],
                         [[entry["picture"] + 1, entry["row"], entry["index"]] for entry in slices])

    def test_frames_outside_the_range_are_skipped(self):
        self.encode()
        report = self.inspect("--frames", "2-4")
        self.assertEqual([frame["frame"] for frame in report["frames"]], [2, 3, 4])
        self.assertEqual((report["framesInFile"], report["framesInspected"]), (10, 3))
        self.fail_with(1, ["8-12", "10 frames"], "inspect", "--frames", "8-12", self.clip)

    def test_timecode_of_a_range(self):
        self.make_prores("-timecode", "10:00:00:20")
        report = self.inspect()
        self.assertEqual(report["format"]["timecode"], "10:00:00:20")
        self.assertEqual(report["frames"][9]["timecode"], "10:00:01:04")

    def test_a_damaged_frame_is_listed_with_the_intact_ones(self):
        self.encode()
        data = bytearray(self.clip.read_bytes())
        position, _ = packets(self.clip)[4]
        header = struct.unpack_from(">H", data, position + 8)[0]
        struct.pack_into(">I", data, position + 8 + header + 1, 0x7FFFFFFF)  # picture size
        self.clip.write_bytes(data)
        result = run("inspect", "--json", self.clip)
        self.assertEqual(result.returncode, 1)
        report = json.loads(result.stdout)
        self.assertEqual((report["status"], report["faultyFrames"]), ("faults", 1))
        faults = {frame["frame"]: frame["fault"] for frame in report["frames"] if frame["fault"]}
        self.assertEqual(list(faults), [4])
        self.assertIn("picture 1", faults[4])
        self.assertIn("Faults:\n  frame 4", run("inspect", self.clip).stdout)

    def test_a_change_in_the_stream_is_reported_with_its_frame(self):
        self.make_prores(filters="setparams=color_primaries=bt709")
        data = bytearray(self.clip.read_bytes())
        for position, _ in packets(self.clip)[6:]:
            data[position + 8 + 14] = 9  # colour primaries of the frame header
        self.clip.write_bytes(data)
        self.assertEqual(self.inspect()["changes"],
                         [{"property": "colour primaries", "frame": 6, "from": "1 (bt709)",
                           "to": "9 (bt2020)"}])

    def test_a_frame_of_another_size_is_a_fault(self):
        self.encode()
        data = bytearray(self.clip.read_bytes())
        position, _ = packets(self.clip)[5]
        struct.pack_into(">H", data, position + 8 + 8, 64)  # width
        self.clip.write_bytes(data)
        result = run("inspect", "--json", self.clip)
        self.assertEqual(result.returncode, 1)
        report = json.loads(result.stdout)
        self.assertEqual((report["status"], report["framesInspected"], report["faultyFrames"]),
                         ("faults", 9, 1))
        self.assertIn("is 64x96", report["frames"][5]["fault"])

    def test_frames_before_a_failure_are_reported(self):
        self.encode()
        stream = self.path("clip.mkv")
        ffmpeg("-i", self.clip, "-c", "copy", stream)
        result = run("inspect", "--json", "--frames", "5-12", "-", input=stream.read_bytes(),
                     text=False)
        self.assertEqual(result.returncode, 1)
        report = json.loads(result.stdout)
        self.assertEqual((report["status"], report["framesInspected"]), ("failed", 5))
        self.assertIn("has 10 frames", report["message"])
        self.assertIn(b"has 10 frames", result.stderr)

    def test_finds_frames_without_their_container(self):
        self.encode()
        whole = self.inspect()
        scan = self.inspect("--scan")
        self.assertEqual([(frame["offset"], frame["bytes"]) for frame in scan["frames"]],
                         [(frame["offset"], frame["bytes"]) for frame in whole["frames"]])
        self.assertEqual(scan["properties"], [])

    def test_sound_and_labels(self):
        raw = self.path("raw.mov")
        make_v210(self.path("silent.mov"), *COLOUR, "-timecode", "10:00:00:00", frames=50,
                  filters="setsar=1")
        ffmpeg("-i", self.path("silent.mov"), "-f", "lavfi", "-i", "sine=sample_rate=48000", "-f",
               "lavfi", "-i", "anullsrc=r=44100:cl=5.1", "-map", "0:v", "-map", "1:a", "-map",
               "2:a", "-t", "2", "-c:v", "copy", "-c:a", "pcm_s24le", "-metadata:s:a:0",
               "language=eng", raw)
        self.succeed("encode", "--title", "A Title", "--reel", "A001", "--content-light",
                     "1000,400", "--mastering-display",
                     "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)", raw,
                     self.clip)
        report = self.inspect()
        self.assertEqual(report["seconds"], 2)
        one, two = report["soundTracks"]
        self.assertEqual(one, {"track": 1, "codec": "pcm_s24le", "sampleRate": 48000,
                               "channels": 1, "layout": "mono", "bits": 24, "seconds": 2,
                               "language": "eng", "title": None})
        self.assertEqual((two["sampleRate"], two["channels"], two["layout"]), (44100, 6, "5.1"))
        self.assertEqual((report["metadata"]["title"], report["metadata"]["reel_name"]),
                         ("A Title", "A001"))
        stream = report["format"]
        self.assertEqual(stream["colour"],
                         {"name": "bt709", "primaries": 1, "transfer": 1, "matrix": 1})
        self.assertEqual((stream["contentLight"], stream["sampleAspect"]), ("1000,400", "1"))
        text = self.succeed("inspect", self.clip).stdout
        for words in (r"duration +00:00:02\.000",
                      r"sound track 1 +pcm_s24le, 48000 Hz, mono, 24 bits, 00:00:02\.000, eng",
                      r"content light level +1000,400", r"mastering display +G\(8500,39850\)B",
                      r"reel name +A001", r"title +A Title"):
            self.assertRegex(text, words)

    def test_prints_the_labels_of_other_codecs(self):
        make_clip(self.clip, "-c:v", "mpeg4", "-color_primaries", "bt709", "-color_trc", "bt709",
                  "-colorspace", "bt709", "-timecode", "10:00:00:00", pixels="yuv420p")
        report = self.inspect()
        self.assertEqual((report["format"]["name"], report["format"]["code"], report["seconds"],
                          report["framesInFile"], report["format"]["timecode"]),
                         ("mpeg4, yuv420p", None, 0.4, 10, "10:00:00:00"))
        text = self.succeed("inspect", self.clip).stdout
        for words in ("mpeg4, yuv420p, 128x96, progressive, 25 fps", r"frames +10\n",
                      r"duration +00:00:00\.400", r"colour +bt709", r"timecode +10:00:00:00"):
            self.assertRegex(text, words)
        make_v210(self.clip)
        self.assertEqual(self.inspect()["format"]["name"], "V210")
        for option in (["--slices"], ["--frames", "1"], ["--html", self.path("page.html")]):
            self.fail_with(1, [self.clip, "is not ProRes"], "inspect", *option, self.clip)

    def test_control_characters_do_not_reach_the_terminal(self):
        # In the name of the file and in the encoder identifier of a later frame.
        self.make_prores(frames=2)
        first, second = mini_mov.samples(self.clip)
        clip = self.path("two\nlines \x1b[2J.mov")
        mini_mov.write(clip, [first, second[:12] + b"\x1b[2J" + second[16:]])
        for command in (("inspect",), ("compare", clip), ("verify",)):
            with self.subTest(command[0]):
                result = self.succeed(*command, clip)
                self.assertIn("two\\nlines \\x1B[2J.mov", result.stdout)
                self.assertNotIn("\x1b", result.stdout + result.stderr)
        self.assertIn("changes from Lavc to \\x1B[2J", self.succeed("inspect", clip).stdout)

    def test_a_name_that_is_not_utf8_does_not_break_json(self):
        self.encode()
        odd = os.path.join(os.fsencode(self.folder), b"odd-\xff.mov")
        os.rename(self.clip, odd)
        result = self.succeed("inspect", "--json", os.fsdecode(odd))
        self.assertIn("odd-\ufffd.mov", json.loads(result.stdout)["input"])

    def test_json_reports_the_failure_of_a_command(self):
        missing, page = self.path("missing.mov"), self.path("page.html")
        page.write_text("mine")
        for arguments in (("inspect", missing), ("compare", missing, missing),
                          ("recover", missing, self.path("out.mov")),
                          ("thumbs", missing, "-o", self.path("stills")),
                          ("verify", "--html", page, missing)):
            with self.subTest(arguments[0]):
                result = self.fail_with(1, [], arguments[0], "--json", *arguments[1:])
                error = json.loads(result.stdout)
                self.assertEqual(list(error), ["error"])
                self.assertEqual(result.stderr, f"vixprores: {error['error']}\n")
                self.assertEqual(run(*arguments).stdout, "")

    def test_json_of_a_failed_command_is_not_mixed_with_frames(self):
        result = run("decode", "--json", "--rate", "25", self.path("missing.mov"), "-")
        self.assertEqual((result.returncode, result.stdout), (2, ""))
        self.assertIn("--rate is for --scan", json.loads(result.stderr.splitlines()[0])["error"])

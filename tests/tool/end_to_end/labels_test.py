# SPDX-License-Identifier: BSD-2-Clause
"""Labels that options set: texts, and static metadata of HDR."""
import json
import subprocess

from tool import ToolTest, make_v210, probe, run, sample_entry_atom

DISPLAY = "G(8500,39850)B(6550,2300)R(35400,14600)WP(15635,16450)L(10000000,1)"


def tags(path):
    """Tags of the file and its tracks, their names in lower case."""
    shown = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-show_format", "-show_streams", "-of", "json", path],
        check=True, capture_output=True).stdout)
    groups = [stream.get("tags", {}) for stream in shown["streams"]] + [shown["format"]["tags"]]
    return {name.lower(): text for group in groups for name, text in group.items()}


def hdr(path):
    """Static metadata of HDR as an independent program reads it."""
    read = {}
    for entry in probe(path).get("side_data_list", []):
        for name, value in entry.items():
            if isinstance(value, str) and "/" in value:
                over, under = value.split("/")
                read[name] = int(over) / int(under)
            elif isinstance(value, int):
                read[name] = value
    return read


class Texts(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip = self.path("clip.mov")
        make_v210(self.clip, "-metadata", "title=Old", "-metadata", "comment=Old",
                  "-timecode", "01:00:00:00")

    def test_options_replace_those_of_the_input(self):
        for container in ("mov", "mkv"):
            with self.subTest(container):
                out = self.path(f"out.{container}")
                self.succeed("encode", "--title", "New", "--reel", "A001", "--metadata",
                             "artist=Somebody", "--metadata", "comment=", self.clip, out)
                found = tags(out)
                self.assertEqual((found["title"], found["reel_name"], found["artist"]),
                                 ("New", "A001", "Somebody"))
                self.assertNotIn("comment", found)

    def test_decoding_keeps_them(self):
        encoded, decoded = self.path("encoded.mov"), self.path("decoded.mov")
        self.succeed("encode", "--reel", "A001", self.clip, encoded)
        self.succeed("decode", encoded, decoded)
        self.assertEqual((tags(decoded)["title"], tags(decoded)["reel_name"]), ("Old", "A001"))

    def test_a_mov_keeps_a_reel_name_only_with_a_timecode(self):
        make_v210(self.clip)
        out = self.path("out.mov")
        notes = self.succeed("encode", "--reel", "A001", self.clip, out).stderr
        self.assertNotIn("reel_name", tags(out))
        self.assertIn("cannot keep the reel name without a timecode", notes)
        notes = self.succeed("encode", "-y", "--reel", "A001", "--timecode", "01:00:00:00",
                             self.clip, out).stderr
        self.assertEqual(tags(out)["reel_name"], "A001")
        self.assertNotIn("cannot keep", notes)

    def test_an_mxf_loses_them_with_a_note(self):
        notes = self.succeed("encode", "--reel", "A001", self.clip, self.path("out.mxf")).stderr
        self.assertIn("cannot keep the metadata (comment, reel name, title)", notes)


class Hdr(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.out = self.path("clip.mov"), self.path("out.mov")
        make_v210(self.clip)

    def encode(self, out):
        return self.succeed("encode", "--mastering-display", DISPLAY, "--content-light", "1000,400",
                            self.clip, out).stderr

    def check_display(self, path):
        found = hdr(path)
        for name, value in (("green_x", 0.17), ("green_y", 0.797), ("blue_x", 0.131),
                            ("blue_y", 0.046), ("red_x", 0.708), ("red_y", 0.292),
                            ("white_point_x", 0.3127), ("white_point_y", 0.329),
                            ("max_luminance", 1000), ("min_luminance", 0.0001)):
            self.assertAlmostEqual(found[name], value, msg=name)

    def check_light(self, path):
        self.assertEqual((hdr(path)["max_content"], hdr(path)["max_average"]), (1000, 400))

    def test_every_container_holds_what_it_can(self):
        for container in ("mov", "mkv", "mxf"):
            with self.subTest(container):
                out = self.path(f"out.{container}")
                notes = self.encode(out)
                self.check_display(out)
                if container == "mxf":
                    self.assertIn("cannot keep the content light level (1000,400)", notes)
                else:
                    self.assertNotIn("cannot keep", notes)
                    self.check_light(out)

    def test_a_mov_has_both_atoms(self):
        self.encode(self.out)
        self.assertEqual(len(sample_entry_atom(self.out, "apcn", "mdcv")), 24)
        self.assertEqual(sample_entry_atom(self.out, "apcn", "clli"), b"\x03\xe8\x01\x90")

    def test_copies_and_decodings_keep_it(self):
        self.encode(self.out)
        matroska, decoded, again, recovered = (
            self.path(name) for name in ("a.mkv", "decoded.mov", "again.mov", "recovered.mov"))
        self.succeed("recover", self.out, recovered)
        self.succeed("recover", self.out, matroska)
        self.succeed("decode", matroska, decoded)
        self.succeed("encode", decoded, again)
        for path in (recovered, matroska, decoded, again):
            self.check_display(path)
            self.check_light(path)
        for atom in ("mdcv", "clli"):
            self.assertEqual(sample_entry_atom(again, "apcn", atom),
                             sample_entry_atom(self.out, "apcn", atom))

    def test_uncompressed_outputs_name_what_they_lose(self):
        self.encode(self.out)
        notes = self.succeed("decode", self.out, self.path("out.y4m")).stderr
        self.assertIn(f"cannot keep the mastering display ({DISPLAY})", notes)
        self.assertIn("cannot keep the content light level (1000,400)", notes)

    def test_an_output_without_them_is_not_taken_for_one_with_them(self):
        folder = self.path("out")
        self.succeed("encode", "--output-dir", folder, self.clip)
        result = run("encode", "--content-light", "1000,400", "--output-dir", folder, self.clip)
        self.assertEqual(result.returncode, 1)
        self.assertIn("no content light level instead of content light level 1000,400",
                      result.stderr)

    def test_other_notations_are_rejected(self):
        for option, value, words in (("--mastering-display", "G(0.17,0.797)", "0.00002"),
                                     ("--content-light", "1000", "MAXCLL,MAXFALL")):
            self.fail_with(2, [value, words], "encode", option, value, self.clip, self.out)

# SPDX-License-Identifier: BSD-2-Clause
"""Rate, aspect, field order, colour and start are copied from input to output by both commands."""
import json
import struct
import subprocess

from tool import (ToolTest, ffmpeg, make_clip, make_uyvy, make_v210, mov_atom, probe,
                  sample_entry_atom)

COLOURS = {  # options of the clip, code points
    "bt709": (("bt709", "bt709", "bt709"), (1, 1, 1)),
    "625 lines": (("bt470bg", "bt709", "smpte170m"), (5, 1, 6)),
    "525 lines": (("smpte170m", "bt709", "smpte170m"), (6, 1, 6)),
    "PQ": (("bt2020", "smpte2084", "bt2020nc"), (9, 16, 9)),
    "HLG": (("bt2020", "arib-std-b67", "bt2020nc"), (9, 18, 9)),
}


def colour_options(names):
    return ("-color_primaries", names[0], "-color_trc", names[1], "-colorspace", names[2])


class Metadata(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.decoded = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "decoded.mov"))

    def encode(self, *options):
        return self.succeed("encode", "--overwrite", *options, self.clip, self.encoded)

    def decode(self, *options):
        return self.succeed("decode", "--overwrite", *options, self.encoded, self.decoded)

    def test_colour(self):
        for title, (names, points) in COLOURS.items():
            with self.subTest(title):
                make_v210(self.clip, *colour_options(names))
                self.encode()
                self.assertEqual(sample_entry_atom(self.encoded, "apcn", "colr"),
                                 b"nclc" + struct.pack(">3H", *points))
                with open(self.encoded, "rb") as file:
                    data = file.read()
                frame = data[data.index(b"icpf") - 4:]
                self.assertEqual(tuple(frame[22:25]), points)
                # Players read either the frame or the container: both must agree.
                self.decode()
                for path in (self.encoded, self.decoded):
                    track = probe(path)
                    self.assertEqual((track["color_primaries"], track["color_transfer"],
                                      track["color_space"]), names)

    def test_colour_that_is_known_in_part(self):
        make_v210(self.clip)
        names = ("primaries", "transfer", "matrix")
        for known in (("matrix",), ("primaries", "matrix"), ("transfer",)):
            with self.subTest(known):
                options = [word for name in known for word in ("--" + name, "bt709")]
                self.encode(*options)
                expected = b"nclc" + struct.pack(">3H", *(1 if name in known else 2
                                                          for name in names))
                self.assertEqual(sample_entry_atom(self.encoded, "apcn", "colr"), expected)
                piped = self.succeed("encode", *options, self.clip, "-", text=False).stdout
                self.assertIn(b"colr" + expected, piped)
                self.assertNotIn("cannot keep", self.decode().stderr)
                self.assertEqual(sample_entry_atom(self.decoded, "v210", "colr"), expected)
                # A file that is cut has no index but the description in front.
                cut, recovered = self.path("cut.mov"), self.path("recovered.mov")
                cut.write_bytes(self.encoded.read_bytes()[:-1000])
                self.succeed("recover", "-y", cut, recovered)
                self.assertEqual(sample_entry_atom(recovered, "apcn", "colr"), expected)

    def test_unspecified_colour_stays_unspecified(self):
        make_v210(self.clip)
        self.encode()
        with self.assertRaises(KeyError):
            sample_entry_atom(self.encoded, "apcn", "colr")
        self.decode()
        self.assertNotIn("color_primaries", probe(self.decoded))

    def test_frame_rate_is_exact(self):
        for rate in ("24000/1001", "25/1", "60000/1001", "15000/1001"):
            with self.subTest(rate):
                make_v210(self.clip, rate=rate)
                self.encode()
                self.assertEqual(probe(self.encoded)["r_frame_rate"], rate)
                for container in ("mov", "avi", "nut", "y4m"):
                    self.decoded = self.path(f"decoded.{container}")
                    self.decode()
                    self.assertEqual(probe(self.decoded)["r_frame_rate"], rate)

    def test_frame_rate_of_every_container(self):
        # The exact rate survives a clock of milliseconds, as in .mkv.
        for container in ("mkv", "nut", "avi", "y4m"):
            with self.subTest(container):
                self.clip = self.path(f"clip.{container}")
                make = make_clip if container == "y4m" else make_v210
                make(self.clip, *(("-strict", "-1") if container == "y4m" else ()),
                     rate="60000/1001")
                self.encode()
                self.assertEqual(probe(self.encoded)["avg_frame_rate"], "60000/1001")

    def test_frame_rate_of_a_single_frame(self):
        for container in ("mov", "mkv", "nut", "avi"):
            with self.subTest(container):
                self.clip = self.path(f"clip.{container}")
                make_v210(self.clip, rate="24000/1001", frames=1)
                self.encode()
                self.assertEqual(probe(self.encoded)["r_frame_rate"], "24000/1001")

    def test_sample_aspect(self):
        make_v210(self.clip, filters="setsar=64/45")
        self.encode()
        self.assertEqual(sample_entry_atom(self.encoded, "apcn", "pasp"), struct.pack(">2I", 64, 45))
        for name in ("decoded.mov", "decoded.avi", "decoded.nut", "decoded.y4m"):
            with self.subTest(name):
                self.decoded = self.path(name)
                self.decode()
                self.assertEqual(probe(self.decoded)["sample_aspect_ratio"], "64:45")

    def test_field_order(self):
        for filters, fiel, order in (("setfield=tff", b"\2\x09", "tb"),
                                     ("setfield=prog", b"\1\0", "progressive")):
            with self.subTest(filters):
                make_v210(self.clip, filters=filters)
                self.encode()
                self.assertEqual(sample_entry_atom(self.encoded, "apcn", "fiel"), fiel)
                self.assertEqual(probe(self.encoded)["field_order"], order)
                self.decode()
                self.assertEqual(sample_entry_atom(self.decoded, "v210", "fiel"), fiel)

    def test_field_order_in_other_containers(self):
        make_v210(self.clip, filters="setfield=tff")
        self.encode()
        self.decoded = self.path("decoded.y4m")
        self.decode()
        self.assertIn(b" It ", self.decoded.read_bytes().split(b"\n")[0])
        self.encoded = self.path("encoded.mkv")
        self.encode()
        self.assertEqual(probe(self.encoded)["field_order"], "tt")

    def test_interlaced_raw_and_y4m_inputs(self):
        frames = self.path("frames.uyvy")
        make_uyvy(frames, "-f", "rawvideo")
        raw_frames = ("--fourcc", "UYVY", "--size", "128x96", "--rate", "25")
        for options, fiel in ((raw_frames, b"\1\0"), ((*raw_frames, "--interlaced"), b"\2\x09")):
            self.succeed("encode", "--overwrite", *options, frames, self.encoded)
            self.assertEqual(sample_entry_atom(self.encoded, "apcn", "fiel"), fiel)
        self.clip = self.path("clip.y4m")
        make_clip(self.clip, "-strict", "-1", filters="setfield=tff")
        self.encode()
        self.assertEqual(sample_entry_atom(self.encoded, "apcn", "fiel"), b"\2\x09")

    def test_bottom_field_first_streams_decode_with_a_note(self):
        make_clip(self.encoded, "-c:v", "prores_ks", "-flags", "+ilme+ildct",
                  filters="setfield=bff")
        self.decode()
        self.assertEqual(sample_entry_atom(self.decoded, "v210", "fiel"), b"\2\x0e")
        self.decoded = self.path("decoded.y4m")
        self.decode()
        self.assertIn(b" Ib ", self.decoded.read_bytes().split(b"\n")[0])

    def test_one_field_out_of_two(self):
        make_v210(self.clip, filters="setfield=tff,setsar=1")
        self.encode()
        self.assertNotIn("note", self.decode("--skip-field").stderr)
        track = probe(self.decoded)
        self.assertEqual((track["width"], track["height"]), (128, 48))
        self.assertEqual(track["sample_aspect_ratio"], "1:2")
        self.assertEqual(track["field_order"], "progressive")

    def test_skip_field_keeps_progressive_frames(self):
        make_v210(self.clip)
        self.encode()
        self.decode()
        whole = self.decoded.read_bytes()
        note, _ = self.decode("--skip-field").stderr.splitlines()
        self.assertIn("note: ", note)
        self.assertIn("progressive; --skip-field has no effect", note)
        self.assert_same_bytes(self.decoded.read_bytes(), whole)
        self.assertEqual(self.decode("--skip-field", "--quiet").stderr, "")

    def test_start_time(self):
        make_v210(self.clip, "-output_ts_offset", "0.4", rate="30000/1001")
        self.encode()
        start = float(probe(self.clip)["start_time"])
        self.assertGreater(start, 0.3)
        self.assertAlmostEqual(float(probe(self.encoded)["start_time"]), start, delta=1 / 60)
        self.decode()
        self.assertEqual(probe(self.decoded)["start_time"], probe(self.encoded)["start_time"])

    def test_colour_and_aspect_of_headers_fill_in_for_the_container(self):
        make_clip(self.path("clip.avi"), "-c:v", "prores_ks", "-color_primaries", "bt709",
                  "-color_trc", "bt709", "-colorspace", "bt709",
                  filters="setparams=color_primaries=bt709:color_trc=bt709:colorspace=bt709")
        self.encoded = self.path("clip.avi")
        self.decode()
        track = probe(self.decoded)
        self.assertEqual((track["color_primaries"], track["color_transfer"],
                          track["color_space"]), ("bt709",) * 3)

    def test_reports_properties_that_a_container_cannot_keep(self):
        make_v210(self.clip, *colour_options(COLOURS["PQ"][0]), filters="setfield=tff")
        self.encode()
        self.decoded = self.path("decoded.avi")
        notes = self.decode().stderr
        self.assertIn("field order (top field first)", notes)
        self.assertIn("colour primaries, transfer and matrix (bt2020-pq)", notes)

    def test_the_summary_lists_the_content_of_the_output(self):
        make_v210(self.clip, *colour_options(COLOURS["PQ"][0]), "-timecode", "10:00:00:00",
                  filters="setfield=tff")
        self.encode()
        known = {"primaries": 9, "transfer": 16, "matrix": 9}
        unknown = {"primaries": 2, "transfer": 2, "matrix": 2}
        for name, order, colour, timecode in (("decoded.mov", "top", known, "10:00:00:00"),
                                              ("decoded.y4m", "top", unknown, None),
                                              ("decoded.avi", "unknown", unknown, None),
                                              ("decoded.raw", None, None, None)):
            with self.subTest(name):
                self.decoded = self.path(name)
                result = self.decode("--json")
                report = json.loads(result.stdout)
                self.assertEqual((report["fieldOrder"], report["colour"], report.get("timecode")),
                                 (order, colour, timecode))
                self.assertEqual("cannot keep the timecode (10:00:00:00)" in result.stderr,
                                 timecode is None)

    def test_raw_frames_are_not_described(self):
        make_v210(self.clip, "-color_primaries", "bt709", "-color_trc", "bt709", "-colorspace",
                  "bt709")
        self.encode()
        self.decoded = self.path("decoded.v210")
        result = self.decode()
        self.assertIn("cannot keep the colour primaries, transfer and matrix (bt709)",
                      result.stderr)
        summary = result.stderr.splitlines()[-1]
        self.assertIn("128x96 V210, 25 fps, ", summary)
        self.assertNotIn("field order", summary)

    def test_reports_lost_texts(self):
        make_v210(self.clip, "-metadata", "title=A", "-metadata", "comment=B", "-metadata",
                  "creation_time=2020-01-02T03:04:05Z")
        for name, words in (("out.mov", []), ("out.mkv", []), ("out.mxf", ["comment", "title"])):
            with self.subTest(name):
                out = self.path(name)
                notes = self.succeed("encode", self.clip, out).stderr
                tags = json.loads(subprocess.run(
                    ["ffprobe", "-v", "error", "-show_format", "-of", "json", out], check=True,
                    capture_output=True).stdout)["format"]["tags"]
                kept = {tag.lower() for tag in tags}
                self.assertEqual({"title", "comment"} - kept, set(words))
                self.assertEqual(f"cannot keep the metadata ({', '.join(words)})" in notes,
                                 bool(words), notes)
        notes = self.succeed("decode", self.path("out.mov"), self.path("out.avi")).stderr
        self.assertIn("cannot keep the metadata (creation time)", notes)

    def test_keys_of_cameras_stay_or_are_named(self):
        key = "com.apple.quicktime.make"
        make_v210(self.clip, "-metadata", f"{key}=Camera", "-metadata", "title=A", "-movflags",
                  "use_metadata_tags")
        for name, words in (("out.mov", ""), ("out.mkv", ""), ("out.mxf", f"{key}, title")):
            with self.subTest(name):
                out = self.path(name)
                notes = self.succeed("encode", self.clip, out).stderr
                tags = json.loads(subprocess.run(
                    ["ffprobe", "-v", "error", "-show_format", "-of", "json", out], check=True,
                    capture_output=True).stdout)["format"]["tags"]
                tags = {tag.lower(): text for tag, text in tags.items()}
                if words:
                    self.assertIn(f"cannot keep the metadata ({words})", notes)
                else:
                    self.assertEqual((tags[key], tags["title"]), ("Camera", "A"))
                    self.assertNotIn("cannot keep", notes)
        notes = self.succeed("decode", self.path("out.mov"), self.path("out.avi")).stderr
        self.assertIn(f"cannot keep the metadata ({key})", notes)
        self.succeed("recover", self.path("out.mov"), self.path("recovered.mov"))
        self.assert_same_bytes(self.path("recovered.mov").read_bytes(),
                               self.path("out.mov").read_bytes())

    def turn(self, path, *matrix):
        """Sets how players rotate the picture of a .mov."""
        data = bytearray(path.read_bytes())
        place = data.index(b"tkhd") + 4 + 40
        struct.pack_into(">9i", data, place, *matrix)
        path.write_bytes(data)

    def test_rotation_stays_or_is_named(self):
        make_v210(self.clip)
        quarter = (0, 1 << 16, 0, -1 << 16, 0, 0, 96 << 16, 0, 1 << 30)
        self.turn(self.clip, *quarter)
        self.encode()
        self.decode()
        recovered = self.path("recovered.mov")
        self.succeed("recover", self.encoded, recovered)
        for path in (self.encoded, self.decoded, recovered):
            matrix = mov_atom(path, "moov", "trak", "tkhd")[40:76]
            self.assertEqual(struct.unpack(">9i", matrix), quarter, path)
        for name in ("out.mkv", "out.mxf"):
            notes = self.succeed("encode", self.clip, self.path(name)).stderr
            self.assertIn("cannot keep the orientation of the picture (rotated by 90 degrees)", notes)
        notes = self.succeed("decode", self.encoded, self.path("out.y4m")).stderr
        self.assertIn("cannot keep the orientation of the picture", notes)

    def test_a_nut_keeps_the_timecode(self):
        make_v210(self.clip, "-timecode", "10:11:12:13")
        self.encode()
        self.decoded = self.path("decoded.nut")
        self.assertNotIn("cannot keep the timecode", self.decode().stderr)
        self.assertIn("10:11:12:13", subprocess.run(
            ["ffprobe", "-v", "error", "-show_format", "-show_streams", self.decoded], check=True,
            capture_output=True, text=True).stdout)

    def test_an_mxf_describes_the_coded_samples(self):
        make_v210(self.clip)
        out = self.path("out.mxf")
        self.succeed("encode", self.clip, out)
        data = out.read_bytes()
        for item, value in ((0x3301, 10), (0x3302, 2), (0x3308, 1)):  # depth, subsampling
            self.assertIn(struct.pack(">HHI", item, 4, value), data)

    def describe_mxf(self, path):
        """What two independent programs read from the descriptor of an .mxf."""
        shown = json.loads(subprocess.run(["mediainfo", "--Output=JSON", path], check=True,
                                          capture_output=True).stdout)
        video = next(track for track in shown["media"]["track"] if track["@type"] == "Video")
        stream = probe(path)
        return (
            {name: video.get(name) for name in
             ("Format", "Width", "Height", "ChromaSubsampling", "BitDepth", "ScanType",
              "ScanOrder", "DisplayAspectRatio", "colour_primaries", "FrameRate")},
            {name: stream.get(name) for name in
             ("width", "height", "pix_fmt", "field_order", "color_primaries", "color_transfer",
              "color_space", "display_aspect_ratio", "r_frame_rate")})

    def test_an_mxf_describes_its_pictures(self):
        out = self.path("out.mxf")
        for size, filters, order, shape in (
                ("1920x1080", "setfield=tff,setsar=1", "tt", ("1.778", "16:9")),
                ("1920x1080", "setfield=prog,setsar=1", "progressive", ("1.778", "16:9")),
                ("720x576", "setfield=tff,setsar=64/45", "tt", ("1.778", "16:9")),
                ("720x486", "setfield=tff,setsar=10/11", "tt", ("1.347", "400:297"))):
            with self.subTest(size=size, order=order):
                make_v210(self.clip, *colour_options(COLOURS["bt709"][0]), size=size, frames=2,
                          filters=filters)
                notes = self.succeed("encode", "-y", self.clip, out).stderr
                self.assertNotIn("cannot keep", notes)
                width, height = size.split("x")
                interlaced = order == "tt"
                self.assertEqual(self.describe_mxf(out), (
                    {"Format": "ProRes", "Width": width, "Height": height,
                     "ChromaSubsampling": "4:2:2", "BitDepth": "10",
                     "ScanType": "Interlaced" if interlaced else "Progressive",
                     "ScanOrder": "TFF" if interlaced else None, "DisplayAspectRatio": shape[0],
                     "colour_primaries": "BT.709", "FrameRate": "25.000"},
                    {"width": int(width), "height": int(height), "pix_fmt": "yuv422p10le",
                     "field_order": order, "color_primaries": "bt709", "color_transfer": "bt709",
                     "color_space": "bt709", "display_aspect_ratio": shape[1],
                     "r_frame_rate": "25/1"}))
                back = self.path("back.mov")
                self.succeed("decode", "-y", out, back)
                self.assertEqual(probe(back)["field_order"],
                                 "tb" if interlaced else "progressive")

    def test_an_mxf_of_copied_frames_describes_them(self):
        out = self.path("out.mxf")
        for pixels, options, filters, video, stream in (
                ("yuv422p10le", ("-flags", "+ilme+ildct"), "setfield=bff",
                 ("4:2:2", "10", "Interlaced", "BFF"), ("yuv422p10le", "bb")),
                ("yuv444p10le", (), "setfield=prog", ("4:4:4", "12", "Progressive", None),
                 ("yuv444p12le", "progressive"))):
            with self.subTest(pixels):
                make_clip(self.encoded, "-c:v", "prores_ks", "-pix_fmt", pixels, *options,
                          filters=filters, pixels=pixels, size="720x576", frames=2)
                self.succeed("copy", "-y", self.encoded, out)
                media, probed = self.describe_mxf(out)
                self.assertEqual(tuple(media[name] for name in (
                    "ChromaSubsampling", "BitDepth", "ScanType", "ScanOrder")), video)
                self.assertEqual((probed["pix_fmt"], probed["field_order"]), stream)

    def test_reports_subtitles_that_the_output_cannot_hold(self):
        self.path("words.srt").write_text("1\n00:00:00,000 --> 00:00:00,300\nhello\n")
        self.path("chapters.txt").write_text(
            ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=200\ntitle=one\n")
        clip = self.path("clip.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25", "-i", self.path("words.srt"),
               "-i", self.path("chapters.txt"), "-map", "0", "-map", "1", "-map_metadata", "2",
               "-frames:v", "10", "-c:v", "v210", clip)
        notes = self.succeed("encode", clip, self.path("out.mov")).stderr
        self.assertIn(f"{clip}: left out: subtitles (ass, a .mov cannot hold them)", notes)

    def test_reports_lost_chroma_and_alpha(self):
        for pixels, words in (("yuv422p10le", []), ("yuv444p10le", ["converts 4:4:4 to 4:2:2"]),
                              ("yuva444p10le", ["converts 4:4:4 to 4:2:2", "alpha channel"])):
            with self.subTest(pixels):
                make_clip(self.encoded, "-c:v", "prores_ks", "-pix_fmt", pixels, pixels=pixels)
                notes = self.decode().stderr
                self.assertEqual(notes.count("note:"), len(words), notes)
                for word in words:
                    self.assertIn(word, notes)

    def test_reports_an_unknown_field_order(self):
        self.clip = self.path("clip.avi")
        make_v210(self.clip)
        self.assertIn("field order unknown; assuming progressive", self.encode().stderr)

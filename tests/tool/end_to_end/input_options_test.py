# SPDX-License-Identifier: BSD-2-Clause
"""Options of encode that some kinds of input do not take, and its notes about alpha and RGB."""
import json
import re
import shutil
import struct

from tool import ToolTest, ffmpeg, planes, probe, run

WIDTH, HEIGHT, FRAMES = 96, 64, 3
SIZE = f"{WIDTH}x{HEIGHT}"
FOOTAGE_OPTIONS = (("--scale", "1/2"), ("--deinterlace", "frames"), ("--filter", "hflip"),
                   ("--convert-rate", "30"), ("--convert-color", "bt2020"), ("--video-track", "2"))
WITH_ALPHA = f"format=gbrap16le,geq=r='r(X,Y)':g='g(X,Y)':b='b(X,Y)':a='65535*X/{WIDTH - 1}'"


class InputOptions(ToolTest):
    def setUp(self):
        super().setUp()
        self.out = self.path("out.mov")

    def make(self, name, *output, filters="null"):
        ffmpeg("-f", "lavfi", "-i", f"testsrc2=size={SIZE}:rate=24", "-frames:v", FRAMES, "-vf",
               filters, *output, self.path(name))
        return self.path(name)

    def images(self, alpha=True):
        return self.make("in.%02d.png", "-pix_fmt", "rgba64be" if alpha else "rgb48be",
                         filters=WITH_ALPHA if alpha else "null")

    def raw_frames(self, fourcc):
        """Returns the options of raw frames and their file."""
        path = self.path("raw." + fourcc.lower())
        size = {"V210": 256 * HEIGHT, "UYVY": 2 * WIDTH * HEIGHT}.get(fourcc, 8 * WIDTH * HEIGHT)
        path.write_bytes(bytes([0x80]) * (size * FRAMES))
        return "--fourcc", fourcc, "--size", SIZE, "--rate", "24", path

    def notes(self, *arguments):
        """Encodes; returns the lines before the summary."""
        errors = self.succeed("encode", "--overwrite", *arguments, self.out).stderr
        return errors.splitlines()[:-1]


class Refusals(InputOptions):
    def test_raw_frames_take_no_option_of_footage(self):
        for fourcc, variant in (("V210", "422"), ("UYVY", "4444"), ("Y416", "4444"),
                                ("b64A", "4444xq")):
            source = self.raw_frames(fourcc)
            for option in FOOTAGE_OPTIONS:
                with self.subTest(fourcc=fourcc, option=option):
                    self.fail_with(2, [source[-1], option[0], "raw frames"], "encode", "--variant",
                                   variant, *option, *source, self.out)

    def test_raw_frames_with_premultiplied_colours_are_refused(self):
        for fourcc in ("Y416", "b64A"):
            source = self.raw_frames(fourcc)
            self.fail_with(2, [source[-1], "--premultiplied", "b64A into a .mov"], "encode",
                           "--variant", "4444", "--premultiplied", *source, self.out)
            self.notes("--variant", "4444", "--straight", *source)

    def test_images_refuse_what_they_do_not_take(self):
        images = self.images()
        for variant in ("422", "4444"):
            for option in FOOTAGE_OPTIONS[1:]:
                with self.subTest(variant=variant, option=option):
                    self.fail_with(2, [images, option[0], "image sequences; "], "encode", "--rate",
                                   "24", "--variant", variant, *option, images, self.out)

    def test_footage_refuses_colour_spaces_of_images(self):
        clip = self.make("clip.mkv", "-c:v", "ffv1")
        self.fail_with(2, [clip, "--input-color", "video files"], "encode", "--input-color", "sRGB",
                       "--output-color", "Rec.709", clip, self.out)

    def test_only_images_take_a_treatment_of_missing_files(self):
        clip = self.make("clip.mov", "-c:v", "v210")
        for kind, source in (("video files", (clip,)), ("raw frames", self.raw_frames("V210"))):
            for what in ("black", "hold"):
                with self.subTest(kind=kind, what=what):
                    self.fail_with(2, [source[-1], "--missing", kind, "leave it out"], "encode",
                                   "--missing", what, *source, self.out)

    def test_footage_takes_one_of_the_two_rates(self):
        for clip in (self.make("clip.mov", "-c:v", "v210"), self.make("clip.mkv", "-c:v", "ffv1")):
            self.fail_with(2, [clip, "--rate and --convert-rate contradict each other"], "encode",
                           "--rate", "30", "--convert-rate", "50", clip, self.out)

    def test_a_batch_continues_after_a_refusal(self):
        images, clip = self.images(), self.make("clip.mkv", "-c:v", "ffv1")
        result = run("encode", "--rate", "24", "--filter", "hflip", "--output-dir",
                     self.path("made"), images, clip)
        self.assertEqual(result.returncode, 1)
        self.assertIn("--filter has no effect on image sequences", result.stderr)
        self.assertEqual([path.name for path in self.path("made").iterdir()], ["clip.mov"])

    def test_contradicting_options_are_refused(self):
        images = self.images()
        for pair in (("--premultiplied", "--straight"), ("--straight", "--premultiplied")):
            self.fail_with(2, ["contradict each other"], "encode", "--rate", "24", "--variant",
                           "4444", *pair, images, self.out)
        self.fail_with(2, ["--peak-luminance needs --convert-color"], "encode", "--rate", "24",
                       "--peak-luminance", "100", images, self.out)


class Footage(InputOptions):
    """Every kind of packed footage takes the options."""

    def test_packed_pictures_are_changed(self):
        rgb = self.make("rgb.mov", "-c:v", "rawvideo", "-tag:v", "b64a", "-pix_fmt", "rgba64be")
        clips = [self.make("clip.y4m", "-pix_fmt", "yuv422p"), rgb,
                 self.make("deep.y4m", "-pix_fmt", "yuv444p10le", "-strict", "-1"),
                 self.make("v210.mov", "-c:v", "v210"),
                 self.make("uyvy.mov", "-c:v", "rawvideo", "-pix_fmt", "uyvy422")]
        for clip in clips:
            for variant in ("422", "4444"):
                with self.subTest(clip=clip.name, variant=variant):
                    self.notes("--variant", variant, "--convert-rate", "48", "--scale", "1/2",
                               "--convert-color", "bt2020", "--filter", "hflip", clip)
                    stream = probe(self.out)
                    self.assertEqual((stream["width"], stream["height"], stream["r_frame_rate"],
                                      stream["color_space"]),
                                     (WIDTH // 2, HEIGHT // 2, "48/1", "bt2020nc"))
                    self.assertEqual(int(stream["nb_read_packets"]), 2 * FRAMES)

    def test_the_filter_reaches_packed_pictures(self):
        for name, output in (("clip.y4m", ("-pix_fmt", "yuv422p")),
                             ("v210.mov", ("-c:v", "v210", "-pix_fmt", "yuv422p10le"))):
            clip = self.make(name, *output)
            self.notes("--variant", "hq", "--filter", "geq=lum=100:cb=512:cr=512" if "v210" in name
                       else "geq=lum=25:cb=128:cr=128", clip)
            luma = memoryview(planes(self.out)).cast("H")[:WIDTH * HEIGHT]
            self.assertEqual(set(luma), {100})


class ScaledImages(InputOptions):
    def test_images_are_scaled_like_footage(self):
        images = self.images()
        movie = self.path("in.mov")
        ffmpeg("-framerate", "24", "-i", images, "-c:v", "png", movie)
        for variant, pixels in (("hq", "yuv422p10le"), ("4444xq", "yuva444p12le")):
            for scale, width, height in (("1/2", 48, 32), ("150x90", 150, 90), ("97x71", 97, 71)):
                with self.subTest(variant=variant, scale=scale):
                    options = ("--variant", variant, "--scale", scale)
                    self.notes(*options, "--rate", "24", images)
                    stream = probe(self.out)
                    self.assertEqual((stream["width"], stream["height"]), (width, height))
                    found = planes(self.out, pixels)
                    self.notes(*options, movie)
                    self.assert_same_bytes(planes(self.out, pixels), found)

    def test_scaled_images_keep_their_shape(self):
        image = self.path("s.1.dpx")
        ffmpeg("-i", self.images(alpha=False), "-frames:v", "1", "-pix_fmt", "gbrp10be", image)
        data = bytearray(image.read_bytes())
        data[1628:1636] = struct.pack(">II", 2, 1)  # width and height of a pixel
        image.write_bytes(data)
        self.notes("--rate", "24", "--scale", f"{WIDTH // 2}x{HEIGHT}", self.path("s.%d.dpx"))
        stream = probe(self.out)
        self.assertEqual((stream["width"], stream["sample_aspect_ratio"]), (WIDTH // 2, "4:1"))

    def test_missing_files_become_black_of_the_scaled_size(self):
        images = self.images(alpha=False)
        self.path("in.02.png").unlink()
        self.notes("--rate", "24", "--missing", "black", "--scale", "1/2", images)
        size = WIDTH // 2 * HEIGHT // 2 * 4
        luma = memoryview(planes(self.out)[size:2 * size]).cast("H")[:size // 4]
        self.assertEqual(set(luma), {64})


class Notes(InputOptions):
    def assert_notes(self, lines, *texts):
        """Compares all notes, each of which has a line of its own."""
        self.assertEqual(lines, ["vixprores: note: " + str(text) for text in texts])

    def notes_on_alpha(self, *arguments):
        return [note for note in self.notes(*arguments) if "alpha" in note or "opaque" in note]

    def test_a_422_variant_states_each_loss_in_one_wording(self):
        images = self.images()
        movie = self.path("in.mov")
        ffmpeg("-framerate", "24", "-i", images, "-c:v", "png", movie)
        packed = self.path("packed.mov")
        self.succeed("encode", "--variant", "4444", movie, self.path("coded.mov"))
        self.succeed("decode", "--fourcc", "b64A", self.path("coded.mov"), packed)
        for source in (images, movie, packed):
            with self.subTest(source.name):
                self.assert_notes(
                    self.notes("--rate", "24", source),
                    f"{source}: RGB pictures are converted with the matrix 6 (bt601); --matrix "
                    "chooses another one",
                    f"{source}: the alpha channel is left out; --variant 4444 keeps it",
                    f"{source}: converts RGB in 16 bits to 4:2:2 in 10 bits; --variant 4444 keeps "
                    "4:4:4 in 12 bits")
                chosen = self.notes("--rate", "24", "--matrix", "bt2020", source)
                self.assert_notes(chosen[:1], f"{source}: RGB pictures are converted with the "
                                              "matrix 9 (bt2020)")
        for options in ((), ("--filter", "hflip")):
            coded = self.path("coded.mov")
            self.assert_notes(
                self.notes(*options, coded),
                f"{coded}: the alpha channel is left out; --variant 4444 keeps it",
                f"{coded}: converts 4:4:4 in 12 bits to 4:2:2 in 10 bits; --variant 4444 keeps "
                "4:4:4 in 12 bits")

    def test_alpha_that_a_filter_removes_is_noted(self):
        images = self.images()
        movie = self.path("in.mov")
        ffmpeg("-framerate", "24", "-i", images, "-c:v", "png", movie)
        removing = ("--variant", "4444", "--filter", "format=rgb48")
        for options, effect in (((), ""), (("--alpha", "16"), "; that of the output is opaque"),
                                (("--premultiplied",), "; --premultiplied has no effect")):
            with self.subTest(options):
                self.assert_notes(self.notes_on_alpha(*removing, *options, movie),
                                  f"{movie}: the alpha channel is left out{effect}")

    def test_alpha_that_is_not_wanted_is_not_noted(self):
        images = self.images()
        movie = self.path("in.mov")
        ffmpeg("-framerate", "24", "-i", images, "-c:v", "png", movie)
        for options in (("--variant", "hq"), ("--variant", "4444"),
                        ("--variant", "4444", "--filter", "format=rgb48")):
            for source in ((movie,) if "--filter" in options else (movie, images)):
                with self.subTest(options=options, source=source.name):
                    notes = self.notes_on_alpha("--rate", "24", *options, "--alpha", "none", source)
                    self.assert_notes(notes)

    def test_options_for_alpha_without_alpha_are_noted(self):
        sources = (("--rate", "24", self.images(alpha=False)), (self.make("c.mov", "-c:v", "v210"),),
                   (self.make("c.mkv", "-c:v", "ffv1"),))
        for source in sources:
            for option, text in ((("--alpha", "16"), "that of the output is opaque"),
                                 (("--alpha", "8"), "that of the output is opaque"),
                                 (("--premultiplied",), "--premultiplied has no effect")):
                with self.subTest(source=source, option=option):
                    notes = self.notes("--variant", "4444", *option, *source)
                    self.assert_notes(notes[-1:], f"{source[-1]}: has no alpha channel; {text}")
            notes = self.notes("--variant", "4444", "--alpha", "none", *source)
            self.assertNotIn("alpha", "\n".join(notes))

    def test_decoding_to_rgb_does_not_mention_the_matrix(self):
        self.notes("--variant", "4444", "--rate", "24", self.images())
        for name in ("decoded.mov", "decoded.b64a"):
            errors = self.succeed("decode", "--fourcc", "b64A", self.out, self.path(name)).stderr
            self.assertNotIn("note", errors)
        self.notes("--variant", "4444", "--color", "bt2020", "--rate", "24", self.images())
        errors = self.succeed("decode", "--overwrite", self.out, self.path("decoded.b64a")).stderr
        self.assertIn("cannot keep the colour primaries, transfer", errors)


class Black(InputOptions):
    def black_frame(self, alpha, *options):
        """Returns the alpha of the second frame, whose file is missing, and its luma."""
        images = self.images(alpha)
        self.path("in.02.png").unlink()
        self.notes("--rate", "24", "--variant", "4444", "--missing", "black", *options, images)
        self.succeed("decode", "--overwrite", self.out, self.path("decoded.y416"))
        frame = 4 * WIDTH * HEIGHT
        samples = memoryview(self.path("decoded.y416").read_bytes()).cast("H")[frame:2 * frame]
        return set(samples[0::4]), set(samples[1::4])

    def test_a_missing_file_is_transparent_if_the_others_have_alpha(self):
        self.assertEqual(self.black_frame(True), ({0}, {4096}))
        self.assertEqual(self.black_frame(True, "--alpha", "8"), ({0}, {4096}))

    def test_a_missing_file_is_opaque_otherwise(self):
        self.assertEqual(self.black_frame(False), ({0xFFFF}, {4096}))
        self.assertEqual(self.black_frame(True, "--alpha", "none"), ({0xFFFF}, {4096}))


class BatchNames(InputOptions):
    def names(self, *inputs):
        self.succeed("encode", "--rate", "24", "--overwrite", "--output-dir", self.path("made"),
                     *inputs)
        return sorted(path.name for path in self.path("made").iterdir())

    def test_outputs_of_images_have_their_name_without_number(self):
        images = self.images()
        self.path("shot.v2").mkdir()
        for number in (1, 2, 3):
            shutil.copyfile(self.path(f"in.{number:02d}.png"), self.path(f"shot.v2/{number}.png"))
        self.assertEqual(self.names(images, str(self.path("shot.v2")) + "/"),
                         ["in.mov", "shot.v2.mov"])

    def test_equal_names_are_refused(self):
        images, clip = self.images(), self.make("in.mkv", "-c:v", "ffv1")
        self.fail_with(2, ["would both be written to", "{number}"], "encode", "--rate", "24",
                       "--output-dir", self.path("made"), images, clip)


class RecoveredLabels(InputOptions):
    def test_labels_that_only_frames_have_are_recovered(self):
        self.notes("--rate", "24", "--matrix", "bt709", "--variant", "4444", self.images())
        cut, recovered = self.path("cut.mov"), self.path("recovered.mov")
        data = self.out.read_bytes()
        cut.write_bytes(data[:data.rindex(b"moov") - 4])
        whole = json.loads(self.succeed("copy", "--json", self.out, self.path("c.mov")).stdout)
        for options in ((), ("--overwrite",)):
            result = json.loads(self.succeed("recover", "--json", *options, cut, recovered).stdout)
            self.assertEqual(result["colour"], whole["colour"])
            # Damage to the first frame leaves the labels of the second one.
            first = data.index(b"icpf") + 40
            cut.write_bytes(data[:first] + bytes(9) + data[first + 9:])
        text = self.succeed("recover", "--overwrite", cut, recovered).stderr
        self.assertTrue(re.search("colour unspecified/unspecified/bt709", text), text)

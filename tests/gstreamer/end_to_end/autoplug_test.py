# SPDX-License-Identifier: BSD-2-Clause
"""What GStreamer chooses by itself: players take the decoder for the streams that it decodes, and no
others. The documentation of the elements."""
import itertools
import unittest

from pipelines import Frames, PipelineTest, run
from tool import make_clip

DECODER = "vixproresdec0"


class Autoplug(PipelineTest):
    def clip(self):
        frames = Frames()
        return self.encoded_by_the_program(self.raw(frames), frames, "standard")

    def test_playbin_plays_with_the_decoder(self):
        messages = self.launch(f"playbin uri={self.clip().as_uri()} video-sink=fakesink "
                               "audio-sink=fakesink", "-v")
        self.assertIn(DECODER, messages)

    def test_decodebin_takes_the_decoder(self):
        make_clip(self.path("peer.mkv"), "-c:v", "prores_ks")
        for path in (self.clip(), self.path("peer.mkv")):
            for bin in ("decodebin", "decodebin3"):
                with self.subTest(path=path.name, bin=bin):
                    messages = self.launch(f"filesrc location={path} ! {bin} ! fakesink", "-v")
                    self.assertIn(DECODER, messages)

    def test_encodebin_takes_the_encoder(self):
        result = run("gst-inspect-1.0", "vixproresenc")
        self.assertRegex(result.stdout, r"Rank +\S* *\(?(?:primary|[1-9])")

    def test_decodebin_takes_the_decoder_for_4444(self):
        for suffix, profile in itertools.product((".mov", ".mkv"), ("4444", "4444xq")):
            with self.subTest(suffix=suffix, profile=profile):
                path = self.path(profile + suffix)
                make_clip(path, "-c:v", "prores_ks", "-profile:v", profile, pixels="yuva444p10le")
                messages = self.launch(f"filesrc location={path} ! decodebin ! fakesink", "-v")
                self.assertIn(DECODER, messages)
                self.assertIn("format=(string)AYUV64", messages)


class Documentation(unittest.TestCase):
    def inspect(self, name):
        result = run("gst-inspect-1.0", name)
        self.assertEqual(result.returncode, 0, result.stdout)
        return result.stdout

    def test_elements_describe_themselves(self):
        for element, kind, words in (
                ("vixproresenc", "Codec/Encoder/Video", ("variant", "threads", "proxy", "hq")),
                ("vixproresdec", "Codec/Decoder/Video", ("threads", "error-policy", "conceal"))):
            with self.subTest(element=element):
                text = self.inspect(element)
                for word in (kind, *words):
                    self.assertIn(word, text)

    def test_the_plugin_describes_itself(self):
        text = self.inspect("vixprores")
        for word in ("vixproresenc", "vixproresdec", "BSD", "libgstvixprores.so"):
            self.assertIn(word, text)


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: BSD-2-Clause
"""Footage that is truncated, damaged or not what it seems: no frame is lost without a word, and
nothing is read but the named file."""
import json
import pathlib
import re
import shutil
import socket
import subprocess
import tempfile
import unittest

from tool import TIMEOUT, ToolTest, ffmpeg, probe

FRAMES = 50
_CLIPS = tempfile.TemporaryDirectory(prefix="vixprores-damaged-")
GROUP = 12  # pictures from one key picture to the next
PACKET = 188  # bytes of MPEG-TS
DNXHR_PREFIX = b"\0\0\2\x80\3"

H264 = f"-c:v libx264 -g {GROUP} -bf 2 "
KINDS = {
    "clip.mp4": H264 + "-c:a aac -movflags +faststart",
    "late_index.mp4": H264 + "-c:a aac",
    "clip.ts": H264 + "-c:a ac3",
    "clip.mkv": H264 + "-c:a flac",
    "clip.mxf": f"-c:v mpeg2video -g {GROUP} -bf 2 -c:a pcm_s16le -ar 48000",
    "clip.avi": "-c:v mjpeg -c:a pcm_s16le",
    "dnxhr.mov": "-c:v dnxhd -profile:v dnxhr_sq -s 256x120 -pix_fmt yuv422p -c:a pcm_s16le",
}


def clip(name):
    """Returns a clip of 50 frames, which tests share."""
    path = pathlib.Path(_CLIPS.name) / name
    if not path.exists():
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=128x96:r=25:d=2", "-f", "lavfi", "-i", "sine=d=2",
               *KINDS[name].split(), path)
    return path


class DamagedFootage(ToolTest):
    def setUp(self):
        super().setUp()
        self.out = self.path("out.mov")

    def write(self, name, data):
        path = self.path(name)
        path.write_bytes(data)
        return path

    def cut(self, name):
        data = clip(name).read_bytes()
        return self.write("cut_" + name, data[:len(data) * 6 // 10])

    def encode(self, path, *options):
        return self.succeed("encode", "--overwrite", "--threads", "1", *options, path, self.out)

    def check_policies(self, path, words, *, frames=FRAMES):
        """Damage ends the run, or is listed."""
        self.out.unlink(missing_ok=True)
        self.fail_with(1, [path, "frame ", *words], "encode", "--threads", "1", path, self.out)
        told = self.encode(path, "--on-error", "conceal").stderr
        self.assertRegex(told, r": frame \d+")
        self.assertEqual(int(probe(self.out)["nb_read_packets"]), frames, told)
        told = self.encode(path, "--on-error", "skip").stderr
        lost = sum(1 + int(more or 0)
                   for more in re.findall(r": frame \d+(?: \(\S+\))?(?: and (\d+) more)?: .*left out",
                                          told))
        self.assertGreater(lost, 0)
        self.assertEqual(int(probe(self.out)["nb_read_packets"]), frames - lost, told)


class Truncated(DamagedFootage):
    def test_without_its_index(self):
        path = self.cut("late_index.mp4")
        self.fail_with(1, [path, "moov atom not found", "get the whole file"], "encode", path, self.out)

    def test_with_an_index(self):
        for name in ("clip.mp4", "clip.avi", "clip.mxf"):
            with self.subTest(name):
                self.check_policies(self.cut(name), ["missing", "announces 50 frames", "--frames"])

    def test_of_one_track_with_a_duration(self):
        path = self.path("whole.mkv")
        ffmpeg("-i", clip("clip.mkv"), "-map", "0:v", "-c", "copy", path)
        data = path.read_bytes()
        self.check_policies(self.write("cut.mkv", data[:len(data) // 2]), ["missing", "announces 50"])

    def test_whose_frames_are_not_those_of_the_file(self):
        for name in ("clip.mp4", "clip.mkv"):
            for options in (["--convert-rate", "24"], ["--filter", "null"]):
                with self.subTest(name=name, options=options):
                    self.fail_with(1, ["is missing with all after it", "--frames"], "encode",
                                   *options, self.cut(name), self.out)

    def test_without_a_duration(self):
        path = self.cut("clip.mkv")
        data = path.read_bytes()
        self.assertIn(b"DURATION", data)
        path.write_bytes(data.replace(b"DURATION", b"DIRECTOR"))
        self.fail_with(1, [path, "is missing with all after it", "--frames"], "encode", path, self.out)
        told = self.encode(path, "--on-error", "skip").stderr
        self.assertIn("is missing with all after it", told)
        self.assertGreater(int(probe(self.out)["nb_read_packets"]), 20)


class Damaged(DamagedFootage):
    def damage(self, name):
        """Overwrites the second half of a key picture."""
        packets = json.loads(subprocess.run(
            ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pos,size", "-of",
             "json", clip(name)], check=True, capture_output=True, timeout=TIMEOUT).stdout)["packets"]
        position, size = (int(packets[2 * GROUP][key]) for key in ("pos", "size"))
        data = bytearray(clip(name).read_bytes())
        data[position + size // 2:position + size] = b"\x55" * (size - size // 2)
        return self.write("damaged_" + name, data)

    def test_pictures_that_stand_alone_are_listed(self):
        path = self.path("alone.avi")
        ffmpeg("-f", "lavfi", "-i", "testsrc2=s=320x180:r=25", "-frames:v", "6", "-c:v", "mjpeg",
               "-q:v", "3", path)
        packets = json.loads(subprocess.run(
            ["ffprobe", "-v", "error", "-show_entries", "packet=pos,size", "-of", "json", path],
            check=True, capture_output=True, timeout=TIMEOUT).stdout)["packets"]
        data = bytearray(path.read_bytes())
        position, size = int(packets[3]["pos"]), int(packets[3]["size"])
        data[position + size // 2:position + size // 2 + 64] = bytes(64)
        path.write_bytes(data)
        self.fail_with(1, ["frame 3", "decoded with errors"], "encode", path, self.out)
        told = self.encode(path, "--on-error", "conceal").stderr
        self.assertEqual(re.findall(r"frame (\d+)", told), ["3"])

    def test_pictures_are_listed(self):
        for name in ("clip.mp4", "clip.mxf"):
            with self.subTest(name):
                self.check_policies(self.damage(name),
                                    ["was decoded with errors", "--on-error skip or conceal"])

    def test_pictures_that_cannot_be_decoded_leave_gaps(self):
        parts = clip("dnxhr.mov").read_bytes().split(DNXHR_PREFIX)
        self.assertEqual(len(parts), FRAMES + 1)
        data = DNXHR_PREFIX.join(parts[:20]) + bytes(len(DNXHR_PREFIX)) + DNXHR_PREFIX.join(parts[20:])
        self.check_policies(self.write("damaged.mov", data), ["--on-error skip or conceal"])

    def test_times_of_repeated_pictures_are_passed_over(self):
        """Decoders may return a picture twice where packets are lost."""
        data = clip("clip.ts").read_bytes()
        path = self.write("lost.ts", data[:60 * PACKET] + data[90 * PACKET:])
        self.fail_with(1, [path, "--on-error skip or conceal"], "encode", path, self.out)
        told = self.encode(path, "--on-error", "conceal").stderr
        self.assertRegex(told, r"are missing: .*; replaced")
        self.assertEqual(int(probe(self.out)["nb_read_packets"]), FRAMES, told)
        self.assertEqual(float(probe(self.out)["duration"]), FRAMES / 25)

    def test_sound_of_an_unknown_codec_is_named(self):
        data = clip("clip.mkv").read_bytes()
        self.assertIn(b"A_FLAC", data)
        path = self.write("unknown.mkv", data.replace(b"A_FLAC", b"A_FLOP"))
        self.fail_with(1, [path, "sound track 1", "--audio"], "encode", path, self.out)

    def test_pictures_too_low_to_deinterlace_are_named(self):
        path = self.path("low.mkv")
        ffmpeg("-f", "lavfi", "-i", "testsrc=s=64x2:d=1", "-c:v", "ffv1", path)
        self.fail_with(1, [path, "64x2", "deinterlaced"], "encode", "--deinterlace", "frames", path,
                       self.out)


class Names(DamagedFootage):
    def test_extensions_do_not_matter(self):
        for name, other in (("clip.mp4", "clip.avi"), ("clip.ts", "clip.txt"), ("clip.mkv", "clip")):
            with self.subTest(name):
                path = self.path(other)
                shutil.copyfile(clip(name), path)
                self.encode(path)
                self.assertEqual(int(probe(self.out)["nb_read_packets"]), FRAMES)

    def test_that_look_like_something_else_are_files(self):
        for name in ("-q.mp4", "--help", "a\nb.mp4", "100%d.mp4", "concat:a.mp4|b.mp4", "file:a.mp4",
                     "subfile,,start,0,end,9,,:a.mp4", "data:a.mp4", "pipe:0", "a*?[b].mp4", " a.mp4",
                     "http:a.mp4", "\udcff.mp4"):
            with self.subTest(name):
                path = self.path(name)
                shutil.copyfile(clip("clip.mp4"), path)
                self.succeed("encode", "--overwrite", "--", name, "out.mov", cwd=self.folder,
                             errors="surrogateescape")
                self.assertEqual(int(probe(self.out)["nb_read_packets"]), FRAMES)
                path.unlink()
                self.out.unlink()
                result = self.fail_with(1, [], "encode", "--", name, "out.mov", cwd=self.folder,
                                        errors="surrogateescape")
                self.assertIn("No such file", result.stderr)


class Playlists(DamagedFootage):
    def test_lead_nowhere(self):
        shutil.copyfile(clip("clip.ts"), self.path("clip.ts"))
        with socket.create_server(("127.0.0.1", 0)) as server:
            server.setblocking(False)
            address = f"127.0.0.1:{server.getsockname()[1]}"
            for target in ("clip.ts", f"http://{address}/clip.ts", f"tcp://{address}"):
                for name, text in PLAYLISTS.items():
                    with self.subTest(name, target=target):
                        path = self.write(name, text.format(target).encode())
                        result = self.fail_with(1, [path, "is no video file"], "encode", path, self.out)
                        self.assertNotIn("whitelist", result.stderr)
            with self.assertRaises(BlockingIOError, msg="somebody called"):
                server.accept()

    def test_that_are_named_as_addresses_are_not_opened(self):
        with socket.create_server(("127.0.0.1", 0)) as server:
            server.setblocking(False)
            address = f"127.0.0.1:{server.getsockname()[1]}"
            for name in (f"http://{address}/a.mp4", f"tcp://{address}", f"cache:http://{address}/a",
                         f"rtp://{address}"):
                with self.subTest(name):
                    self.fail_with(1, [name, "No such file"], "encode", name, self.out)
            with self.assertRaises(BlockingIOError, msg="somebody called"):
                server.accept()


PLAYLISTS = {
    "list.m3u8": "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n#EXTINF:2.0,\n{}\n#EXT-X-ENDLIST\n",
    "list.ffconcat": "ffconcat version 1.0\nfile {}\n",
    "list.txt": "file '{}'\n",
    "list.mpd": '<?xml version="1.0"?>\n<MPD xmlns="urn:mpeg:dash:schema:mpd:2011" type="static">'
                '<Period><AdaptationSet mimeType="video/mp2t"><Representation id="1" bandwidth="1">'
                "<BaseURL>{}</BaseURL></Representation></AdaptationSet></Period></MPD>\n",
    "session.sdp": "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nu={}\nc=IN IP4 127.0.0.1\nt=0 0\n"
                   "m=video 5004 RTP/AVP 33\n",
    "list.avs": 'DirectShowSource("{}")\n',
    "list.pls": "[playlist]\nFile1={}\nNumberOfEntries=1\n",
}


if __name__ == "__main__":
    unittest.main()

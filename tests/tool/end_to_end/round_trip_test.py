# SPDX-License-Identifier: BSD-2-Clause
"""Compares the reports of independent programs on files before and after a round trip."""
import json
import subprocess

from sound_test import file_tags, sound, tracks_of
from tool import TIMEOUT, ToolTest, ffmpeg, probe

COLOURS = {
    "709": ("bt709", "bt709", "bt709"),
    "601-625": ("bt470bg", "bt709", "smpte170m"),
    "601-525": ("smpte170m", "bt709", "smpte170m"),
    "2020-PQ": ("bt2020", "smpte2084", "bt2020nc"),
    "2020-HLG": ("bt2020", "arib-std-b67", "bt2020nc"),
    "none": None,
}

# name: size, rate, fields, colour, sound tracks, channels, timecode, aspect of a pixel
CASES = {
    "hd": ("1920x1080", "25", "prog", "709", 1, 2, "10:00:00:00", "1"),
    "hd interlaced": ("192x108", "25", "tff", "709", 2, 1, "09:59:50:12", "1"),
    "hd drop frame": ("128x72", "60000/1001", "prog", "709", 4, 1, "00:59:59;58", "1"),
    "pal": ("720x576", "25", "tff", "601-625", 8, 1, "10:00:00:24", "64/45"),
    "ntsc": ("720x486", "30000/1001", "tff", "601-525", 2, 2, "01:00:59;29", "10/11"),
    "ntsc non-drop": ("720x486", "30000/1001", "tff", "601-525", 1, 1, "01:00:59:29", "10/11"),
    "film": ("204x86", "24000/1001", "prog", "709", 6, 1, "23:59:59:23", "1"),
    "hdr": ("192x108", "50", "prog", "2020-PQ", 1, 6, "00:00:00:49", "1"),
    "hlg": ("128x72", "50", "prog", "2020-HLG", 1, 2, None, "1"),
    "odd size": ("317x181", "24", "prog", "709", 1, 1, "12:34:56:07", "1"),
    "no colour": ("64x48", "30", "prog", "none", 3, 1, "00:00:00:00", "1"),
    "no sound": ("72x58", "50", "prog", "601-625", 0, 0, "20:20:20:20", "16/15"),
}


def make_source(path, size, rate, fields, colour, tracks, channels, timecode, aspect):
    inputs = ["-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}"]
    output = ["-map", "0", "-frames:v", 3, "-c:v", "v210", "-field_order",
              "tb" if fields == "tff" else "progressive"]
    for track in range(tracks):
        inputs += ["-f", "lavfi", "-i", f"anoisesrc=seed={track}:sample_rate=48000:duration=0.2"]
        output += ["-map", track + 1]
    if tracks:
        output += ["-c:a", "pcm_s24le", "-ac", channels]
    filters = f"format=yuv422p10le,setfield={fields},setsar={aspect}"
    if COLOURS[colour]:
        primaries, transfer, matrix = COLOURS[colour]
        filters += (f",setparams=color_primaries={primaries}:color_trc={transfer}"
                    f":colorspace={matrix}")
        output += ["-color_primaries", primaries, "-color_trc", transfer, "-colorspace", matrix]
    if timecode:
        output += ["-timecode", timecode]
    ffmpeg(*inputs, "-vf", filters, *output, "-metadata", "title=A title", path)


def mediainfo(path):
    result = subprocess.run(["mediainfo", "--Output=JSON", str(path)], check=True,
                            capture_output=True, text=True, timeout=TIMEOUT)
    return json.loads(result.stdout)["media"]["track"]


def what_mediainfo_says(path):
    tracks = mediainfo(path)
    video = next(track for track in tracks if track["@type"] == "Video")
    fields = ("Width", "Height", "FrameRate", "FrameRate_Num", "FrameRate_Den", "FrameCount",
              "PixelAspectRatio", "colour_primaries", "transfer_characteristics",
              "matrix_coefficients")
    said = {field: video.get(field) for field in fields}
    said["scan"] = (video.get("ScanType", "Progressive"), video.get("ScanOrder"))
    said["audio"] = [(track.get("Channels"), track.get("SamplingRate"),
                      track.get("BitDepth"), track.get("ChannelPositions"))
                     for track in tracks if track["@type"] == "Audio"]
    said["timecode"] = [track.get("TimeCode_FirstFrame") for track in tracks
                        if track["@type"] == "Other"]
    return said


def what_ffprobe_says(path):
    video = probe(path)
    fields = ("width", "height", "r_frame_rate", "avg_frame_rate", "field_order",
              "sample_aspect_ratio", "color_primaries", "color_transfer", "color_space",
              "nb_read_packets", "start_time", "duration")
    said = {field: video.get(field) for field in fields}
    said["timecode"] = video["tags"].get("timecode")
    said["title"] = file_tags(path).get("title")
    said["audio"] = [(track["channels"], track.get("channel_layout"), track["duration_ts"],
                      track["sample_rate"]) for track in tracks_of(path, "a")]
    return said


class RoundTrip(ToolTest):
    def check(self, name):
        source, encoded, decoded = (
            self.path(file) for file in ("source.mov", "encoded.mov", "decoded.mov"))
        make_source(source, *CASES[name])
        self.succeed("encode", source, encoded)
        self.succeed("decode", encoded, decoded)
        before, media_before = what_ffprobe_says(source), what_mediainfo_says(source)
        for path in (encoded, decoded):
            self.assertEqual(what_ffprobe_says(path), before)
            after = what_mediainfo_says(path)
            for key in media_before:
                # Skip properties that mediainfo cannot read from the source's codec.
                if media_before[key] is not None:
                    self.assertEqual(after[key], media_before[key], key)
            for track in range(CASES[name][4]):
                self.assert_same_bytes(sound(path, track), sound(source, track))
        report = json.loads(self.succeed("inspect", "--json", encoded).stdout)
        self.assertEqual([entry for entry in report["properties"] if entry["state"] == "mismatch"],
                         [])
        for path in (source, encoded, decoded):
            path.unlink()


def _add_case(name):
    def test(self):
        self.check(name)
    setattr(RoundTrip, "test_" + name.replace(" ", "_").replace("-", "_"), test)


for _name in CASES:
    _add_case(_name)

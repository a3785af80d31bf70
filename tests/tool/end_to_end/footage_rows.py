# SPDX-License-Identifier: BSD-2-Clause
"""The table of footage that footage_table_test.py encodes, as data."""
import dataclasses
from fractions import Fraction

FRAMES = 12
PAL, NTSC, FILM = Fraction(25), Fraction(30000, 1001), Fraction(24000, 1001)
HD = ("bt709", "bt709", "bt709")
HDR = ("bt2020", "smpte2084", "bt2020nc")
SD = ("smpte170m", "smpte170m", "smpte170m")
UNKNOWN = ("unknown", "unknown", "unknown")

# Options of ffmpeg for sound beside the pictures.
AAC, AC3, FLAC = "-c:a aac -b:a 128k", "-c:a ac3", "-c:a flac"
OPUS, PCM, PCM_16 = "-c:a libopus", "-c:a pcm_s24le", "-c:a pcm_s16le"

QUIET_X265 = "log-level=none"
HDR10 = ("hdr10=1:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:max-cll=1000,400:"
         "master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,50)")


@dataclasses.dataclass
class Row:
    """A file of moving pictures, how ffmpeg makes it, and what it states about itself."""
    file: str
    codec: str             # options of ffmpeg for the video
    pixels: str            # that the video encoder gets
    sound: str = ""        # options of ffmpeg; empty = no sound
    tracks: int = 1        # of sound
    frames: int = FRAMES
    rate: Fraction = PAL
    size: tuple = (192, 108)
    fields: str = ""       # "t" or "b": the first field of interlaced pictures
    matrix: str = "709"    # of the pictures, as zscale names it
    full: bool = False     # range
    siting: str = "left"   # of chroma
    colours: tuple = UNKNOWN  # labels of the output: primaries, transfer, matrix
    aspect: str = "1:1"    # of a pixel
    timecode: str = ""
    options: str = ""      # of the encode command
    left_out: tuple = ()   # numbers of pictures that the file lacks; the ones before stay longer
    lag: Fraction = Fraction(0)  # seconds by which the container shows the pictures late
    deep: bool = False     # has more than 10 bits, which are dithered
    turn: int = 0          # in degrees, counterclockwise, by a label
    hdr: bool = False      # has a mastering display and content light

    @property
    def is_rgb(self):
        return "rgb" in self.pixels or "bgr" in self.pixels or "gbr" in self.pixels

    @property
    def shown_numbers(self):
        """The numbers of the pictures in the output."""
        shown = []
        for number in range(self.frames):
            shown.append(shown[-1] if number in self.left_out else number)
        return shown

    @property
    def shown_size(self):
        return self.size[::-1] if self.turn == 90 else self.size


def rgb(file, codec, pixels, **more):
    """A row of RGB, which becomes BT.601 below 720 lines."""
    return Row(file, codec, pixels, matrix="170m", colours=("unknown", "unknown", "smpte170m"), **more)


TAGS = "-color_primaries bt709 -color_trc bt709 -colorspace bt709"
SD_TAGS = "-color_primaries smpte170m -color_trc smpte170m -colorspace smpte170m"
# The muxer rounds the delay of the encoder, 6.5 ms, to the ticks of the container.
OPUS_LAG = Fraction(7, 1000)
X264 = f"-c:v libx264 -crf 16 {TAGS}"
AV1 = "-c:v libsvtav1 -preset 10 -crf 20 -svtav1-params lp=1"
X265 = f"-c:v libx265 -crf 16 {TAGS} -x265-params {QUIET_X265}"

ROWS = [
    # H.264: B-frames, open GOP, a start that is not zero, full range, 10 bits, interlaced.
    Row("h264.mp4", f"{X264} -bf 3 -g 6", "yuv420p", AAC, colours=HD),
    Row("h264_film.mov", f"{X264} -bf 2 -timecode 01:00:00:12", "yuv420p", AAC, rate=FILM,
        colours=HD, timecode="01:00:00:12"),
    Row("h264_open_gop.ts", f"{X264} -bf 3 -g 4 -x264-params open-gop=1", "yuv420p", AC3,
        colours=HD),
    Row("h264_late.mov", f"{X264} -bf 2 -output_ts_offset 3", "yuv420p", PCM, colours=HD),
    Row("h264_full.mp4", f"{X264} -color_range pc", "yuvj420p", AAC, full=True, colours=HD),
    Row("h264_10.mkv", X264, "yuv420p10le", FLAC, colours=HD),
    Row("h264_444.mkv", X264, "yuv444p", FLAC, rate=Fraction(50), colours=HD),
    Row("h264_422_top.mov", f"{X264} -flags +ilme+ildct -top 1 -timecode 10:00:00:00",
        "yuv422p10le", PCM, tracks=8, fields="t", colours=HD, timecode="10:00:00:00"),
    Row("h264_420_bottom.mov", f"{X264} -flags +ilme+ildct -top 0", "yuv420p", AAC, fields="b",
        colours=HD),
    Row("h264_turned.mov", X264, "yuv420p", AAC, turn=90, colours=HD),
    Row("h264_upside_down.mov", X264, "yuv420p", AAC, turn=180, colours=HD),
    Row("h264_variable_rate.mp4", X264, "yuv420p", AAC, left_out=(3, 6, 7), colours=HD,
        options="--convert-rate 25"),
    # HEVC, AV1, VP9
    Row("hevc.mp4", f"{X265}:bframes=3", "yuv420p", AAC, rate=FILM, colours=HD),
    Row("hevc_422.mov", X265, "yuv422p10le", PCM, colours=HD),
    Row("hevc_hdr10.mp4", f"-c:v libx265 -crf 16 -x265-params {QUIET_X265}:{HDR10}", "yuv420p10le",
        AAC, matrix="2020_ncl", colours=HDR, hdr=True),
    Row("av1.mp4", f"{AV1} {TAGS}", "yuv420p", OPUS, colours=HD),
    Row("av1_10.mkv", f"{AV1} {TAGS}", "yuv420p10le", OPUS, colours=HD, lag=OPUS_LAG),
    Row("vp9.webm", f"-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -crf 20 -b:v 0 {TAGS}",
        "yuv420p", OPUS, colours=HD, lag=OPUS_LAG),
    # Broadcast and editing
    Row("mpeg2_top.mxf", f"-c:v mpeg2video -q:v 2 -flags +ilme+ildct -top 1 {TAGS} "
        "-timecode 10:00:00;02", "yuv422p", PCM, rate=NTSC, fields="t", colours=HD,
        timecode="10:00:00;02"),
    Row("mpeg2.mpg", f"-c:v mpeg2video -q:v 2 -bf 2 {SD_TAGS} -aspect 4:3", "yuv420p", AC3,
        size=(352, 288), matrix="170m", colours=SD, aspect="12:11"),
    Row("dv.avi", "-c:v dvvideo -aspect 4:3", "yuv420p", PCM_16, size=(720, 576),
        frames=6, fields="b", matrix="170m", aspect="16:15", siting="topleft"),
    Row("dnxhr.mxf", f"-c:v dnxhd -profile:v dnxhr_hqx {TAGS}", "yuv422p10le", PCM,
        size=(256, 120), colours=HD, timecode="00:00:00:00"),
    Row("dnxhr_444.mov", f"-c:v dnxhd -profile:v dnxhr_444 {TAGS}", "yuv444p10le", PCM,
        size=(256, 120), colours=HD),
    Row("cineform.mov", f"-c:v cfhd {TAGS}", "yuv422p10le", PCM, colours=HD),
    Row("jpeg2000.mxf", f"-c:v libopenjpeg {TAGS} -timecode 23:59:59:20", "yuv422p10le", PCM,
        colours=HD, timecode="23:59:59:20"),
    Row("dirac.mkv", "-c:v vc2 -b:v 40M", "yuv422p10le", FLAC, colours=HD),
    Row("mpeg4.avi", "-c:v mpeg4 -q:v 2", "yuv420p", PCM_16, siting="left"),
    # Lossless and uncompressed
    Row("ffv1.mkv", f"-c:v ffv1 {TAGS}", "yuv422p", FLAC, colours=HD, rate=NTSC),
    Row("ffv1_16.mkv", f"-c:v ffv1 {TAGS}", "yuv444p16le", FLAC, colours=HD, deep=True),
    Row("ffv1_odd.mkv", f"-c:v ffv1 {TAGS}", "yuv420p", FLAC, size=(63, 61), colours=HD),
    Row("huffyuv.avi", "-c:v huffyuv", "yuv422p", PCM_16),
    rgb("utvideo.avi", "-c:v utvideo", "gbrp", sound=PCM),
    rgb("bgr24.avi", "-c:v rawvideo", "bgr24", sound=PCM),
    rgb("r210.mov", "-c:v r210", "gbrp10le", sound=PCM),
    rgb("png_16.mov", "-c:v png", "rgb48be", sound=PCM, size=(384, 216), frames=8, deep=True),
    Row("v410.mov", f"-c:v v410 {TAGS}", "yuv444p10le", PCM, colours=HD),
    Row("v210.mov", f"-c:v v210 {TAGS} -timecode 00:59:58;28", "yuv422p10le", PCM, rate=NTSC,
        colours=HD, timecode="00:59:58;28"),
    # Stills in motion
    Row("mjpeg.avi", "-c:v mjpeg -q:v 2", "yuvj420p", PCM, full=True, matrix="170m",
        siting="center", colours=("unknown", "unknown", "bt470bg")),
    rgb("animation.gif", "-c:v gif -gifflags -offsetting", "bgr8"),
]

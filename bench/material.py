# SPDX-License-Identifier: BSD-2-Clause
"""Files for benchmarks and quality measurements, and a description of the machine."""

import datetime
import os
import pathlib
import platform
import re
import subprocess
import sys
from dataclasses import dataclass

import clips

FFMPEG = "ffmpeg -nostdin -v error -y -threads 1 "
VARIANTS = {"proxy": 0, "lt": 1, "422": 2, "hq": 3}  # profile numbers of prores_ks and prores_aw
FORMATS = {"V210": "-c:v v210 -f rawvideo", "UYVY": "-pix_fmt uyvy422 -c:v rawvideo -f rawvideo"}


@dataclass
class Footage:
    """A file, or image files, and how both programs name it as their input."""

    input: str
    peer_input: str
    frames: int


class Material:
    """Input files, made when they are missing."""

    def __init__(self, folder):
        self.folder = folder

    def clip(self, name):
        return clips.make(name, self.folder)

    def sampled(self, name, step):
        """Returns every `step`-th frame of a clip, for peers that are slow."""
        if step == 1:
            return self.clip(name)
        return self._some(name, f"by_{step}", f"framestep={step}")

    def picked(self, name, numbers):
        """Returns the given frames of a clip."""
        wanted = "+".join(f"eq(n\\,{number})" for number in numbers)
        return self._some(name, f"at_{'_'.join(map(str, numbers))}", f"'select={wanted}'")

    def _some(self, name, which, choice):
        fields = "-field_order tt -top 1" if clips.CLIPS[name].interlaced else ""
        return self._make(
            f"{name}_{which}.mov",
            f"-i {self.clip(name)} -vf {choice},setpts=N/25/TB -r 25 -c:v v210 {fields}",
        )

    def repeated(self, source, times):
        """Returns the packets of a file several times, one after the other."""
        return self._make(f"{source.stem}_x{times}.mov",
                          f"-stream_loop {times - 1} -i {source} -c copy")  # fmt: skip

    def raw_frames(self, source, fourcc):
        return self._make(f"{source.stem}.{fourcc.lower()}", f"-i {source} {FORMATS[fourcc]}")

    def tiny(self, interlaced=False):
        name = "tiny_i.mov" if interlaced else "tiny.mov"
        fields = "-vf setfield=tff -field_order tt -top 1" if interlaced else ""
        return self._make(name, f"-f lavfi -i testsrc2=size=48x32:rate=25 -frames:v 1 {fields} "
                                "-pix_fmt yuv422p10le -c:v v210")  # fmt: skip

    def prores(self, source, variant, interlaced=False):
        """Returns a stream of prores_ks, whose frames keep to the target sizes."""
        fields = "-flags +ildct -top 1" if interlaced else ""
        return self._make(f"{source.stem}_{variant}.mov",
                          f"-i {source} -c:v prores_ks -profile:v {VARIANTS[variant]} {fields}")  # fmt: skip

    def camera_file(self, source):
        """Returns H.264 of 4:2:0 and 8 bits at the rate of cameras, with AAC sound."""
        path = self._make(f"{source.stem}_camera.mp4",
                          f"-i {source} -f lavfi -i sine=r=48000 -map 0:v -map 1:a -shortest "
                          "-c:v libx264 -preset medium -b:v 31M -pix_fmt yuv420p -c:a aac")
        return Footage(str(path), f"-i {path}", count_frames(path))

    def converted(self, footage):
        """Returns the pictures of footage as V210, and its sound as PCM."""
        name = pathlib.Path(footage.input).stem + "_converted.mov"
        return self._make(name, f"{footage.peer_input} -vf zscale=filter=spline36,"
                                "format=yuv422p10le -c:v v210 -c:a pcm_s24le")  # fmt: skip

    def dpx_sequence(self, source):
        """Returns image files of RGB with 10 bits."""
        folder = self._make(f"{source.stem}_dpx", f"-i {source} -pix_fmt gbrp10le -c:v dpx",
                            "/%04d.dpx")  # fmt: skip
        files = folder / "%04d.dpx"
        return Footage(f"--rate 25 {files}", f"-framerate 25 -i {files}",
                       len(list(folder.iterdir())))

    def _make(self, name, arguments, files=""):
        """Returns a file, or a folder that holds `files`."""
        path = self.folder / name
        if not path.exists():
            print(f"bench: making {name}", file=sys.stderr)
            partial = path.with_name("part_" + name)
            if files:
                partial.mkdir(exist_ok=True)
            subprocess.run(f"{FFMPEG}{arguments} {partial}{files}", shell=True, check=True)
            partial.rename(path)
        return path


def count_frames(path):
    answer = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-count_packets", "-show_entries",
         "stream=nb_read_packets", "-of", "csv=p=0", path],
        capture_output=True, text=True, check=True)  # fmt: skip
    return int(re.match(r"\d+", answer.stdout).group())


def machine():
    model = re.search(r"model name\s*:\s*(.*)", pathlib.Path("/proc/cpuinfo").read_text())
    version = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True, check=True)
    return {
        "processor": model.group(1) if model else platform.machine(),
        "processors": os.cpu_count(),
        "system": platform.freedesktop_os_release()["PRETTY_NAME"],
        "peer": version.stdout.split(" Copyright")[0],
        "date": datetime.date.today().isoformat(),
    }

# SPDX-License-Identifier: BSD-2-Clause
"""Bytes and picture of every frame that an encoder makes, ours or a peer's."""

import json
import math
import re
import subprocess
import tempfile

import clips
from curves import BEST_PSNR
from material import FFMPEG, VARIANTS, count_frames

PEAK = 1023
# Every so many frames of a clip are compared: three or more of each shot, all of the still.
STEPS = {
    "natural_1080p": 5,
    "natural_easy_1080p": 4,
    "natural_1080i": 5,
    "natural_2160p": 4,
    "natural_576i": 4,
    "still_1080p": 1,
    "synthetic_1080p": 6,
    "noise_1080p": 4,
    "flat_1080p": 2,
}
KS = "-c:v prores_ks -profile:v "
QUANTISERS = [1, 2, 3, 4, 6, 8, 12, 16, 24, 32, 48, 64]
# The peers' curves: the settings of each, and the arguments of a setting.
PEERS = {
    "ks profiles": {name: f"{KS}{number}" for name, number in VARIANTS.items()},
    "ks quantiser": {f"q{q}": f"{KS}hq -qscale:v {q}" for q in QUANTISERS},
    "aw profiles": {
        name: f"-c:v prores_aw -profile:v {number}" for name, number in VARIANTS.items()
    },
}


def run(command, **options):
    subprocess.run(command, shell=True, check=True, stdin=subprocess.DEVNULL, **options)


def frame_bytes(stream):
    answer = subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "packet=size",
         "-of", "csv=p=0", stream], capture_output=True, text=True, check=True)  # fmt: skip
    return [int(number) for number in re.findall(r"\d+", answer.stdout)]


def psnr(mse, printed):
    """The filter prints both in steps of 0.01: the one is taken that is the finer there."""
    if mse < 5:
        return min(float(printed), BEST_PSNR)
    return round(10 * math.log10(PEAK * PEAK / mse), 4)


def compare_pictures(stream, reference, step, folder):
    """PSNR and SSIM of every so many frames of a stream beside the frames of a file."""
    same_times = "settb=1/25,setpts=N"
    graph = (f"[0:v]format=yuv422p10le,select=not(mod(n\\,{step})),{same_times},split[a][b];"
             f"[1:v]format=yuv422p10le,{same_times},split[c][d];"
             "[a][c]psnr=stats_file=psnr.log[e];[b][d]ssim=stats_file=ssim.log[f]")  # fmt: skip
    run(f"{FFMPEG} -filter_complex_threads 1 -i {stream.resolve()} -i {reference.resolve()} "
        f"-lavfi '{graph}' -map [e] -map [f] -f null -", cwd=folder)  # fmt: skip
    frames = []
    for noise, likeness in zip(*(open(f"{folder}/{name}.log") for name in ("psnr", "ssim"))):
        shown = dict(re.findall(r"(\w+):(\S+)", noise + likeness))
        frame = {c: psnr(float(shown[f"mse_{c}"]), shown[f"psnr_{c}"]) for c in "yuv"}
        frames.append(frame | {"ssim": float(shown["Y"])})
    if len(frames) != count_frames(reference):
        raise SystemExit(f"quality: {len(frames)} frames of {stream} could be compared, "
                         f"not the {count_frames(reference)} of {reference}")  # fmt: skip
    return frames


def measure(command, reference, step, folder):
    """Runs an encoder that writes {out}: bytes of all its frames, pictures of some of them."""
    with tempfile.TemporaryDirectory(dir=folder) as work:
        out = folder / work / "stream.mov"
        run(command.format(out=out))
        sizes = frame_bytes(out)
        pictures = compare_pictures(out, reference, step, work)
    frames = [
        {"frame": step * i, "bytes": sizes[step * i]} | picture
        for i, picture in enumerate(pictures)
    ]
    return sizes, frames


class Peers:
    """What the peers make of the clips, kept in a folder, a file for each clip and setting."""

    def __init__(self, material, folder, version):
        self.material, self.folder, self.version = material, folder, version

    def frames(self, clip, peer, setting):
        """Measures where nothing is kept yet, or something else was kept."""
        step = STEPS[clip]
        fields = "-flags +ildct -top 1" if clips.CLIPS[clip].interlaced else ""
        made_by = {
            "peer": self.version,
            "clip": clips.identity(clip),
            "step": step,
            "arguments": f"{PEERS[peer][setting]} {fields}".strip(),
        }
        path = self.folder / f"{clip}_{peer.replace(' ', '_')}_{setting}.json"
        if path.exists():
            kept = json.loads(path.read_text())
            if kept["made_by"] == made_by:
                return kept["frames"]
        reference = self.material.sampled(clip, step)
        command = f"{FFMPEG}-i {reference} {made_by['arguments']} {{out}}"
        _, frames = measure(command, reference, 1, self.folder)
        for frame in frames:
            frame["frame"] *= step
        partial = path.with_suffix(".part")
        partial.write_text(json.dumps({"made_by": made_by, "frames": frames}, indent=1) + "\n")
        partial.rename(path)
        return frames

    def jobs(self, names):
        """What there is to know about these clips."""
        return [(clip, peer, setting) for clip in names
                for peer, settings in PEERS.items() for setting in settings]  # fmt: skip

    def points(self, clip):
        """For each peer the frames of all its settings."""
        return {
            peer: [self.frames(clip, peer, setting) for setting in settings]
            for peer, settings in PEERS.items()
        }


def ours(program, material, folder, clip, variant):
    """The whole clip is encoded, since it is fast enough: every frame's bytes are known."""
    command = (f"{program} encode --quiet --overwrite --threads 1 --variant {variant} "
               f"{material.clip(clip)} {{out}}")  # fmt: skip
    step = STEPS.get(clip, 1)
    return measure(command, material.sampled(clip, step), step, folder)

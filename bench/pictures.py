# SPDX-License-Identifier: BSD-2-Clause
"""Measures bytes and picture quality of every frame of an encoder, ours or a peer."""

import json
import math
import re
import subprocess
import tempfile

import clips
from curves import BEST_PSNR
from material import FFMPEG, VARIANTS, count_frames

# Distance of the compared frames of a clip: at least three of each shot, all of the still.
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
# The arguments of each setting of each peer.
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


def psnr(mse, printed, peak):
    """Returns PSNR from the finer of the two figures, which the filter prints in steps of 0.01."""
    if mse < 5:
        return min(float(printed), BEST_PSNR)
    return round(10 * math.log10(peak * peak / mse), 4)


def compare_pictures(stream, reference, step, folder, pixels="yuv422p10le", peak=1023):
    """Returns PSNR and SSIM of every `step`-th frame of a stream against the frames of a file."""
    same_times = "settb=1/25,setpts=N"
    graph = (f"[0:v]format={pixels},select=not(mod(n\\,{step})),{same_times},split[a][b];"
             f"[1:v]format={pixels},{same_times},split[c][d];"
             "[a][c]psnr=stats_file=psnr.log[e];[b][d]ssim=stats_file=ssim.log[f]")  # fmt: skip
    run(f"{FFMPEG} -filter_complex_threads 1 -i {stream.resolve()} -i {reference.resolve()} "
        f"-lavfi '{graph}' -map [e] -map [f] -f null -", cwd=folder)  # fmt: skip
    frames = []
    for noise, likeness in zip(*(open(f"{folder}/{name}.log") for name in ("psnr", "ssim"))):
        shown = dict(re.findall(r"(\w+):(\S+)", noise + likeness))
        frame = {c: psnr(float(shown[f"mse_{c}"]), shown[f"psnr_{c}"], peak)
                 for c in "yuv"}  # fmt: skip
        frames.append(frame | {"ssim": float(shown["Y"])})
    if len(frames) != count_frames(reference):
        raise SystemExit(f"quality: {len(frames)} frames of {stream} were compared "
                         f"instead of the {count_frames(reference)} of {reference}")  # fmt: skip
    return frames


def measure(command, reference, step, folder):
    """Runs an encoder that writes {out}; returns the bytes of all frames, the quality of some."""
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
    """Results of the peers, stored in a folder with one file per clip and setting."""

    def __init__(self, material, folder, version):
        self.material, self.folder, self.version = material, folder, version

    def frames(self, clip, peer, setting):
        """Returns the stored results; measures them if they are missing or outdated."""
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
        """Lists the arguments of frames() for these clips."""
        return [(clip, peer, setting) for clip in names
                for peer, settings in PEERS.items() for setting in settings]  # fmt: skip

    def points(self, clip):
        """Returns the frames of all settings, by peer."""
        return {
            peer: [self.frames(clip, peer, setting) for setting in settings]
            for peer, settings in PEERS.items()
        }


def ours(program, material, folder, clip, variant):
    """Encodes the whole clip, so that the bytes of every frame are known."""
    command = (f"{program} encode --quiet --overwrite --threads 1 --variant {variant} "
               f"{material.clip(clip)} {{out}}")  # fmt: skip
    step = STEPS.get(clip, 1)
    return measure(command, material.sampled(clip, step), step, folder)

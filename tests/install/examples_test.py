# SPDX-License-Identifier: BSD-2-Clause
"""Builds the examples against an installation and runs them."""
import argparse
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
FRAMES = 5


def run(*command, **kwargs):
    print("+", " ".join(map(str, command)), flush=True)
    return subprocess.run([str(part) for part in command], check=True, **kwargs)


def check(condition, text):
    if not condition:
        sys.exit("unexpected output: " + text)


def check_frames(output, pattern):
    frames = re.findall(pattern, output)
    check(len(frames) == FRAMES, output)
    return [[float(value) for value in frame] for frame in frames]


def main():
    parser = argparse.ArgumentParser()
    for name in ("build", "cmake", "libdir", "cxx", "cxx-flags"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory() as scratch:
        root = pathlib.Path(scratch)
        prefix = root / "prefix"
        run(args.cmake, "--install", args.build, "--prefix", prefix, stdout=subprocess.DEVNULL)
        for example in ("host", "plugin"):
            # A copy outside the source tree finds only the installation.
            shutil.copytree(EXAMPLES / example, root / example)
            run(args.cmake, "-G", "Ninja", "-S", root / example, "-B", root / f"{example}-build",
                f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={args.cxx}",
                f"-DCMAKE_CXX_FLAGS={args.cxx_flags}", stdout=subprocess.DEVNULL)
            run(args.cmake, "--build", root / f"{example}-build", stdout=subprocess.DEVNULL)
        host = root / "host-build/example_host"
        codec = prefix / args.libdir / "libvixVideoCodecProRes.so"
        gain = root / "plugin-build/libexample_gain.so"

        output = run(host, codec, capture_output=True, text=True).stdout
        check("VideoEncoder \"ProRes\" of \"vix\"" in output and "Gain" not in output, output)
        for size, psnr in check_frames(output, r"frame \d: (\d+) bytes, luma PSNR ([\d.]+) dB\n"):
            check(psnr > 40 and 1000 < size < 640 * 360, output)
        check(int(re.search(r"(\d+) blocks", output)[1]) > 0, output)

        output = run(host, codec, gain, capture_output=True, text=True).stdout
        check("VideoDecoder \"Gain\" of \"example\"\n    Percent (int), default 100" in output,
              output)
        for before, after in check_frames(output, r"mean luma ([\d.]+), after the gain ([\d.]+)"):
            check(abs(after - (16 + (before - 16) / 2)) < 1, output)

        # A missing plug-in is an error that names the file.
        failed = subprocess.run([host, root / "missing.so"], capture_output=True, text=True)
        check(failed.returncode == 1 and "missing.so" in failed.stderr, failed.stderr)


if __name__ == "__main__":
    sys.exit(main())

# SPDX-License-Identifier: BSD-2-Clause
"""Builds the examples against an installation and runs them."""
import argparse
import os
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


def check_server(output):
    lines = output.splitlines()
    check(len(lines) == 10 and lines[0].startswith("frame 4 is repeated: VideoDecoder.vix.ProRes"),
          output)
    check(lines[1:7] == ["12 frames played, 1 repeated, 1 concealed",
                         "frame 0 begins pictures of 320x180",
                         "frame 12 begins pictures of 640x360",
                         "frame of 192 rows, top field first", "field of 96 rows, top field first",
                         "frame of 192 rows, top field first"], output)
    check(re.search("refused: .*640x360.*320x192", lines[7]), output)
    luma, expected = map(int, re.match(r"luma (\d+), expected (\d+), 1 pictures", lines[8]).groups())
    check(abs(luma - expected) <= 1 and lines[9] == "0 pictures are left", output)


def check_codec(program):
    output = run(program, capture_output=True, text=True).stdout
    size, difference = map(int, re.match(r"(\d+) bytes, largest difference (\d+)", output).groups())
    check(1000 < size < 2 * 320 * 180 and difference <= 4, output)


def check_host(root, codec, gain):
    host = root / "host-build/example_host"
    output = run(host, codec, capture_output=True, text=True).stdout
    check("VideoEncoder \"ProRes\" of \"vix\"" in output and "Gain" not in output, output)
    for size, psnr in check_frames(output, r"frame \d: (\d+) bytes, luma PSNR ([\d.]+) dB\n"):
        check(psnr > 40 and 1000 < size < 640 * 360, output)
    check(int(re.search(r"(\d+) blocks", output)[1]) > 0, output)

    output = run(host, codec, gain, capture_output=True, text=True).stdout
    check("VideoDecoder \"Gain\" of \"example\"\n    Percent (int), default 100" in output, output)
    for before, after in check_frames(output, r"mean luma ([\d.]+), after the gain ([\d.]+)"):
        check(abs(after - (16 + (before - 16) / 2)) < 1, output)

    check("alpha" not in output, output)
    output = run(host, codec, codec.with_name("libvixVideoCodecProRes4444.so"), capture_output=True,
                 text=True).stdout
    check("VideoEncoder \"ProRes\" of \"vix4444\"" in output, output)
    check(output.endswith("alpha of a 4444 frame: identical\n"), output)

    # A missing plug-in is an error that names the file.
    failed = subprocess.run([host, root / "missing.so"], capture_output=True, text=True)
    check(failed.returncode == 1 and "missing.so" in failed.stderr, failed.stderr)


def main():
    parser = argparse.ArgumentParser()
    for name in ("build", "cmake", "libdir", "cc", "cxx", "cxx-flags"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory() as scratch:
        root = pathlib.Path(scratch)
        prefix = root / "prefix"
        libdir = prefix / args.libdir
        run(args.cmake, "--install", args.build, "--prefix", prefix, stdout=subprocess.DEVNULL)
        for example in ("host", "plugin", "server", "codec"):
            # A copy outside the source tree finds only the installation.
            shutil.copytree(EXAMPLES / example, root / example)
            run(args.cmake, "-G", "Ninja", "-S", root / example, "-B", root / f"{example}-build",
                f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={args.cxx}",
                f"-DCMAKE_CXX_FLAGS={args.cxx_flags}", stdout=subprocess.DEVNULL,
                env=dict(os.environ, CC=args.cc, CFLAGS=args.cxx_flags))
            run(args.cmake, "--build", root / f"{example}-build", stdout=subprocess.DEVNULL)

        codec = libdir / "libvixVideoCodecProRes.so"
        check_host(root, codec, root / "plugin-build/libexample_gain.so")
        for paths in ([codec], []):  # given, and found in the default folder
            check_server(run(root / "server-build/example_server", *paths, capture_output=True,
                             text=True).stdout)
        check_codec(root / "codec-build/example_codec")
        # With pkg-config.
        found = run("pkg-config", "--cflags", "--libs", "ProRes", capture_output=True, text=True,
                    env=dict(os.environ, PKG_CONFIG_PATH=str(libdir / "pkgconfig"))).stdout.split()
        program = root / "codec-pkgconfig"
        run(args.cc, "-std=c11", *args.cxx_flags.split(), EXAMPLES / "codec/Codec.c", "-o", program,
            *found, f"-Wl,-rpath,{libdir}")
        check_codec(program)


if __name__ == "__main__":
    sys.exit(main())

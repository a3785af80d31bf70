# SPDX-License-Identifier: BSD-2-Clause
"""Installs a build into an empty prefix, then builds and runs other projects against it."""
import argparse
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent


def run(*command, **kwargs):
    print("+", " ".join(map(str, command)), flush=True)
    return subprocess.run([str(part) for part in command], check=True, **kwargs)


def refuse_unknown_component(args, prefix, folder):
    folder.mkdir()
    (folder / "CMakeLists.txt").write_text(
        "cmake_minimum_required(VERSION 3.25)\nproject(unknown LANGUAGES CXX)\n"
        "find_package(vixVideoCodecProRes REQUIRED COMPONENTS ProRes Nothing)\n")
    result = subprocess.run([args.cmake, "-G", "Ninja", "-S", folder, "-B", folder / "build",
                             f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={args.cxx}"],
                            capture_output=True, text=True)
    text = " ".join(result.stderr.split())
    if result.returncode == 0 or 'There is no component "Nothing"; the components are' not in text:
        sys.exit("an unknown component was not refused: " + result.stderr)


def main():
    parser = argparse.ArgumentParser()
    for name in ("build", "cmake", "libdir", "cxx"):
        parser.add_argument("--" + name, required=True)
    args = parser.parse_args()

    with tempfile.TemporaryDirectory() as scratch:
        root = pathlib.Path(scratch)
        prefix = root / "prefix"
        run(args.cmake, "--install", args.build, "--prefix", prefix, stdout=subprocess.DEVNULL)
        libdir = prefix / args.libdir
        plugin = libdir / "libvixVideoCodecProRes.so"

        # With the CMake package, from a copy outside the source tree.
        shutil.copytree(HERE / "consumer", root / "consumer")
        run(args.cmake, "-G", "Ninja", "-S", root / "consumer", "-B", root / "consumer-build",
            f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_COMPILER={args.cxx}",
            stdout=subprocess.DEVNULL)
        run(args.cmake, "--build", root / "consumer-build", stdout=subprocess.DEVNULL)
        consumer = root / "consumer-build" / "consumer"
        run(consumer, plugin)
        run(consumer)  # finds the plug-ins in their folder
        refuse_unknown_component(args, prefix, root / "unknown")

        # With pkg-config.
        environment = dict(os.environ, PKG_CONFIG_PATH=str(libdir / "pkgconfig"))
        folder = run("pkg-config", "--variable=plugindir", "vixCore", env=environment,
                     capture_output=True, text=True).stdout.strip()
        for library in (plugin, libdir / "libvixVideoCodecProRes4444.so"):
            if not (pathlib.Path(folder) / library.name).samefile(library):
                sys.exit(f"plugindir has no link to {library.name}: {folder}")
        found = run("pkg-config", "--cflags", "--libs", "vixCore", "ProRes",
                    env=environment, capture_output=True, text=True).stdout.split()
        program = root / "consumer-pkgconfig"
        run(args.cxx, "-std=c++20", HERE / "consumer" / "Consumer.cpp", "-o", program,
            *found, f"-Wl,-rpath,{libdir}")
        run(program, plugin)

        tool = prefix / "bin" / "vixprores"
        if tool.exists():
            run(tool, "elements", stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    sys.exit(main())

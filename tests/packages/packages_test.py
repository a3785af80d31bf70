# SPDX-License-Identifier: BSD-2-Clause
"""The Debian packages: contents, lintian, installation and use.

The environment names the build (VIX_BUILD) and the programs CMAKE, CPACK and CXX."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

BUILD = pathlib.Path(os.environ["VIX_BUILD"])
SOURCE = pathlib.Path(__file__).resolve().parents[2]
LIBRARIES = {"libprores1": "libProRes", "libvixcore1": "libvixCore",
             "libvixvideocodecprores1": "libvixVideoCodecProRes",
             "libvixvideocodecprores4444-1": "libvixVideoCodecProRes4444"}
NAMES = {*LIBRARIES, "vixprores", "vixprores-images", "libvix-dev", "gstreamer1.0-vixprores"}
MODULE = "vixprores/libvixprores_images.so"
ELEMENTS = "gstreamer-1.0/libgstvixprores.so"
LIBDIR = "usr/lib/x86_64-linux-gnu"


def run(*command, **options):
    options.setdefault("env", {**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"})
    result = subprocess.run([str(part) for part in command], capture_output=True, text=True,
                            **options)
    if result.returncode != 0:
        raise AssertionError(f"{command}: {result.stdout}{result.stderr}")
    return result.stdout


class Packages(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="vix-packages-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        run(os.environ["CPACK"], "--config", BUILD / "CPackConfig.cmake", "-B", cls.folder)
        cls.files = {path.name.split("_")[0]: path for path in cls.folder.glob("*.deb")}
        cls.root = cls.folder / "root"
        (cls.root / "var/lib/dpkg/info").mkdir(parents=True)
        (cls.root / "var/lib/dpkg/status").touch()
        cls.debug_root = cls.folder / "debug"
        for path in cls.folder.glob("*.ddeb"):
            run("dpkg-deb", "-x", path, cls.debug_root)
        # The root has only these packages, without those of the distribution that they depend on.
        run("fakeroot", "dpkg", f"--root={cls.root}", "--force-depends", "--log=/dev/null", "-i",
            *cls.files.values())

    def field(self, package, name):
        return run("dpkg-deb", "-f", self.files[package], name).strip()

    def test_each_library_the_program_and_the_headers_have_a_package(self):
        self.assertEqual(set(self.files), NAMES)

    def test_lintian_finds_no_errors_and_no_warnings(self):
        result = subprocess.run(["lintian", "--allow-root", "--fail-on", "error,warning",
                                 *map(str, self.files.values())], capture_output=True, text=True)
        self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_dependencies_name_this_version_and_the_libraries_of_the_distribution(self):
        version = self.field("vixprores", "Version")
        for package, needs in (("vixprores", LIBRARIES),
                               ("libvixvideocodecprores1", ("libvixcore1", "libprores1")),
                               ("libvixvideocodecprores4444-1", ("libvixcore1", "libprores1")),
                               ("vixprores-images", ("vixprores",)),
                               ("gstreamer1.0-vixprores", LIBRARIES),
                               ("libvix-dev", LIBRARIES)):
            for need in needs:
                self.assertIn(f"{need} (= {version})", self.field(package, "Depends"))
        for library in ("libavformat", "libavfilter"):
            self.assertRegex(self.field("vixprores", "Depends"), rf"{library}\d")
        self.assertIn("libopenimageio", self.field("vixprores-images", "Depends"))
        self.assertNotIn("libopenimageio", self.field("vixprores", "Depends"))
        self.assertIn("libgstreamer1.0-0", self.field("gstreamer1.0-vixprores", "Depends"))
        for package in LIBRARIES:
            self.assertRegex(self.field(package, "Depends"), r"libc6 .*libstdc\+\+6")

    def test_library_packages_have_no_files_that_two_versions_share(self):
        for package, library in LIBRARIES.items():
            paths = re.findall(r" \./(\S+[^/\s])(?: -> .*)?\n",
                               run("dpkg-deb", "-c", self.files[package]))
            for path in paths:
                self.assertRegex(path, rf"{LIBDIR}/({library}\.so\.1|vix-plugins-1/{library}\.so$)|"
                                       rf"usr/share/doc/{package}/")

    def binaries(self):
        return [self.root / "usr/bin/vixprores", self.root / LIBDIR / MODULE,
                self.root / LIBDIR / ELEMENTS, *(self.root / LIBDIR).glob("*.so.1.*")]

    def test_binaries_have_no_run_path(self):
        for binary in self.binaries():
            self.assertNotRegex(run("objdump", "-p", binary), r"RUNPATH|RPATH")

    def test_binaries_have_the_protection_of_the_distribution(self):
        for binary in self.binaries():
            program = run("readelf", "--wide", "--segments", binary)
            self.assertRegex(program, r"\n *GNU_RELRO ")
            self.assertRegex(program, r"\n *GNU_STACK .* RW +0x")  # not executable
            dynamic = run("readelf", "--dynamic", binary)
            self.assertRegex(dynamic, r"\(FLAGS\).*BIND_NOW")
            self.assertNotIn("TEXTREL", dynamic)
            self.assertRegex(run("readelf", "--file-header", binary), r"Type: +DYN ")
            self.assertIn("__stack_chk_fail", run("readelf", "--wide", "--dyn-syms", binary))

    def test_no_file_names_the_folders_of_the_build(self):
        folders = [str(folder).encode() for folder in (SOURCE, BUILD)]
        checked = 0
        for root in (self.root, self.debug_root):
            for path in root.rglob("*"):
                if path.is_file() and not path.is_symlink() and "var/lib/dpkg" not in str(path):
                    content = path.read_bytes()
                    if path.suffix == ".debug":
                        content = self.uncompressed(path)
                    self.assertFalse([name for name in folders if name in content], path)
                    checked += 1
        self.assertGreater(checked, 40)

    def uncompressed(self, path):
        copy = self.folder / "uncompressed"
        run("objcopy", "--decompress-debug-sections", path, copy)
        return copy.read_bytes()

    def test_the_sums_of_every_package_name_files_below_the_root(self):
        for package in [*self.folder.glob("*.deb"), *self.folder.glob("*.ddeb")]:
            for line in run("dpkg-deb", "-I", package, "md5sums").splitlines():
                self.assertRegex(line, r"^[0-9a-f]{32}  usr/")

    def test_each_binary_has_debug_symbols_in_a_package_of_its_own(self):
        names = {path.name.split("_")[0] for path in self.folder.glob("*.ddeb")}
        self.assertEqual(names, {f"{package}-dbgsym" for package in NAMES - {"libvix-dev"}})
        for binary in self.binaries():
            build_id = re.search(r"Build ID: (..)(\w+)", run("readelf", "-n", binary))
            debug = self.debug_root / f"usr/lib/debug/.build-id/{build_id[1]}/{build_id[2]}.debug"
            self.assertRegex(run("readelf", "-S", "--wide", debug), r"\.debug_line\s+PROGBITS")
            self.assertNotIn(".debug_", run("readelf", "-S", "--wide", binary))

    def test_packages_name_how_they_share_a_system_with_other_architectures(self):
        for package in NAMES:
            self.assertEqual(self.field(package, "Multi-Arch"),
                             "foreign" if package == "vixprores" else "same")

    def test_symbols_files_list_what_the_libraries_export(self):
        for package, library in (("libprores1", "libProRes"), ("libvixcore1", "libvixCore")):
            lines = run("dpkg-deb", "-I", self.files[package], "symbols").splitlines()
            self.assertEqual(lines[0], f"{library}.so.1 {package} #MINVER#")
            listed = {re.fullmatch(r" (\w+(?:\.\d+)?)@(\w+_(\d\.\d)) \3\.0", line).group(1, 2)
                      for line in lines[1:]}
            output = run("nm", "-D", "--defined-only", self.root / LIBDIR / f"{library}.so.1")
            exported = set(re.findall(r" [B-Zu-w] (\w+)@@(\S+)$", output, re.MULTILINE))
            nodes = {(version, version) for _, version in exported}
            self.assertEqual(listed, exported | nodes)

    def test_the_copyright_names_what_is_compiled_in(self):
        text = (self.root / "usr/share/doc/vixprores/copyright").read_text()
        for name in ("Highway", "CLI11", "JSON", "xxHash", "uplot", "GNU General Public License"):
            self.assertIn(name, text)

    def test_the_copyright_names_what_is_linked(self):
        text = (self.root / "usr/share/doc/vixprores/copyright").read_text()
        own = ("libProRes", "libvixCore", *("libstdc++ libm libgcc_s libc ld-linux-x86-64".split()))
        for file in (self.root / "usr/bin/vixprores", self.root / LIBDIR / MODULE,
                     self.root / LIBDIR / ELEMENTS):
            needed = re.findall(r"NEEDED +(\S+?)(?:_Util)?\.so", run("objdump", "-p", file))
            self.assertGreaterEqual(len(needed), 3)
            for library in set(needed) - set(own):
                self.assertIn(library, text)

    def test_the_guide_for_developers_has_no_dead_links(self):
        documents = list((self.root / "usr/share/doc/libvix-dev").rglob("*.md"))
        self.assertIn("host-guide.md", [path.name for path in documents])
        for document in documents:
            for link in re.findall(r"\]\(([^)#]+)[^)]*\)", re.sub(r"```.*?```", "",
                                   document.read_text(), flags=re.DOTALL)):
                if not link.startswith("https://"):
                    self.assertTrue((document.parent / link).exists(), f"{document}: {link}")

    def test_pkg_config_prints_no_system_folders(self):
        environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(self.root / LIBDIR / "pkgconfig")}
        for module in ("vixCore", "ProRes"):
            flags = run("pkg-config", "--cflags", "--libs", module, env=environment).split()
            self.assertEqual(flags, [f"-l{module}"])
        self.assertEqual(run("pkg-config", "--variable=plugindir", "vixCore", env=environment),
                         f"/{LIBDIR}/vix-plugins-1\n")

    def test_the_program_has_its_manual_and_completions(self):
        share = self.root / "usr/share"
        for name in ("man/man1/vixprores.1.gz", "man/man1/vixprores-encode.1.gz",
                     "bash-completion/completions/vixprores", "zsh/vendor-completions/_vixprores",
                     "fish/vendor_completions.d/vixprores.fish", "doc/vixprores/copyright"):
            self.assertGreater((share / name).stat().st_size, 0, name)

    def test_the_installed_program_encodes_and_decodes(self):
        clip, encoded, decoded = (self.folder / name for name in ("a.mov", "b.mov", "c.y4m"))
        run("ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25",
            "-frames:v", "5", "-pix_fmt", "yuv422p10le", "-c:v", "v210", clip)
        program = [self.root / "usr/bin/vixprores"]
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.root / LIBDIR)}
        self.assertIn(f"{self.root}/{LIBDIR}/libvixVideoCodecProRes.so.1",
                      run(*program, "--version", env=environment))
        run(*program, "encode", clip, encoded, env=environment)
        run(*program, "decode", encoded, decoded, env=environment)
        self.assertEqual(decoded.read_bytes().count(b"FRAME\n"), 5)

    def test_the_installed_program_reads_and_writes_images(self):
        images, encoded = self.folder / "image.%d.png", self.folder / "images.mov"
        run("ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", "testsrc2=size=128x96:rate=25",
            "-frames:v", "2", images)
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.root / LIBDIR)}
        program = self.root / "usr/bin/vixprores"
        run(program, "encode", "--rate", "25", images, encoded, env=environment)
        run(program, "decode", encoded, self.folder / "image.%d.dpx", env=environment)
        self.assertTrue((self.folder / "image.1.dpx").read_bytes().startswith((b"SDPX", b"XPDS")))
        module = self.root / LIBDIR / MODULE
        hidden = module.rename(module.with_suffix(".hidden"))
        try:
            result = subprocess.run([program, "encode", "--rate", "25", images, "/dev/null.mov"],
                                    env=environment, capture_output=True, text=True)
        finally:
            hidden.rename(module)
        self.assertEqual(result.returncode, 1)
        self.assertIn("install the package vixprores-images", result.stderr)

    def test_gstreamer_finds_the_installed_elements(self):
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.root / LIBDIR),
                       "GST_PLUGIN_PATH_1_0": str(self.root / LIBDIR / "gstreamer-1.0"),
                       "GST_REGISTRY_1_0": str(self.folder / "registry.bin"),
                       "GST_REGISTRY_FORK": "no"}
        for element in ("vixproresenc", "vixproresdec"):
            output = run("gst-inspect-1.0", element, env=environment)
            self.assertIn(str(self.root / LIBDIR / ELEMENTS), output)
        run("gst-launch-1.0", *"videotestsrc num-buffers=3 ! vixproresenc ! vixproresdec ! fakesink"
            .split(), env=environment)

    def test_other_projects_build_against_the_development_package(self):
        build = self.folder / "consumer"
        run(os.environ["CMAKE"], "-G", "Ninja", "-S", SOURCE / "tests/install/consumer", "-B",
            build, f"-DCMAKE_PREFIX_PATH={self.root}/usr", f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}")
        run(os.environ["CMAKE"], "--build", build)
        output = run(build / "consumer", self.root / LIBDIR / "libvixVideoCodecProRes.so")
        self.assertIn("bytes compressed", output)
        self.assertEqual(run(build / "consumer"), output)  # finds the plug-in in its folder


if __name__ == "__main__":
    unittest.main()

# SPDX-License-Identifier: BSD-2-Clause
"""The output gets its name only when it is complete."""
import os
import resource
import subprocess
import unittest

import mini_mov
from tool import PROGRAM, TIMEOUT, ToolTest, frame_bytes, make_v210, probe, run


class OutputFile(ToolTest):
    def setUp(self):
        super().setUp()
        self.clip, self.encoded, self.out = (
            self.path(name) for name in ("clip.mov", "encoded.mov", "out.mov"))
        make_v210(self.clip)
        self.succeed("encode", self.clip, self.encoded)

    def test_existing_output_is_rejected(self):
        self.out.write_text("precious")
        for command, source in (("encode", self.clip), ("decode", self.encoded)):
            self.fail_with(1, [self.out, "exists", "--overwrite"], command, source, self.out)
        self.assertEqual(self.out.read_text(), "precious")

    def test_existing_output_is_replaced_when_asked(self):
        self.out.write_text("worthless")
        self.succeed("encode", "--overwrite", self.clip, self.out)
        self.assert_same_bytes(self.out.read_bytes(), self.encoded.read_bytes())

    def test_existing_output_survives_a_failure(self):
        self.out.write_text("precious")
        self.fail_with(1, [], "encode", "--overwrite", self.path("missing.mov"), self.out)
        self.fail_with(1, ["0-99"], "encode", "--overwrite",
                       "--frames", "0-99", self.clip, self.out)
        self.assertEqual(self.out.read_text(), "precious")

    def test_input_as_output_is_rejected(self):
        before = self.clip.read_bytes()
        link = self.path("link.mov")
        link.symlink_to(self.clip)
        for name in (self.clip, link):
            self.fail_with(1, ["input itself"], "encode", "--overwrite", self.clip, name)
        self.assert_same_bytes(self.clip.read_bytes(), before)

    def test_link_stays_a_link(self):
        target, link = self.path("target.mov"), self.path("link.mov")
        target.write_text("old")
        link.symlink_to(target)
        self.succeed("encode", "--overwrite", self.clip, link)
        self.assertTrue(link.is_symlink())
        self.assert_same_bytes(target.read_bytes(), self.encoded.read_bytes())

    def test_missing_folder(self):
        out = self.path("nowhere/out.mov")
        self.fail_with(1, [out, "No such file"], "encode", self.clip, out)

    def test_full_device(self):
        self.fail_with(1, ["/dev/full", "No space left on device", "make room"], "decode",
                       self.encoded, "/dev/full")

    def limited(self, size, *arguments):
        """Runs the program with files limited to `size` bytes."""
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
        return self.fail_with(1, [self.out, "cannot be written"], *arguments, preexec_fn=limit)

    def test_no_room_for_the_frames(self):
        self.limited(20000, "decode", self.encoded, self.out)
        self.limited(20000, "encode", self.clip, self.out)

    def test_no_room_for_the_index(self):
        self.limited(self.encoded.stat().st_size - 100, "encode", self.clip, self.out)

    def test_full_disk(self):
        disk = self.path("disk")
        disk.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", disk],
                                 capture_output=True)
        if mounted.returncode != 0:
            raise unittest.SkipTest("only root can make a small disk")
        self.addCleanup(subprocess.run, ["umount", disk])
        out = disk / "out.mov"
        self.fail_with(1, [out, "No space left on device"], "decode", self.encoded, out)
        self.assertEqual(list(disk.iterdir()), [])

    def test_reader_of_standard_output_ends(self):
        process = subprocess.Popen([PROGRAM, "decode", self.encoded, "-"], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        process.stdout.close()
        with process.stderr:
            self.assertEqual(process.stderr.read(), b"vixprores: standard output: the reader closed "
                                                    b"the pipe (Broken pipe)\n")
        self.assertEqual(process.wait(TIMEOUT), 1)

    def test_frames_sent_to_a_pipe_are_not_kept(self):
        mini_mov.break_header(self.encoded, 4)
        result = run("decode", self.encoded, "-", text=False)
        self.assertEqual(result.returncode, 1)
        self.assertIn(b"frame 4", result.stderr)
        self.assertNotIn(b"kept", result.stderr)

    def test_no_report_replaces_its_input(self):
        before = self.encoded.read_bytes()
        link = self.path("link.png")  # a name that pages and sheets may have
        link.symlink_to(self.encoded)
        for command in (("inspect", "--html"), ("verify", "--html"), ("thumbs", "--sheet")):
            self.fail_with(1, ["is the input itself"], command[0], command[1], link,
                           "--overwrite", self.encoded)
        self.fail_with(1, ["is the input itself"], "compare", "--html", self.encoded,
                       "--overwrite", self.clip, self.encoded)
        result = run("encode", "--overwrite", "--output-dir", self.folder, self.clip)
        self.assertEqual(result.returncode, 1)
        self.assertIn("is the input itself", result.stderr)
        self.assertEqual(self.encoded.read_bytes(), before)

    def test_a_report_that_is_lost_is_a_failure(self):
        with open("/dev/full", "w") as full:
            result = subprocess.run([PROGRAM, "inspect", "--json", self.encoded], stdout=full,
                                    stderr=subprocess.PIPE, text=True, timeout=TIMEOUT)
        self.assertEqual(result.returncode, 1)
        self.assertIn("cannot write to standard output", result.stderr)

    def test_an_mxf_cannot_hold_fields_of_different_heights(self):
        frames = self.path("frames.uyvy")
        frames.write_bytes(bytes(frame_bytes("UYVY", 128, 99)))
        self.fail_with(1, ["odd number of lines (99)", "choose .mov or .mkv"], "encode",
                       "--fourcc", "UYVY", "--size", "128x99", "--rate", "25", "--interlaced",
                       frames, self.path("out.mxf"))

    def test_rate_that_a_container_cannot_hold(self):
        make_v210(self.clip, rate="17")
        self.fail_with(1, [self.path("out.mxf")], "encode", self.clip, self.path("out.mxf"))

    def test_permissions_follow_the_umask(self):
        run("encode", self.clip, self.out, preexec_fn=lambda: os.umask(0o027))
        self.assertEqual(self.out.stat().st_mode & 0o777, 0o640)

    def test_written_file_is_complete(self):
        self.succeed("encode", self.clip, self.out)
        self.assertEqual(probe(self.out)["nb_read_packets"], "10")
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()),
                         ["clip.mov", "encoded.mov", "out.mov"])

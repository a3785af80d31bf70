# SPDX-License-Identifier: BSD-2-Clause
"""Files with damage of every kind: verify finds it, decode completes, and each policy holds. The
damage is pseudo-random and the same in every run."""
import concurrent.futures
import json
import pathlib
import random
import shutil
import struct
import subprocess
import tempfile

import mini_mov
from tool import TIMEOUT, ToolTest, ffmpeg, make_v210, run

FRAMES = 8
FILES = 200
FRAME_BYTES = 128 * 96 * 3  # V210 rows of 128 pixels are 384 bytes
POLICIES = ("stop", "skip", "conceal")


class Base:
    """An undamaged file: its bytes, the places of its frames, and the decoded frames."""

    def __init__(self, path, decoded, hashed):
        self.hashed = hashed  # the file has checksums
        self.data = path.read_bytes()
        self.places = mini_mov.places(path)
        pixels = decoded.read_bytes()
        size = len(pixels) // FRAMES
        self.frames = [pixels[i * size:(i + 1) * size] for i in range(FRAMES)]


class Damage:
    """A damaged copy of a base. `touched` are the frames whose bytes may have changed; None if the
    index was damaged."""

    def __init__(self, base, kind, data, touched):
        self.base, self.kind, self.data, self.touched = base, kind, data, touched
        self.path = None

    def changed(self):
        """Return the frames whose bytes differ: damage may write the same bytes."""
        return {frame for frame, (position, size) in enumerate(self.base.places)
                if self.data[position:position + size] != self.base.data[position:position + size]}


def flip_bits(data, begin, end, chance):
    for _ in range(chance.randint(1, 8)):
        data[chance.randrange(begin, end)] ^= 1 << chance.randrange(8)


def burst(data, begin, end, chance):
    length = min(chance.randint(4, 64), end - begin)
    start = chance.randint(begin, end - length)
    data[start:start + length] = chance.randbytes(length)


def zero(data, begin, end, chance):
    length = min(chance.randint(16, 512), end - begin)
    start = chance.randint(begin, end - length)
    data[start:start + length] = bytes(length)


def break_picture(data, place):
    """Return the place of the first picture header of a frame."""
    data[place[0] + 8 + struct.unpack_from(">H", data, place[0] + 8)[0]] = 0


def damage_frames(base, chance, damage):
    """Damage frames anywhere, or in their first bytes, where most breaks."""
    data, touched = bytearray(base.data), set()
    for _ in range(chance.randint(1, 3)):
        frame = chance.randrange(FRAMES)
        position, size = base.places[frame]
        end = position + (size if chance.random() < 0.6 else min(size, 80))
        damage(data, position, end, chance)
        touched.add(frame)
    return Damage(base, damage.__name__, bytes(data), touched)


def cut_off(base, chance):
    """Damage the index, which is at the start."""
    frame = chance.randrange(1, FRAMES)
    position, size = base.places[frame]
    return Damage(base, "cut_off", base.data[:position + chance.randrange(size)],
                  set(range(frame, FRAMES)))


def damage_index(base, chance):
    data = bytearray(base.data)
    flip_bits(data, base.data.rindex(b"moov") + 4, len(data), chance)
    return Damage(base, "index", bytes(data), None)


class DamageTest(ToolTest):
    @classmethod
    def setUpClass(cls):
        cls.home = pathlib.Path(tempfile.mkdtemp(prefix="vixprores-damage-"))
        cls.addClassCleanup(shutil.rmtree, cls.home, ignore_errors=True)
        cls.bases = [cls.make_base("proxy", "null", cls.write_plainly),
                     cls.make_base("lt", "setfield=tff", cls.write_plainly),
                     cls.make_base("422", "setfield=tff"), cls.make_base("hq", "null")]
        cls.fronts = [cls.make_base("422", "null", cls.move_index),
                      cls.make_base("lt", "setfield=tff", cls.move_index)]
        cls.damages = cls.make_damages(random.Random(11))
        cls.files = cls.verify([damage.path for damage in cls.damages])

    @classmethod
    def make_base(cls, variant, filters, rewrite=None):
        """Make a file with checksums of its frames, or without if it is rewritten."""
        clip, encoded, decoded = (cls.home / name for name in ("clip.mov", "encoded.mov", "out.raw"))
        make_v210(clip, filters=filters, frames=FRAMES)
        cls.run_well("encode", "--overwrite", "--variant", variant, clip, encoded)
        cls.run_well("decode", "--overwrite", encoded, decoded)
        if rewrite:
            rewrite(encoded, clip)
        return Base(clip if rewrite else encoded, decoded, hashed=not rewrite)

    @staticmethod
    def write_plainly(source, target):
        mini_mov.write(target, mini_mov.samples(source))

    @staticmethod
    def move_index(source, target):
        ffmpeg("-i", source, "-c", "copy", "-movflags", "faststart", target)

    @staticmethod
    def run_well(*arguments):
        result = run(*arguments, "--quiet")
        assert result.returncode == 0, result.stderr

    @classmethod
    def make_damages(cls, chance):
        damages = []
        for number in range(FILES):
            kind = chance.choices((flip_bits, burst, zero, "cut", "index"), (5, 4, 3, 2, 2))[0]
            if kind == "cut":
                damage = cut_off(chance.choice(cls.fronts), chance)
            elif kind == "index":
                damage = damage_index(chance.choice(cls.bases), chance)
            else:
                damage = damage_frames(chance.choice(cls.bases), chance, kind)
            damage.path = cls.home / f"{number}.mov"
            damage.path.write_bytes(damage.data)
            damages.append(damage)
        return damages

    @staticmethod
    def verify(paths):
        """Return the report on each file and the numbers of its damaged frames."""
        result = run("verify", "--json", *paths)
        assert result.returncode == 1, result.stderr
        files = json.loads(result.stdout)["files"]
        for file in files:
            file["damaged"] = {entry["frame"] + i for entry in file["damage"]
                               for i in range(entry["count"])}
        return files

    def test_the_files_are_damaged_in_every_way(self):
        for kind in ("flip_bits", "burst", "zero", "cut_off", "index"):
            self.assertGreater(sum(damage.kind == kind for damage in self.damages), 10, kind)

    def test_verify_reports_damaged_frames_only(self):
        found = 0
        for damage, file in zip(self.damages, self.files):
            if damage.touched is None:
                continue
            with self.subTest(file=damage.path.name, kind=damage.kind):
                self.assertEqual(file["frames"], FRAMES)
                self.assertNotIn("error", file)
                self.assertLessEqual(file["damaged"], damage.changed())
                if damage.base.hashed:
                    self.assertEqual(file["damaged"], damage.changed())
                found += bool(file["damaged"])
                if damage.kind == "cut_off":
                    self.assertEqual(file["damaged"], damage.touched)
        self.assertGreater(found, 100)

    def test_verify_finds_what_an_independent_decoder_cannot_parse(self):
        samples = []
        for damage in self.damages:
            if damage.touched is None or damage.kind == "cut_off":
                continue
            for frame in sorted(damage.touched):
                position, size = damage.base.places[frame]
                samples.append(damage.data[position:position + size])
        # The file has no checksums: damage shows in the frames alone.
        mini_mov.write(self.path("all.mov"), samples)
        flagged = self.verify([self.path("all.mov")])[0]["damaged"]
        result = subprocess.run(
            ["ffmpeg", "-nostdin", "-v", "quiet", "-i", str(self.path("all.mov")), "-vsync",
             "passthrough", "-f", "framecrc", "-"], capture_output=True, text=True, timeout=TIMEOUT)
        parsed = {int(line.split(",")[2]) for line in result.stdout.splitlines()
                  if not line.startswith("#")}
        missing = [number for number in range(len(samples)) if number not in parsed]
        self.assertGreater(len(missing), 20)
        self.assertLess(len(missing), len(samples) - 20)
        self.assertEqual([number for number in missing if number not in flagged], [])

    def decode(self, damage, policy):
        """Return exit code, decoded frames, and the report."""
        output = self.path(f"{damage.path.stem}-{policy}.raw")
        result = run("decode", "--json", "--on-error", policy, damage.path, output)
        self.assertIn(result.returncode, (0, 1), f"{damage.path.name} {policy} {result.stderr}")
        kept = [path for path in (output, output.with_suffix(".partial.raw")) if path.exists()]
        self.assertLessEqual(len(kept), 1)
        pixels = kept[0].read_bytes() if kept else b""
        size = len(damage.base.frames[0])
        self.assertEqual(len(pixels) % size, 0)
        frames = [pixels[i:i + size] for i in range(0, len(pixels), size)]
        report = json.loads(result.stdout)
        report["blamed"] = {entry["frame"] + i for entry in report.get("damage", [])
                            for i in range(entry["count"])}
        return result.returncode, frames, report

    def check_stop(self, damage, file, code, frames, report):
        first = min(report["blamed"], default=FRAMES)
        self.assertEqual((code, len(frames)), (0 if first == FRAMES else 1, first))
        self.assertEqual("message" in report, first < FRAMES)
        self.check_intact(damage, frames, range(first))

    def check_skip(self, damage, file, code, frames, report):
        left = [number for number in range(FRAMES) if number not in report["blamed"]]
        self.assertEqual((code, len(frames)), (0, len(left)))
        self.check_intact(damage, frames, left)

    def check_conceal(self, damage, file, code, frames, report):
        self.assertEqual((code, len(frames)), (0, FRAMES))
        self.check_intact(damage, frames, range(FRAMES))
        for entry in report.get("damage", []):
            number = entry["frame"]
            if entry["treatment"] == "replaced" and number > 0:
                self.assert_same_bytes(frames[number], frames[number - 1])

    def check_intact(self, damage, frames, numbers):
        """Check that the untouched ones of the decoded frames `numbers` are unchanged."""
        for frame, number in zip(frames, numbers):
            if number not in damage.touched:
                self.assert_same_bytes(frame, damage.base.frames[number])

    def check(self, damage, file, policy):
        code, frames, report = self.decode(damage, policy)
        if damage.touched is None:
            return report  # it ended, which is enough
        self.assertLessEqual(report["blamed"], file["damaged"])
        getattr(self, "check_" + policy)(damage, file, code, frames, report)
        return report

    def test_decode_survives_and_follows_the_policy(self):
        jobs = [(*pair, POLICIES[number % 3])
                for number, pair in enumerate(zip(self.damages, self.files))]
        with concurrent.futures.ThreadPoolExecutor(2) as pool:
            for job, result in [(job, pool.submit(self.check, *job)) for job in jobs]:
                with self.subTest(file=job[0].path.name, kind=job[0].kind, policy=job[2]):
                    result.result()

    def test_all_policies_report_the_same_frames(self):
        for damage, file in list(zip(self.damages, self.files))[::10]:
            if damage.touched is None:
                continue
            with self.subTest(file=damage.path.name, kind=damage.kind):
                stop, skip, conceal = (self.check(damage, file, policy)["blamed"]
                                       for policy in POLICIES)
                self.assertEqual(skip, conceal)
                self.assertEqual(stop, set(sorted(skip)[:1]) if damage.kind != "cut_off" else stop)
                self.assertEqual(min(stop, default=None), min(skip, default=None))

    def test_a_file_without_an_intact_frame_gives_no_output(self):
        base = self.bases[0]
        data = bytearray(base.data)
        for place in base.places:
            break_picture(data, place)
        broken = self.path("broken.mov")
        broken.write_bytes(data)
        self.fail_with(1, ["holds no undamaged frame", "nothing was kept"], "decode", "--on-error",
                       "skip", broken, self.path("out.raw"))
        self.succeed("decode", "--on-error", "conceal", "--fourcc", "UYVY", broken,
                     self.path("grey.raw"))
        grey = self.path("grey.raw").read_bytes()
        self.assertEqual((len(grey), set(grey)), (FRAMES * 128 * 96 * 2, {0x80}))

    def test_times_stay_when_frames_are_skipped(self):
        base = self.bases[3]
        data = bytearray(base.data)
        break_picture(data, base.places[3])
        broken = self.path("broken.mov")
        broken.write_bytes(data)
        self.succeed("decode", "--on-error", "skip", broken, self.path("out.mov"))
        result = subprocess.run(
            ["ffprobe", "-v", "error", "-show_entries", "packet=pts_time", "-of", "csv=p=0",
             str(self.path("out.mov"))], check=True, capture_output=True, text=True, timeout=TIMEOUT)
        times = [round(float(time) * 25) for time in result.stdout.split()]
        self.assertEqual(times, [0, 1, 2, 4, 5, 6, 7])

    def test_a_gap_of_half_an_hour_is_not_filled(self):
        base, clip, gap = self.path("base.mov"), self.path("clip.mkv"), self.path("gap.mkv")
        base.write_bytes(self.bases[3].data)
        ffmpeg("-i", base, "-c", "copy", clip)  # versions of setts agree on milliseconds
        ffmpeg("-i", clip, "-c", "copy", "-bsf:v", "setts=ts='if(gte(N,2),TS+2e6,TS)'", gap)
        out = self.path("out.y4m")
        result = self.fail_with(1, ["frame 2 ", "too many lost frames to fill", "--on-error skip"],
                                "decode", "--on-error", "conceal", gap, out)
        self.assertNotIn("replaced", result.stderr)
        self.succeed("decode", "--on-error", "skip", gap, out)

    def test_the_damage_is_listed(self):
        base = self.bases[3]
        data = bytearray(base.data)
        break_picture(data, base.places[3])
        broken = self.path("broken.mov")
        broken.write_bytes(data)
        result = self.succeed("decode", "--quiet", "--on-error", "conceal", broken,
                              self.path("out.mov"))
        self.assertIn(f"{broken}: frame 3 ", result.stderr)
        self.assertIn(f"at byte {base.places[3][0]}: ", result.stderr)
        self.assertTrue(result.stderr.endswith("; replaced\n"), result.stderr)
        report = json.loads(self.succeed("decode", "--json", "--on-error", "skip", broken,
                                         self.path("out.nut")).stdout)
        entry, = report["damage"]
        self.assertEqual((entry["frame"], entry["count"], entry["offset"], entry["treatment"]),
                         (3, 1, base.places[3][0], "left out"))
        self.assertEqual(report["frames"], FRAMES - 1)
        # Damage outside the range is ignored.
        self.succeed("decode", "--frames", "4-6", broken, self.path("range.raw"))
        self.assert_same_bytes(self.path("range.raw").read_bytes(), b"".join(base.frames[4:7]))

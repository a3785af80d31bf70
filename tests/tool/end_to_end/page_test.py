# SPDX-License-Identifier: BSD-2-Clause
"""Pages as a browser shows them: what is drawn, what the controls do, and that nothing is loaded."""
import html.parser
import json
import shutil
import struct
import subprocess

import mini_mov
from tool import TIMEOUT, ToolTest, ffmpeg, make_clip, make_v210, run

BROWSER = shutil.which("chromium") or "chromium"

# Runs in the page, with the keys and pointers that a user has, and keeps what was seen.
KEYS = """
const press = (element, key) =>
  element.dispatchEvent(new KeyboardEvent("keydown", {key, bubbles: true, cancelable: true}));
const seen = {};
"""
KEEP = """
seen.loaded = performance.getEntriesByType("resource").map(entry => entry.name)
  .filter(name => !name.startsWith("data:"));
seen.paper = getComputedStyle(document.body).backgroundColor;
for (const details of document.querySelectorAll("details")) details.open = true;
seen.unreachable = [...document.querySelectorAll("input, summary, [tabindex]")]
  .filter(element => { element.focus(); return document.activeElement !== element; }).length;
seen.unnamed = document.querySelectorAll(
  "img:not([alt]), [tabindex]:not([aria-label]), th:empty[scope=row]").length;
document.body.dataset.seen = JSON.stringify(seen);
"""


class Dom(html.parser.HTMLParser):
    """What a browser made of a page."""

    def __init__(self, text):
        super().__init__()
        self.charts = []  # values by frame, and targets
        self.seen = None
        self.rows = {}  # classes of table rows by their heading
        self._row = None
        self._heading = False
        self.feed(text)

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        classes = (attributes.get("class") or "").split()
        if tag == "figure" and "chart" in classes:
            self.charts.append({"values": {}, "target": None})
        if "data-frame" in attributes:
            value = attributes.get("data-value")
            self.charts[-1]["values"][int(attributes["data-frame"])] = (
                None if value is None else float(value))
        elif "target" in classes:
            self.charts[-1]["target"] = float(attributes["data-value"])
        if "data-seen" in attributes:
            self.seen = json.loads(attributes["data-seen"])
        if tag == "tr":
            self._row = classes
        self._heading = tag == "th" and attributes.get("scope") == "row"

    def handle_data(self, data):
        if self._heading:
            self.rows[data] = self._row
            self._heading = False


class Pages(ToolTest):
    def setUp(self):
        super().setUp()
        self.raw, self.clip, self.page = (
            self.path(name) for name in ("raw.mov", "clip.mov", "page.html"))

    def make_pair(self, *encode, filters="null", **clip):
        clip["filters"] = (f"{filters},setparams=color_primaries=bt709:color_trc=bt709:"
                           "colorspace=bt709")
        make_v210(self.raw, **clip)
        tagged = self.path("tagged.mov")
        make_clip(tagged, "-c:v", "prores_ks", "-profile:v", "hq", *encode,
                  "-timecode", "01:00:00:00", **clip)
        # The container says otherwise than the frames.
        ffmpeg("-i", tagged, "-c", "copy", "-color_primaries", "bt2020", self.clip)

    def dump(self, path, *options):
        """The page after its scripts ran, and what it wrote to the console."""
        result = subprocess.run(
            [BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage",
             f"--user-data-dir={self.path('profile')}", "--enable-logging=stderr",
             "--virtual-time-budget=3000", *options, "--dump-dom", path.as_uri()], check=True,
            capture_output=True, text=True, timeout=TIMEOUT)
        return result.stdout, [line for line in result.stderr.splitlines() if "CONSOLE" in line]

    def browse(self, script="", *options):
        driven = self.path("driven.html")
        driven.write_text(self.page.read_text().replace(
            "</body>", f"<script>{{{KEYS}{script}{KEEP}}}</script></body>"))
        text, console = self.dump(driven, *options)
        self.assertEqual(console, [])
        dom = Dom(text)
        self.assertIsNotNone(dom.seen, "the script did not run to its end")
        self.assertEqual((dom.seen["loaded"], dom.seen["unreachable"], dom.seen["unnamed"]),
                         ([], 0, 0))
        return dom

    def test_errors_on_the_console_would_be_seen(self):
        self.page.write_text("<body><script>nothing.at.all()</script>")
        self.assertEqual(len(self.dump(self.page)[1]), 1)

    def test_inspection(self):
        self.make_pair("-flags", "+ilme+ildct", size="160x96", filters="setfield=tff")
        report = json.loads(self.succeed("inspect", "--json", "--html", self.page,
                                         self.clip).stdout)
        self.assertLess(self.page.stat().st_size, 4e6)
        dom = self.browse("""
            const [size] = document.querySelectorAll(".chart");
            const area = size.querySelector(".area");
            press(area, "ArrowRight"); press(area, "ArrowRight");
            seen.second = size.querySelector(".readout").textContent;
            press(area, "End"); press(area, "ArrowRight");
            seen.last = size.querySelector(".readout").textContent;
            const map = document.querySelector(".map");
            const stage = map.querySelector(".stage");
            press(stage, "ArrowDown"); press(stage, "ArrowDown"); press(stage, "ArrowRight");
            seen.slice = map.querySelector(".readout").textContent;
            seen.layers = ["quantiser", "bits", "picture"].map(value => {
              map.querySelector(`[value=${value}]`).click();
              return [...map.querySelectorAll(".layer")]
                .filter(layer => getComputedStyle(layer).visibility == "visible").length;
            });
            seen.map = Number(map.querySelector("[name]").name.slice(3));
            """)
        sizes, quantisers = dom.charts
        frames = report["frames"]
        self.assertEqual(sizes["values"], {frame["frame"]: frame["bytes"] for frame in frames})
        self.assertEqual(sizes["target"], report["size"]["targetBytes"])
        self.assertEqual(quantisers["values"],
                         {frame["frame"]: frame["quantiser"]["mean"] for frame in frames})
        self.assertEqual(dom.seen["second"],
                         f"Frame 1 (01:00:00:01): {frames[1]['bytes']} bytes")
        self.assertIn("Frame 9 (01:00:00:09): ", dom.seen["last"])
        self.assertEqual(dom.seen["layers"], [1, 1, 0])
        self.assertEqual(dom.rows["colour primaries"], ["bad"])
        self.assertEqual(dom.rows["size"], ["good"])
        # Row 1, slice 1 of the map, whose two fields are shown together.
        number = dom.seen["map"]
        slices = json.loads(self.succeed("inspect", "--json", "--slices", "--frames",
                                         f"{number}-{number}", self.clip).stdout)
        both = [entry for entry in slices["frames"][0]["sliceList"]
                if (entry["row"], entry["index"]) == (1, 1)]
        self.assertEqual(len(both), 2)
        quantiser = sum(entry["quantiser"] for entry in both) / 2
        size = sum(entry["bytes"] for entry in both)
        self.assertEqual(dom.seen["slice"],
                         f"Row 1, slice 1: quantiser {quantiser:g}, {8 * size} bits ({size} bytes)")

    def test_comparison(self):
        self.make_pair()
        report = json.loads(self.succeed("compare", "--json", "--html", self.page, self.raw,
                                         self.clip).stdout)
        dom = self.browse("""
            const slider = document.querySelector(".slider");
            const control = slider.querySelector("input");
            const split = () => slider.querySelector(".stage").style.getPropertyValue("--split");
            seen.splits = [split()];
            control.value = 80;
            control.dispatchEvent(new Event("input"));
            seen.splits.push(split());
            seen.pictures = [...document.querySelectorAll(".slider img")].map(
              picture => [picture.naturalWidth, picture.naturalHeight]);
            """)
        psnr, ssim, sizes = dom.charts
        frames = report["frames"]
        self.assertEqual(psnr["values"],
                         {frame["frame"]: frame["psnr"]["all"] for frame in frames})
        self.assertEqual(ssim["values"],
                         {frame["frame"]: frame["ssim"]["all"] for frame in frames})
        self.assertEqual(sizes["values"], {frame["frame"]: frame["bytes"] for frame in frames})
        self.assertEqual(dom.seen["splits"], ["50%", "80%"])
        self.assertEqual(dom.seen["pictures"], [[128, 96], [128, 96]])

    def test_identical_videos_have_a_page_too(self):
        self.make_pair()
        self.succeed("compare", "--html", self.page, self.clip, self.clip)
        dom = self.browse()
        self.assertEqual(dom.charts[0]["values"], dict.fromkeys(range(10)))
        self.assertEqual(set(dom.charts[1]["values"].values()), {1})

    def test_large_pictures_are_scaled_and_their_worst_part_is_not(self):
        self.make_pair(size="1280x720", frames=2)
        self.succeed("compare", "--html", self.page, self.raw, self.clip)
        dom = self.browse("""
            seen.pictures = [...document.querySelectorAll(".slider img, .map .stage > img:first-child")]
              .map(picture => [picture.naturalWidth, picture.naturalHeight]);
            """)
        self.assertEqual(dom.seen["pictures"],
                         [[800, 450], [800, 450], [480, 270], [480, 270], [640, 360]])

    def make_damaged(self):
        """A coded file with a slice, a header and a size field that are not what was written."""
        self.succeed("encode", "--overwrite", "--timecode", "01:00:00:00", self.raw, self.clip)
        data = bytearray(self.clip.read_bytes())
        places = mini_mov.places(self.clip)
        # Of the last slice of frame 2: the size of its header.
        frame = data[places[2][0]:sum(places[2])]
        table = 8 + struct.unpack_from(">H", frame, 8)[0] + 8
        slices = struct.unpack_from(">H", frame, table - 3)[0]
        sizes = struct.unpack_from(f">{slices}H", frame, table)
        data[places[2][0] + table + 2 * slices + sum(sizes[:-1])] = 0xff
        data[places[4][0] + 8:places[4][0] + 10] = bytes(2)
        data[places[7][0] + 2] = 0xff
        self.clip.write_bytes(data)

    def test_verification(self):
        self.make_pair(filters="setfield=tff")
        self.succeed("encode", self.raw, self.path("intact.mov"))
        self.make_damaged()
        names = [self.clip, self.path("intact.mov"), self.path("absent.mov")]
        result = run("verify", "--json", "--html", self.page, *names)
        self.assertEqual(result.returncode, 1, result.stderr)
        report = json.loads(result.stdout)["files"]
        damage = report[0]["damage"]
        self.assertEqual([entry["frame"] for entry in damage], [2, 4, 7])
        dom = self.browse("""
            const texts = (row, selector) =>
              [...row.querySelectorAll(selector)].map(cell => cell.textContent);
            const rows = name => [...document.querySelectorAll(`[aria-label="${name}"] tbody tr`)]
              .map(row => texts(row, "th, td"));
            seen.files = rows("Files");
            seen.damage = rows("Damaged frames");
            seen.figures = texts(document, ".figures dd");
            seen.properties = rows("Container against frame header").length;
            const [chart] = document.querySelectorAll(".chart");
            seen.marked = [...chart.querySelectorAll(".mark + [data-frame]")]
              .map(bar => Number(bar.dataset.frame));
            seen.marks = document.querySelectorAll(".mark").length;
            const area = chart.querySelector(".area");
            for (let i = 0; i < 3; ++i) press(area, "ArrowRight");
            seen.third = chart.querySelector(".readout").textContent;
            seen.maps = document.querySelectorAll(".damage").length;
            seen.slices = [...document.querySelectorAll(".damage rect")]
              .map(slice => [Number(slice.dataset.row), Number(slice.dataset.slice)]);
            const stage = document.querySelector(".damage .stage");
            const told = () => document.querySelector(".damage .readout").textContent;
            press(stage, "ArrowDown");
            seen.first = told();
            for (let i = 0; i < 99; ++i) { press(stage, "ArrowDown"); press(stage, "ArrowRight"); }
            seen.last = told();
            const box = name => {
              const {left, top, right, bottom} = document.querySelector(name).getBoundingClientRect();
              return [left, top, right, bottom];
            };
            const damaged = box(".damage rect");
            seen.cursor = box(".damage .cursor").map((edge, i) => Math.abs(edge - damaged[i]));
            """)
        self.assertEqual(
            [row[:3] for row in dom.seen["files"]],
            [[file["file"], str(file["frames"]), str(file["damagedFrames"])] for file in report])
        self.assertEqual([row[3][2:] for row in dom.seen["files"]],
                         ["damaged", "intact", "not verified"])
        self.assertEqual(dom.seen["figures"], ["3", "1", "20", "3"])
        self.assertEqual(
            [row[:4] for row in dom.seen["damage"]],
            [[str(entry["frame"]), entry["timecode"], str(entry["offset"]),
              "; ".join(entry["faults"])] for entry in damage])
        self.assertGreater(dom.seen["properties"], 0)
        self.assertEqual(dom.seen["marked"], [2, 4, 7])
        self.assertEqual(dom.seen["marks"], 3)
        frames = json.loads(run("inspect", "--json", self.clip).stdout)
        self.assertEqual(len(dom.charts), 2)
        self.assertEqual(dom.charts[0]["values"],
                         {frame["frame"]: frame["bytes"] for frame in frames["frames"]})
        self.assertEqual(dom.charts[0]["target"], frames["size"]["targetBytes"])
        self.assertEqual(dom.seen["third"], "Frame 2 (01:00:00:02): "
                         f"{frames['frames'][2]['bytes']} bytes, damaged")
        self.assertEqual(dom.seen["maps"], sum(bool(entry["slices"]) for entry in damage))
        self.assertEqual(dom.seen["slices"], [[slice_["row"], slice_["slice"]]
                                              for entry in damage for slice_ in entry["slices"]])
        self.assertGreater(len(dom.seen["slices"]), 0)
        # The only damaged slice of that frame is the last one.
        row, index = dom.seen["slices"][0]
        self.assertRegex(dom.seen["first"],
                         r"^Row 0, slice 0: quantiser [\d.]+, \d+ bits \(\d+ bytes\), intact$")
        self.assertRegex(dom.seen["last"], rf"^Row {row}, slice {index}: quantiser .* bits "
                                           r"\(\d+ bytes\), damaged in picture \d$")
        self.assertLess(max(dom.seen["cursor"]), 3)

    def test_follows_the_scheme_of_the_system(self):
        self.make_pair()
        self.succeed("inspect", "--html", self.page, self.clip)
        papers = [self.browse("", f"--blink-settings=preferredColorScheme={scheme}").seen["paper"]
                  for scheme in (1, 0)]
        light, dark = ([int(part) for part in paper[4:-1].split(",")] for paper in papers)
        self.assertGreater(min(light), 200)
        self.assertLess(max(dark), 60)

    def test_fits_a_narrow_window(self):
        self.make_pair(size="320x240")
        for command in (("inspect",), ("compare", self.raw), ("verify",)):
            with self.subTest(command[0]):
                if command[0] == "verify":
                    self.make_damaged()
                self.page.unlink(missing_ok=True)
                run(*command, "--html", self.page, self.clip)
                # Windows of the browser have a least width; frames in them have none.
                self.page.write_text(self.page.read_text().replace(
                    "</body>", "<script>const root = document.documentElement; parent.postMessage("
                    "[innerWidth, root.scrollWidth - root.clientWidth], '*')</script></body>"))
                outer = self.path("outer.html")
                outer.write_text(
                    "<body><script>addEventListener('message', event => {"
                    "document.body.dataset.seen = JSON.stringify(event.data); });</script>"
                    "<iframe src='page.html' width='320' height='800' style='border:0'></iframe>")
                text, console = self.dump(outer)
                self.assertEqual((console, Dom(text).seen), ([], [320, 0]))

    def test_replaces_no_page_unless_told_to(self):
        self.make_pair()
        self.page.write_text("mine")
        for command in (("inspect",), ("compare", self.raw), ("verify",)):
            self.fail_with(1, ["page.html exists"], *command, "--html", self.page, self.clip)
        self.assertEqual(self.page.read_text(), "mine")

# SPDX-License-Identifier: BSD-2-Clause
"""Pages in a browser: charts, maps and their controls work, and nothing is loaded."""
import hashlib
import html.parser
import json
import pathlib
import re
import resource
import shutil
import struct
import subprocess

import mini_mov
from deep_pictures_test import RAW, y416
from tool import TIMEOUT, ToolTest, ffmpeg, make_clip, make_v210, run

BROWSER = shutil.which("chromium") or "chromium"

UPLOT = pathlib.Path(__file__).parents[3] / "third_party" / "uplot"

# Run in the page with simulated keys and pointer, and record the result.
KEYS = """
const press = (element, key) =>
  element.dispatchEvent(new KeyboardEvent("keydown", {key, bubbles: true, cancelable: true}));
const point = (element, x, y) => {
  const box = element.getBoundingClientRect();
  for (const type of ["pointermove", "mousemove"]) {
    element.dispatchEvent(new PointerEvent(type, {
      bubbles: true, clientX: box.left + x * box.width, clientY: box.top + y * box.height}));
  }
};
const copyOf = canvas => {
  const copy = new OffscreenCanvas(canvas.width, canvas.height)
    .getContext("2d", {willReadFrequently: true});
  copy.drawImage(canvas, 0, 0);
  return copy;
};
// The colour at a place in a canvas.
const colourAt = (canvas, x, y) => [...copyOf(canvas).getImageData(x, y, 1, 1).data];
const seen = {};
"""
KEEP = """
seen.charts = [...document.querySelectorAll(".chart")].map(({plot}) => ({
  frames: plot.data[0], values: plot.data[1],
  ink: copyOf(plot.ctx.canvas).getImageData(0, 0, plot.ctx.canvas.width, plot.ctx.canvas.height)
    .data.filter((value, i) => i % 4 == 3 && value > 0).length}));
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
    """A page after its scripts have run."""

    def __init__(self, text):
        super().__init__()
        self.seen = None
        self.rows = {}  # classes of table rows by their heading
        self._row = None
        self._heading = False
        self.feed(text)
        charts = self.seen["charts"] if isinstance(self.seen, dict) else []
        self.charts = [dict(zip(chart["frames"], chart["values"])) for chart in charts]

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        if "data-seen" in attributes:
            self.seen = json.loads(attributes["data-seen"])
        if tag == "tr":
            self._row = (attributes.get("class") or "").split()
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
        # The container contradicts the frames.
        ffmpeg("-i", tagged, "-c", "copy", "-color_primaries", "bt2020", self.clip)

    def dump(self, path, *options):
        """Returns the page after its scripts have run, and its console output."""
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
        for chart in dom.seen["charts"]:
            self.assertGreater(chart["ink"], 100)
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
            seen.name = area.getAttribute("aria-label");
            point(area.querySelector(".u-over"), 0.55, 0.5);
            seen.pointed = size.querySelector(".readout").textContent;
            const all = size.plot.scales.x.max - size.plot.scales.x.min;
            press(area, "+");
            seen.zoomed = (size.plot.scales.x.max - size.plot.scales.x.min) / all;
            press(area, "Escape");
            seen.unzoomed = (size.plot.scales.x.max - size.plot.scales.x.min) / all;
            seen.key = size.querySelector(".key").textContent;
            seen.layers = ["quantiser", "bits", "picture"].map(value => {
              map.querySelector(`[value=${value}]`).click();
              return [...map.querySelectorAll(".layer")]
                .filter(layer => getComputedStyle(layer).visibility == "visible").length;
            });
            seen.map = Number(map.querySelector("[name]").name.slice(3));
            """)
        sizes, quantisers = dom.charts
        frames = report["frames"]
        self.assertEqual(sizes, {frame["frame"]: frame["bytes"] for frame in frames})
        self.assertEqual(dom.seen["key"],
                         f"target of the variant: {report['size']['targetBytes']} bytes")
        self.assertEqual(quantisers,
                         {frame["frame"]: frame["quantiser"]["mean"] for frame in frames})
        self.assertTrue(dom.seen["name"].startswith("Size of each frame, 10 frames, "))
        self.assertIn("Frame 5 (01:00:00:05): ", dom.seen["pointed"])
        self.assertEqual((dom.seen["zoomed"] < 0.7, dom.seen["unzoomed"]), (True, 1))
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
        self.assertEqual(psnr, {frame["frame"]: frame["psnr"]["all"] for frame in frames})
        self.assertEqual(ssim, {frame["frame"]: frame["ssim"]["all"] for frame in frames})
        self.assertEqual(sizes, {frame["frame"]: frame["bytes"] for frame in frames})
        self.assertEqual(dom.seen["splits"], ["50%", "80%"])
        self.assertEqual(dom.seen["pictures"], [[128, 96], [128, 96]])

    def test_alpha_has_a_row_where_it_is_compared(self):
        raw = self.path("raw.y416")
        raw.write_bytes(y416())
        for alpha in ("8", "none"):
            with self.subTest(alpha):
                self.succeed("encode", *RAW, "--variant", "4444", raw, self.raw, "-y")
                self.succeed("encode", *RAW, "--variant", "4444", "--alpha", alpha, raw, self.clip,
                             "-y")
                self.succeed("compare", "-y", "--html", self.page, self.raw, self.clip)
                rows = self.browse().rows
                self.assertIn("Cr", rows)
                self.assertEqual("Alpha" in rows, alpha == "8")

    def test_sizes_with_alpha_say_that_the_target_is_without(self):
        raw = self.path("raw.y416")
        raw.write_bytes(y416())
        script = """
            const chart = [...document.querySelectorAll(".chart")].find(
              each => each.querySelector(".area").getAttribute("aria-label").startsWith("Size"));
            seen.name = chart.querySelector(".area").getAttribute("aria-label").includes("with alpha");
            seen.key = chart.querySelector(".key").textContent.includes("without alpha");
            """
        for alpha in ("16", "none"):
            self.succeed("encode", "-y", *RAW, "--variant", "4444", "--alpha", alpha, raw, self.clip)
            for command in (("inspect",), ("verify",), ("compare", self.clip)):
                with self.subTest(command[0], alpha=alpha):
                    self.succeed(*command, "-y", "--html", self.page, self.clip)
                    seen = self.browse(script).seen
                    self.assertEqual((seen["name"], seen["key"]), (alpha == "16",) * 2)

    def test_identical_videos_have_a_page_too(self):
        self.make_pair()
        self.succeed("compare", "--html", self.page, self.clip, self.clip)
        dom = self.browse()
        self.assertEqual(dom.charts[0], dict.fromkeys(range(10)))
        self.assertEqual(set(dom.charts[1].values()), {1})

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
        """Makes a coded file with a damaged slice, header and size field."""
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
            // Above the bars, where only marks are drawn.
            const {plot} = chart;
            seen.marked = plot.data[0].filter(frame => colourAt(
              plot.ctx.canvas, plot.valToPos(frame, "x", true), plot.bbox.top + 1)[3] > 0);
            seen.key = chart.querySelector(".key").textContent;
            const area = chart.querySelector(".area");
            for (let i = 0; i < 3; ++i) press(area, "ArrowRight");
            seen.third = chart.querySelector(".readout").textContent;
            seen.maps = document.querySelectorAll(".damage").length;
            const canvas = document.querySelector(".damage canvas");
            seen.corners = [colourAt(canvas, 4, 4), colourAt(canvas, canvas.width - 4, canvas.height - 4)]
              .map(([red, green]) => red > 2 * green);
            const stage = document.querySelector(".damage .stage");
            const told = () => document.querySelector(".damage .readout").textContent;
            press(stage, "ArrowDown");
            seen.first = told();
            for (let i = 0; i < 99; ++i) { press(stage, "ArrowDown"); press(stage, "ArrowRight"); }
            seen.last = told();
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
        frames = json.loads(run("inspect", "--json", self.clip).stdout)
        self.assertEqual(len(dom.charts), 2)
        self.assertEqual(dom.charts[0],
                         {frame["frame"]: frame["bytes"] for frame in frames["frames"]})
        self.assertEqual(dom.seen["key"],
                         f"target of the variant: {frames['size']['targetBytes']} bytes")
        self.assertEqual(dom.seen["third"], "Frame 2 (01:00:00:02): "
                         f"{frames['frames'][2]['bytes']} bytes, damaged")
        self.assertEqual(dom.seen["maps"], sum(bool(entry["slices"]) for entry in damage))
        # The only damaged slice of that frame is the last one.
        [slice_] = next(entry["slices"] for entry in damage if entry["slices"])
        self.assertEqual(dom.seen["corners"], [False, True])
        self.assertRegex(dom.seen["first"],
                         r"^Row 0, slice 0: quantiser [\d.]+, \d+ bits \(\d+ bytes\), intact$")
        self.assertRegex(dom.seen["last"],
                         rf"^Row {slice_['row']}, slice {slice_['slice']}: quantiser .* bits "
                         r"\(\d+ bytes\), damaged in picture \d$")

    def test_names_of_files_are_text(self):
        name = "<!--<script><img src=x onerror='alert(1)'>&amp;.mov"
        self.make_pair()
        clip = self.clip.rename(self.path(name))
        for command in (("inspect",), ("compare", self.raw), ("verify",)):
            with self.subTest(command[0]):
                self.succeed(*command, "--overwrite", "--html", self.page, clip)
                dom = self.browse("""
                    seen.name = document.querySelector("h1").textContent;
                    seen.title = document.title;
                    seen.images = document.querySelectorAll("h1 *, p *, td *, img[onerror]").length;
                    """)
                self.assertTrue(dom.seen["name"].endswith(name), dom.seen["name"])
                self.assertEqual((dom.seen["title"], dom.seen["images"]), (dom.seen["name"], 0))

    def test_a_huge_frame_fits_a_page_and_little_memory(self):
        # 17 MB of 2,097,152 slices.
        make_clip(self.clip, "-c:v", "prores_ks", frames=1)
        huge = mini_mov.with_empty_slices(mini_mov.samples(self.clip)[0], 65535, 65535)
        mini_mov.write(self.clip, [huge], width=65535, height=65535)
        for command in (("inspect", "--html", self.page), ("verify", "--html", self.page),
                        ("inspect", "--json", "--slices"), ("inspect", "--slices")):
            with self.subTest(command):
                self.page.unlink(missing_ok=True)
                result = run(*command, "--limit-size", "65535x65535", self.clip, preexec_fn=lambda: resource.setrlimit(
                    resource.RLIMIT_AS, (1 << 30, 1 << 30)))
                self.assertIn(result.returncode, (0, 1), result.stderr)
                self.assertLess(len(result.stdout), 1e6)
                if "--html" in command:
                    self.assertLess(self.page.stat().st_size, 1e6)
                    self.browse()

    def test_charts_are_drawn_by_the_stated_version_of_their_library(self):
        stated = dict(re.findall(r"^\| `(\S+)` \| ([0-9a-f]{64}) \|$",
                                 (UPLOT / "README.md").read_text(), re.MULTILINE))
        self.assertEqual(stated, {
            path.name: hashlib.sha256(path.read_bytes()).hexdigest()
            for path in UPLOT.iterdir() if path.name != "README.md"})
        self.make_pair()
        self.succeed("inspect", "--html", self.page, self.clip)
        page = self.page.read_text()
        for name in stated:
            self.assertIn((UPLOT / name).read_text(), page)

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
                # The browser limits the width of windows, but not of frames inside them.
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

    def test_replaces_a_page_only_with_overwrite(self):
        self.make_pair()
        self.page.write_text("mine")
        for command in (("inspect",), ("compare", self.raw), ("verify",)):
            self.fail_with(1, ["page.html exists"], *command, "--html", self.page, self.clip)
        self.assertEqual(self.page.read_text(), "mine")

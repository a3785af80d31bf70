// SPDX-License-Identifier: BSD-2-Clause
#include "report/HtmlAssets.h"

namespace vixprores {

const char* const kPageStyle = R"css(
:root {
  color-scheme: light dark;
  --paper: #fbfbf9; --card: #ffffff; --ink: #1d2126; --soft: #59616b; --rule: #d9dcdf;
  --accent: #1f5fa8; --bar: #6f9fd4; --target: #b3450f;
  --good: #1d6b3a; --bad: #a31d1d; --bad-paper: #fbe9e7;
}
@media (prefers-color-scheme: dark) {
  :root {
    --paper: #15181c; --card: #1d2126; --ink: #e7e9ec; --soft: #a3abb5; --rule: #363c44;
    --accent: #8bbcf2; --bar: #4f83bd; --target: #f0955a;
    --good: #7fd09b; --bad: #ff9a90; --bad-paper: #3a2222;
  }
}
* { box-sizing: border-box; }
body {
  margin: 0 auto; max-width: 62rem; padding: 1.5rem 1rem 4rem; background: var(--paper);
  color: var(--ink); font: 1rem/1.5 system-ui, "Segoe UI", "Liberation Sans", sans-serif;
}
h1 { font-size: 1.4rem; line-height: 1.25; margin: 0; overflow-wrap: anywhere; }
header p { margin: .25rem 0 0; color: var(--soft); }
h2 { font-size: 1.1rem; margin: 2.25rem 0 .75rem; overflow-wrap: anywhere; }
h3 { font-size: 1rem; margin: 1.5rem 0 .6rem; }
p { max-width: 44rem; overflow-wrap: anywhere; }
.figures { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: .75rem;
  margin: 1.5rem 0 0; }
.figures div { background: var(--card); border: 1px solid var(--rule); border-radius: .5rem;
  padding: .6rem .8rem; }
dt { color: var(--soft); font-size: .85rem; }
dd { margin: 0; font-size: 1rem; font-weight: 600; font-variant-numeric: tabular-nums;
  overflow-wrap: anywhere; }
.figures .bad { border-color: var(--bad); } .figures .bad dd { color: var(--bad); }
.figures .good dd { color: var(--good); }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; }
th, td { text-align: left; padding: .35rem 1.25rem .35rem 0; border-bottom: 1px solid var(--rule);
  vertical-align: top; }
thead th { color: var(--soft); font-weight: 600; font-size: .85rem; }
tbody th { font-weight: 500; }
.numbers td, .numbers thead th:not(:first-child) { text-align: right; }
tr.bad > * { background: var(--bad-paper); color: var(--bad); font-weight: 600; }
tr.good > :last-child:not(th) { color: var(--good); }
tr.unknown > :last-child:not(th) { color: var(--soft); }
details { margin: 1rem 0; } summary { cursor: pointer; font-weight: 600; padding: .25rem 0; }
details .scroll { max-height: 28rem; overflow-y: auto; }
figure { margin: 0 0 1.75rem; } figcaption { font-weight: 600; margin-bottom: .4rem; }
.key { font-weight: 400; color: var(--soft); margin-left: .75rem; }
.key i { display: inline-block; width: 1.4rem; border-top: 2px dashed var(--target);
  vertical-align: middle; margin-right: .35rem; }
.key.marked i { border: 1px solid var(--bad); background: var(--bad-paper); height: .8rem; }
.plot { display: grid; grid-template-columns: auto 1fr; gap: .25rem .5rem; }
.y { display: flex; flex-direction: column; justify-content: space-between; text-align: right; }
.y, .x { color: var(--soft); font-size: .75rem; line-height: 1; font-variant-numeric: tabular-nums; }
.x { grid-column: 2; display: flex; justify-content: space-between; }
.area { border-left: 1px solid var(--rule); border-bottom: 1px solid var(--rule); height: 11rem; }
.area svg { display: block; width: 100%; height: 100%; overflow: visible; }
.bar { fill: var(--bar); } .hit { fill: transparent; }
.bar:hover, .bar.current { fill: var(--accent); }
.hit:hover, .hit.current { fill: var(--accent); fill-opacity: .25; }
.mark { fill: var(--bad-paper); stroke: var(--bad); stroke-width: 1; pointer-events: none;
  vector-effect: non-scaling-stroke; }
.line { fill: none; stroke: var(--accent); stroke-width: 2; vector-effect: non-scaling-stroke; }
.target { stroke: var(--target); stroke-width: 2; stroke-dasharray: 6 4; pointer-events: none;
  vector-effect: non-scaling-stroke; }
.readout { display: block; min-height: 1.5em; color: var(--soft); font-size: .85rem;
  margin-top: .4rem; font-variant-numeric: tabular-nums; }
.maps { display: grid; grid-template-columns: repeat(auto-fit, minmax(min(100%, 26rem), 1fr));
  gap: 1rem 1.5rem; }
fieldset { border: 0; margin: 0 0 .4rem; padding: 0; display: flex; flex-wrap: wrap; gap: .25rem 1rem; }
input { accent-color: var(--accent); }
.stage { position: relative; overflow: hidden; line-height: 0; border-radius: .25rem; }
.stage img:first-child, .picture img { display: block; width: 100%; height: auto; }
.picture img { border-radius: .25rem; }
.layer { position: absolute; left: 0; top: 0; image-rendering: pixelated; visibility: hidden; }
.map:has([value=quantiser]:checked) .layer.quantiser,
.map:has([value=bits]:checked) .layer.bits { visibility: visible; }
.legend { display: none; align-items: center; gap: .5rem; font-size: .8rem; margin-top: .4rem;
  color: var(--soft); font-variant-numeric: tabular-nums; }
.legend i { flex: 1; height: .6rem; border-radius: .2rem; }
.map:has([value=quantiser]:checked) .legend.quantiser,
.map:has([value=bits]:checked) .legend.bits { display: flex; }
.damage { max-width: 40rem; }
.damage svg { display: block; width: 100%; height: auto;
  border: 1px solid var(--rule); background: var(--card); }
.damage path { fill: none; stroke: var(--rule); stroke-width: 1; vector-effect: non-scaling-stroke; }
.damage rect { fill: var(--bad); }
.cursor { position: absolute; border: 2px solid #fff; outline: 1px solid #000; pointer-events: none; }
.slider .over { position: absolute; inset: 0; width: 100%; height: 100%;
  clip-path: inset(0 0 0 var(--split, 50%)); }
.slider .stage::after { content: ""; position: absolute; top: 0; bottom: 0; left: var(--split, 50%);
  width: 2px; margin-left: -1px; background: #fff; box-shadow: 0 0 0 1px #000; }
.slider label { display: block; font-size: .85rem; color: var(--soft); margin-top: .5rem; }
.slider input { display: block; width: 100%; margin: .25rem 0 0; height: 1.75rem; }
.tag { position: absolute; bottom: .5rem; font-size: .75rem; line-height: 1; padding: .3rem .45rem;
  background: rgb(0 0 0 / .65); color: #fff; border-radius: .25rem; }
.tag.left { left: .5rem; } .tag.right { right: .5rem; }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
.hidden { position: absolute; width: 1px; height: 1px; overflow: hidden; clip-path: inset(50%); }
@media (max-width: 32rem) {
  table { font-size: .85rem; } th, td { padding-right: .6rem; }
}
@media print { .readout, .slider label { display: none; } figure { break-inside: avoid; } }
)css";

const char* const kPageScript = R"js(
"use strict";
const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
const clamp = (value, low, high) => Math.min(Math.max(value, low), high);

for (const chart of document.querySelectorAll(".chart")) {
  const area = chart.querySelector(".area");
  const frames = [...area.querySelectorAll("[data-frame]")];
  const readout = chart.querySelector(".readout");
  let current = -1;
  const show = index => {
    frames[current]?.classList.remove("current");
    current = index;
    frames[current].classList.add("current");
    readout.textContent = frames[current].querySelector("title").textContent;
  };
  const last = frames.length - 1;
  const ends = { Home: 0, End: last };
  area.addEventListener("keydown", event => {
    const step = arrows[event.key]?.[0];
    if (event.key in ends) show(ends[event.key]);
    else if (step) show(current < 0 ? (step > 0 ? 0 : last) : clamp(current + step, 0, last));
    else return;
    event.preventDefault();
  });
  area.addEventListener("pointermove", event => {
    const box = area.getBoundingClientRect();
    const share = (event.clientX - box.left) / box.width;
    show(clamp(Math.floor(share * frames.length), 0, last));
  });
}

for (const map of document.querySelectorAll(".map")) {
  const grid = JSON.parse(map.querySelector("script").textContent);
  const stage = map.querySelector(".stage");
  const cursor = map.querySelector(".cursor");
  const readout = map.querySelector(".readout");
  const rows = Math.ceil(grid.rows);
  let place = null;
  const stateOf = slice => {
    if (!grid.damaged) return "";
    const pictures = grid.damaged[slice];
    return pictures ? `, damaged in picture ${pictures.join(" and ")}` : ", intact";
  };
  const percent = value => `${100 * value}%`;
  const show = (column, row) => {
    place = [clamp(column, 0, grid.columns.length - 1), clamp(row, 0, rows - 1)];
    const [first, count] = grid.columns[place[0]];
    Object.assign(cursor.style, {
      left: percent(first / grid.macroblocks), width: percent(count / grid.macroblocks),
      top: percent(place[1] / grid.rows), height: percent(1 / grid.rows) });
    cursor.hidden = false;
    const slice = place[1] * grid.columns.length + place[0];
    const quantiser = grid.quantisers[slice] || "unknown";
    readout.textContent = `Row ${place[1]}, slice ${place[0]}: quantiser ${quantiser}, ` +
      `${8 * grid.bytes[slice]} bits (${grid.bytes[slice]} bytes)` + stateOf(slice);
  };
  stage.addEventListener("keydown", event => {
    if (!(event.key in arrows)) return;
    const [across, down] = arrows[event.key];
    place ? show(place[0] + across, place[1] + down) : show(0, 0);
    event.preventDefault();
  });
  stage.addEventListener("pointermove", event => {
    const box = stage.getBoundingClientRect();
    const macroblock = (event.clientX - box.left) / box.width * grid.macroblocks;
    const column = grid.columns.findIndex(([first, count]) => macroblock < first + count);
    show(column, Math.floor((event.clientY - box.top) / box.height * grid.rows));
  });
}

for (const slider of document.querySelectorAll(".slider")) {
  const control = slider.querySelector("input");
  const stage = slider.querySelector(".stage");
  const show = () => {
    stage.style.setProperty("--split", `${control.value}%`);
    control.setAttribute("aria-valuetext", `${control.value} % reference, left`);
  };
  control.addEventListener("input", show);
  show();
}
)js";

}  // namespace vixprores

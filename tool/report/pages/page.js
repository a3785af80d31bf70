// SPDX-License-Identifier: BSD-2-Clause
// Helpers of all pages. Texts become text nodes and attribute values, never markup: file names and
// labels come from files of unknown origin.

/** Creates an element without those attributes that are undefined or false; children may be texts. */
function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) {
    if (value !== undefined && value !== false) element.setAttribute(key, value === true ? "" : value);
  }
  element.append(...children.filter(child => child !== undefined && child !== null));
  return element;
}

const clamp = (value, low, high) => Math.min(Math.max(value, low), high);
const count = (number, noun) => `${number} ${noun}${number === 1 ? "" : "s"}`;
const fixed = (value, decimals, missing = "unknown") =>
  value === null || value === undefined ? missing : value.toFixed(decimals);
const percent = share => share === null || share === undefined ? "" : `${(100 * share).toFixed(1)} %`;
const colour = name => getComputedStyle(document.documentElement).getPropertyValue(name);

/** "Frame 12 (10:00:00:12)" */
const frameName = frame => `Frame ${frame.frame}` + (frame.timecode ? ` (${frame.timecode})` : "");
/** "5", or "5-9" for several missing frames */
const numbers = frame => frame.count > 1 ? `${frame.frame}-${frame.frame + frame.count - 1}`
                                         : `${frame.frame}`;

/** Faults of one frame as faults of several: "is missing" becomes "are missing". */
const inflect = (fault, frame) => frame.count > 1 ? fault.replace(/^is /, "are ") : fault;

// Drawings that depend on the width or the colours of the page: drawn when the page is complete,
// and again when the colour scheme or the size changes.
const drawings = [];
function drawAll() {
  for (const draw of drawings) draw();
}
matchMedia("(prefers-color-scheme: dark)").addEventListener("change", drawAll);

const heading = text => make("h2", {}, text);
const subheading = text => make("h3", {}, text);
const paragraph = text => make("p", {}, text);

/** Figures of the summary; each is [name, value, mark], mark "good", "bad" or undefined. */
function figures(entries) {
  return make("dl", { class: "figures" }, ...entries.map(([name, value, mark]) =>
    make("div", { class: mark }, make("dt", {}, name), make("dd", {}, `${value}`))));
}

const symbols = { good: "\u2713 ", bad: "\u2717 ", unknown: "\u2013 " };

/**
 * A table that scrolls sideways. Rows are {cells, mark}; the first cell is the row's heading, and
 * the last one gets the symbol of the mark if `symbol` is set.
 */
function table({ caption, columns = [], rows, areNumbers = false, symbol = false }) {
  const head = make("thead", {}, make("tr", {}, ...columns.map(column =>
    make("th", { scope: "col" }, column))));
  const body = make("tbody", {}, ...rows.map(({ cells, mark }) =>
    make("tr", { class: mark }, ...cells.map((cell, i) => {
      const text = (symbol && i === cells.length - 1 ? symbols[mark] : "") + cell;
      return i === 0 ? make("th", { scope: "row" }, text) : make("td", {}, text);
    }))));
  return make("div", { class: "scroll", tabindex: 0, role: "region", "aria-label": caption },
    make("table", { class: areNumbers && "numbers" },
      make("caption", { class: "hidden" }, caption), columns.length > 0 ? head : null, body));
}

/** A table that is made when it is opened. */
function folded(summary, makeTable) {
  const details = make("details", {}, make("summary", {}, summary));
  details.addEventListener("toggle", () => details.append(makeTable()), { once: true });
  return details;
}

/** Headings with their contents, or nothing if there are none. */
const section = (text, ...contents) => contents.length > 0 ? [heading(text), ...contents] : [];

/** "ProRes 4444 (ap4h), 1920x1080, progressive, 25 fps, 4:4:4 in 12 bits, no alpha" */
function describeStream({ format }) {
  const code = format.code ? ` (${format.code})` : "";
  const alpha = format.alpha === "none" ? "no alpha" : `alpha of ${format.alpha}`;
  const depth = format.bits > 10 ? ` in ${format.bits} bits` : "";
  return `${format.name}${code}, ${format.width}x${format.height}, ${format.fieldOrder}, ` +
    `${format.rate} fps` + (format.chromaFormat ? `, ${format.chromaFormat}${depth}, ${alpha}` : "");
}

function propertiesTable(properties) {
  const marks = { same: "good", unspecified: "unknown" };
  const words = key => key.replace(/[A-Z]/g, letter => ` ${letter.toLowerCase()}`);
  return table({
    caption: "Container against frame header",
    columns: ["Property", "Container", "Frame header", "Result"],
    symbol: true,
    rows: properties.map(({ property, container, header, state }) => (
      { cells: [words(property), container, header, state], mark: marks[state] ?? "bad" })),
  });
}

/** Fills the document; `contents` are elements. */
function show(title, subtitle, contents) {
  document.title = title;
  document.body.append(
    make("header", {}, make("h1", {}, title), make("p", {}, subtitle)),
    make("main", {}, ...contents));
  drawAll();
}

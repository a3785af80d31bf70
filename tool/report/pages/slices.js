// SPDX-License-Identifier: BSD-2-Clause
// Slices of frames over their pictures, and pairs of pictures.

// Colours from low to high: dark blue, violet, red, orange, light yellow. The brightness increases
// all the way, so that the order is visible without colours.
const ramp = [[24, 20, 96], [112, 30, 130], [206, 62, 84], [248, 148, 54], [252, 250, 190]];
const rampCss = `linear-gradient(90deg, ${ramp.map(rgb => `rgb(${rgb.join(" ")})`).join()})`;

function rampColour(share) {
  const place = clamp(share, 0, 1) * (ramp.length - 1);
  const low = Math.min(Math.floor(place), ramp.length - 2);
  return ramp[low].map((value, i) => value + (ramp[low + 1][i] - value) * (place - low));
}

/** The values of the slices, null where unknown, with their range. */
function makeLayer(name, unit, decimals, values) {
  const known = values.filter(value => value !== null);
  const low = known.reduce((a, b) => Math.min(a, b), Infinity);
  const high = known.reduce((a, b) => Math.max(a, b), -Infinity);
  return { name, unit, decimals, values, low, high, isFlat: known.length === 0 || low === high };
}

function quantiserLayer(grid) {
  const areWhole = grid.quantisers.every(Number.isInteger);
  return makeLayer("quantiser", "", areWhole ? 0 : 1, grid.quantisers.map(value => value || null));
}

// Slices at the right edge may be narrower than others, so bits are compared by area.
function bitsLayer(grid) {
  return makeLayer("bits", "bits per macroblock", 0, grid.bytes.map((bytes, i) =>
    8 * bytes / grid.columns[i % grid.columns.length][1]));
}

// Draws one pixel for each macroblock. The browser scales it to the picture, which may end inside
// the last macroblocks.
function layerCanvas(grid, layer) {
  const canvas = make("canvas", {
    class: `layer ${layer.name}`, width: grid.macroblocks, height: grid.rows, role: "img",
    "aria-label": `${layer.name} of each slice` });
  canvas.style.width = `${100 * grid.macroblocks / grid.shownMacroblocks}%`;
  canvas.style.height = `${100 * grid.rows / grid.shownRows}%`;
  if (layer.isFlat) return canvas;
  const context = canvas.getContext("2d");
  layer.values.forEach((value, i) => {
    if (value === null) return;
    const [first, macroblocks] = grid.columns[i % grid.columns.length];
    const rgb = rampColour((value - layer.low) / (layer.high - layer.low));
    context.fillStyle = `rgb(${rgb.map(Math.round).join(" ")} / 72%)`;
    context.fillRect(first, Math.floor(i / grid.columns.length), macroblocks, 1);
  });
  return canvas;
}

function legend(layer) {
  const text = value => `${value.toFixed(layer.decimals)} ${layer.unit}`;
  const parts = layer.isFlat
    ? [make("span", {}, layer.low === Infinity ? "unknown" : `${text(layer.low)} everywhere`)]
    : [make("span", {}, layer.low.toFixed(layer.decimals)), make("i"),
       make("span", {}, text(layer.high))];
  if (!layer.isFlat) parts[1].style.background = rampCss;
  return make("div", { class: `legend ${layer.name}` }, ...parts);
}

/** Lets keys and the pointer move from slice to slice over `drawing`. Returns stage and readout. */
function sliceStage(name, grid, damaged, ...drawing) {
  const cursor = make("div", { class: "cursor", hidden: true });
  const stage = make("div", {
    class: "stage", tabindex: 0, role: "group",
    "aria-label": `${name}, slice by slice. Arrow keys move from slice to slice.` },
    ...drawing, cursor);
  const readout = make("output", { class: "readout", "aria-live": "polite" },
    "Point at a slice, or use the arrow keys.");
  let place = null;
  const stateOf = slice => {
    if (!damaged) return "";
    const pictures = damaged.get(slice);
    return pictures ? `, damaged in picture ${pictures.join(" and ")}` : ", intact";
  };
  const share = (part, whole) => `${100 * part / whole}%`;
  const showSlice = (column, row) => {
    place = [clamp(column, 0, grid.columns.length - 1), clamp(row, 0, grid.rows - 1)];
    const [first, macroblocks] = grid.columns[place[0]];
    Object.assign(cursor.style, {
      left: share(first, grid.shownMacroblocks), width: share(macroblocks, grid.shownMacroblocks),
      top: share(place[1], grid.shownRows), height: share(1, grid.shownRows) });
    cursor.hidden = false;
    const slice = place[1] * grid.columns.length + place[0];
    readout.textContent = `Row ${place[1]}, slice ${place[0]}: quantiser ` +
      `${grid.quantisers[slice] || "unknown"}, ${8 * grid.bytes[slice]} bits ` +
      `(${grid.bytes[slice]} bytes)${stateOf(slice)}`;
  };
  stage.addEventListener("keydown", event => {
    if (!(event.key in arrows)) return;
    const [across, down] = arrows[event.key];
    place ? showSlice(place[0] + across, place[1] + down) : showSlice(0, 0);
    event.preventDefault();
  });
  stage.addEventListener("pointermove", event => {
    const box = stage.getBoundingClientRect();
    const macroblock = (event.clientX - box.left) / box.width * grid.shownMacroblocks;
    const column = grid.columns.findIndex(([first, width]) => macroblock < first + width);
    showSlice(column < 0 ? grid.columns.length - 1 : column,
      Math.floor((event.clientY - box.top) / box.height * grid.shownRows));
  });
  return [stage, readout];
}

const pictureImage = (picture, alt, attributes = {}) => make("img", {
  src: picture.source, alt, width: picture.width, height: picture.height, ...attributes });

/** A figure no wider than its picture, unless that is tiny. */
function pictureFigure(cssClass, picture, name, ...contents) {
  const figure = make("figure", { class: cssClass }, make("figcaption", {}, name), ...contents);
  if (picture) figure.style.maxWidth = `${Math.max(picture.width, 320)}px`;
  return figure;
}

function setShape(stage, grid) {
  stage.style.aspectRatio = `${16 * grid.shownMacroblocks} / ${grid.rowLines * grid.shownRows}`;
}

/** A frame with its quantisers or its bits over its picture, by choice. */
function sliceMap({ name, frame, timecode, picture, grid, slices }) {
  const title = `${name}: ${frame}` + (timecode ? ` (${timecode})` : "");
  const id = `map${frame}`;
  const notes = [];
  if (!picture) notes.push("The picture is too large to be shown.");
  if (!grid) notes.push(`The frame has too many slices to be shown one by one: ${slices}.`);
  const image = picture ? pictureImage(picture, title) : null;
  if (!grid) {
    const stage = image ? make("div", { class: "stage" }, image) : null;
    return pictureFigure("map", picture, title, stage, ...notes.map(paragraph));
  }
  const layers = [quantiserLayer(grid), bitsLayer(grid)];
  const choice = (value, text, checked) => make("label", {},
    make("input", { type: "radio", name: id, value, checked }), ` ${text}`);
  const [stage, readout] = sliceStage(title, grid, null, image,
    ...layers.map(layer => layerCanvas(grid, layer)));
  if (!picture) setShape(stage, grid);
  return pictureFigure("map", picture, title,
    make("fieldset", {}, make("legend", { class: "hidden" }, "Values over the picture"),
      choice("quantiser", "Quantiser", true), choice("bits", "Bits"), choice("picture", "Picture")),
    stage, ...layers.map(legend), readout, ...notes.map(paragraph));
}

function sliceMaps(maps) {
  return section("Where the bits go", ...maps.length === 0 ? [] : [
    paragraph("Quantiser and bits of each slice over the picture. The two fields of a frame are " +
      "shown together: their bits added up, and the mean of their quantisers."),
    make("div", { class: "maps" }, ...maps.map(sliceMap))]);
}

function drawDamage(canvas, grid, damaged) {
  canvas.width = canvas.clientWidth * devicePixelRatio;
  canvas.height = canvas.clientHeight * devicePixelRatio;
  const context = canvas.getContext("2d");
  const x = macroblock => canvas.width * macroblock / grid.shownMacroblocks;
  const y = row => canvas.height * row / grid.shownRows;
  context.fillStyle = colour("--rule");
  const leastCell = 3 * devicePixelRatio;  // the lines between smaller cells would hide the cells
  if (x(grid.columns[0][1]) >= leastCell) {
    for (const [first] of grid.columns) context.fillRect(x(first), 0, 1, canvas.height);
  }
  if (y(1) >= leastCell) {
    for (let row = 1; row < grid.rows; ++row) context.fillRect(0, y(row), canvas.width, 1);
  }
  context.fillStyle = colour("--bad");
  for (const slice of damaged.keys()) {
    const [first, macroblocks] = grid.columns[slice % grid.columns.length];
    const row = Math.floor(slice / grid.columns.length);
    context.fillRect(x(first), y(row), Math.max(x(macroblocks), 1), Math.max(y(1), 1));
  }
}

/** The slices of a frame with the damaged ones filled. */
function damageMap({ frame, timecode, grid, damaged, slices }) {
  const title = `${frameName({ frame, timecode })}: ${count(slices, "damaged slice")}`;
  if (!grid) {
    return make("figure", { class: "map damage" }, make("figcaption", {}, title),
      paragraph("The frame has too many slices to be shown one by one."));
  }
  const pictures = new Map();  // numbers of damaged pictures by grid cell
  for (const [cell, picture] of damaged) {
    pictures.set(cell, [...pictures.get(cell) ?? [], picture]);
  }
  const canvas = make("canvas", { role: "img", "aria-label": title });
  const [stage, readout] = sliceStage(title, grid, pictures, canvas);
  setShape(stage, grid);
  drawings.push(() => drawDamage(canvas, grid, pictures));
  return make("figure", { class: "map damage" }, make("figcaption", {}, title), stage, readout);
}

/** Two pictures of one size on top of each other, with a control for the share of each. */
function pictureSlider(name, reference, distorted) {
  const control = make("input", { type: "range", min: 0, max: 100, value: 50 });
  const stage = make("div", { class: "stage" },
    pictureImage(reference, "Reference"), pictureImage(distorted, "Distorted", { class: "over" }),
    make("span", { class: "tag left" }, "reference"),
    make("span", { class: "tag right" }, "distorted"));
  const split = () => {
    stage.style.setProperty("--split", `${control.value}%`);
    control.setAttribute("aria-valuetext", `${control.value} % reference, left`);
  };
  control.addEventListener("input", split);
  split();
  return pictureFigure("slider", reference, name, stage,
    make("label", {}, "Share of the reference ", control));
}

/** The differences of two pictures of one size around middle grey, `gain` times as large. */
function differencePicture(reference, distorted, gain) {
  const { width, height } = reference;
  const name = `The difference, ${gain} times as large, around grey`;
  const canvas = make("canvas", { width, height, role: "img", "aria-label": name });
  const context = canvas.getContext("2d", { willReadFrequently: true });
  const pixelsOf = async picture => {
    const image = pictureImage(picture, "");
    await image.decode();
    context.drawImage(image, 0, 0);
    return context.getImageData(0, 0, width, height);
  };
  (async () => {
    const before = await pixelsOf(reference);
    const after = await pixelsOf(distorted);
    for (let i = 0; i < after.data.length; ++i) {
      if (i % 4 < 3) after.data[i] = 128 + gain * (after.data[i] - before.data[i]);
    }
    context.putImageData(after, 0, 0);
  })();
  return pictureFigure("picture", reference, name, canvas);
}

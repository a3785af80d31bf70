// SPDX-License-Identifier: BSD-2-Clause
// Values of frames over time, drawn by uPlot.

const arrows = { ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };

// Returns 1, 2 and 5 times powers of ten, starting at `smallest`.
function increments(smallest) {
  const first = Math.round(Math.log10(smallest));
  return Array.from({ length: 18 }, (_, i) => i + first)
    .flatMap(power => [1, 2, 5].map(factor => Number(`${factor}e${power}`)));
}

const decimalsOf = increment => Math.max(0, -Math.floor(Math.log10(increment) + 1e-9));

/** The values at the edges of the vertical axis, from the smallest and the largest value. */
function valueRange(options, min, max) {
  if (min === null || min === undefined) return [0, 1];
  if (options.isBars) return [0, Math.max(max, options.target ?? 0, 1) * 1.05];
  const room = Math.max((max - min) * 0.1, 2 * 10 ** -options.decimals);
  return [Math.max(min - room, 0), Math.min(max + room, options.highest ?? Infinity)];
}

/** "Frame 1 (01:00:00:01): 4711 bytes, damaged" */
function describePoint(options, point) {
  const { group = 1, unit, decimals, missing = "missing", markName } = options;
  const more = point.count > 1 ? ` and ${point.count - 1} more` : "";
  const value = point.value === null ? missing : `${point.value.toFixed(decimals)} ${unit}`;
  return frameName(point) + more + `: ${value}` + (point.marked ? `, ${markName}` : "") +
    (group > 1 ? ` (one of ${group} frames)` : "");
}

function chartLabel(options, values) {
  const known = values.filter(value => value !== null);
  const text = value => `${value.toFixed(options.decimals)} ${options.unit}`;
  const low = known.reduce((a, b) => Math.min(a, b), Infinity);
  const high = known.reduce((a, b) => Math.max(a, b), -Infinity);
  return `${options.name}, ${count(values.length, "frame")}` +
    (known.length > 0 ? `, ${text(low)} to ${text(high)}` : "") +
    ". Arrow keys move from frame to frame, + and - zoom, Escape shows all.";
}

// Draws the target, and full-height bands behind marked points, so that small and missing values
// remain visible.
function drawMarks(options, plot) {
  const { ctx, bbox } = plot;
  ctx.save();
  ctx.beginPath();
  ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
  ctx.clip();
  const least = 2 * devicePixelRatio;
  for (const point of options.points) {
    if (!point.marked) continue;
    const left = plot.valToPos(point.frame - 0.5, "x", true);
    const width = plot.valToPos(point.frame + (point.count ?? 1) - 0.5, "x", true) - left;
    ctx.fillStyle = colour(width < least ? "--bad" : "--mark");
    ctx.fillRect(left, bbox.top, Math.max(width, least), bbox.height);
  }
  if (options.target) {
    const y = plot.valToPos(options.target, "y", true);
    ctx.strokeStyle = colour("--target");
    ctx.lineWidth = 2 * devicePixelRatio;
    ctx.setLineDash([6 * devicePixelRatio, 4 * devicePixelRatio]);
    ctx.beginPath();
    ctx.moveTo(bbox.left, y);
    ctx.lineTo(bbox.left + bbox.width, y);
    ctx.stroke();
  }
  ctx.restore();
}

function makePlot(options, area, onPoint) {
  const axis = { stroke: () => colour("--soft"), ticks: { show: false }, font: "12px system-ui" };
  const plot = new uPlot({
    width: area.clientWidth,
    height: 200,
    legend: { show: false },
    cursor: { y: false, drag: { x: true, y: false } },
    scales: {
      x: { time: false, range: (_, min, max) => [min - 0.5, max + 0.5] },
      y: { range: (_, min, max) => valueRange(options, min, max) },
    },
    axes: [
      { ...axis, size: 28, incrs: increments(1), grid: { show: false },
        values: (_, splits) => splits.map(String) },
      {
        ...axis,
        incrs: increments(10 ** -options.decimals),
        grid: { stroke: () => colour("--rule"), width: 1 },
        values: (_, splits, index, space, increment) =>
          splits.map(value => value.toFixed(decimalsOf(increment))),
        size: (_, labels) => 16 + 7 * Math.max(1, ...(labels ?? []).map(label => label.length)),
      },
    ],
    series: [{}, options.isBars
      ? { fill: () => colour("--bar"), points: { show: false },
          paths: uPlot.paths.bars({ size: [0.85, 100], gap: 0 }) }
      : { stroke: () => colour("--accent"), points: { fill: () => colour("--paper") },
          width: options.points.length > 500 ? 1 : 2 }],
    hooks: {
      draw: [drawn => drawMarks(options, drawn)],
      setCursor: [({ cursor }) => cursor.idx !== null && cursor.idx !== undefined &&
                              cursor.left >= 0 && onPoint(cursor.idx)],
    },
  }, [options.points.map(point => point.frame), options.points.map(point => point.value)], area);
  return plot;
}

// Sets the range immediately, unlike setScale() alone.
function showRange(plot, min, max) {
  plot.batch(() => plot.setScale("x", { min, max }));
}

function zoom(plot, frame, factor) {
  const { min, max } = plot.scales.x;
  const half = Math.max((max - min) * factor / 2, 2);
  showRange(plot, frame - half + 0.5, frame + half - 0.5);
}

/**
 * A chart with keys and a readout. Options: name, unit, decimals, isBars (otherwise a line), target
 * and targetName, highest (that a value can be), missing (word for points without a value), markName
 * (word for marked points), group (frames of which one is shown), and points: {frame, count,
 * timecode, value, marked}.
 */
function chart(options) {
  const { points } = options;
  if (points.length === 0) return null;
  const values = points.map(point => point.value);
  const area = make("div", {
    class: "area", tabindex: 0, role: "group", "aria-label": chartLabel(options, values) });
  const readout = make("output", { class: "readout", "aria-live": "polite" },
    "Point at a frame, or use the arrow keys.");
  const keys = [];
  if (options.target) {
    keys.push(make("span", { class: "key" }, make("i"),
      `${options.targetName}: ${options.target.toFixed(options.decimals)} ${options.unit}`));
  }
  if (points.some(point => point.marked)) {
    keys.push(make("span", { class: "key marked" }, make("i"), options.markName));
  }
  const figure = make("figure", { class: "chart" },
    make("figcaption", {}, `${options.name} (${options.unit})`, ...keys), area, readout);

  const last = points.length - 1;
  let current = -1;
  const showPoint = index => {
    current = index;
    readout.textContent = describePoint(options, points[index]);
  };
  const goTo = index => {
    showPoint(index);
    const { plot } = figure;
    const { frame } = points[index];
    const { min, max } = plot.scales.x;
    if (frame < min || frame > max) zoom(plot, frame, 1);
    plot.setCursor({ left: plot.valToPos(frame, "x"), top: 0 }, false);
  };
  const showAll = () => showRange(figure.plot, points[0].frame, points[last].frame);
  const actions = {
    Home: () => goTo(0),
    End: () => goTo(last),
    "+": () => zoom(figure.plot, points[Math.max(current, 0)].frame, 0.5),
    "-": () => zoom(figure.plot, points[Math.max(current, 0)].frame, 2),
    Escape: showAll,
  };
  area.addEventListener("keydown", event => {
    const step = arrows[event.key]?.[0];
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (event.key in actions) actions[event.key]();
    else if (step) goTo(current < 0 ? (step > 0 ? 0 : last) : clamp(current + step, 0, last));
    else return;
    event.preventDefault();
  });
  drawings.push(() => {
    if (figure.plot) {
      figure.plot.redraw();
    } else {
      figure.plot = makePlot(options, area, showPoint);
      new ResizeObserver(() => {
        if (area.clientWidth !== figure.plot.width) {
          figure.plot.setSize({ width: area.clientWidth, height: 200 });
        }
      }).observe(area);
    }
  });
  return figure;
}

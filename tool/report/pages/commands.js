// SPDX-License-Identifier: BSD-2-Clause
// The page of each command, from the report that the command prints with --json (`report`) and from
// what only the page needs (`page`).

const kMostTableRows = 1200;  // longer lists are read by programs, from the JSON report

/** The sizes of frames; those with alpha are compared with a target that is of their colours only. */
function sizeChart(name, points, { target, hasAlpha, group, markName }) {
  return chart({ name: hasAlpha ? `${name}, with alpha` : name, unit: "bytes", decimals: 0,
                 isBars: true, target, group, markName, points,
                 targetName: `target of the variant${hasAlpha ? ", without alpha" : ""}` });
}

/** All values of the frames as a folded table, or where to find them. */
function valuesTable(frames, group, command, columns, row) {
  if (group > 1 || frames.length > kMostTableRows) {
    const which = { inspect: "the largest one and the first one with a fault",
                    compare: "the one with the lowest PSNR" };
    const shown = group > 1 ? `Of every ${group} frames the charts show ${which[command]}. ` : "";
    return paragraph(`${shown}'vixprores ${command} --json' prints the values of every frame.`);
  }
  return folded("All values",
    () => table({ caption: "Frames", columns, areNumbers: true, rows: frames.map(row) }));
}

const hasAlpha = format => (format.alpha ?? "none") !== "none";

const weights = ({ flat, weights: all }) => flat ? `flat, all ${all[0]}`
  : `${Math.min(...all)} to ${Math.max(...all)}; first row ${all.slice(0, 8).join(" ")}`;

function codingTable(report) {
  const { format, size, quantiser, matrices } = report;
  const slices = Math.max(0, ...report.frames.map(frame => frame.slices ?? 0));
  const rows = [
    ["Encoder identifier", format.encoderIdentifier],
    ["Bitstream version", format.bitstreamVersion],
    ["Slices of a frame",
     `${slices}, at most ${count(2 ** report.log2SliceWidth, "macroblock")} wide`],
    ["Size of a frame", size ? `${size.minBytes} to ${size.maxBytes} bytes` : "unknown"],
    ...hasAlpha(format) ? [["Alpha of a frame", `mean ${fixed(size?.meanAlphaBytes, 0)} bytes, ` +
      `${percent(size?.alphaShare)} of the bytes`]] : [],
    ["Quantiser", quantiser ? `${quantiser.min} to ${quantiser.max}; means of frames ` +
      `${fixed(quantiser.lowestFrameMean, 2)} to ${fixed(quantiser.highestFrameMean, 2)}`
      : "unknown"],
    ["Luma matrix", weights(matrices.luma)],
    ["Chroma matrix", weights(matrices.chroma)]];
  return table({ caption: "Coding of the frames", rows: rows.map(cells => ({ cells })) });
}

function showInspection(report, page) {
  const { frames, size, quantiser } = report;
  const { group } = page;
  const faulty = frames.filter(frame => frame.fault);
  const points = value => frames.map(frame => (
    { ...frame, value: value(frame) ?? null, marked: Boolean(frame.fault) }));
  const share = size?.meanShareOfTarget;
  const contents = [
    report.message && paragraph(`The inspection ended early: ${report.message}`),
    report.note && paragraph(report.note),
    figures([
      ["Frames", report.framesInspected],
      ["Data rate", `${fixed(report.megabitsPerSecond, 1)} Mb/s`],
      ["Mean size", size ? `${fixed(size.meanBytes, 0)} bytes` : "unknown"],
      ...share === null || share === undefined ? [] : [
        [hasAlpha(report.format) ? "Share of the target, without alpha" : "Share of the target",
         percent(share)]],
      ["Mean quantiser", fixed(quantiser?.mean, 2)],
      ["Frames with faults", report.faultyFrames, report.faultyFrames > 0 ? "bad" : "good"]]),
    ...section("Container against frame header",
      ...report.properties.length > 0 ? [propertiesTable(report.properties)] : []),
    ...section("Frames with faults", ...faulty.length === 0 ? [] : [table({
      caption: "Frames with faults",
      columns: ["Frame", "Timecode", "Fault"],
      rows: faulty.slice(0, kMostTableRows).map(frame => (
        { cells: [numbers(frame), frame.timecode ?? "", inflect(frame.fault, frame)], mark: "bad" })),
    })]),
    ...section("Changes in the stream", ...report.changes.length === 0 ? [] : [table({
      caption: "Changes in the stream",
      columns: ["Frame", "Property", "From", "To"],
      rows: report.changes.map(({ frame, property, from, to }) => (
        { cells: [`${frame}`, property, from, to] })),
    })]),
    ...section("Frame by frame", ...frames.length === 0 ? [] : [
      sizeChart("Size of each frame", points(frame => frame.bytes),
        { target: size?.targetBytes, hasAlpha: hasAlpha(report.format), group,
          markName: "with a fault" }),
      chart({ name: "Mean quantiser of each frame", unit: "quantisation index", decimals: 2, group,
              missing: "unknown",
              points: points(frame => frame.quantiser?.mean).map(
                point => ({ ...point, marked: false })) }),
      valuesTable(frames, group, "inspect",
        ["Frame", "Timecode", "Bytes", "Share of the target", "Quantiser: min", "mean", "max"],
        frame => ({
          cells: [numbers(frame), frame.timecode ?? "", frame.bytes ?? "",
            percent(frame.shareOfTarget), frame.quantiser?.min ?? "",
            fixed(frame.quantiser?.mean, 2, ""), frame.quantiser?.max ?? ""],
          mark: frame.fault ? "bad" : undefined }))]),
    ...sliceMaps(page.maps),
    ...section("Coding", ...report.matrices ? [codingTable(report)] : [])];
  show(report.input, describeStream(report), contents.filter(Boolean));
}

const decibels = value => fixed(value, 2, "identical");
const withUnit = value => value === null ? "identical" : `${decibels(value)} dB`;

// The compared planes by their key in the report.
const kPlanes = { y: "Y", cb: "Cb", cr: "Cr", all: "All", alpha: "Alpha" };
const planesOf = ({ psnr }) => Object.entries(kPlanes).filter(([key]) => key in psnr);

function qualityTable({ psnr, ssim }) {
  return table({
    caption: "Quality by plane",
    columns: ["Plane", "PSNR of the mean error (dB)", "Mean PSNR of frames", "Lowest PSNR",
      "Mean SSIM", "Lowest SSIM"],
    areNumbers: true,
    rows: planesOf({ psnr }).map(([key, name]) => ({
      cells: [name, decibels(psnr[key].ofMeanSquaredError), decibels(psnr[key].meanOfFrames),
        decibels(psnr[key].min), fixed(ssim[key].mean, 5), fixed(ssim[key].min, 5)] })),
  });
}

function pictureDamage(video, total) {
  if (video.damage.length === 0) return [];
  const caption = `Damaged frames of ${video.input}`;
  return section(caption, table({
    caption,
    columns: ["Frame", "Timecode", "Damage"],
    rows: video.damage.map(({ frame, timecode, what }) => (
      { cells: [`${frame}`, timecode ?? "", what], mark: "bad" })),
  }), ...firstOnly(video.damage.length, total, "compare"));
}

const firstOnly = (shown, total, command) => shown === total ? [] :
  [paragraph(`These are the first ${shown} of ${total}; 'vixprores ${command} --json' lists all.`)];

function worstFrame({ frame, timecode, reference, distorted, referencePart, distortedPart }) {
  if (!reference) {
    return section("The worst frame",
      paragraph(`${frameName({ frame, timecode })}: the pictures are too large to be shown.`));
  }
  return section("The worst frame",
    paragraph("The frame with the lowest PSNR of all samples. The pictures are 8 bits of RGB" +
      (referencePart ? ", scaled down." : ".")),
    pictureSlider(frameName({ frame, timecode }), reference, distorted),
    differencePicture(reference, distorted, 8),
    referencePart ? pictureSlider("The part that differs most, pixel by pixel", referencePart,
                                  distortedPart) : null);
}

function showComparison(report, page) {
  const { frames, psnr, ssim, reference, distorted } = report;
  const { group } = page;
  const points = value => frames.map(frame => (
    { frame: frame.frame, timecode: frame.timecode, value: value(frame) ?? null }));
  const quality = { group, missing: "identical" };
  const videos = [["Reference", reference, page.fieldOrders.reference],
                  ["Distorted", distorted, page.fieldOrders.distorted]];
  const contents = [
    figures([
      ["Frames", report.framesCompared],
      ["Identical", report.identicalFrames, report.identical ? "good" : undefined],
      ["PSNR, luma", withUnit(psnr.y.ofMeanSquaredError)],
      ["PSNR, all", withUnit(psnr.all.ofMeanSquaredError)],
      ["SSIM, luma", fixed(ssim.y.mean, 5)],
      ["SSIM, all", fixed(ssim.all.mean, 5)]]),
    heading("Quality"),
    qualityTable(report),
    paragraph(`In samples of ${report.bits} bits${"alpha" in psnr ? ", alpha in 16" : ""}. Means of decibels leave out identical planes.`),
    ...pictureDamage(reference, page.damaged.reference),
    ...pictureDamage(distorted, page.damaged.distorted),
    heading("Frame by frame"),
    chart({ ...quality, name: "PSNR of all samples", unit: "dB", decimals: 2,
            points: points(frame => frame.psnr.all) }),
    chart({ ...quality, name: "SSIM of all samples", unit: "1 = identical", decimals: 5, highest: 1,
            points: points(frame => frame.ssim.all) }),
    sizeChart("Size of each distorted frame",
      points(frame => frame.bytes).filter(({ value }) => value !== null),
      { target: page.targetBytes, hasAlpha: page.hasAlpha, group }),
    valuesTable(frames, group, "compare",
      ["Frame", "Timecode", ...planesOf(report).map(([key, name]) =>
        key === "y" ? `PSNR ${name}` : name), "SSIM Y", "All"],
      ({ frame, timecode, psnr: each, ssim: similarity }) => ({
        cells: [`${frame}`, timecode ?? "",
          ...planesOf(report).map(([key]) => decibels(each[key])),
          fixed(similarity.y, 5), fixed(similarity.all, 5)] })),
    ...page.worst ? worstFrame(page.worst) : [],
    ...sliceMaps(page.maps),
    heading("The two videos"),
    table({
      caption: "The two videos",
      columns: ["Role", "File", "Format", "Bits"],
      rows: videos.map(([role, { input, name, width, height, rate, bits }, fieldOrder]) => ({
        cells: [role, input, `${name}, ${width}x${height}, ${fieldOrder}, ${rate} fps`, bits] })),
    })];
  show(distorted.input, `compared with ${reference.input}`, contents.filter(Boolean));
}

function outcome(file) {
  if (file.intact) return "intact";
  if (!file.error) return "damaged";
  return file.frames === 0 ? "not verified" : "not verified to its end";
}

/** "picture 1 row 2 slice 1, picture 2 row 0 slice 3 and 5 more" */
function describeSlices(slices, total) {
  const text = slices.map(({ picture, row, slice }) =>
    `picture ${picture} row ${row} slice ${slice}`).join(", ");
  return total > slices.length ? `${text} and ${total - slices.length} more` : text;
}

function damageTable(file, slices) {
  return table({
    caption: "Damaged frames",
    columns: ["Frame", "Timecode", "Byte in the file", "Faults", "Damaged slices"],
    rows: file.damage.map((frame, i) => ({
      cells: [numbers(frame), frame.timecode ?? "", frame.offset ?? "",
        inflect(frame.faults.join("; "), frame),
        describeSlices(frame.slices, slices[i])] })),
  });
}

function soundTable(file) {
  return table({
    caption: "Damaged sound",
    columns: ["Track", "Damage", "From (s)", "Length (s)"],
    rows: file.soundDamage.map(({ track, what, begin, seconds }) => (
      { cells: [`${track}`, what, fixed(begin, 3), fixed(seconds, 3)] })),
  });
}

function verifiedFile(file, { stream, sizes, group, damaged, slices, soundDamaged, maps }) {
  const contents = [heading(file.file), file.error && paragraph(file.error),
    file.note && paragraph(file.note)];
  if (!stream) return contents.filter(Boolean);
  const { frames, timecodes, bytes, counts, faulty } = sizes;
  const marked = new Set(faulty);
  contents.push(paragraph(describeStream(stream)));
  if (stream.properties.length > 0) contents.push(propertiesTable(stream.properties));
  if (frames.length > 0) {
    contents.push(subheading("Frame by frame"),
      sizeChart("Size of each frame", frames.map((frame, i) => ({
        frame, timecode: timecodes[i], count: counts[i], value: bytes[i], marked: marked.has(i) })),
        { target: stream.size?.targetBytes, hasAlpha: hasAlpha(stream.format), group,
          markName: "damaged" }));
  }
  if (file.indexFaults.length > 0) {
    contents.push(subheading("Damaged index"), ...file.indexFaults.map(fault =>
      paragraph(`index: ${fault}; 'vixprores recover' makes a file with a whole one`)));
  }
  if (file.damage.length > 0) {
    contents.push(subheading("Damaged frames"), damageTable(file, slices),
      ...firstOnly(file.damage.length, damaged, "verify"));
  }
  if (file.soundDamage.length > 0) {
    contents.push(subheading("Damaged sound"), soundTable(file),
      ...firstOnly(file.soundDamage.length, soundDamaged, "verify"));
  }
  if (maps.length > 0) {
    contents.push(subheading("Where the damaged slices are"),
      paragraph(`The slices of the first ${count(maps.length, "frame")} with damaged ones. The two ` +
        "fields of a frame are shown together."),
      make("div", { class: "maps" }, ...maps.map(damageMap)));
  }
  return contents.filter(Boolean);
}

function showVerification(report, page) {
  const { files } = report;
  const sum = key => files.reduce((total, file) => total + file[key], 0);
  const intact = files.filter(file => file.intact).length;
  const mark = isGood => isGood ? "good" : "bad";
  show(files.length === 1 ? files[0].file : `Verification of ${files.length} files`,
    `${count(files.length, "file")} checked for damage, frame by frame`, [
      figures([
        ["Files", files.length],
        ["Intact files", intact, mark(intact === files.length)],
        ["Frames", sum("frames")],
        ["Damaged frames", sum("damagedFrames"), mark(sum("damagedFrames") === 0)]]),
      heading("Files"),
      table({
        caption: "Files",
        columns: ["File", "Frames", "Damaged", "Outcome"],
        symbol: true,
        rows: files.map(file => ({
          cells: [file.file, `${file.frames}`, `${file.damagedFrames}`, outcome(file)],
          mark: mark(file.intact) })),
      }),
      ...files.flatMap((file, i) => verifiedFile(file, page.files[i]))]);
}

const blockOf = id => JSON.parse(document.getElementById(id).textContent);
const pages = { inspect: showInspection, compare: showComparison, verify: showVerification };
{
  const report = blockOf("report");
  pages[report.command](report, blockOf("page"));
}

// SPDX-License-Identifier: BSD-2-Clause
#include "report/InspectionPage.h"

#include <utility>

#include "report/HtmlChart.h"
#include "report/HtmlPictures.h"
#include "report/InspectionReport.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

HtmlMark MarkOf(ComparedProperty::State state) {
  switch (state) {
    case ComparedProperty::State::Same:
      return HtmlMark::Good;
    case ComparedProperty::State::Unspecified:
      return HtmlMark::Unknown;
    default:
      return HtmlMark::Bad;
  }
}

std::string TimecodeOf(const std::optional<Timecode>& timecode, std::int64_t frame) {
  return timecode ? (*timecode + frame).ToText() : std::string();
}

// What is known of a frame, or of several that are missing, besides its number.
std::string LabelOf(const StreamStatistics& stream, const FrameStatistics& frame) {
  std::string label = TimecodeOf(stream.timecode, frame.number);
  if (frame.count == 1) return label;
  return label + (label.empty() ? "" : ", ") + "and " + std::to_string(frame.count - 1) + " more";
}

std::vector<HtmlFigure> Figures(const StreamStatistics& stream) {
  std::vector<HtmlFigure> figures{{"Frames", std::to_string(stream.bytes.GetCount())},
                                  {"Data rate", Fixed(stream.MegabitsPerSecond(), 1) + " Mb/s"},
                                  {"Mean size", Fixed(stream.bytes.GetMean(), 0) + " bytes"}};
  if (stream.targetBytes) {
    figures.push_back(
        {"Share of the target", Percentage(stream.bytes.GetMean(), *stream.targetBytes)});
  }
  figures.push_back({"Mean quantiser", Fixed(stream.quantisers.GetMean(), 2)});
  figures.push_back({"Frames with faults", std::to_string(stream.faulty),
                     stream.faulty > 0 ? HtmlMark::Bad : HtmlMark::Good});
  return figures;
}

HtmlTable CodingTable(const StreamStatistics& stream) {
  HtmlTable table{"How the frames are coded", {}, {}};
  table.rows = {{{"Encoder identifier", EncoderIdentifier(*stream.header)}},
                {{"Bitstream version", std::to_string(stream.header->version)}},
                {{"Slices of a frame", std::to_string(stream.slices) + ", at most " +
                                           std::to_string(1U << stream.log2SliceWidth) +
                                           " macroblocks wide"}},
                {{"Size of a frame", Fixed(stream.bytes.GetMin(), 0) + " to " +
                                         Fixed(stream.bytes.GetMax(), 0) + " bytes"}},
                {{"Quantiser", Fixed(stream.quantisers.GetMin(), 0) + " to " +
                                   Fixed(stream.quantisers.GetMax(), 0) + "; means of frames " +
                                   Fixed(stream.meanQuantisers.GetMin(), 2) + " to " +
                                   Fixed(stream.meanQuantisers.GetMax(), 2)}},
                {{"Luma matrix", DescribeWeights(stream.header->lumaMatrix)}},
                {{"Chroma matrix", DescribeWeights(stream.header->chromaMatrix)}}};
  return table;
}

HtmlTable ChangesTable(const StreamStatistics& stream) {
  HtmlTable table{"Changes in the stream", {"Frame", "Property", "From", "To"}, {}};
  for (const HeaderChange& change : stream.changes) {
    table.rows.push_back({{std::to_string(change.frame), change.property, change.from, change.to}});
  }
  return table;
}

HtmlTable FaultsTable(const StreamStatistics& stream) {
  HtmlTable table{"Frames with faults", {"Frame", "Timecode", "Fault"}, {}};
  for (const FrameStatistics& frame : stream.frames) {
    if (frame.fault.empty()) continue;
    table.rows.push_back({{DescribeNumbers(frame.number, frame.count),
                           TimecodeOf(stream.timecode, frame.number), frame.fault},
                          HtmlMark::Bad});
    if (table.rows.size() == kMostTableRows) break;
  }
  return table;
}

HtmlTable FramesTable(const StreamStatistics& stream) {
  HtmlTable table{
      "Frames",
      {"Frame", "Timecode", "Bytes", "Share of the target", "Quantiser: min", "mean", "max"},
      {},
      true};
  for (const FrameStatistics& frame : stream.frames) {
    table.rows.push_back(
        {{std::to_string(frame.number), TimecodeOf(stream.timecode, frame.number),
          std::to_string(frame.bytes),
          Percentage(static_cast<double>(frame.bytes), stream.targetBytes.value_or(0)),
          Fixed(frame.quantisers.GetMin(), 0), Fixed(frame.quantisers.GetMean(), 2),
          Fixed(frame.quantisers.GetMax(), 0)},
         frame.fault.empty() ? HtmlMark::None : HtmlMark::Bad});
  }
  return table;
}

Chart QuantiserChart(const StreamStatistics& stream) {
  Chart chart;
  chart.name = "Mean quantiser of each frame";
  chart.unit = "quantisation index";
  chart.decimals = 2;
  chart.shape = Chart::Shape::Line;
  chart.missing = "unknown";
  for (const FrameStatistics& frame : stream.frames) {
    const bool isKnown = frame.quantisers.GetCount() > 0;
    chart.points.push_back({frame.number, TimecodeOf(stream.timecode, frame.number),
                            isKnown ? std::optional(frame.quantisers.GetMean()) : std::nullopt});
  }
  return chart;
}

void AddFrames(HtmlPage& page, const StreamStatistics& stream) {
  page.AddHeading("Frame by frame");
  page.Add(ChartHtml(SizeChart(stream, "with a fault")));
  page.Add(ChartHtml(QuantiserChart(stream)));
  if (stream.frames.size() <= kMostTableRows) {
    page.AddFoldedTable("All values", FramesTable(stream));
  } else {
    page.AddParagraph("'vixprores inspect --json' gives the values of every frame.");
  }
}

}  // namespace

HtmlTable PropertiesTable(const std::vector<ComparedProperty>& properties) {
  HtmlTable table{
      "Container against frame header", {"Property", "Container", "Frame header", "Result"}, {}};
  for (const ComparedProperty& property : properties) {
    const HtmlMark mark = MarkOf(property.state);
    table.rows.push_back({{property.name, property.container, property.header,
                           SymbolOf(mark) + ToWord(property.state)},
                          mark});
  }
  return table;
}

Chart SizeChart(const StreamStatistics& stream, const std::string& markName) {
  Chart chart;
  chart.name = "Size of each frame";
  chart.unit = "bytes";
  chart.target = stream.targetBytes;
  chart.targetName = "target of the variant";
  chart.missing = "missing";
  chart.markName = markName;
  for (const FrameStatistics& frame : stream.frames) {
    const auto bytes = static_cast<double>(frame.bytes);
    chart.points.push_back({frame.number, LabelOf(stream, frame),
                            frame.isThere ? std::optional(bytes) : std::nullopt,
                            !frame.fault.empty()});
  }
  return chart;
}

void AddSliceMaps(HtmlPage& page, const std::vector<MappedFrame>& frames,
                  const std::optional<Timecode>& timecode) {
  if (frames.empty()) return;
  page.AddHeading("Where the bits go");
  page.AddParagraph(
      "Quantiser and bits of each slice over the picture. The two fields of a frame are shown "
      "together: their bits added up, and the mean of their quantisers.");
  page.Add("<div class=\"maps\">\n");
  for (const MappedFrame& frame : frames) {
    std::string name = frame.name + ": " + std::to_string(frame.number);
    if (timecode) name += " (" + TimecodeOf(timecode, frame.number) + ")";
    page.Add(SliceMapHtml(name, "map" + std::to_string(frame.number), frame.picture, frame.grid));
  }
  page.Add("</div>\n");
}

std::string InspectionPage(const StreamStatistics& stream, const std::vector<MappedFrame>& frames) {
  HtmlPage page(stream.name, DescribeStream(stream));
  if (!stream.failure.empty()) page.AddParagraph("The inspection ended early: " + stream.failure);
  if (!stream.note.empty()) page.AddParagraph(stream.note);
  page.AddFigures(Figures(stream));
  if (const auto properties = CompareProperties(stream); !properties.empty()) {
    page.AddHeading("Container against frame header");
    page.AddTable(PropertiesTable(properties));
  }
  if (stream.faulty > 0) {
    page.AddHeading("Frames with faults");
    page.AddTable(FaultsTable(stream));
  }
  if (!stream.changes.empty()) {
    page.AddHeading("Changes in the stream");
    page.AddTable(ChangesTable(stream));
  }
  AddFrames(page, stream);
  AddSliceMaps(page, frames, stream.timecode);
  if (stream.header) {
    page.AddHeading("Coding");
    page.AddTable(CodingTable(stream));
  }
  return page.Finish();
}

}  // namespace vixprores

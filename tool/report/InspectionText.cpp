// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <utility>
#include <vector>

#include "base/Text.h"
#include "frames/FrameHeaders.h"
#include "media/sequence/SequenceName.h"
#include "report/InspectionReport.h"

namespace vixprores {
namespace {

// Returns text like "ProRes 422 HQ (apch), 1920x1080, progressive, 25 fps, 4:2:2, no alpha".
std::string StreamText(const StreamStatistics& stream) {
  const StreamFormat& format = stream.format;
  std::string text = stream.stored.empty() ? DescribeCode(format.code) : stream.stored;
  if (format.code != 0 && stream.stored.empty()) {
    text += " (" + PrintableLine(FourCharacters(format.code)) + ")";
  }
  text += ", " + DescribeSize(format.width, format.height) + ", " + Describe(format.fieldOrder) +
          ", " + RateText(format.rate);
  if (!stream.header) return text;
  const int alphaBits = AlphaBitsOf(stream.header->alphaType);
  const int bits = CodedBits(*stream.header);
  return text + ", " + ChromaFormatName(*stream.header) +
         (bits > 10 ? " in " + std::to_string(bits) + " bits" : "") + ", " +
         (alphaBits > 0 ? "alpha of " + AlphaName(alphaBits) : "no alpha");
}

std::string PropertiesText(const StreamStatistics& stream) {
  const auto properties = CompareProperties(stream);
  if (properties.empty()) return {};
  TextTable table("llll");
  table.Add({"", "container", "frame header"});
  for (const auto& property : properties) {
    const bool differs = property.state == ComparedProperty::State::Mismatch;
    table.Add({property.name, property.container, property.header, differs ? "<- MISMATCH" : ""});
  }
  return table.ToText(2) + "\n";
}

std::string SpreadText(const Spread& spread, int decimals, double factor = 1) {
  return "min " + Fixed(factor * spread.GetMin(), 0) + ", mean " +
         Fixed(factor * spread.GetMean(), decimals) + ", max " + Fixed(factor * spread.GetMax(), 0);
}

std::string SizeText(const StreamStatistics& stream) {
  std::string text = SpreadText(stream.bytes, 0) + " bytes";
  if (!stream.targetBytes) return text;
  return text + "; mean " + (stream.MeanAlphaBytes() ? "without alpha " : "") +
         Percentage(stream.colourBytes.GetMean(), *stream.targetBytes) + " of the variant's " +
         std::to_string(*stream.targetBytes);
}

// Returns text like "flat, all 4" or "2 to 63; first row 2 2 3 4 ...".
std::string WeightsText(const prores::QuantMatrix& matrix) {
  const auto [least, most] = std::ranges::minmax(matrix);
  if (least == most) return "flat, all " + std::to_string(least);
  std::string text = std::to_string(least) + " to " + std::to_string(most) + "; first row";
  for (std::size_t i = 0; i < 8; ++i) text += " " + std::to_string(matrix[i]);
  return text;
}

std::string CountText(const StreamStatistics& stream) {
  if (stream.format.IsRaw()) {
    return stream.framesInFile ? std::to_string(*stream.framesInFile) : "unknown number";
  }
  std::string text = std::to_string(stream.bytes.GetCount());
  if (stream.framesInFile) text += " of " + std::to_string(*stream.framesInFile);
  if (stream.frames.empty()) return text;
  const std::int64_t first = stream.frames.front().number;
  const std::int64_t last = stream.frames.back().number + stream.frames.back().count - 1;
  text += " (" + std::to_string(first) + "-" + std::to_string(last) + ")";
  if (!stream.timecode) return text;
  return text + ", timecode " + (*stream.timecode + first).ToText() + " to " +
         (*stream.timecode + last).ToText();
}

// Adds the labels that ProRes has in its frame headers.
void AddHeaderLabels(const StreamStatistics& stream, TextTable& table) {
  const StreamFormat& format = stream.format;
  if (stream.files) table.Add({"numbers of files", Describe(*stream.files)});
  if (!stream.missingFiles.empty()) {
    table.Add({"missing numbers", DescribeNumbers(stream.missingFiles)});
  }
  if (stream.timecode) table.Add({"timecode", stream.timecode->ToText()});
  table.Add({"colour", Describe(format.colour)});
  if (format.sampleAspect.numerator > 0) {
    table.Add({"pixel aspect", Describe(format.sampleAspect)});
  }
}

// Adds the labels that have no place in the frame headers.
void AddLabels(const StreamStatistics& stream, TextTable& table) {
  for (const SoundTrack& track : stream.sound) {
    table.Add({"sound track " + std::to_string(track.number + 1), track.Describe()});
  }
  const StreamFormat& format = stream.format;
  if (format.masteringDisplay) {
    table.Add({"mastering display", Describe(*format.masteringDisplay)});
  }
  if (format.contentLight) table.Add({"content light level", Describe(*format.contentLight)});
  for (const auto& [name, text] : stream.metadata) {
    table.Add({name == "reel_name" ? "reel name" : name, text});
  }
}

std::string SummaryText(const StreamStatistics& stream) {
  TextTable table("ll");
  table.Add({"frames", CountText(stream)});
  if (const auto seconds = stream.Seconds()) table.Add({"duration", ClockText(*seconds)});
  if (stream.format.IsRaw()) AddHeaderLabels(stream, table);
  AddLabels(stream, table);
  if (stream.bytes.GetCount() > 0) {
    table.Add({"size of a frame", SizeText(stream)});
    table.Add({"bits of a frame", SpreadText(stream.bytes, 0, 8)});
    table.Add({"data rate", Fixed(stream.MegabitsPerSecond(), 1) + " Mb/s"});
    if (const auto alpha = stream.MeanAlphaBytes()) {
      table.Add({"alpha of a frame", "mean " + Fixed(*alpha, 0) + " bytes, " +
                                         Percentage(*alpha, stream.bytes.GetMean()) +
                                         " of the bytes"});
    }
  }
  if (stream.quantisers.GetCount() > 0) {
    table.Add({"quantiser", SpreadText(stream.quantisers, 2) + "; means of frames " +
                                Fixed(stream.meanQuantisers.GetMin(), 2) + " to " +
                                Fixed(stream.meanQuantisers.GetMax(), 2)});
    table.Add({"slices of a frame", std::to_string(stream.slices) + ", at most " +
                                        std::to_string(1U << stream.log2SliceWidth) +
                                        " macroblocks wide (log2 " +
                                        std::to_string(stream.log2SliceWidth) + ")"});
  }
  if (stream.header) {
    table.Add({"luma matrix", WeightsText(stream.header->lumaMatrix)});
    table.Add({"chroma matrix", WeightsText(stream.header->chromaMatrix)});
    table.Add({"encoder", "\"" + EncoderIdentifier(*stream.header) + "\", bitstream version " +
                              std::to_string(stream.header->version)});
  }
  return table.ToText(2);
}

std::string ChangesText(const StreamStatistics& stream) {
  std::string text;
  for (const HeaderChange& change : stream.changes) {
    text += "  frame " + std::to_string(change.frame) + ": " + change.property + " changes from " +
            PrintableLine(change.from) + " to " + PrintableLine(change.to) + "\n";
  }
  return text.empty() ? text : "\nChanges in the stream:\n" + text;
}

std::string FaultText(const StreamStatistics& stream, const FrameStatistics& frame) {
  const std::int64_t last = frame.number + frame.count - 1;
  std::string text = frame.count == 1 ? "  frame " : "  frames ";
  text += std::to_string(frame.number);
  if (frame.count > 1) text += "-" + std::to_string(last);
  if (stream.timecode) text += " (" + (*stream.timecode + frame.number).ToText() + ")";
  return text + ": " + PrintableLine(Inflect(frame.fault, frame.count)) + "\n";
}

void WriteFaults(const StreamStatistics& stream, const TextSink& write) {
  if (stream.faulty == 0) return;
  write("\nFaults:\n");
  for (const FrameStatistics& frame : stream.frames) {
    if (!frame.fault.empty()) write(FaultText(stream, frame));
  }
}

struct ListedSlice {
  std::int64_t frame;
  const SliceStatistics* slice;
};

std::vector<std::string> SliceCells(const ListedSlice& listed, bool hasAlpha) {
  const SliceStatistics& slice = *listed.slice;
  const std::uint32_t last = slice.span.firstMacroblock + slice.span.macroblocks - 1;
  std::vector<std::string> cells{
      std::to_string(listed.frame),
      std::to_string(slice.picture + 1),
      std::to_string(slice.row),
      std::to_string(slice.index),
      std::to_string(slice.span.firstMacroblock) + "-" + std::to_string(last),
      std::to_string(slice.offset),
      std::to_string(slice.bytes)};
  if (slice.intact) {
    cells.push_back(std::to_string(slice.header.quantizationIndex));
    for (const auto bytes : slice.header.componentBytes) cells.push_back(std::to_string(bytes));
    if (hasAlpha) cells.push_back(std::to_string(CountAlphaBytes(slice.header, slice.bytes)));
  } else {
    cells.emplace_back("damaged");
  }
  return cells;
}

void WriteSlices(const StreamStatistics& stream, const TextSink& write) {
  std::vector<ListedSlice> slices;
  for (const FrameStatistics& frame : stream.frames) {
    for (const SliceStatistics& slice : frame.sliceList) slices.push_back({frame.number, &slice});
  }
  if (slices.empty()) return;
  const bool hasAlpha = stream.MeanAlphaBytes().has_value();
  std::vector<std::string> headings{"frame", "picture",   "row", "slice", "macroblocks", "offset",
                                    "bytes", "quantiser", "Y",   "Cb",    "Cr"};
  if (hasAlpha) headings.emplace_back("alpha");
  write("\nSlices:\n");
  const std::string alignments(headings.size(), 'r');
  WriteTable(write, alignments, 2, slices.size() + 1, [&](std::size_t i) {
    return i == 0 ? headings : SliceCells(slices[i - 1], hasAlpha);
  });
}

}  // namespace

void WriteInspectionText(const StreamStatistics& stream, const TextSink& write) {
  write(PrintableLine(stream.name) + "\n  " + StreamText(stream) + "\n\n" + PropertiesText(stream) +
        SummaryText(stream) + ChangesText(stream));
  WriteFaults(stream, write);
  WriteSlices(stream, write);
}

}  // namespace vixprores

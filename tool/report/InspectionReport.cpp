// SPDX-License-Identifier: BSD-2-Clause
#include "report/InspectionReport.h"

#include <algorithm>
#include <cctype>
#include <nlohmann/json.hpp>

#include "report/TextTable.h"

namespace vixprores {
namespace {

using Json = nlohmann::ordered_json;

std::string FourCharacters(vix::FourCC code) {
  std::string text;
  for (unsigned shift = 0; code != 0 && shift < 32; shift += 8) {
    text += static_cast<char>(code >> shift & 0xFF);
  }
  return text;
}

const char* ChromaFormatName(const prores::FrameHeader& header) {
  return header.chromaFormat == prores::ChromaFormat::k444 ? "4:4:4" : "4:2:2";
}

const char* AlphaName(const prores::FrameHeader& header) {
  switch (header.alphaType) {
    case prores::AlphaType::k8Bit:
      return "8 bits";
    case prores::AlphaType::k16Bit:
      return "16 bits";
    default:
      return "none";
  }
}

const char* StatusOf(const StreamStatistics& stream) {
  if (!stream.failure.empty()) return "failed";
  return stream.faulty > 0 ? "faults" : "done";
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

std::string SizeText(const StreamStatistics& stream) {
  std::string text = "min " + Fixed(stream.bytes.GetMin(), 0) + ", mean " +
                     Fixed(stream.bytes.GetMean(), 0) + ", max " + Fixed(stream.bytes.GetMax(), 0) +
                     " bytes";
  if (stream.targetBytes) {
    text += "; mean " + Percentage(stream.bytes.GetMean(), *stream.targetBytes) +
            " of the variant's " + std::to_string(*stream.targetBytes);
  }
  return text;
}

std::string QuantiserText(const StreamStatistics& stream) {
  return "min " + Fixed(stream.quantisers.GetMin(), 0) + ", mean " +
         Fixed(stream.quantisers.GetMean(), 2) + ", max " + Fixed(stream.quantisers.GetMax(), 0) +
         "; means of frames " + Fixed(stream.meanQuantisers.GetMin(), 2) + " to " +
         Fixed(stream.meanQuantisers.GetMax(), 2);
}

std::int64_t LastFrame(const StreamStatistics& stream) {
  return stream.frames.back().number + stream.frames.back().count - 1;
}

std::string FramesText(const StreamStatistics& stream) {
  std::string text = std::to_string(stream.bytes.GetCount());
  if (stream.framesInFile) text += " of " + std::to_string(*stream.framesInFile);
  if (stream.frames.empty()) return text;
  text += " (" + std::to_string(stream.frames.front().number) + "-" +
          std::to_string(LastFrame(stream)) + ")";
  if (stream.timecode) {
    text += ", timecode " + (*stream.timecode + stream.frames.front().number).ToText() + " to " +
            (*stream.timecode + LastFrame(stream)).ToText();
  }
  return text;
}

std::string SummaryText(const StreamStatistics& stream) {
  TextTable table("ll");
  table.Add({"frames", FramesText(stream)});
  if (stream.bytes.GetCount() > 0) {
    table.Add({"size of a frame", SizeText(stream)});
    table.Add({"bits of a frame", "min " + Fixed(8 * stream.bytes.GetMin(), 0) + ", mean " +
                                      Fixed(8 * stream.bytes.GetMean(), 0) + ", max " +
                                      Fixed(8 * stream.bytes.GetMax(), 0)});
    table.Add({"data rate", Fixed(stream.MegabitsPerSecond(), 1) + " Mb/s"});
  }
  if (stream.quantisers.GetCount() > 0) {
    table.Add({"quantiser", QuantiserText(stream)});
    table.Add({"slices of a frame", std::to_string(stream.slices) + ", at most " +
                                        std::to_string(1U << stream.log2SliceWidth) +
                                        " macroblocks wide (log2 " +
                                        std::to_string(stream.log2SliceWidth) + ")"});
  }
  if (stream.header) {
    table.Add({"luma matrix", DescribeWeights(stream.header->lumaMatrix)});
    table.Add({"chroma matrix", DescribeWeights(stream.header->chromaMatrix)});
    table.Add({"encoder", "\"" + EncoderIdentifier(*stream.header) + "\", bitstream version " +
                              std::to_string(stream.header->version)});
  }
  return table.ToText(2);
}

std::string ChangesText(const StreamStatistics& stream) {
  std::string text;
  for (const HeaderChange& change : stream.changes) {
    text += "  frame " + std::to_string(change.frame) + ": " + change.property + " changes from " +
            change.from + " to " + change.to + "\n";
  }
  return text.empty() ? text : "\nChanges in the stream:\n" + text;
}

std::string FaultsText(const StreamStatistics& stream) {
  if (stream.faulty == 0) return {};
  std::string text = "\nFaults:\n";
  for (const FrameStatistics& frame : stream.frames) {
    if (frame.fault.empty()) continue;
    text +=
        (frame.count == 1 ? "  frame " : "  frames ") + DescribeNumbers(frame.number, frame.count);
    if (stream.timecode) text += " (" + (*stream.timecode + frame.number).ToText() + ")";
    text += ": " + frame.fault + "\n";
  }
  return text;
}

void AddSliceRow(std::int64_t frame, const SliceStatistics& slice, TextTable& table) {
  std::vector<std::string> row{
      std::to_string(frame),
      std::to_string(slice.picture),
      std::to_string(slice.row),
      std::to_string(slice.index),
      std::to_string(slice.span.firstMacroblock) + "-" +
          std::to_string(slice.span.firstMacroblock + slice.span.macroblocks - 1),
      std::to_string(slice.offset),
      std::to_string(slice.bytes)};
  if (slice.intact) {
    row.push_back(std::to_string(slice.header.quantizationIndex));
    for (const auto bytes : slice.header.componentBytes) row.push_back(std::to_string(bytes));
  } else {
    row.emplace_back("damaged");
  }
  table.Add(std::move(row));
}

std::string SlicesText(const StreamStatistics& stream) {
  const bool areListed = std::ranges::any_of(
      stream.frames, [](const FrameStatistics& frame) { return !frame.sliceList.empty(); });
  if (!areListed) return {};
  TextTable table("rrrrrrrrrrr");
  table.Add({"frame", "picture", "row", "slice", "macroblocks", "offset", "bytes", "quantiser", "Y",
             "Cb", "Cr"});
  for (const FrameStatistics& frame : stream.frames) {
    for (const SliceStatistics& slice : frame.sliceList) AddSliceRow(frame.number, slice, table);
  }
  return "\nSlices:\n" + table.ToText(2);
}

Json OrNull(const auto& value) {
  return value ? Json(*value) : Json();
}

Json TimecodeJson(const StreamStatistics& stream, std::int64_t frame) {
  return stream.timecode ? Json((*stream.timecode + frame).ToText()) : Json();
}

Json FormatJson(const StreamStatistics& stream) {
  const StreamFormat& format = stream.format;
  Json json;
  json["code"] = format.code == 0 ? Json() : Json(FourCharacters(format.code));
  json["name"] = DescribeCode(format.code);
  json["width"] = format.width;
  json["height"] = format.height;
  json["rate"] = Describe(format.rate);
  json["fieldOrder"] = Describe(format.fieldOrder);
  json["timecode"] = TimecodeJson(stream, 0);
  if (stream.header) {
    json["chromaFormat"] = ChromaFormatName(*stream.header);
    json["alpha"] = AlphaName(*stream.header);
    json["encoderIdentifier"] = EncoderIdentifier(*stream.header);
    json["bitstreamVersion"] = stream.header->version;
  }
  return json;
}

Json PropertiesJson(const StreamStatistics& stream) {
  Json json = Json::array();
  for (const auto& property : CompareProperties(stream)) {
    json.push_back({{"property", property.key},
                    {"container", property.container},
                    {"header", property.header},
                    {"state", ToWord(property.state)}});
  }
  return json;
}

Json QuantiserJson(const Spread& quantisers) {
  if (quantisers.GetCount() == 0) return {};
  return {{"min", static_cast<int>(quantisers.GetMin())},
          {"mean", quantisers.GetMean()},
          {"max", static_cast<int>(quantisers.GetMax())}};
}

Json SizeJson(const StreamStatistics& stream) {
  if (stream.bytes.GetCount() == 0) return {};
  Json json = {{"minBytes", static_cast<std::int64_t>(stream.bytes.GetMin())},
               {"meanBytes", stream.bytes.GetMean()},
               {"maxBytes", static_cast<std::int64_t>(stream.bytes.GetMax())},
               {"targetBytes", OrNull(stream.targetBytes)}};
  json["meanShareOfTarget"] =
      stream.targetBytes ? Json(stream.bytes.GetMean() / *stream.targetBytes) : Json();
  return json;
}

Json MatrixJson(const prores::QuantMatrix& matrix) {
  const bool isFlat = std::ranges::count(matrix, matrix.front()) == std::ssize(matrix);
  return {{"flat", isFlat}, {"weights", matrix}};
}

Json SliceJson(const SliceStatistics& slice) {
  Json json = {{"picture", slice.picture},
               {"row", slice.row},
               {"index", slice.index},
               {"firstMacroblock", slice.span.firstMacroblock},
               {"macroblocks", slice.span.macroblocks},
               {"offset", slice.offset},
               {"bytes", slice.bytes},
               {"quantiser", nullptr},
               {"y", nullptr},
               {"cb", nullptr},
               {"cr", nullptr}};
  if (!slice.intact) return json;
  json["quantiser"] = slice.header.quantizationIndex;
  json["y"] = slice.header.componentBytes[0];
  json["cb"] = slice.header.componentBytes[1];
  json["cr"] = slice.header.componentBytes[2];
  return json;
}

Json FrameJson(const StreamStatistics& stream, const FrameStatistics& frame) {
  Json json = {{"frame", frame.number},
               {"count", frame.count},
               {"timecode", TimecodeJson(stream, frame.number)},
               {"fault", frame.fault.empty() ? Json() : Json(frame.fault)}};
  if (!frame.isThere) return json;
  json["offset"] = OrNull(frame.offset);
  json["bytes"] = frame.bytes;
  json["bits"] = 8 * frame.bytes;
  json["shareOfTarget"] =
      stream.targetBytes ? Json(static_cast<double>(frame.bytes) / *stream.targetBytes) : Json();
  json["slices"] = frame.slices;
  json["quantiser"] = QuantiserJson(frame.quantisers);
  json["componentBytes"] = {{"y", frame.componentBytes[0]},
                            {"cb", frame.componentBytes[1]},
                            {"cr", frame.componentBytes[2]},
                            {"alpha", frame.alphaBytes}};
  for (const SliceStatistics& slice : frame.sliceList) {
    json["sliceList"].push_back(SliceJson(slice));
  }
  return json;
}

Json ToJson(const StreamStatistics& stream) {
  Json json;
  json["command"] = "inspect";
  json["status"] = StatusOf(stream);
  if (!stream.failure.empty()) json["message"] = stream.failure;
  if (!stream.note.empty()) json["note"] = stream.note;
  json["input"] = stream.name;
  json["format"] = FormatJson(stream);
  json["properties"] = PropertiesJson(stream);
  json["framesInFile"] = OrNull(stream.framesInFile);
  json["framesInspected"] = stream.bytes.GetCount();
  json["faultyFrames"] = stream.faulty;
  json["size"] = SizeJson(stream);
  json["megabitsPerSecond"] = stream.MegabitsPerSecond();
  json["quantiser"] = QuantiserJson(stream.quantisers);
  if (stream.meanQuantisers.GetCount() > 0) {
    json["quantiser"]["lowestFrameMean"] = stream.meanQuantisers.GetMin();
    json["quantiser"]["highestFrameMean"] = stream.meanQuantisers.GetMax();
  }
  if (stream.header) {
    json["log2SliceWidth"] = stream.log2SliceWidth;
    json["matrices"] = {{"luma", MatrixJson(stream.header->lumaMatrix)},
                        {"chroma", MatrixJson(stream.header->chromaMatrix)}};
  }
  json["changes"] = Json::array();
  for (const HeaderChange& change : stream.changes) {
    json["changes"].push_back({{"property", change.property},
                               {"frame", change.frame},
                               {"from", change.from},
                               {"to", change.to}});
  }
  json["frames"] = Json::array();
  for (const FrameStatistics& frame : stream.frames) {
    json["frames"].push_back(FrameJson(stream, frame));
  }
  return json;
}

}  // namespace

std::string DescribeStream(const StreamStatistics& stream) {
  const StreamFormat& format = stream.format;
  std::string text = DescribeCode(format.code);
  if (format.code != 0) text += " (" + FourCharacters(format.code) + ")";
  text += ", " + DescribeSize(format.width, format.height) + ", " + Describe(format.fieldOrder) +
          ", " + Describe(format.rate) + " fps";
  if (!stream.header) return text;
  const std::string alpha = AlphaName(*stream.header);
  return text + ", " + ChromaFormatName(*stream.header) + ", " +
         (alpha == "none" ? "no alpha" : "alpha of " + alpha);
}

std::string DescribeNumbers(std::int64_t first, std::int64_t count) {
  const std::string text = std::to_string(first);
  return count == 1 ? text : text + "-" + std::to_string(first + count - 1);
}

std::string DescribeWeights(const prores::QuantMatrix& matrix) {
  const auto [least, most] = std::ranges::minmax(matrix);
  if (least == most) return "flat, all " + std::to_string(least);
  std::string text = std::to_string(least) + " to " + std::to_string(most) + "; first row";
  for (std::size_t i = 0; i < 8; ++i) text += " " + std::to_string(matrix[i]);
  return text;
}

std::string EncoderIdentifier(const prores::FrameHeader& header) {
  std::string text;
  for (const std::uint8_t character : header.encoderIdentifier) {
    text += std::isprint(character) != 0 ? static_cast<char>(character) : '?';
  }
  return text;
}

std::string InspectionText(const StreamStatistics& stream) {
  std::string text = stream.name + "\n  " + DescribeStream(stream) + "\n\n";
  return text + PropertiesText(stream) + SummaryText(stream) + ChangesText(stream) +
         FaultsText(stream) + SlicesText(stream);
}

std::string InspectionJson(const StreamStatistics& stream) {
  // File names need not be UTF-8, JSON texts must be.
  return ToJson(stream).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <cctype>

#include "base/Text.h"
#include "frames/FrameHeaders.h"
#include "report/InspectionReport.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

const char* StatusOf(const StreamStatistics& stream) {
  if (!stream.failure.empty()) return "failed";
  return stream.faulty > 0 ? "faults" : "done";
}

template <typename Label>
JsonValue DescriptionJson(const std::optional<Label>& label) {
  return label ? JsonValue(Describe(*label)) : JsonValue();
}

JsonValue SoundJson(const SoundTrack& track) {
  const auto text = [&track](const char* name) {
    const auto found = track.metadata.find(name);
    return found == track.metadata.end() ? JsonValue() : JsonValue(found->second);
  };
  const int bits = track.SampleBits();
  return {{"track", track.number + 1},
          {"codec", avcodec_get_name(track.parameters->codec_id)},
          {"sampleRate", track.parameters->sample_rate},
          {"channels", track.parameters->ch_layout.nb_channels},
          {"layout", track.LayoutName()},
          {"bits", bits > 0 ? JsonValue(bits) : JsonValue()},
          {"seconds", OrNull(track.seconds)},
          {"language", text("language")},
          {"title", text("title")}};
}

JsonValue FormatJson(const StreamStatistics& stream) {
  const StreamFormat& format = stream.format;
  JsonValue json;
  const bool isConverted = !stream.stored.empty();
  json["code"] =
      format.code == 0 || isConverted ? JsonValue() : JsonValue(FourCharacters(format.code));
  json["name"] = isConverted ? stream.stored : DescribeCode(format.code);
  json["width"] = format.width;
  json["height"] = format.height;
  json["rate"] = RateJson(format.rate);
  json["fieldOrder"] = Describe(format.fieldOrder);
  json["timecode"] = TimecodeJson(stream.timecode, 0);
  json["colour"] = {{"name", Describe(format.colour)},
                    {"primaries", format.colour.primaries},
                    {"transfer", format.colour.transfer},
                    {"matrix", format.colour.matrix}};
  json["sampleAspect"] =
      format.sampleAspect.numerator > 0 ? JsonValue(Describe(format.sampleAspect)) : JsonValue();
  json["masteringDisplay"] = DescriptionJson(format.masteringDisplay);
  json["contentLight"] = DescriptionJson(format.contentLight);
  if (stream.header) {
    json["chromaFormat"] = ChromaFormatName(*stream.header);
    json["bits"] = CodedBits(*stream.header);
    json["alpha"] = AlphaName(AlphaBitsOf(stream.header->alphaType));
    json["encoderIdentifier"] = EncoderIdentifier(*stream.header);
    json["bitstreamVersion"] = stream.header->version;
  }
  return json;
}

JsonValue PropertiesJson(const StreamStatistics& stream) {
  JsonValue json = JsonValue::array();
  for (const auto& property : CompareProperties(stream)) {
    json.push_back({{"property", property.key},
                    {"container", property.container},
                    {"header", property.header},
                    {"state", ToWord(property.state)}});
  }
  return json;
}

JsonValue FilesJson(const StreamStatistics& stream) {
  JsonValue json = {{"first", stream.files->first}, {"last", stream.files->last}};
  json["missing"] = JsonValue::array();
  for (const FrameRange& range : stream.missingFiles) {
    json["missing"].push_back({{"first", range.first}, {"last", range.last}});
  }
  return json;
}

JsonValue QuantiserJson(const Spread& quantisers) {
  if (quantisers.GetCount() == 0) return {};
  return {{"min", static_cast<int>(quantisers.GetMin())},
          {"mean", quantisers.GetMean()},
          {"max", static_cast<int>(quantisers.GetMax())}};
}

// Alpha comes on top of the target.
JsonValue ShareOfTargetJson(const StreamStatistics& stream, double colourBytes) {
  return stream.targetBytes ? JsonValue(colourBytes / *stream.targetBytes) : JsonValue();
}

JsonValue SizeJson(const StreamStatistics& stream) {
  if (stream.bytes.GetCount() == 0) return {};
  JsonValue json = {{"minBytes", static_cast<std::int64_t>(stream.bytes.GetMin())},
                    {"meanBytes", stream.bytes.GetMean()},
                    {"maxBytes", static_cast<std::int64_t>(stream.bytes.GetMax())},
                    {"targetBytes", OrNull(stream.targetBytes)}};
  if (const auto alpha = stream.MeanAlphaBytes()) {
    json["meanAlphaBytes"] = *alpha;
    json["alphaShare"] = *alpha / stream.bytes.GetMean();
  }
  json["meanShareOfTarget"] = ShareOfTargetJson(stream, stream.colourBytes.GetMean());
  return json;
}

JsonValue MatrixJson(const prores::QuantMatrix& matrix) {
  const bool isFlat = std::ranges::count(matrix, matrix.front()) == std::ssize(matrix);
  return {{"flat", isFlat}, {"weights", matrix}};
}

JsonValue SliceJson(const SliceStatistics& slice) {
  JsonValue json = {{"picture", slice.picture},
                    {"row", slice.row},
                    {"index", slice.index},
                    {"firstMacroblock", slice.span.firstMacroblock},
                    {"macroblocks", slice.span.macroblocks},
                    {"offset", slice.offset},
                    {"bytes", slice.bytes},
                    {"quantiser", nullptr},
                    {"y", nullptr},
                    {"cb", nullptr},
                    {"cr", nullptr},
                    {"alpha", nullptr}};
  if (!slice.intact) return json;
  json["quantiser"] = slice.header.quantizationIndex;
  json["y"] = slice.header.componentBytes[0];
  json["cb"] = slice.header.componentBytes[1];
  json["cr"] = slice.header.componentBytes[2];
  json["alpha"] = CountAlphaBytes(slice.header, slice.bytes);
  return json;
}

void WriteFrame(const StreamStatistics& stream, const FrameStatistics& frame,
                const TextSink& write) {
  const JsonValue json = FrameJson(stream, frame);
  if (frame.sliceList.empty()) return write(Dump(json));
  WriteWithList(write, json, "sliceList", frame.sliceList.size(),
                [&](std::size_t i) { write(Dump(SliceJson(frame.sliceList[i]))); });
}

}  // namespace

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

int CodedBits(const prores::FrameHeader& header) {
  return header.chromaFormat == prores::ChromaFormat::k444 ? 12 : 10;
}

std::string EncoderIdentifier(const prores::FrameHeader& header) {
  std::string text(header.encoderIdentifier.begin(), header.encoderIdentifier.end());
  std::ranges::replace_if(
      text, [](unsigned char character) { return std::isprint(character) == 0; }, '?');
  return text;
}

JsonValue SummaryJson(const StreamStatistics& stream) {
  JsonValue json;
  json["command"] = "inspect";
  json["status"] = StatusOf(stream);
  if (!stream.failure.empty()) json["message"] = stream.failure;
  if (!stream.note.empty()) json["note"] = stream.note;
  json["input"] = stream.name;
  json["format"] = FormatJson(stream);
  json["seconds"] = OrNull(stream.Seconds());
  if (stream.files) json["files"] = FilesJson(stream);
  json["soundTracks"] = JsonValue::array();
  for (const SoundTrack& track : stream.sound) json["soundTracks"].push_back(SoundJson(track));
  json["metadata"] = JsonValue::object();
  for (const auto& [name, text] : stream.metadata) json["metadata"][name] = text;
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
  json["changes"] = JsonValue::array();
  for (const HeaderChange& change : stream.changes) {
    json["changes"].push_back({{"property", change.property},
                               {"frame", change.frame},
                               {"from", change.from},
                               {"to", change.to}});
  }
  return json;
}

JsonValue FrameJson(const StreamStatistics& stream, const FrameStatistics& frame) {
  JsonValue json = {{"frame", frame.number},
                    {"count", frame.count},
                    {"timecode", TimecodeJson(stream.timecode, frame.number)},
                    {"fault", frame.fault.empty() ? JsonValue() : JsonValue(frame.fault)}};
  if (!frame.isThere) return json;
  json["offset"] = OrNull(frame.offset);
  json["bytes"] = frame.bytes;
  json["bits"] = 8 * frame.bytes;
  json["shareOfTarget"] = ShareOfTargetJson(stream, static_cast<double>(frame.colourBytes));
  json["slices"] = frame.slices;
  json["quantiser"] = QuantiserJson(frame.quantisers);
  json["componentBytes"] = {{"y", frame.componentBytes[0]},
                            {"cb", frame.componentBytes[1]},
                            {"cr", frame.componentBytes[2]},
                            {"alpha", frame.alphaBytes}};
  return json;
}

void WriteInspectionJson(const StreamStatistics& stream, const TextSink& write) {
  WriteWithList(write, SummaryJson(stream), "frames", stream.frames.size(),
                [&](std::size_t i) { WriteFrame(stream, stream.frames[i], write); });
  write("\n");
}

}  // namespace vixprores

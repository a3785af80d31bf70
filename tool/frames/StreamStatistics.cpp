// SPDX-License-Identifier: BSD-2-Clause
#include "frames/StreamStatistics.h"

#include <algorithm>
#include <array>
#include <utility>

#include "ProRes/ProRes.h"
#include "format/ColourNames.h"
#include "frames/HeaderCodes.h"

namespace vixprores {
namespace {

// A property of frame headers that is watched through the stream.
struct WatchedProperty {
  const char* name;
  std::string (*describe)(const prores::FrameHeader&);
};

std::string DescribeMatrices(const prores::FrameHeader& header) {
  std::string text;
  for (const auto* matrix : {&header.lumaMatrix, &header.chromaMatrix}) {
    if (!text.empty()) text += " / ";
    for (const unsigned weight : *matrix) text += std::to_string(weight) + " ";
    text.pop_back();
  }
  return text;
}

constexpr std::array<WatchedProperty, 9> kWatched{{
    {"size",
     [](const prores::FrameHeader& header) { return DescribeSize(header.width, header.height); }},
    {"field order",
     [](const prores::FrameHeader& header) {
       return Describe(FieldOrderOf(header.interlaceMode));
     }},
    {"colour primaries",
     [](const prores::FrameHeader& header) {
       return DescribeColourCode(ColourProperty::Primaries, ColourOf(header).primaries);
     }},
    {"transfer",
     [](const prores::FrameHeader& header) {
       return DescribeColourCode(ColourProperty::Transfer, ColourOf(header).transfer);
     }},
    {"matrix",
     [](const prores::FrameHeader& header) {
       return DescribeColourCode(ColourProperty::Matrix, ColourOf(header).matrix);
     }},
    {"chroma format",
     [](const prores::FrameHeader& header) {
       return std::string(header.chromaFormat == prores::ChromaFormat::k444 ? "4:4:4" : "4:2:2");
     }},
    {"alpha",
     [](const prores::FrameHeader& header) {
       return std::string(header.alphaType == prores::AlphaType::kNone ? "none" : "coded");
     }},
    {"encoder identifier",
     [](const prores::FrameHeader& header) {
       return std::string(header.encoderIdentifier.begin(), header.encoderIdentifier.end());
     }},
    {"quantisation matrices", DescribeMatrices},
}};

void WatchHeader(StreamStatistics& stream, const prores::FrameHeader& header, std::int64_t number) {
  for (const WatchedProperty& property : kWatched) {
    std::string from = property.describe(*stream.header);
    std::string to = property.describe(header);
    if (from == to) continue;
    const bool isKnown = std::ranges::find(stream.changes, property.name,
                                           &HeaderChange::property) != stream.changes.end();
    if (!isKnown) stream.changes.push_back({property.name, number, std::move(from), std::move(to)});
  }
}

// The library writes codes with their first character in the most significant byte.
std::uint32_t ToCodecType(vix::FourCC code) {
  return __builtin_bswap32(code);
}

}  // namespace

std::optional<std::uint32_t> FindTargetBytes(const StreamFormat& format) {
  std::uint32_t largest = 0;
  std::uint32_t target = 0;
  const std::int32_t result = WPRGetCompressedFrameSize(ToCodecType(format.code), format.width,
                                                        format.height, &largest, &target);
  return result == kWPRSuccess ? std::optional(target) : std::nullopt;
}

double StreamStatistics::MegabitsPerSecond() const {
  return 8 * bytes.GetMean() * format.rate.numerator / format.rate.denominator / 1e6;
}

StreamStatistics DescribeInput(const FrameReader& reader) {
  StreamStatistics stream;
  stream.name = reader.GetName();
  stream.format = reader.GetFormat();
  stream.container = reader.GetContainerFormat();
  stream.timecode = reader.GetTimecode();
  stream.framesInFile = reader.GetFrameCount();
  stream.targetBytes = FindTargetBytes(stream.format);
  return stream;
}

void AddMissing(StreamStatistics& stream, const FrameFailure& failure) {
  FrameStatistics missing;
  missing.number = failure.GetFrame();
  missing.count = failure.GetCount();
  missing.isThere = false;
  missing.fault = failure.GetFound();
  stream.faulty += missing.count;
  stream.frames.push_back(std::move(missing));
}

std::vector<ComparedProperty> CompareProperties(const StreamStatistics& stream) {
  if (!stream.container || !stream.header) return {};
  return CompareWithContainer(*stream.container, *stream.header);
}

void AddFrame(StreamStatistics& stream, const FrameStructure& frame, FrameStatistics statistics) {
  if (frame.hasHeader && stream.header) {
    WatchHeader(stream, frame.header, statistics.number);
  } else if (frame.hasHeader) {
    stream.header = frame.header;
    stream.slices = statistics.slices;
    if (!frame.pictures.empty()) {
      stream.log2SliceWidth = frame.pictures.front().header.log2SliceWidth;
    }
  }
  stream.bytes.Add(static_cast<double>(statistics.bytes));
  if (statistics.quantisers.GetCount() > 0) {
    stream.quantisers.Merge(statistics.quantisers);
    stream.meanQuantisers.Add(statistics.quantisers.GetMean());
  }
  if (!statistics.fault.empty()) ++stream.faulty;
  stream.frames.push_back(std::move(statistics));
}

}  // namespace vixprores

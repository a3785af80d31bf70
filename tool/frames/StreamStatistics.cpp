// SPDX-License-Identifier: BSD-2-Clause
#include "frames/StreamStatistics.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

#include "ProRes/ProRes.h"

namespace vixprores {
namespace {

std::string FindFault(const FrameStructure& structure, std::size_t bytes) {
  if (!structure.fault.empty()) return structure.fault;
  if (structure.statedBytes > bytes) {
    return "states " + std::to_string(structure.statedBytes) + " bytes, but " +
           std::to_string(bytes) + " were found";
  }
  const std::size_t damaged = structure.CountDamagedSlices();
  if (damaged == 0) return {};
  return std::to_string(damaged) + (damaged == 1 ? " slice" : " slices") +
         " whose header does not fit its bytes";
}

void AddSlice(const SliceStructure& slice, FrameStatistics& frame) {
  ++frame.slices;
  if (!slice.intact) return;
  frame.quantisers.Add(slice.header.quantizationIndex);
  for (std::size_t i = 0; i < frame.componentBytes.size(); ++i) {
    frame.componentBytes[i] += slice.header.componentBytes[i];
  }
  frame.alphaBytes += CountAlphaBytes(slice.header, slice.bytes.size());
}

// Returns the bytes that alpha takes. Only slices with alpha state the size of Cr.
std::size_t BytesForAlpha(const FrameStructure& structure, const FrameStatistics& frame) {
  constexpr std::size_t kCrSizeBytes =
      prores::SliceHeader::kBytesWithCrSize - prores::SliceHeader::kLeastBytes;
  if (structure.header.alphaType == prores::AlphaType::kNone) return 0;
  return frame.alphaBytes + kCrSizeBytes * static_cast<std::size_t>(frame.quantisers.GetCount());
}

// The codec library has the first character of a code in the most significant byte.
std::uint32_t ToCodecType(vix::FourCC code) {
  return __builtin_bswap32(code);
}

}  // namespace

std::size_t CountAlphaBytes(const prores::SliceHeader& header, std::size_t bytes) {
  const auto& colours = header.componentBytes;
  return bytes - std::accumulate(colours.begin(), colours.end(), std::size_t{header.headerBytes});
}

std::vector<SliceStatistics> ListSlices(const FrameStructure& structure) {
  std::vector<SliceStatistics> list;
  for (std::uint32_t i = 0; i < structure.pictures.size(); ++i) {
    for (const SliceStructure& slice : structure.pictures[i].slices) {
      list.push_back({i, slice.row, slice.index, slice.span, slice.offset, slice.bytes.size(),
                      slice.intact, slice.header});
    }
  }
  return list;
}

FrameStatistics MeasureFrame(const FrameStructure& structure, std::span<const std::uint8_t> frame) {
  FrameStatistics statistics;
  statistics.bytes = frame.size();
  statistics.fault = FindFault(structure, frame.size());
  for (const PictureStructure& picture : structure.pictures) {
    for (const SliceStructure& slice : picture.slices) AddSlice(slice, statistics);
  }
  statistics.colourBytes = statistics.bytes - BytesForAlpha(structure, statistics);
  return statistics;
}

std::optional<std::uint32_t> FindTargetBytes(const StreamFormat& format) {
  std::uint32_t largest = 0;
  std::uint32_t target = 0;
  const std::int32_t result = WPRGetCompressedFrameSize(ToCodecType(format.code), format.width,
                                                        format.height, &largest, &target);
  return result == kWPRSuccess ? std::optional(target) : std::nullopt;
}

std::optional<double> StreamStatistics::Seconds() const {
  if (!framesInFile || format.rate.numerator <= 0) return std::nullopt;
  return static_cast<double>(*framesInFile) * format.rate.denominator / format.rate.numerator;
}

double StreamStatistics::MegabitsPerSecond() const {
  return 8 * bytes.GetMean() * format.rate.numerator / format.rate.denominator / 1e6;
}

std::optional<double> StreamStatistics::MeanAlphaBytes() const {
  const bool hasAlpha = header && header->alphaType != prores::AlphaType::kNone;
  if (!hasAlpha || colourBytes.GetCount() == 0) return std::nullopt;
  return bytes.GetMean() - colourBytes.GetMean();
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
    AddChanges(*stream.header, frame.header, statistics.number, stream.changes);
  } else if (frame.hasHeader) {
    stream.header = frame.header;
    stream.slices = statistics.slices;
    if (!frame.pictures.empty()) {
      stream.log2SliceWidth = frame.pictures.front().header.log2SliceWidth;
    }
  }
  stream.bytes.Add(static_cast<double>(statistics.bytes));
  stream.colourBytes.Add(static_cast<double>(statistics.colourBytes));
  if (statistics.quantisers.GetCount() > 0) {
    stream.quantisers.Merge(statistics.quantisers);
    stream.meanQuantisers.Add(statistics.quantisers.GetMean());
  }
  if (!statistics.fault.empty()) ++stream.faulty;
  stream.frames.push_back(std::move(statistics));
}

void NotableFrames::Add(const NumberedFrame& frame, const FrameStatistics& statistics) {
  if (!statistics.fault.empty()) return;
  const auto bytes = static_cast<double>(statistics.bytes);
  const std::array values{bytes, -bytes, statistics.quantisers.GetMean()};
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (records_[i].frame.data && records_[i].value >= values[i]) continue;
    records_[i].value = values[i];
    records_[i].frame = frame;
  }
}

std::vector<NotableFrames::Notable> NotableFrames::List() const {
  std::vector<Notable> list;
  for (const Record& record : records_) {
    if (!record.frame.data) continue;
    const auto known = std::ranges::find_if(list, [&record](const Notable& notable) {
      return notable.frame.number == record.frame.number;
    });
    if (known != list.end()) {
      known->reasons.emplace_back(record.reason);
    } else {
      list.push_back({{record.reason}, record.frame});
    }
  }
  return list;
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameCheck.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "base/Text.h"
#include "bitstream/AlphaDecoder.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/CoefficientDecoder.h"
#include "frames/FrameStructure.h"

namespace vixprores {
namespace {

using Bytes = std::span<const std::uint8_t>;

// Returns the part of `bytes` between two offsets, either of which may lie after the end.
Bytes Between(Bytes bytes, std::size_t begin, std::size_t end) {
  begin = std::min(begin, bytes.size());
  return bytes.subspan(begin, std::clamp(end, begin, bytes.size()) - begin);
}

std::size_t EndOf(const PictureStructure& picture) {
  return picture.offset + picture.header.pictureBytes;
}

// Returns true for no bytes, too: decoders then make the slice opaque.
bool IsIntactAlpha(Bytes data, prores::AlphaType type, std::uint32_t macroblocks) {
  constexpr std::size_t kMostSamples =
      std::size_t{prores::kMaxSliceWidth} * prores::kMacroblockSize * prores::kMacroblockSize;
  thread_local std::array<std::uint16_t, kMostSamples> samples;
  if (type == prores::AlphaType::kNone || data.empty()) return true;
  const std::size_t count =
      std::size_t{macroblocks} * prores::kMacroblockSize * prores::kMacroblockSize;
  return prores::DecodeAlpha(data, type, std::span(samples).first(count));
}

// The parts of a slice that can be decoded.
struct IntactParts {
  bool colours = false;
  bool alpha = false;
};

IntactParts CheckCodewords(const SliceStructure& slice, const prores::FrameHeader& header) {
  // All zero between calls.
  thread_local std::array<std::int16_t, prores::kMaxSliceBlocks * prores::kBlockSamples> values{};
  Bytes data = slice.bytes.subspan(slice.header.headerBytes);
  for (unsigned component = 0; component < prores::kComponents; ++component) {
    const std::uint32_t blocks =
        prores::BlocksPerMacroblock(header.chromaFormat, component) * slice.span.macroblocks;
    const std::size_t bytes = slice.header.componentBytes[component];
    if (bytes == 0) return {};  // avoids decoding a frame of millions of empty slices
    const auto positions = prores::DecodeCoefficients(data.first(bytes), blocks, values.data());
    std::fill_n(values.begin(), prores::kBlockSamples * blocks, std::int16_t{0});
    if (positions == 0) return {};
    data = data.subspan(bytes);
  }
  return {true, IsIntactAlpha(data, header.alphaType, slice.span.macroblocks)};
}

// Decoders ignore rows outside the picture.
bool IsDecoded(const PictureStructure& picture, const SliceStructure& slice) {
  return slice.row < picture.geometry.MacroblockRows();
}

void CheckSlices(const FrameStructure& frame, unsigned index, FrameCheck& check) {
  const PictureStructure& picture = frame.pictures[index];
  std::size_t strayQuantisers = 0;
  for (const SliceStructure& slice : picture.slices) {
    if (!IsDecoded(picture, slice)) continue;
    const IntactParts intact = slice.intact ? CheckCodewords(slice, frame.header) : IntactParts();
    if (!intact.colours || !intact.alpha) {
      check.slices.push_back(
          {index, slice.row, slice.index, slice.offset, slice.span, intact.colours});
    } else if (slice.header.quantizationIndex < prores::kMinQuantizationIndex ||
               slice.header.quantizationIndex > prores::kMaxQuantizationIndex) {
      ++strayQuantisers;
    }
  }
  if (strayQuantisers > 0) {
    check.faults.push_back(std::to_string(strayQuantisers) + " quantisers of picture " +
                           std::to_string(index + 1) + " outside 1 to 224");
  }
}

// Checks that all bytes between the parts of the frame are zero.
void CheckGaps(Bytes bytes, const FrameStructure& frame, FrameCheck& check) {
  for (std::size_t i = 0; i < frame.pictures.size(); ++i) {
    const PictureStructure& picture = frame.pictures[i];
    if (picture.slices.empty()) continue;
    const SliceStructure& last = picture.slices.back();
    if (!IsPadding(Between(bytes, last.offset + last.bytes.size(), EndOf(picture)))) {
      check.faults.push_back("unused bytes after the slices of picture " + std::to_string(i + 1));
    }
  }
  if (!IsPadding(Between(bytes, EndOf(frame.pictures.back()), bytes.size()))) {
    check.faults.emplace_back("unused bytes after the last picture");
  }
}

void CheckStatedSize(Bytes bytes, const FrameStructure& frame, FrameCheck& check) {
  const bool isTooLarge = frame.statedBytes > bytes.size();
  const bool isTooSmall =
      !frame.pictures.empty() && frame.statedBytes < EndOf(frame.pictures.back());
  if (isTooLarge || isTooSmall) {
    check.faults.push_back("states " + std::to_string(frame.statedBytes) + " bytes, but " +
                           std::to_string(bytes.size()) + " were found");
  }
}

}  // namespace

bool IsPadding(Bytes bytes) {
  return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

std::string SliceDamage::Describe() const {
  std::vector<std::string> parts;
  if (colours > 0) parts.push_back(Count(colours, "damaged slice"));
  if (alpha > 0) parts.push_back(Count(alpha, "slice") + " with damaged alpha");
  return JoinWords(parts);
}

SliceDamage FrameCheck::CountSlices() const {
  const auto withColours = std::ranges::count(slices, true, &DamagedSlice::hasColours);
  return {static_cast<std::uint32_t>(std::ssize(slices) - withColours),
          static_cast<std::uint32_t>(withColours)};
}

void FrameCheck::Add(FrameCheck other) {
  std::ranges::move(other.faults, std::back_inserter(faults));
  std::ranges::move(other.slices, std::back_inserter(slices));
}

std::string FrameCheck::Describe() const {
  std::vector<std::string> found = faults;
  if (!slices.empty()) found.push_back(CountSlices().Describe());
  return Join(found, "; ");
}

FrameCheck CheckFrame(Bytes bytes, const std::optional<ParsedHeader>& header) {
  FrameCheck check;
  const FrameStructure frame = ReadFrameStructure(bytes, header);
  if (!frame.fault.empty()) check.faults.push_back(frame.fault);
  if (!frame.hasHeader) return check;
  CheckStatedSize(bytes, frame, check);
  for (unsigned i = 0; i < frame.pictures.size(); ++i) CheckSlices(frame, i, check);
  if (frame.fault.empty()) CheckGaps(bytes, frame, check);
  return check;
}

}  // namespace vixprores

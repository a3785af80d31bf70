// SPDX-License-Identifier: BSD-2-Clause
#include "vix/ProResFrame.h"

#include <algorithm>
#include <span>

#include "FrameParsing.h"
#include "bitstream/HeaderCodes.h"
#include "bitstream/PictureHeader.h"
#include "vix/Error.h"

namespace vix {
namespace {

EditRate ToEditRate(prores::Ratio ratio) {
  return {ratio.numerator, ratio.denominator};
}

prores::Ratio ToRatio(EditRate rate) {
  return {rate.numerator, rate.denominator};
}

std::optional<FieldOrder> FieldOrderOf(prores::InterlaceMode mode) {
  switch (mode) {
    case prores::InterlaceMode::kTopFieldFirst:
      return FieldOrder::TopFirst;
    case prores::InterlaceMode::kBottomFieldFirst:
      return FieldOrder::BottomFirst;
    default:
      return std::nullopt;
  }
}

ParsedFrame ParseWithPrefix(std::span<const std::uint8_t> frame) {
  ParsedFrame parsed = ParseFrame(frame);
  if (!parsed.isBare) return parsed;
  throw VIXError(ErrorCode::Unsupported, "the labels of a frame without prefix cannot be changed");
}

// Returns the bytes of the picture that `rest` begins with.
std::size_t PictureBytes(std::span<const std::uint8_t> rest) {
  prores::PictureHeader header;
  if (prores::ParsePictureHeader(rest, header) == prores::Status::kSuccess) {
    return header.pictureBytes;
  }
  throw VIXError(ErrorCode::Damaged, "an interlaced frame without two complete pictures");
}

// Exchanges the pictures of an interlaced frame. Each keeps its lines. Bytes after them stay.
void ExchangeFields(std::span<std::uint8_t> pictures) {
  const std::size_t first = PictureBytes(pictures);
  const std::size_t second = PictureBytes(pictures.subspan(first));
  const auto fields = pictures.first(first + second);
  std::rotate(fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(first), fields.end());
}

}  // namespace

ProResFrameHeader ReadProResFrameHeader(const std::uint8_t* frame, std::size_t bytes) {
  const prores::FrameHeader header = ParseFrame({frame, bytes}).header;
  return {header.width,
          header.height,
          static_cast<VideoChroma>(header.chromaFormat),
          {prores::CodePointOf(header.colorPrimaries),
           prores::CodePointOf(header.transferCharacteristic),
           prores::CodePointOf(header.matrixCoefficients),
           ToEditRate(prores::FrameRateOfCode(header.frameRate)),
           ToEditRate(prores::PixelAspectOfCode(header.aspectRatio, header.width, header.height)),
           FieldOrderOf(header.interlaceMode)},
          header.version};
}

void LabelProResFrame(const ProResLabels& labels, std::uint8_t* frame, std::size_t bytes) {
  const std::span<std::uint8_t> all(frame, bytes);
  const ParsedFrame parsed = ParseWithPrefix(all);
  if (labels.fieldOrder) SetProResFieldOrder(*labels.fieldOrder, frame, bytes);
  const unsigned aspect = prores::CodeOfPixelAspect(ToRatio(labels.pixelAspect),
                                                    parsed.header.width, parsed.header.height);
  const unsigned rate = prores::CodeOfFrameRate(ToRatio(labels.frameRate));
  all[prores::kAspectAndRateOffset] = static_cast<std::uint8_t>(aspect << 4 | rate);
  all[prores::kPrimariesOffset] = static_cast<std::uint8_t>(labels.primaries);
  all[prores::kTransferOffset] = static_cast<std::uint8_t>(labels.transfer);
  all[prores::kMatrixOffset] = static_cast<std::uint8_t>(labels.matrix);
}

void SetProResFieldOrder(FieldOrder order, std::uint8_t* frame, std::size_t bytes) {
  const std::span<std::uint8_t> all(frame, bytes);
  const ParsedFrame parsed = ParseWithPrefix(all);
  const auto present = FieldOrderOf(parsed.header.interlaceMode);
  if (!present || *present == order) return;
  ExchangeFields(all.last(parsed.pictures.size()));
  constexpr unsigned kModeBits = 3U << 2;
  const auto mode = static_cast<unsigned>(order) << 2;
  std::uint8_t& byte = all[prores::kInterlaceModeOffset];
  byte = static_cast<std::uint8_t>((byte & ~kModeBits) | mode);
}

void LowerProResVersion(std::uint8_t* frame, std::size_t bytes) {
  const std::span<std::uint8_t> all(frame, bytes);
  const std::size_t absent = ParseFrame(all).isBare ? prores::kFramePrefixBytes : 0;
  all[prores::kVersionOffset - absent] = 0;
}

}  // namespace vix

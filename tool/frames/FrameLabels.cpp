// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameLabels.h"

#include <algorithm>
#include <array>
#include <utility>

#include "bitstream/FrameHeader.h"
#include "bitstream/PictureHeader.h"

namespace vixprores {
namespace {

// Offsets of the labels from the first byte of a frame (RDD 36, frame header syntax).
constexpr std::size_t kInterlaceMode = 20;  // two bits
constexpr unsigned kInterlaceModeShift = 2;
constexpr std::size_t kAspect = 21;  // four bits
constexpr unsigned kAspectShift = 4;
constexpr std::size_t kPrimaries = 22;
constexpr std::size_t kTransfer = 23;
constexpr std::size_t kMatrix = 24;

void SetByte(std::uint8_t& byte, const std::optional<int>& value) {
  if (value) byte = static_cast<std::uint8_t>(*value);
}

// Sets the bits of `mask`, which start at bit `shift`.
void SetBits(std::uint8_t& byte, unsigned mask, unsigned shift, unsigned value) {
  byte = static_cast<std::uint8_t>((byte & ~(mask << shift)) | value << shift);
}

// Returns the bytes of both pictures; nullopt unless both are complete.
std::optional<std::array<std::span<const std::uint8_t>, 2>> FindPictures(
    std::span<const std::uint8_t> rest) {
  std::array<std::span<const std::uint8_t>, 2> pictures;
  for (auto& picture : pictures) {
    prores::PictureHeader header;
    if (prores::ParsePictureHeader(rest, header) != prores::Status::kSuccess) return std::nullopt;
    picture = rest.first(header.pictureBytes);
    rest = rest.subspan(header.pictureBytes);
  }
  return pictures;
}

}  // namespace

StreamFormat FrameLabels::Correct(StreamFormat stream) const {
  stream.colour.primaries = primaries.value_or(stream.colour.primaries);
  stream.colour.transfer = transfer.value_or(stream.colour.transfer);
  stream.colour.matrix = matrix.value_or(stream.colour.matrix);
  stream.sampleAspect = sampleAspect.value_or(stream.sampleAspect);
  if (stream.IsInterlaced()) stream.fieldOrder = fields.value_or(stream.fieldOrder);
  return stream;
}

void WriteLabels(const FrameLabels& labels, const StreamFormat& stream,
                 std::span<std::uint8_t> frame) {
  SetByte(frame[kPrimaries], labels.primaries);
  SetByte(frame[kTransfer], labels.transfer);
  SetByte(frame[kMatrix], labels.matrix);
  if (labels.sampleAspect) SetBits(frame[kAspect], 15, kAspectShift, CodeOfAspect(stream));
}

std::shared_ptr<vix::IBuffer> SetFieldOrder(FieldOrder order, std::shared_ptr<vix::IBuffer> frame,
                                            const ParsedHeader& header, const FramePool& pool) {
  const FieldOrder present = FieldOrderOf(header.interlaceMode);
  if (present == FieldOrder::Progressive || present == order) return frame;
  const auto bytes = BytesOf(*frame);
  const auto pictures = FindPictures(bytes.subspan(header.headerBytes));
  if (!pictures) return nullptr;
  auto exchanged = pool.MakeFrame(frame->GetSize());
  std::uint8_t* const head = exchanged->GetData();
  auto* end = std::ranges::copy(bytes.first(header.headerBytes), head).out;
  end = std::ranges::copy((*pictures)[1], end).out;
  end = std::ranges::copy((*pictures)[0], end).out;
  // Bytes after the pictures stay at the end.
  std::ranges::copy(bytes.subspan(static_cast<std::size_t>(end - head)), end);
  const auto mode = order == FieldOrder::TopFirst ? prores::InterlaceMode::kTopFieldFirst
                                                  : prores::InterlaceMode::kBottomFieldFirst;
  SetBits(head[kInterlaceMode], 3, kInterlaceModeShift, static_cast<unsigned>(mode));
  return exchanged;
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameLabels.h"

#include <algorithm>

#include "bitstream/HeaderCodes.h"
#include "vix/Error.h"
#include "vix/ProResFrame.h"

namespace vixprores {
namespace {

constexpr unsigned kAspectShift = 4;

void SetByte(std::uint8_t& byte, const std::optional<int>& value) {
  if (value) byte = static_cast<std::uint8_t>(*value);
}

// Sets the bits of `mask`, which start at bit `shift`.
void SetBits(std::uint8_t& byte, unsigned mask, unsigned shift, unsigned value) {
  byte = static_cast<std::uint8_t>((byte & ~(mask << shift)) | value << shift);
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
  SetByte(frame[prores::kPrimariesOffset], labels.primaries);
  SetByte(frame[prores::kTransferOffset], labels.transfer);
  SetByte(frame[prores::kMatrixOffset], labels.matrix);
  if (labels.sampleAspect)
    SetBits(frame[prores::kAspectAndRateOffset], 15, kAspectShift, CodeOfAspect(stream));
}

std::shared_ptr<vix::IBuffer> SetFieldOrder(FieldOrder order, std::shared_ptr<vix::IBuffer> frame,
                                            const ParsedHeader& header, const FramePool& pool) {
  const FieldOrder present = FieldOrderOf(header.interlaceMode);
  if (present == FieldOrder::Progressive || present == order) return frame;
  auto exchanged = pool.MakeFrame(frame->GetSize());
  std::ranges::copy(BytesOf(*frame), exchanged->GetData());
  try {
    vix::SetProResFieldOrder(
        order == FieldOrder::TopFirst ? vix::FieldOrder::TopFirst : vix::FieldOrder::BottomFirst,
        exchanged->GetData(), exchanged->GetSize());
  } catch (const vix::VIXError&) {
    return nullptr;
  }
  return exchanged;
}

}  // namespace vixprores

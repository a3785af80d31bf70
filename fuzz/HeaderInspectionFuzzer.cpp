// SPDX-License-Identifier: BSD-2-Clause
// Reads and labels the headers of arbitrary bytes as one frame, with and without prefix. Requires
// that the core's functions agree with the parsers and fail without a change, that labels are read
// as they were written, and that headers survive being written and parsed.
// The first byte selects labels; the rest is the frame.
#include <vix/vix.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using prores::Status;

/// Sums the bytes of each slice, so that the address sanitizer sees slices outside the picture.
std::uint32_t ReadSlices(std::span<const std::uint8_t> picture, const prores::FrameHeader& frame,
                         const prores::PictureHeader& header, unsigned index) {
  const prores::SliceLayout layout(frame.width, header.log2SliceWidth);
  std::vector<prores::SliceRow> rows(CodedMacroblockRows(frame.height, frame.interlaceMode, index,
                                                         layout.SlicesPerRow(), header.sliceCount));
  std::uint32_t sum = 0;
  if (LocateSliceRows(picture, header, layout.SlicesPerRow(), rows) != Status::kSuccess) return sum;
  for (prores::SliceRow& row : rows) {
    for (std::uint32_t i = 0; i < layout.SlicesPerRow(); ++i) {
      const std::span<const std::uint8_t> slice = TakeSlice(row);
      sum += slice.front() + slice.back();
      prores::SliceHeader sliceHeader;
      if (ParseSliceHeader(slice, sliceHeader)) sum += sliceHeader.headerBytes;
    }
  }
  return sum;
}

void ReadPictures(const prores::FrameHeader& frame, std::span<const std::uint8_t> pictures) {
  for (unsigned i = 0; i < PictureCount(frame.interlaceMode); ++i) {
    prores::PictureHeader header;
    if (ParsePictureHeader(pictures, header) != Status::kSuccess) return;
    volatile std::uint32_t sink = ReadSlices(pictures.first(header.pictureBytes), frame, header, i);
    static_cast<void>(sink);
    pictures = pictures.subspan(header.pictureBytes);
  }
}

/// Requires that a parsed header has the same meaning after it was written again.
void CheckWriting(const prores::FrameHeader& header) {
  Bytes written(FrameHeaderBytes(header));
  WriteFrameHeader(header, 12345, written.data());
  prores::FrameHeader again;
  std::span<const std::uint8_t> rest;
  Require(ParseFrameHeader(written, again, rest) == Status::kSuccess && rest.empty());
  Require(again.width == header.width && again.height == header.height &&
          again.chromaFormat == header.chromaFormat &&
          again.interlaceMode == header.interlaceMode && again.alphaType == header.alphaType &&
          again.lumaMatrix == header.lumaMatrix && again.chromaMatrix == header.chromaMatrix);
}

/// Makes a call that changes the frame or fails without a change. Returns whether it succeeded.
template <typename Change>
bool TryChange(Bytes& frame, const Change& change) {
  const Bytes before = frame;
  try {
    change(frame.data(), frame.size());
    Require(frame.size() == before.size());
    return true;
  } catch (const vix::VIXError&) {
    Require(frame == before);
    return false;
  }
}

std::optional<vix::ProResFrameHeader> Read(const Bytes& frame) {
  try {
    return vix::ReadProResFrameHeader(frame.data(), frame.size());
  } catch (const vix::VIXError&) {
    return std::nullopt;
  }
}

void CheckLabels(Bytes& frame, std::uint8_t choice) {
  constexpr vix::EditRate kRates[] = {{0, 1}, {25, 1}, {30000, 1001}, {120, 1}};
  vix::ProResLabels labels;
  labels.primaries = choice & 1 ? 9 : 1;
  labels.transfer = choice & 2 ? 16 : 2;
  labels.matrix = choice & 4 ? 9 : 6;
  labels.frameRate = kRates[choice >> 3 & 3];
  labels.pixelAspect = choice & 32 ? vix::EditRate{1, 1} : vix::EditRate{0, 1};
  const bool isValid = TryChange(
      frame, [&](std::uint8_t* data, std::size_t size) { LabelProResFrame(labels, data, size); });
  if (!isValid) return;
  const auto header = Read(frame);
  Require(header && header->labels.primaries == labels.primaries &&
          header->labels.transfer == labels.transfer && header->labels.matrix == labels.matrix &&
          header->labels.frameRate == labels.frameRate &&
          header->labels.pixelAspect == labels.pixelAspect);
}

void CheckFieldOrder(Bytes& frame, std::uint8_t choice) {
  const auto order = choice & 64 ? vix::FieldOrder::TopFirst : vix::FieldOrder::BottomFirst;
  if (!TryChange(frame, [&](std::uint8_t* data, std::size_t size) {
        SetProResFieldOrder(order, data, size);
      })) {
    return;
  }
  const auto header = Read(frame);
  Require(header && (!header->labels.fieldOrder || header->labels.fieldOrder == order));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  Bytes frame = input.Rest();
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  const bool hasPrefix = prores::HasFramePrefix(frame);
  const Status status = hasPrefix ? ParseFrameHeader(frame, header, pictures)
                                  : ParseBareFrameHeader(frame, header, pictures);
  const auto stated = Read(frame);
  Require(stated.has_value() == (status == Status::kSuccess));
  if (stated) {
    Require(stated->width == header.width && stated->height == header.height);
    ReadPictures(header, pictures);
    CheckWriting(header);
  }
  CheckLabels(frame, choice);
  CheckFieldOrder(frame, choice);
  if (TryChange(frame, vix::LowerProResVersion)) Require(Read(frame)->version == 0);
  return 0;
}

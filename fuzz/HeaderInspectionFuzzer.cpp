// SPDX-License-Identifier: BSD-2-Clause
// Reads and labels the headers of arbitrary bytes as one frame, with and without prefix. Requires
// that the core's functions agree with the parsers and fail without a change, that labels are read
// as they were written, that headers survive being written and parsed, and that slices lie where
// their table states.
// The first byte selects labels; the rest is the frame.
#include <vix/vix.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "bitstream/BigEndian.h"
#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"
#include "bitstream/SliceTable.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using prores::Status;

/// The slices of a picture by its table.
struct SliceRows {
  SliceRows(const prores::FrameHeader& frame, const prores::PictureHeader& header, unsigned index)
      : slicesPerRow(prores::SliceLayout(frame.width, header.log2SliceWidth).SlicesPerRow()),
        rows(CodedMacroblockRows(frame.height, frame.interlaceMode, index, slicesPerRow,
                                 header.sliceCount)) {}

  std::size_t TableBytes() const {
    return rows.size() * slicesPerRow * prores::kSliceTableEntryBytes;
  }

  std::uint32_t slicesPerRow;
  std::vector<prores::SliceRow> rows;
};

/// Requires that the slices follow the table without gaps, and end inside the picture. Returns the
/// bytes after the last slice.
std::size_t CheckSlices(std::span<const std::uint8_t> rest, SliceRows located) {
  for (prores::SliceRow& row : located.rows) {
    for (std::uint32_t i = 0; i < located.slicesPerRow; ++i) {
      const std::span<const std::uint8_t> slice = TakeSlice(row);
      Require(slice.data() == rest.data() && slice.size() <= rest.size());
      Require(slice.size() >= prores::SliceHeader::kLeastBytes);
      prores::SliceHeader header;
      if (ParseSliceHeader(slice, header)) {
        const auto& parts = header.componentBytes;
        Require(header.headerBytes >= prores::SliceHeader::kLeastBytes &&
                header.headerBytes + parts[0] + parts[1] + parts[2] <= slice.size());
      }
      rest = rest.subspan(slice.size());
    }
  }
  return rest.size();
}

/// Requires that the last slice may reach the end of the picture, and not one byte more.
void CheckLastSlice(std::span<const std::uint8_t> picture, const prores::PictureHeader& header,
                    SliceRows slices, std::size_t bytesAfter) {
  Bytes changed(picture.begin(), picture.end());
  std::uint8_t* const entry =
      changed.data() + header.headerBytes + slices.TableBytes() - prores::kSliceTableEntryBytes;
  const std::size_t most = prores::ReadU16(entry) + bytesAfter;
  if (most >= UINT16_MAX) return;
  for (const std::size_t bytes : {most, most + 1}) {
    prores::WriteU16(entry, static_cast<std::uint16_t>(bytes));
    Require(LocateSliceRows(changed, header, slices.slicesPerRow, slices.rows) ==
            (bytes == most ? Status::kSuccess : Status::kBadHeader));
  }
}

void CheckSliceTable(std::span<const std::uint8_t> picture, const prores::FrameHeader& frame,
                     const prores::PictureHeader& header, unsigned index) {
  SliceRows slices(frame, header, index);
  if (LocateSliceRows(picture, header, slices.slicesPerRow, slices.rows) != Status::kSuccess) {
    return;
  }
  const std::size_t bytesAfter =
      CheckSlices(picture.subspan(header.headerBytes + slices.TableBytes()), slices);
  if (!slices.rows.empty()) CheckLastSlice(picture, header, slices, bytesAfter);
}

void ReadPictures(const prores::FrameHeader& frame, std::span<const std::uint8_t> pictures) {
  for (unsigned i = 0; i < PictureCount(frame.interlaceMode); ++i) {
    prores::PictureHeader header;
    if (ParsePictureHeader(pictures, header) != Status::kSuccess) return;
    CheckSliceTable(pictures.first(header.pictureBytes), frame, header, i);
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

// SPDX-License-Identifier: BSD-2-Clause
#include "frames/FrameStructure.h"

#include <algorithm>
#include <optional>

#include "bitstream/BigEndian.h"
#include "bitstream/SliceTable.h"

namespace vixprores {
namespace {

std::string Explain(prores::Status status, const std::string& part) {
  switch (status) {
    case prores::Status::kTruncated:
      return "the frame ends inside its " + part;
    case prores::Status::kUnsupported:
      return part + " of a bitstream version that is not known";
    default:
      return part + " that contradicts itself";
  }
}

void AddSlices(prores::SliceRow row, std::uint32_t number, const prores::SliceLayout& layout,
               const std::uint8_t* frame, PictureStructure& picture) {
  for (std::uint32_t i = 0; i < picture.slicesPerRow; ++i) {
    SliceStructure slice{number, i, layout[i], static_cast<std::size_t>(row.data - frame),
                         prores::TakeSlice(row)};
    slice.intact = prores::ParseSliceHeader(slice.bytes, slice.header);
    picture.slices.push_back(slice);
  }
}

// Takes one picture off the front of `pictures`. Returns what is wrong with it.
std::string ReadPicture(unsigned index, std::span<const std::uint8_t> frame,
                        std::span<const std::uint8_t>& pictures, FrameStructure& structure) {
  const std::string name = "picture " + std::to_string(index + 1);
  const prores::FrameHeader& header = structure.header;
  PictureStructure picture;
  picture.offset = static_cast<std::size_t>(pictures.data() - frame.data());
  auto status = prores::ParsePictureHeader(pictures, picture.header);
  if (status != prores::Status::kSuccess) return Explain(status, "header of " + name);
  const auto bytes = pictures.first(picture.header.pictureBytes);
  pictures = pictures.subspan(bytes.size());

  const prores::SliceLayout layout(header.width, picture.header.log2SliceWidth);
  picture.geometry = prores::GeometryOf(header.height, header.interlaceMode, index);
  picture.slicesPerRow = layout.SlicesPerRow();
  picture.rows = prores::CodedMacroblockRows(header.height, header.interlaceMode, index,
                                             picture.slicesPerRow, picture.header.sliceCount);
  std::vector<prores::SliceRow> rows(picture.rows);
  status = prores::LocateSliceRows(bytes, picture.header, picture.slicesPerRow, rows);
  if (status == prores::Status::kSuccess) {
    for (std::uint32_t row = 0; row < picture.rows; ++row) {
      AddSlices(rows[row], row, layout, frame.data(), picture);
    }
  }
  structure.pictures.push_back(std::move(picture));
  return status == prores::Status::kSuccess ? std::string()
                                            : Explain(status, "slice table of " + name);
}

}  // namespace

std::size_t FrameStructure::CountDamagedSlices() const {
  std::ptrdiff_t count = 0;
  for (const PictureStructure& picture : pictures) {
    count += std::ranges::count(picture.slices, false, &SliceStructure::intact);
  }
  return static_cast<std::size_t>(count);
}

FrameStructure ReadFrameStructure(std::span<const std::uint8_t> frame) {
  FrameStructure structure;
  std::span<const std::uint8_t> pictures;
  const auto status = prores::ParseFrameHeader(frame, structure.header, pictures);
  if (status != prores::Status::kSuccess) {
    structure.fault = Explain(status, "frame header");
    return structure;
  }
  structure.hasHeader = true;
  structure.statedBytes = prores::ReadU32(frame.data());
  structure.headerBytes = frame.size() - pictures.size();
  for (unsigned i = 0; i < prores::PictureCount(structure.header.interlaceMode); ++i) {
    structure.fault = ReadPicture(i, frame, pictures, structure);
    if (!structure.fault.empty()) break;
  }
  return structure;
}

}  // namespace vixprores

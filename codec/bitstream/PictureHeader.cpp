// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/PictureHeader.h"

#include "bitstream/BigEndian.h"

namespace prores {

Status ParsePictureHeader(std::span<const std::uint8_t> bytes, PictureHeader& header) {
  if (bytes.size() < PictureHeader::kWrittenBytes) return Status::kTruncated;
  const std::uint8_t* const p = bytes.data();
  header.headerBytes = p[0] >> 3;
  header.pictureBytes = ReadU32(p + 1);
  header.sliceCount = ReadU16(p + 5);
  header.log2SliceWidth = p[7] >> 4 & 3u;
  // The bits beside the slice width would make slices taller than one macroblock row.
  if ((p[7] & 0xCFu) != 0) return Status::kBadHeader;
  if (header.headerBytes < PictureHeader::kWrittenBytes) return Status::kBadHeader;
  if (header.pictureBytes < header.headerBytes) return Status::kBadHeader;
  return header.pictureBytes <= bytes.size() ? Status::kSuccess : Status::kTruncated;
}

void WritePictureHeader(const PictureHeader& header, std::uint8_t* destination) {
  destination[0] = static_cast<std::uint8_t>(PictureHeader::kWrittenBytes << 3);
  WriteU32(destination + 1, header.pictureBytes);
  WriteU16(destination + 5, header.sliceCount);
  destination[7] = static_cast<std::uint8_t>(header.log2SliceWidth << 4);
}

}  // namespace prores

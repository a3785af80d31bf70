// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/SliceTable.h"

#include "bitstream/BigEndian.h"
#include "bitstream/SliceHeader.h"

namespace prores {

namespace {

std::uint64_t TableBytes(std::uint32_t slicesPerRow, std::size_t rows) {
  return std::uint64_t{rows} * slicesPerRow * kSliceTableEntryBytes;
}

}  // namespace

bool FitsSliceTable(std::span<const std::uint8_t> picture, const PictureHeader& header,
                    std::uint32_t slicesPerRow, std::size_t rows) {
  return header.headerBytes + TableBytes(slicesPerRow, rows) <= picture.size();
}

Status LocateSliceRows(std::span<const std::uint8_t> picture, const PictureHeader& header,
                       std::uint32_t slicesPerRow, std::span<SliceRow> rows) {
  if (!FitsSliceTable(picture, header, slicesPerRow, rows.size())) return Status::kBadHeader;

  const std::uint8_t* sizes = picture.data() + header.headerBytes;
  const std::uint8_t* data = sizes + TableBytes(slicesPerRow, rows.size());
  const std::uint8_t* const end = picture.data() + picture.size();
  for (SliceRow& row : rows) {
    row = {sizes, data};
    for (std::uint32_t i = 0; i < slicesPerRow; ++i, sizes += kSliceTableEntryBytes) {
      const std::ptrdiff_t size = ReadU16(sizes);
      if (size < std::ptrdiff_t{SliceHeader::kLeastBytes}) return Status::kBadHeader;
      if (size > end - data) return Status::kBadHeader;
      data += size;
    }
  }
  return Status::kSuccess;
}

std::span<const std::uint8_t> TakeSlice(SliceRow& row) {
  const std::span<const std::uint8_t> slice(row.data, ReadU16(row.sizes));
  row.sizes += kSliceTableEntryBytes;
  row.data += slice.size();
  return slice;
}

}  // namespace prores

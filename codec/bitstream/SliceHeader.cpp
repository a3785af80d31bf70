// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/SliceHeader.h"

#include "bitstream/BigEndian.h"

namespace prores {
bool ParseSliceHeader(std::span<const std::uint8_t> slice, SliceHeader& header) {
  if (slice.size() < SliceHeader::kLeastBytes) return false;
  const std::uint8_t* const s = slice.data();
  header.headerBytes = s[0] >> 3;
  if (header.headerBytes < SliceHeader::kLeastBytes) return false;
  if (header.headerBytes > slice.size()) return false;
  header.quantizationIndex = s[1];

  const std::size_t payload = slice.size() - header.headerBytes;
  const std::size_t lumaBytes = ReadU16(s + 2);
  const std::size_t cbBytes = ReadU16(s + 4);
  if (lumaBytes + cbBytes > payload) return false;
  const std::size_t rest = payload - lumaBytes - cbBytes;
  const std::size_t crBytes =
      header.headerBytes >= SliceHeader::kBytesWithCrSize ? ReadU16(s + 6) : rest;
  if (crBytes > rest) return false;
  // A slice has at most 65535 bytes, the range of its entry in the slice table.
  header.componentBytes = {static_cast<std::uint16_t>(lumaBytes),
                           static_cast<std::uint16_t>(cbBytes),
                           static_cast<std::uint16_t>(crBytes)};
  return true;
}

void WriteSliceHeader(const SliceHeader& header, std::uint8_t* destination) {
  destination[0] = static_cast<std::uint8_t>(header.headerBytes << 3);
  destination[1] = header.quantizationIndex;
  WriteU16(destination + 2, header.componentBytes[0]);
  WriteU16(destination + 4, header.componentBytes[1]);
  if (header.headerBytes < SliceHeader::kBytesWithCrSize) return;
  WriteU16(destination + 6, header.componentBytes[2]);
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_BIGENDIAN_H
#define CODEC_BITSTREAM_BIGENDIAN_H

/// @file
/// Multi-byte fields of the bitstream, most significant byte first. The caller must check that the
/// bytes exist; they may have any alignment.

#include <bit>
#include <cstdint>
#include <cstring>

namespace prores {

constexpr std::uint16_t ReadU16(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(bytes[0] << 8 | bytes[1]);
}

constexpr std::uint32_t ReadU32(const std::uint8_t* bytes) {
  return std::uint32_t{ReadU16(bytes)} << 16 | ReadU16(bytes + 2);
}

inline std::uint64_t ReadU64(const std::uint8_t* bytes) {
  std::uint64_t value;
  std::memcpy(&value, bytes, sizeof value);
  return std::endian::native == std::endian::big ? value : __builtin_bswap64(value);
}

constexpr void WriteU16(std::uint8_t* bytes, std::uint16_t value) {
  bytes[0] = static_cast<std::uint8_t>(value >> 8);
  bytes[1] = static_cast<std::uint8_t>(value);
}

constexpr void WriteU32(std::uint8_t* bytes, std::uint32_t value) {
  WriteU16(bytes, static_cast<std::uint16_t>(value >> 16));
  WriteU16(bytes + 2, static_cast<std::uint16_t>(value));
}

inline void WriteU64(std::uint8_t* bytes, std::uint64_t value) {
  if (std::endian::native != std::endian::big) value = __builtin_bswap64(value);
  std::memcpy(bytes, &value, sizeof value);
}

}  // namespace prores

#endif  // CODEC_BITSTREAM_BIGENDIAN_H

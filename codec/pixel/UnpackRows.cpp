// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/UnpackRows.h"

#include <algorithm>
#include <cstring>

#include "bitstream/BigEndian.h"

namespace prores {
namespace {

constexpr std::uint16_t TenBits(unsigned eightBits) {
  return static_cast<std::uint16_t>(eightBits << 2);
}

constexpr std::uint16_t TwelveBits(unsigned sixteenBits) {
  return static_cast<std::uint16_t>(std::min((sixteenBits + 8) >> 4, 4095u));
}

constexpr std::uint16_t LittleEndian(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

struct Components {
  std::uint16_t first, second, third;
};

Components LoadV210Word(const std::uint8_t* bytes) {
  std::uint32_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  const auto field = [word](unsigned shift) {
    return static_cast<std::uint16_t>(word >> shift & 0x3FF);
  };
  return {field(0), field(10), field(20)};
}

}  // namespace

void UnpackRow2vuy(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  const std::size_t pairs = (width + 1) / 2;
  for (std::size_t pair = 0; pair < pairs; ++pair) {
    const std::uint8_t* bytes = row + 4 * pair;
    out.cb[pair] = TenBits(bytes[0]);
    out.luma[2 * pair] = TenBits(bytes[1]);
    out.cr[pair] = TenBits(bytes[2]);
    out.luma[2 * pair + 1] = TenBits(bytes[3]);
  }
}

void UnpackRowV210(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  const std::size_t groups = (width + kUnpackGroupPixels - 1) / kUnpackGroupPixels;
  for (std::size_t group = 0; group < groups; ++group) {
    const std::uint8_t* bytes = row + 16 * group;
    std::uint16_t* luma = out.luma + 6 * group;
    std::uint16_t* cb = out.cb + 3 * group;
    std::uint16_t* cr = out.cr + 3 * group;
    const Components words[] = {LoadV210Word(bytes), LoadV210Word(bytes + 4),
                                LoadV210Word(bytes + 8), LoadV210Word(bytes + 12)};
    cb[0] = words[0].first, luma[0] = words[0].second, cr[0] = words[0].third;
    luma[1] = words[1].first, cb[1] = words[1].second, luma[2] = words[1].third;
    cr[1] = words[2].first, luma[3] = words[2].second, cb[2] = words[2].third;
    luma[4] = words[3].first, cr[2] = words[3].second, luma[5] = words[3].third;
  }
}

void UnpackRowY416(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint8_t* const bytes = row + 8 * x;
    out.alpha[x] = LittleEndian(bytes);
    out.luma[x] = TwelveBits(LittleEndian(bytes + 2));
    out.cb[x] = TwelveBits(LittleEndian(bytes + 4));
    out.cr[x] = TwelveBits(LittleEndian(bytes + 6));
  }
}

void UnpackRowB64a(const std::uint8_t* row, std::size_t width, const PlanarRow& out) {
  for (std::size_t x = 0; x < width; ++x) {
    const std::uint8_t* const bytes = row + 8 * x;
    out.alpha[x] = ReadU16(bytes);
    out.cr[x] = ReadU16(bytes + 2);
    out.luma[x] = ReadU16(bytes + 4);
    out.cb[x] = ReadU16(bytes + 6);
  }
}

}  // namespace prores

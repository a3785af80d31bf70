// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/PackRows.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "bitstream/BigEndian.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

void WriteWord(std::uint8_t* bytes, std::uint32_t low, std::uint32_t middle, std::uint32_t high) {
  const std::uint32_t word = low | middle << 10 | high << 20;
  bytes[0] = static_cast<std::uint8_t>(word);
  bytes[1] = static_cast<std::uint8_t>(word >> 8);
  bytes[2] = static_cast<std::uint8_t>(word >> 16);
  bytes[3] = static_cast<std::uint8_t>(word >> 24);
}

void PackV210Group(const std::uint16_t* luma, const std::uint16_t* cb, const std::uint16_t* cr,
                   std::uint8_t* group) {
  WriteWord(group, cb[0], luma[0], cr[0]);
  WriteWord(group + 4, luma[1], cb[1], luma[2]);
  WriteWord(group + 8, cr[1], luma[3], cb[2]);
  WriteWord(group + 12, luma[4], cr[2], luma[5]);
}

}  // namespace

void PackRow2vuy(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  const std::uint32_t pairs = width / 2;
  for (std::uint32_t i = 0; i < pairs; ++i) {
    row[4 * i] = static_cast<std::uint8_t>(line.cb[i]);
    row[4 * i + 1] = static_cast<std::uint8_t>(line.luma[2 * i]);
    row[4 * i + 2] = static_cast<std::uint8_t>(line.cr[i]);
    row[4 * i + 3] = static_cast<std::uint8_t>(line.luma[2 * i + 1]);
  }
  if (width % 2 != 0) {
    row[4 * pairs] = static_cast<std::uint8_t>(line.cb[pairs]);
    row[4 * pairs + 1] = static_cast<std::uint8_t>(line.luma[width - 1]);
    row[4 * pairs + 2] = static_cast<std::uint8_t>(line.cr[pairs]);
    row[4 * pairs + 3] = static_cast<std::uint8_t>(line.luma[width - 1]);
  }
}

void PackRowV210(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  const std::uint32_t groups = width / kV210GroupPixels;
  for (std::uint32_t i = 0; i < groups; ++i) {
    PackV210Group(line.luma + std::size_t{6} * i, line.cb + std::size_t{3} * i,
                  line.cr + std::size_t{3} * i, row + std::size_t{kV210GroupBytes} * i);
  }
  const std::uint32_t rest = width % kV210GroupPixels;
  if (rest == 0) return;
  std::array<std::uint16_t, kV210GroupPixels> luma{};
  std::array<std::uint16_t, kV210GroupPixels / 2> cb{};
  std::array<std::uint16_t, kV210GroupPixels / 2> cr{};
  std::copy_n(line.luma + std::size_t{6} * groups, rest, luma.begin());
  std::copy_n(line.cb + std::size_t{3} * groups, (rest + 1) / 2, cb.begin());
  std::copy_n(line.cr + std::size_t{3} * groups, (rest + 1) / 2, cr.begin());
  PackV210Group(luma.data(), cb.data(), cr.data(), row + std::size_t{kV210GroupBytes} * groups);
}

void PackRowY416(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  for (std::size_t x = 0; x < width; ++x) {
    const auto colour = [x](const std::uint16_t* plane) {
      return static_cast<std::uint16_t>(plane[x] << 4);
    };
    // Little-endian, as the processor.
    const std::array pixel{line.alpha[x], colour(line.luma), colour(line.cb), colour(line.cr)};
    std::memcpy(row + sizeof pixel * x, pixel.data(), sizeof pixel);
  }
}

void PackRowB64a(const PlanarLine& line, std::uint32_t width, std::uint8_t* row) {
  for (std::size_t x = 0; x < width; ++x) {
    std::uint8_t* const bytes = row + 8 * x;
    WriteU16(bytes, line.alpha[x]);
    WriteU16(bytes + 2, line.cr[x]);
    WriteU16(bytes + 4, line.luma[x]);
    WriteU16(bytes + 6, line.cb[x]);
  }
}

}  // namespace prores

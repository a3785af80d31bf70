// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/DpxFile.h"

#include <bit>
#include <cstddef>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

#include "media/InputFile.h"

namespace vixprores {
namespace {

constexpr std::size_t kHeaderBytes = 1664;  // without the optional parts

// Words of a file in its own byte order.
struct ByteOrder {
  bool isSwapped;  ///< with respect to this machine, which is little-endian

  std::uint32_t Read32(const std::uint8_t* bytes) const {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return isSwapped ? __builtin_bswap32(word) : word;
  }
  std::uint16_t Read16(const std::uint8_t* bytes) const {
    std::uint16_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return isSwapped ? __builtin_bswap16(word) : word;
  }
};

std::optional<ByteOrder> FindByteOrder(std::span<const std::uint8_t> file) {
  const std::string_view magic(reinterpret_cast<const char*>(file.data()), 4);
  if (magic == "SDPX") return ByteOrder{true};
  if (magic == "XPDS") return ByteOrder{false};
  return std::nullopt;
}

// Returns the pixels of a file of the usual kind: one element of RGB from the top left, unsigned,
// 10 bits filled to 32 by method A, not compressed, without padding.
std::span<const std::uint8_t> FindPixels(std::span<const std::uint8_t> file, ByteOrder order,
                                         const ImageHeader& first) {
  constexpr std::uint32_t kUndefined = 0xFFFFFFFF;
  const std::uint8_t* const bytes = file.data();
  const auto isNone = [&](std::size_t place) {
    const std::uint32_t value = order.Read32(bytes + place);
    return value == 0 || value == kUndefined;
  };
  const bool isUsual = order.Read16(bytes + 768) == 0 && order.Read16(bytes + 770) == 1 &&
                       order.Read32(bytes + 772) == first.width &&
                       order.Read32(bytes + 776) == first.height && isNone(780) &&
                       bytes[800] == 50 && bytes[803] == 10 && order.Read16(bytes + 804) == 1 &&
                       order.Read16(bytes + 806) == 0 && isNone(812) && isNone(816);
  const std::size_t offset = order.Read32(bytes + 4);
  const std::size_t size = std::size_t{4} * first.width * first.height;
  if (!isUsual || first.channels != 3 || offset < kHeaderBytes) return {};
  if (offset > file.size() || size > file.size() - offset) return {};
  return file.subspan(offset, size);
}

void UnpackRow(const std::uint8_t* pixels, ByteOrder order, int row, AVFrame& picture) {
  const auto plane = [&](int index) {
    return reinterpret_cast<std::uint16_t*>(picture.data[index] +
                                            std::ptrdiff_t{row} * picture.linesize[index]);
  };
  std::uint16_t* const green = plane(0);
  std::uint16_t* const blue = plane(1);
  std::uint16_t* const red = plane(2);
  for (int x = 0; x < picture.width; ++x) {
    const std::uint32_t word = order.Read32(pixels + std::ptrdiff_t{4} * x);
    red[x] = static_cast<std::uint16_t>(word >> 22);
    green[x] = static_cast<std::uint16_t>(word >> 12 & 1023);
    blue[x] = static_cast<std::uint16_t>(word >> 2 & 1023);
  }
}

}  // namespace

bool ReadUsualDpx(const std::string& path, const ImageHeader& first,
                  std::vector<std::uint8_t>& bytes, AVFrame& picture) {
  static_assert(std::endian::native == std::endian::little);
  const std::size_t expected = std::size_t{4} * first.width * first.height;
  InputFile file(path);
  const auto size = static_cast<std::size_t>(file.GetSize().value_or(0));
  if (size < kHeaderBytes || size > 2 * (expected + kHeaderBytes)) return false;
  bytes.resize(size);
  if (file.Read(bytes) < size) return false;
  const auto order = FindByteOrder(bytes);
  const auto pixels = order ? FindPixels(bytes, *order, first) : std::span<const std::uint8_t>();
  if (pixels.empty()) return false;
  const std::size_t stride = std::size_t{4} * first.width;
  for (int row = 0; row < picture.height; ++row) {
    UnpackRow(pixels.data() + static_cast<std::size_t>(row) * stride, *order, row, picture);
  }
  return true;
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "encode/AlphaStore.h"

#include <algorithm>
#include <array>

#include "bitstream/AlphaCodes.h"
#include "bitstream/SliceLayout.h"
#include "encode/AlphaEncoder.h"

namespace prores {
namespace {

constexpr std::size_t RoomFor(AlphaType type) {
  return MostAlphaBytes(type, kMaxSliceWidth);
}

}  // namespace

void AlphaStore::Reset(AlphaType type, std::uint32_t slices) {
  type_ = type;
  if (type == AlphaType::kNone) return;
  bytes_.resize(std::max(bytes_.size(), slices * RoomFor(type)));
  sizes_.assign(slices, 0);
}

void AlphaStore::Code(std::uint32_t slice, std::uint32_t macroblocks, const std::uint16_t* samples,
                      std::size_t stride) {
  std::array<std::uint16_t, kMaxSliceWidth * kMacroblockSize * kMacroblockSize> raster;
  const std::size_t columns = std::size_t{macroblocks} * kMacroblockSize;
  for (std::size_t line = 0; line < kMacroblockSize; ++line) {
    std::copy_n(samples + line * stride, columns, raster.data() + line * columns);
  }
  const std::size_t room = RoomFor(type_);
  sizes_[slice] =
      static_cast<std::uint16_t>(EncodeAlpha(std::span(raster).first(columns * kMacroblockSize),
                                             type_, std::span(bytes_).subspan(slice * room, room)));
}

std::span<const std::uint8_t> AlphaStore::Data(std::uint32_t slice) const {
  if (type_ == AlphaType::kNone) return {};
  return std::span(bytes_).subspan(slice * RoomFor(type_), sizes_[slice]);
}

}  // namespace prores

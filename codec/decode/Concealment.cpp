// SPDX-License-Identifier: BSD-2-Clause
#include "decode/Concealment.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "pixel/PixelFormat.h"

namespace prores {
namespace {

/// Fills `columns` samples of each line of `area` with the sample of that line at `source`, or
/// with `value` where `source` is null.
void FillArea(const SampleArea& area, std::size_t columns, const std::uint16_t* source,
              std::uint16_t value) {
  for (std::size_t y = 0; y < kMacroblockSize; ++y) {
    const std::uint16_t fill = source != nullptr ? source[y * area.stride] : value;
    std::fill_n(area.samples + y * area.stride, columns, fill);
  }
}

/// Returns the intact strip of a picture that is nearest to the position of strip `centre`, or
/// null.
const Strip* FindNearestIntact(std::span<const Strip> picture, std::ptrdiff_t centre) {
  const Strip* nearest = nullptr;
  std::ptrdiff_t nearestDistance = 0;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const std::ptrdiff_t distance = std::abs(static_cast<std::ptrdiff_t>(i) - centre);
    if (picture[i].IsLost() || (nearest != nullptr && distance >= nearestDistance)) continue;
    nearest = &picture[i];
    nearestDistance = distance;
  }
  return nearest;
}

const Strip* FindIntactStrip(std::span<const Strip> strips, std::size_t firstPictureStrips,
                             std::size_t lost) {
  const bool inFirst = lost < firstPictureStrips;
  const auto first = strips.first(firstPictureStrips);
  const auto second = strips.subspan(firstPictureStrips);
  const auto centre = static_cast<std::ptrdiff_t>(inFirst ? lost : lost - firstPictureStrips);
  const Strip* const samePicture = FindNearestIntact(inFirst ? first : second, centre);
  return samePicture != nullptr ? samePicture : FindNearestIntact(inFirst ? second : first, centre);
}

/// Copies a row of the destination to another one, which keeps its alpha.
void CopyColours(const PixelBufferRecord& destination, std::uint32_t from, std::uint32_t to) {
  const PixelFormat& format = GetPixelFormat(destination.pixelFormat);
  // Formats with alpha begin each pixel with it.
  const std::size_t alphaBytes = format.chroma == ChromaFormat::k444 ? sizeof(std::uint16_t) : 0;
  const std::size_t bytes = PackedRowBytes(destination.pixelFormat, destination.width);
  const std::uint8_t* const source = RowOf(destination, from);
  std::uint8_t* const row = RowOf(destination, to);
  const std::size_t step = alphaBytes == 0 ? bytes : format.groupBytes;
  for (std::size_t i = alphaBytes; i < bytes; i += step) {
    std::memcpy(row + i, source + i, step - alphaBytes);
  }
}

}  // namespace

void ConcealSlices(std::span<const DecodedSlice> slices, std::size_t macroblockColumns,
                   std::uint16_t midGrey, const SampleArea& area) {
  const auto areaOf = [&](const DecodedSlice& slice) {
    return SampleArea{area.samples + macroblockColumns * slice.span.firstMacroblock, area.stride};
  };
  const auto firstIntact = std::ranges::find_if(slices, &DecodedSlice::intact);
  const std::uint16_t* source =
      firstIntact != slices.end() ? areaOf(*firstIntact).samples : nullptr;
  for (const DecodedSlice& slice : slices) {
    const SampleArea own = areaOf(slice);
    const std::size_t columns = macroblockColumns * slice.span.macroblocks;
    if (slice.intact) {
      source = own.samples + columns - 1;
    } else {
      FillArea(own, columns, source, midGrey);
    }
  }
}

void ConcealLostStrips(std::span<const Strip> strips, std::size_t firstPictureStrips,
                       const PixelBufferRecord& destination) {
  for (std::size_t i = 0; i < strips.size(); ++i) {
    const Strip& lost = strips[i];
    if (!lost.IsLost()) continue;
    const Strip* const intact = FindIntactStrip(strips, firstPictureStrips, i);
    if (intact == nullptr) return;
    const std::uint32_t source =
        intact->firstRow < lost.firstRow ? intact->LastRow() : intact->firstRow;
    for (std::uint32_t y = 0; y < lost.rows; ++y) {
      CopyColours(destination, source, lost.firstRow + y * lost.rowStep);
    }
  }
}

}  // namespace prores

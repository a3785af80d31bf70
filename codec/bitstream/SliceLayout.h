// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_SLICELAYOUT_H
#define CODEC_BITSTREAM_SLICELAYOUT_H

#include <bit>
#include <cstdint>

namespace prores {

/// Luma samples along each side of a macroblock.
inline constexpr std::uint32_t kMacroblockSize = 16;
/// Widest slice, in macroblocks.
inline constexpr std::uint32_t kMaxSliceWidth = 8;

/// Macroblocks that cover `samples` luma samples.
constexpr std::uint32_t MacroblocksFor(std::uint32_t samples) {
  return (samples + kMacroblockSize - 1) / kMacroblockSize;
}

/// Macroblocks of one slice.
struct SliceSpan {
  std::uint32_t firstMacroblock;  ///< counted from the left end of the row
  std::uint32_t macroblocks;      ///< 1, 2, 4 or 8
};

/// Partition of a macroblock row into slices, the same for every row of a picture (RDD 36, slice
/// partition): as many slices of the desired width as fit, then the rest in descending powers of
/// two.
class SliceLayout {
 public:
  /// @param width          luma samples per line.
  /// @param log2SliceWidth log2 of the desired slice width in macroblocks, 0 to 3.
  constexpr SliceLayout(std::uint32_t width, unsigned log2SliceWidth)
      : macroblocks_(MacroblocksFor(width)),
        log2SliceWidth_(log2SliceWidth),
        fullSlices_(macroblocks_ >> log2SliceWidth),
        rest_(macroblocks_ & ((1u << log2SliceWidth) - 1)) {}

  /// Macroblocks per row.
  constexpr std::uint32_t Macroblocks() const { return macroblocks_; }

  /// Slices per row, at most 4096.
  constexpr std::uint32_t SlicesPerRow() const {
    return fullSlices_ + static_cast<std::uint32_t>(std::popcount(rest_));
  }

  /// Returns the macroblocks of slice `index`, 0 to SlicesPerRow() - 1, counted from the left.
  constexpr SliceSpan operator[](std::uint32_t index) const {
    if (index < fullSlices_) return {index << log2SliceWidth_, 1u << log2SliceWidth_};
    // Each one bit of the rest, from the highest down, is a slice.
    std::uint32_t first = fullSlices_ << log2SliceWidth_;
    std::uint32_t rest = rest_;
    for (std::uint32_t i = fullSlices_; i < index; ++i) {
      first += std::bit_floor(rest);
      rest -= std::bit_floor(rest);
    }
    return {first, std::bit_floor(rest)};
  }

 private:
  std::uint32_t macroblocks_;
  unsigned log2SliceWidth_;
  std::uint32_t fullSlices_;
  std::uint32_t rest_;  // macroblocks after the slices of the desired width
};

}  // namespace prores

#endif  // CODEC_BITSTREAM_SLICELAYOUT_H

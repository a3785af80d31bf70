// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_ALPHASTORE_H
#define CODEC_ENCODE_ALPHASTORE_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bitstream/FrameHeader.h"

namespace prores {

/// The coded alpha of a frame's slices, until they are written. It does not depend on quantisers,
/// so each slice is coded once. Different slices may be coded by different threads at once.
class AlphaStore {
 public:
  /// Empties the store and reserves memory for the slices of a frame; none for kNone.
  /// @throws std::bad_alloc.
  void Reset(AlphaType type, std::uint32_t slices);

  /// Whether a slice was coded.
  bool Has(std::uint32_t slice) const { return sizes_[slice] != 0; }

  /// Codes a slice.
  /// @param samples upper left one of 16 lines.
  /// @param stride  samples from one line to the next.
  void Code(std::uint32_t slice, std::uint32_t macroblocks, const std::uint16_t* samples,
            std::size_t stride);

  /// Returns the coded bytes of a slice; none if alpha is not coded.
  std::span<const std::uint8_t> Data(std::uint32_t slice) const;

 private:
  AlphaType type_ = AlphaType::kNone;
  std::vector<std::uint8_t> bytes_;   ///< by slice, each with room for the most
  std::vector<std::uint16_t> sizes_;  ///< by slice
};

}  // namespace prores

#endif  // CODEC_ENCODE_ALPHASTORE_H

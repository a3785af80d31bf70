// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_ROWRING_H
#define TOOL_BASE_ROWRING_H

/// @file
/// Memory for libzimg, which works on a few rows of a picture at a time.

#include <cstddef>
#include <cstdint>
#include <vector>
#include <zimg++.hpp>

namespace vixprores {

/// libzimg requires this alignment of rows and scratch memory.
struct alignas(64) AlignedBytes {
  std::uint8_t bytes[64];
};

/// Returns memory of at least `bytes` bytes.
inline std::vector<AlignedBytes> AllocateAligned(std::size_t bytes) {
  return std::vector<AlignedBytes>((bytes + sizeof(AlignedBytes) - 1) / sizeof(AlignedBytes));
}

/// Ring of the rows of three planes that libzimg works on at a time.
class RowRing {
 public:
  static constexpr unsigned kPlanes = 3;

  /// @param rowBytes      of the widest plane
  /// @param rowsNeeded    that must exist at a time, as the filter graph states them
  /// @param rowsOfPicture of the highest plane
  RowRing(std::size_t rowBytes, unsigned rowsNeeded, unsigned rowsOfPicture) {
    const unsigned mask = zimg_select_buffer_mask(rowsNeeded);
    const std::size_t rows = mask == ZIMG_BUFFER_MAX ? rowsOfPicture : std::size_t{mask} + 1;
    const std::size_t stride =
        (rowBytes + sizeof(AlignedBytes) - 1) / sizeof(AlignedBytes) * sizeof(AlignedBytes);
    memory_ = AllocateAligned(kPlanes * rows * stride);
    const auto memory = reinterpret_cast<std::uint8_t*>(memory_.data());
    for (unsigned i = 0; i < kPlanes; ++i) {
      rings_.data(i) = memory + i * rows * stride;
      rings_.stride(i) = static_cast<std::ptrdiff_t>(stride);
      rings_.mask(i) = mask;
    }
  }

  const zimgxx::zimage_buffer& Get() const { return rings_; }
  std::uint8_t* Row(unsigned plane, unsigned row) const {
    return static_cast<std::uint8_t*>(rings_.line_at(row, plane));
  }

 private:
  std::vector<AlignedBytes> memory_;
  zimgxx::zimage_buffer rings_;
};

}  // namespace vixprores

#endif  // TOOL_BASE_ROWRING_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_SLICETABLE_H
#define CODEC_BITSTREAM_SLICETABLE_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "Status.h"
#include "bitstream/PictureHeader.h"

namespace prores {

/// Bytes of one slice table entry, the size of a slice.
inline constexpr std::size_t kSliceTableEntryBytes = 2;

/// Location of the slices of one macroblock row, in the bytes of the frame.
struct SliceRow {
  const std::uint8_t* sizes = nullptr;  ///< slice table entry of the next slice
  const std::uint8_t* data = nullptr;   ///< first byte of the next slice
};

/// Returns true if a picture has room for the slice table of so many rows. Ask before memory is
/// allocated for the rows: their number follows from a height that the frame merely claims.
bool FitsSliceTable(std::span<const std::uint8_t> picture, const PictureHeader& header,
                    std::uint32_t slicesPerRow, std::size_t rows);

/// Locates the rows of a picture by its slice table, and verifies that every slice lies within the
/// picture.
/// @param picture      the bytes of the picture, from its header on; header.pictureBytes of them.
/// @param slicesPerRow slices in each macroblock row, at least 1.
/// @param rows         receives one entry for each macroblock row; its size is their number.
/// @return kBadHeader for a table or slices that do not fit the picture, or a slice too small for
///         its own header.
Status LocateSliceRows(std::span<const std::uint8_t> picture, const PictureHeader& header,
                       std::uint32_t slicesPerRow, std::span<SliceRow> rows);

/// Removes the next slice from a row of LocateSliceRows(); at most slicesPerRow times.
std::span<const std::uint8_t> TakeSlice(SliceRow& row);

}  // namespace prores

#endif  // CODEC_BITSTREAM_SLICETABLE_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_PICTUREHEADER_H
#define CODEC_BITSTREAM_PICTUREHEADER_H

#include <cstddef>
#include <cstdint>
#include <span>

#include "Status.h"

namespace prores {

/// Header of a picture, which is a progressive frame or one field (RDD 36, picture header).
struct PictureHeader {
  /// Bytes that WritePictureHeader() writes; a header read may be longer.
  static constexpr std::size_t kWrittenBytes = 8;

  std::uint8_t headerBytes = kWrittenBytes;  ///< size of this header, 8 to 31
  std::uint32_t pictureBytes = 0;            ///< header, slice table and slices
  std::uint16_t sliceCount = 0;              ///< deprecated_number_of_slices, modulo 65536
  std::uint8_t log2SliceWidth = 3;           ///< of the desired slice width in macroblocks, 0 to 3
};

/// Parses the header of the picture that starts at the first of `bytes`, which reach to the end of
/// the frame.
/// @return kTruncated when header or picture do not fit `bytes`, kBadHeader for other violations.
Status ParsePictureHeader(std::span<const std::uint8_t> bytes, PictureHeader& header);

/// Writes the header to the PictureHeader::kWrittenBytes bytes at `destination`.
void WritePictureHeader(const PictureHeader& header, std::uint8_t* destination);

}  // namespace prores

#endif  // CODEC_BITSTREAM_PICTUREHEADER_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_ROWCALLBACKS_H
#define TOOL_MEDIA_DECODE_ROWCALLBACKS_H

/// @file
/// Both ends of a conversion by libzimg, which asks for rows of a picture and delivers rows of the
/// result. All samples have 16 bits there.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <vector>
#include <zimg++.hpp>

#include "base/RowRing.h"
#include "format/StreamFormat.h"
#include "media/decode/PictureRows.h"

namespace vixprores {

/// Bits of the samples that libzimg delivers.
inline constexpr unsigned kWorkBits = 16;

/// The lines of a picture that are converted together: all, or those of one field.
struct Lines {
  int first = 0;
  int step = 1;
  zimg_field_parity_e parity = ZIMG_FIELD_PROGRESSIVE;

  int Count(int height) const { return (height - first + step - 1) / step; }
};

/// What is converted together, as libzimg treats it alike.
enum class Channels { Colour, Alpha };

/// Puts the finished rows of a conversion into the packed picture: "V210", or "Y416", whose alpha
/// comes first.
class PackedRows {
 public:
  const StreamFormat& format;
  Channels channels;
  bool isPremultiplied;  ///< colours are to be divided by alpha
  std::uint8_t* packed;
  std::size_t stride;
  Lines lines;
  unsigned sourceBits;
  const RowRing& ring;
  std::exception_ptr failure = nullptr;

  /// Called by libzimg for each row; keeps an exception as the failure.
  static int Write(void* self, unsigned row, unsigned left, unsigned right);

 private:
  void Pack(unsigned row) const;
  void PackV210(unsigned row, std::uint8_t* target) const;
  void PackY416(unsigned row, std::uint8_t* target) const;
  std::uint16_t* Samples(unsigned plane, unsigned row) const {
    return reinterpret_cast<std::uint16_t*>(ring.Row(plane, row));
  }
};

/// Provides the rows of a picture that libzimg cannot read where they are.
class SourceRows {
 public:
  const AVFrame& picture;
  const PictureRows& rows;
  Channels channels;
  const std::optional<RgbMatrix>& matrix;
  bool isFull;  ///< to be limited
  Lines lines;
  unsigned width;  ///< of luma, padded
  const RowRing& ring;
  std::array<std::vector<std::uint16_t>, RowRing::kPlanes>& rgb;  ///< scratch memory

  /// Called by libzimg for each row, or pair of rows that share chroma.
  static int Read(void* self, unsigned row, unsigned left, unsigned right);

 private:
  int LineOf(unsigned row, int height) const;
  template <typename Sample>
  void ReadPlane(unsigned plane, unsigned row) const;
  void ReadRgb(unsigned row) const;
  void ReadAlpha(unsigned row) const;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_ROWCALLBACKS_H

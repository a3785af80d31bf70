// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_DEEPRGB_H
#define TOOL_MEDIA_SEQUENCE_DEEPRGB_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// Converts packed pictures of 10 bits to full-range RGB of 16 bits, interleaved, with rows one
/// after the other. Chroma of odd columns is interpolated with a cubic spline over six samples;
/// even columns have their own. Results are the same on all machines: they come from single
/// additions and multiplications of floating-point numbers, which every processor rounds alike.
class DeepRgb {
 public:
  /// @param format "V210"; its matrix (unspecified = by height) and range (unknown = limited) apply
  explicit DeepRgb(const StreamFormat& format);

  /// @param pixels 3 * width * height samples
  void Convert(std::span<const std::uint8_t> packed, std::span<std::uint16_t> pixels);

 private:
  void ConvertRow(std::uint16_t* pixels);

  StreamFormat format_;
  /// Factors of luma and chroma differences to 16 bits.
  float lumaScale_, redFromCr_, greenFromCb_, greenFromCr_, blueFromCb_;
  float black_;  ///< code value of luma
  std::array<std::vector<std::uint16_t>, 3> rows_;
  std::array<std::vector<float>, 2> chroma_;  ///< differences from grey, one for each column
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_DEEPRGB_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_DEEPRGB_H
#define TOOL_MEDIA_SEQUENCE_DEEPRGB_H

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "format/StreamFormat.h"

namespace vixprores {

/// Converts packed pictures to full-range RGB of 16 bits, interleaved, with rows one after the
/// other, and with the alpha that the stream has. In 4:2:2, chroma of odd columns is interpolated
/// with a cubic spline over six samples; even columns have their own. Results are the same on all
/// machines: they come from single additions and multiplications of floating-point numbers, which
/// every processor rounds alike.
class DeepRgb {
 public:
  /// @param format "V210" or "Y416"; its matrix (RgbMatrixFor()) and range (unknown =
  ///               limited) apply
  /// @param keepsAlpha of a stream that has it
  DeepRgb(const StreamFormat& format, bool keepsAlpha);

  /// Components of a pixel: 3, or 4 with alpha.
  std::size_t CountChannels() const { return channels_; }

  /// @param pixels CountChannels() * width * height samples
  void Convert(std::span<const std::uint8_t> packed, std::span<std::uint16_t> pixels);

 private:
  void ReadV210(std::span<const std::uint8_t> packed, std::uint32_t row);
  void ReadY416(std::span<const std::uint8_t> packed, std::uint32_t row, std::uint16_t* pixels);
  void ConvertRow(std::uint16_t* pixels);

  StreamFormat format_;
  std::size_t channels_;
  /// Factors of luma and chroma differences to 16 bits.
  float lumaScale_, redFromCr_, greenFromCb_, greenFromCr_, blueFromCb_;
  float black_;                                     ///< code value of luma
  std::array<std::vector<std::uint16_t>, 3> rows_;  ///< of "V210"
  std::vector<float> luma_;                         ///< one for each column, in steps of 10 bits
  std::array<std::vector<float>, 2> chroma_;        ///< differences from grey, likewise
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_DEEPRGB_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_PICTURECONVERTER_H
#define TOOL_MEDIA_DECODE_PICTURECONVERTER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/FramePool.h"
#include "base/IdleObjects.h"
#include "format/StreamFormat.h"
#include "vix/Buffers.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vixprores {

/// What becomes of decoded pictures.
struct PictureTarget {
  /// Size of the converted pictures and their fields. "V210" or "Y416", limited range. For RGB
  /// pictures, its matrix is that of the conversion (unspecified = UsualMatrix()); other pictures
  /// keep theirs.
  StreamFormat format;
  /// Whether colours are stored multiplied by alpha. "Y416" has them straight; where alpha is 0,
  /// they stay as they are.
  bool isPremultiplied = false;
  /// Colours and alpha are those of AlphaScaler, which need equal filters.
  bool isWeighted = false;
  /// Colours to convert to, in linear light; none = as they are.
  std::optional<Colour> colour = std::nullopt;
  /// Luminance in cd/m2 of the brightest white that is kept when PQ or HLG becomes SDR; 0 = none.
  double peakLuminance = 0;
  /// Processor level of libzimg, for tests; 0 = the best one.
  int cpuLevel = 0;
};

class AlphaScaler;

/// Converts pictures of any size and format that PictureRows reads to packed 4:2:2 of 10 bits, or
/// to 4:4:4 of 16 bits with alpha.
///
/// Chroma is resampled from where the picture says that it is sited to where 4:2:2 has it, and
/// pictures are scaled, with a cubic spline over six samples (libzimg's Spline36); chroma of fields
/// with a windowed sinc over as many (Lanczos). Interlaced
/// pictures with fewer lines of chroma, and those that change their height, are converted field by
/// field. Full range becomes limited. Samples of more than 10 bits are dithered for 10 bits by an
/// ordered pattern, others are rounded. Alpha is scaled like luma. All sums are of integers, so
/// that results are the same on all machines; conversion of colours keeps to one level of
/// instructions instead.
///
/// Used by one thread at a time.
class PictureConverter {
 public:
  PictureConverter(const PictureTarget& target, std::string inputName);
  ~PictureConverter();

  /// Writes the packed picture to `packed`, which has target.format.FrameBytes() bytes. A picture
  /// is interlaced if it says so and the target is.
  /// @throws Failure that names the input, if the picture cannot be converted
  void Convert(const AVFrame& picture, std::uint8_t* packed);

 private:
  class Conversion;

  PictureTarget target_;
  std::string inputName_;
  std::unique_ptr<Conversion> conversion_;    ///< for pictures like the last one
  std::unique_ptr<AlphaScaler> alphaScaler_;  ///< for pictures that are not opaque
};

/// Converters for any number of threads.
class PictureConverters {
 public:
  PictureConverters(const PictureTarget& target, std::string inputName)
      : target_(target), inputName_(std::move(inputName)) {}

  /// Returns the packed picture. Any thread may call it, several at once.
  std::shared_ptr<vix::IBuffer> Convert(const AVFrame& picture);

 private:
  PictureTarget target_;
  std::string inputName_;
  FramePool pool_;
  IdleObjects<PictureConverter> idle_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_PICTURECONVERTER_H

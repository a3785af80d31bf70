// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_ALPHASCALER_H
#define TOOL_MEDIA_DECODE_ALPHASCALER_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/DeepPicture.h"
#include "media/decode/PictureConverter.h"
#include "media/decode/VideoDecoder.h"

namespace vixprores {

/// Scales colours multiplied by their alpha, so that those of transparent pixels do not bleed into
/// their neighbours, and that alpha with them. The results are straight. Used by one thread at a
/// time.
class AlphaScaler {
 public:
  AlphaScaler(const PictureTarget& target, std::string inputName);

  /// Replaces alpha and visible colours of a scaled "Y416" picture.
  /// @param picture its source
  void Recolour(const AVFrame& picture, std::uint8_t* packed);

 private:
  void ResizeSource(const AVFrame& picture);

  PictureTarget target_;
  std::string inputName_;
  std::optional<PictureConverter> deepener_;  ///< to "Y416" of the same size
  PictureConverter scaler_;                   ///< of pictures in `deep_`
  std::vector<DeepPixel> pixels_;
  Picture deep_;  ///< refers to `pixels_`
  std::vector<DeepPixel> scaled_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_ALPHASCALER_H

// SPDX-License-Identifier: BSD-2-Clause
#include "media/decode/PictureScale.h"

#include <algorithm>

#include "media/container/Libav.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace vixprores {

void Scale(const PictureScale& scale, StreamFormat& format) {
  const auto part = [&](std::uint32_t side) { return std::max(side / scale.divisor, 1U); };
  const std::uint32_t width = scale.width > 0 ? scale.width : part(format.width);
  const std::uint32_t height = scale.width > 0 ? scale.height : part(format.height);
  if (format.sampleAspect.numerator > 0) {
    AVRational aspect{};
    av_reduce(&aspect.num, &aspect.den,
              std::int64_t{format.sampleAspect.numerator} * format.width * height,
              std::int64_t{format.sampleAspect.denominator} * format.height * width, INT32_MAX);
    format.sampleAspect = ToRational(aspect);
  }
  format.width = width;
  format.height = height;
}

}  // namespace vixprores

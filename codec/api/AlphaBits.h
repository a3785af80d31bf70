// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_API_ALPHABITS_H
#define CODEC_API_ALPHABITS_H

#include <cstdint>
#include <optional>

#include "ProRes/ProResHost.h"
#include "bitstream/FrameHeader.h"

namespace prores {

/// Returns the alpha type of a WPRAlphaBits, or nullopt for other values.
constexpr std::optional<AlphaType> AlphaTypeOf(std::int32_t bits) {
  switch (bits) {
    case kWPRAlphaNone:
      return AlphaType::kNone;
    case kWPRAlpha8:
      return AlphaType::k8Bit;
    case kWPRAlpha16:
      return AlphaType::k16Bit;
    default:
      return {};
  }
}

}  // namespace prores

#endif  // CODEC_API_ALPHABITS_H

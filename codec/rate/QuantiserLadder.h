// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_QUANTISERLADDER_H
#define CODEC_RATE_QUANTISERLADDER_H

#include <cstdint>

#include "bitstream/SliceHeader.h"
#include "transform/Quantise.h"

namespace prores {

/// Rungs of the ladder of quantisers, finest first. Rung 0 is quantisation index 1 with nearest
/// rounding, for frames that cannot use their bytes otherwise; rung r is quantisation index r with
/// a dead zone.
inline constexpr unsigned kCoarsestRung = kMaxQuantizationIndex;

constexpr std::uint8_t QuantisationIndex(unsigned rung) {
  return static_cast<std::uint8_t>(rung == 0 ? kMinQuantizationIndex : rung);
}

/// @param rung 0..kCoarsestRung.
constexpr Quantiser QuantiserOf(unsigned rung) {
  return {QuantizerScale(QuantisationIndex(rung)),
          rung == 0 ? kNearestRounding : kDeadZoneRounding};
}

}  // namespace prores

#endif  // CODEC_RATE_QUANTISERLADDER_H

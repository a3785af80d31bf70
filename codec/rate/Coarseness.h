// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_COARSENESS_H
#define CODEC_RATE_COARSENESS_H

#include <algorithm>
#include <cstdint>

#include "rate/QuantiserLadder.h"

/**
 * @file
 * The one number that is chosen for a frame, and how the quantisers of its slices follow from it.
 */

namespace prores {

/// How coarsely a frame is quantised: the logarithm of a quantiser scale in 1/kOctave, as the bits
/// of a floating-point number have it: e x kOctave + f stands for 2^(e-1) (1 + f / kOctave), and
/// less than kOctave for the scale f / kOctave.
using Coarseness = std::int32_t;
inline constexpr unsigned kOctaveBits = 12;
inline constexpr Coarseness kOctave = 1 << kOctaveBits;

/// All slices are on rung 0.
inline constexpr Coarseness kFinest = 0;
/// All slices are on the coarsest rung, see kMaxFinerBy.
inline constexpr Coarseness kCoarsest = 13 * kOctave;

/// The multiples of the steps of a quantiser.
struct Grid {
  std::uint8_t rung = 0;            ///< 0 for none
  std::uint8_t chromaQuarters = 0;  ///< of the weights of chroma, 0 where it lies on none
};

/// What tells the quantiser of a slice from that of others.
struct SliceTraits {
  /// Quiet slices, in which errors are seen most, are quantised more finely: by 0..kMaxFinerBy.
  std::int16_t finerBy = 0;
  /// Where between two rungs it takes the coarser one, 0..kOctave - 1. Slices near each other have
  /// very different ones, so that whatever lies between two rungs is an even mixture of both.
  std::uint16_t dither = 0;
  /// On which it lies already, see rate/GridDetection.h.
  Grid grid;
};
inline constexpr std::int16_t kMaxFinerBy = kOctave - 1;

/// What is chosen for a frame as a whole.
struct FrameQuantiser {
  Coarseness coarseness = kFinest;
  std::uint8_t chromaQuarters = kQuarters;  ///< of chroma's weights
};

/// The rung that a slice takes in a frame of that coarseness if it lies on no grid.
constexpr unsigned RungAt(Coarseness frame, const SliceTraits& slice) {
  constexpr unsigned kFineOctaves = 5;  // up to kFineRungs the rungs are the scales
  static_assert(kFineRungs == 1U << (kFineOctaves - 1));
  const auto own = static_cast<std::uint32_t>(std::max(kFinest, frame - slice.finerBy));
  const std::uint32_t octave = own >> kOctaveBits;
  const std::uint32_t fraction = own & (kOctave - 1);
  std::uint32_t position = fraction;  // on the ladder, in 1/kOctave
  if (octave >= kFineOctaves) {
    position = (kFineRungs + kRungsPerOctave * (octave - kFineOctaves)) * kOctave +
               kRungsPerOctave * fraction;
  } else if (octave > 0) {
    position = (kOctave + fraction) << (octave - 1);
  }
  return std::min((position + slice.dither) >> kOctaveBits, kCoarsestRung);
}

/// How a slice is quantised.
constexpr SliceQuantiser QuantiserAt(const FrameQuantiser& frame, const SliceTraits& slice) {
  const unsigned rung = RungAt(frame.coarseness, slice);
  const bool onGrid = slice.grid.rung != 0 && rung <= slice.grid.rung;
  return {.rung = static_cast<std::uint8_t>(onGrid ? slice.grid.rung : rung),
          .chromaQuarters = frame.chromaQuarters,
          .lumaOnGrid = onGrid,
          .chromaOnGrid = onGrid && frame.chromaQuarters == slice.grid.chromaQuarters};
}

/// Whether some slice may need other weights than the variant's own.
constexpr bool NeedsOtherWeights(const FrameQuantiser& frame) {
  constexpr SliceTraits kCoarsestSlice{.finerBy = 0, .dither = kOctave - 1, .grid = {}};
  return frame.chromaQuarters != kQuarters ||
         RungAt(frame.coarseness, kCoarsestSlice) > kCoarsestPlainRung;
}

/// Dither of a slice: the fractions of x a + y b with the a and b that spread points over a plane
/// most evenly (powers of the root of r^3 = r + 1).
constexpr std::uint16_t DitherAt(std::uint32_t column, std::uint32_t strip) {
  constexpr std::uint32_t kAlongRow = 3242174889;    // 2^32 / r
  constexpr std::uint32_t kAcrossRows = 2447445414;  // 2^32 / r^2
  return static_cast<std::uint16_t>((column * kAlongRow + strip * kAcrossRows) >>
                                    (32 - kOctaveBits));
}

}  // namespace prores

#endif  // CODEC_RATE_COARSENESS_H

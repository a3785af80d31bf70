// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_COARSENESS_H
#define CODEC_ENCODE_RATE_COARSENESS_H

#include <algorithm>
#include <cstdint>

#include "encode/rate/QuantiserLadder.h"

/**
 * @file
 * The one number that is chosen for a frame, and how it determines the quantisers of its slices.
 */

namespace prores {

/// Coarseness of a frame's quantisation: the logarithm of a quantiser scale in 1/kOctave, encoded
/// like a floating-point number: e x kOctave + f stands for the scale 2^(e-1) (1 + f / kOctave),
/// and f below kOctave for the scale f / kOctave.
using Coarseness = std::int32_t;
inline constexpr unsigned kOctaveBits = 12;
inline constexpr Coarseness kOctave = 1 << kOctaveBits;

/// All slices are on rung 0.
inline constexpr Coarseness kFinest = 0;
/// All slices have half the step of rung 0. Between this and kFinest, a mixture of both.
inline constexpr Coarseness kFinestHalved = -kOctave;
/// All slices are on the coarsest rung, see kMaxFinerBy.
inline constexpr Coarseness kCoarsest = 13 * kOctave;

/// The multiples of a quantiser's step, on which the coefficients of a coded picture lie.
struct Grid {
  std::uint8_t rung = 0;            ///< 0 for none
  std::uint8_t chromaQuarters = 0;  ///< of the weights of chroma; 0 where chroma lies on no grid
};

/// Properties of a slice that set its quantiser apart from those of other slices.
struct SliceTraits {
  /// How much finer than the frame it is quantised, 0..kMaxFinerBy: errors show most in quiet
  /// slices.
  std::int16_t finerBy = 0;
  /// Threshold between two rungs from which it takes the coarser one, 0..kOctave - 1. Neighbours
  /// have very different thresholds, so that a coarseness between two rungs is an even mixture of
  /// both.
  std::uint16_t dither = 0;
  /// The grid on which it lies already, see encode/rate/GridDetection.h.
  Grid grid;
};
inline constexpr std::int16_t kMaxFinerBy = kOctave - 1;

/// The quantiser of a frame as a whole.
struct FrameQuantiser {
  Coarseness coarseness = kFinest;          ///< below kFinest only with full weights of chroma
  std::uint8_t chromaQuarters = kQuarters;  ///< of chroma's weights
};

/// Returns the rung of a slice that lies on no grid, in a frame of that coarseness.
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

/// Returns the quantiser of a slice.
constexpr SliceQuantiser QuantiserAt(const FrameQuantiser& frame, const SliceTraits& slice) {
  const unsigned rung = RungAt(frame.coarseness, slice);
  const bool mayBeHalved = frame.coarseness < kFinest;
  const bool onGrid = slice.grid.rung != 0 && rung <= slice.grid.rung &&
                      (!mayBeHalved || slice.grid.rung <= kCoarsestHalvedRung);
  return {.rung = static_cast<std::uint8_t>(onGrid ? slice.grid.rung : rung),
          .chromaQuarters = frame.chromaQuarters,
          .isHalved = mayBeHalved && !onGrid && frame.coarseness + slice.dither < kFinest,
          .lumaOnGrid = onGrid,
          .chromaOnGrid = onGrid && frame.chromaQuarters == slice.grid.chromaQuarters};
}

/// Whether a slice of the frame may need other weights than the variant's own.
constexpr bool NeedsOtherWeights(const FrameQuantiser& frame) {
  constexpr SliceTraits kCoarsestSlice{.finerBy = 0, .dither = kOctave - 1, .grid = {}};
  return frame.chromaQuarters != kQuarters || frame.coarseness < kFinest ||
         RungAt(frame.coarseness, kCoarsestSlice) > kCoarsestPlainRung;
}

/// Returns the dither of a slice: the fraction of x a + y b, where a and b, powers of the root of
/// r^3 = r + 1, spread points over a plane most evenly.
constexpr std::uint16_t DitherAt(std::uint32_t column, std::uint32_t strip) {
  constexpr std::uint32_t kAlongRow = 3242174889;    // 2^32 / r
  constexpr std::uint32_t kAcrossRows = 2447445414;  // 2^32 / r^2
  return static_cast<std::uint16_t>((column * kAlongRow + strip * kAcrossRows) >>
                                    (32 - kOctaveBits));
}

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_COARSENESS_H

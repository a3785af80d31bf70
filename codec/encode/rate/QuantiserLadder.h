// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_QUANTISERLADDER_H
#define CODEC_ENCODE_RATE_QUANTISERLADDER_H

#include <cstdint>

#include "bitstream/SliceHeader.h"
#include "encode/Quantiser.h"

/**
 * @file
 * The ladder of quantisers that a slice can take.
 *
 * Rungs are numbered from the finest. Rung 0 is scale 1 with nearest rounding, for frames that
 * cannot use their bytes otherwise. All other rungs have a dead zone. Rungs 1 to 16 are the scales
 * 1 to 16; each octave above has 8 rungs. More rungs gain less than 0.01 dB, and the fewer there
 * are, the fewer slices change their quantiser with a small change of the frame's. Scales beyond
 * the 512 of the bitstream, which white noise needs at low rates, multiply the weights of the whole
 * frame. Where twelve bits leave bytes unused even on rung 0, half the weights make half its step.
 */

namespace prores {

inline constexpr unsigned kFineRungs = 16;  ///< rungs that lie one scale apart
inline constexpr unsigned kRungsPerOctave = 8;
inline constexpr unsigned kCoarsestRung = 72;

/// Returns the quantiser scale of a rung (0..kCoarsestRung) at weights of kUnitWeight.
constexpr unsigned ScaleOf(unsigned rung) {
  if (rung <= kFineRungs) return rung == 0 ? 1 : rung;
  const unsigned octave = (rung - kFineRungs) / kRungsPerOctave;
  const unsigned step = (rung - kFineRungs) % kRungsPerOctave;
  return (kFineRungs + kFineRungs / kRungsPerOctave * step) << octave;
}
static_assert(ScaleOf(kCoarsestRung) == kMaxQuantizerScale);

/// The last rung that needs no larger weights.
inline constexpr unsigned kCoarsestPlainRung = 56;
static_assert(ScaleOf(kCoarsestPlainRung) == QuantizerScale(kMaxQuantizationIndex));

/// Chroma has its full weights (kQuarters quarters) or kLowerChroma quarters of them.
inline constexpr std::uint8_t kQuarters = 4;
inline constexpr std::uint8_t kLowerChroma = 3;

/// Returns the quantiser of a rung.
/// @param quarters of the weights: kQuarters or kLowerChroma.
/// @param nearest  rounds to the nearest level, without the dead zone of the rung.
const Quantiser& QuantiserOf(unsigned rung, unsigned quarters = kQuarters, bool nearest = false);

/// Returns the quantiser of half the step of rung 0, with nearest rounding. Its levels of DCs
/// differ by less than 2^14, because the DC of white is below kMaxCoefficient.
const Quantiser& HalvedQuantiser();

/// The coarsest rung that a slice can have in a frame with half the weights, where indices stand
/// for half the scales.
inline constexpr unsigned kCoarsestHalvedRung = kCoarsestPlainRung - kRungsPerOctave;

/// Quantiser of a slice.
struct SliceQuantiser {
  std::uint8_t rung = 0;
  std::uint8_t chromaQuarters = kQuarters;  ///< of chroma's weights
  bool isHalved = false;                    ///< HalvedQuantiser() instead of rung 0
  // Whether the coefficients are multiples of the step already. There is no dead zone then.
  bool lumaOnGrid = false;
  bool chromaOnGrid = false;

  /// @param component 0 = Y, 1 = Cb, 2 = Cr.
  const Quantiser& For(unsigned component) const {
    if (isHalved) return HalvedQuantiser();
    return component == 0 ? QuantiserOf(rung, kQuarters, lumaOnGrid)
                          : QuantiserOf(rung, chromaQuarters, chromaOnGrid);
  }
  bool operator==(const SliceQuantiser&) const = default;
};

/// Factors of the weights of a frame.
struct WeightFactors {
  unsigned luma = 1;
  unsigned chromaQuarters = kQuarters;  ///< further factor for chroma
  bool areHalved = false;               ///< further factor for both; with no other
};

/// Returns the factors of a frame whose coarsest slice is on `coarsestRung`.
constexpr WeightFactors WeightFactorsFor(unsigned coarsestRung, unsigned chromaQuarters) {
  WeightFactors factors{1, chromaQuarters};
  while (ScaleOf(coarsestRung) > factors.luma * QuantizerScale(kMaxQuantizationIndex)) {
    factors.luma *= 2;
  }
  return factors;
}
inline constexpr unsigned kMaxWeightFactor = WeightFactorsFor(kCoarsestRung, kQuarters).luma;

/// Returns the quantization_index of a quantiser in a frame with these factors. Its rung is less
/// than an octave finer than the frame's coarsest one, or, with half the weights, at most
/// kCoarsestHalvedRung.
constexpr std::uint8_t QuantizationIndexOf(const SliceQuantiser& quantiser,
                                           const WeightFactors& factors) {
  if (quantiser.isHalved) return kMinQuantizationIndex;
  const unsigned scale = ScaleOf(quantiser.rung);
  return static_cast<std::uint8_t>(
      QuantizationIndex(factors.areHalved ? 2 * scale : scale / factors.luma));
}

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_QUANTISERLADDER_H

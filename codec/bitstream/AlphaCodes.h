// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_BITSTREAM_ALPHACODES_H
#define CODEC_BITSTREAM_ALPHACODES_H

/// @file
/// The lossless code of alpha samples (RDD 36, alpha coding), for encoder and decoder.
///
/// The samples of a slice follow in raster order, parts outside the picture included. Each symbol
/// is the difference of a sample from the previous one and the number of times that it repeats:
/// - 1 and the difference modulo 2^sampleBits; or
///   0 and a short difference of shortDifferenceBits, see FoldDifference();
/// - 1 if it does not repeat; or
///   0 and 1 to kMostShortRun repeats in kShortRunBits; or
///   0, kShortRunBits zeros, and up to kMostLongRun repeats in kLongRunBits.
/// Nothing follows the difference of the last sample. A last run may exceed the samples.

#include <array>
#include <cstddef>
#include <cstdint>

#include "bitstream/Codewords.h"
#include "bitstream/FrameHeader.h"

namespace prores {

struct AlphaCode {
  std::uint32_t sampleBits;
  std::uint32_t shortDifferenceBits;

  /// Returns the largest sample, from which the first difference of a slice counts.
  constexpr std::uint32_t Opaque() const { return (1u << sampleBits) - 1; }
  /// Returns the factor between a coded sample and the same opacity in 16 bits.
  constexpr std::uint32_t StepIn16Bits() const { return 0xFFFF / Opaque(); }
  /// Returns the coded sample whose value in 16 bits is nearest. There are no ties, as the step is
  /// odd.
  constexpr std::uint32_t Nearest(std::uint16_t sample) const {
    return (sample + StepIn16Bits() / 2) / StepIn16Bits();
  }
  /// Returns the bits of a difference with its flag.
  constexpr std::uint32_t LongDifferenceLength() const { return 1 + sampleBits; }
  constexpr std::uint32_t ShortDifferenceLength() const { return 1 + shortDifferenceBits; }
};

inline constexpr AlphaCode kAlphaCode8{.sampleBits = 8, .shortDifferenceBits = 4};
inline constexpr AlphaCode kAlphaCode16{.sampleBits = 16, .shortDifferenceBits = 7};

inline constexpr std::uint32_t kShortRunBits = 4;
inline constexpr std::uint32_t kLongRunBits = 11;
inline constexpr std::uint32_t kMostShortRun = (1u << kShortRunBits) - 1;
inline constexpr std::uint32_t kMostLongRun = (1u << kLongRunBits) - 1;

/// Bits of a run with its flag.
inline constexpr std::uint32_t kShortRunLength = 1 + kShortRunBits;
inline constexpr std::uint32_t kLongRunLength = kShortRunLength + kLongRunBits;

/// Maps short differences to numbers: 1, -1, 2, -2 become 0, 1, 2, 3. A difference of 0 gives a
/// number that no short difference can hold.
constexpr std::uint32_t FoldDifference(std::int32_t difference) {
  return FoldSign(difference) - (difference < 0 ? 0u : 2u);
}

/// Inverse of FoldDifference() for all numbers that a short difference can hold.
constexpr std::int32_t UnfoldDifference(std::uint32_t folded) {
  return UnfoldSign(folded + ((folded & 1) != 0 ? 0 : 2));
}

/// Returns the most bytes of the alpha of a slice. A sample takes at most a long difference and the
/// flag that it does not repeat: the shortest run costs kShortRunLength - 1 more bits, but saves a
/// sample; a long run costs kLongRunLength - 1 more bits, but saves at least kMostShortRun + 1
/// samples.
constexpr std::size_t MostAlphaBytes(AlphaType type, std::uint32_t macroblocks) {
  constexpr std::size_t kSamples = 256;  // of a macroblock
  if (type == AlphaType::kNone) return 0;
  const AlphaCode code = type == AlphaType::k8Bit ? kAlphaCode8 : kAlphaCode16;
  return macroblocks * (kSamples * (code.LongDifferenceLength() + 1) / 8);
}

static_assert(FoldDifference(1) == 0 && FoldDifference(-1) == 1 && FoldDifference(64) == 126);
static_assert(UnfoldDifference(0) == 1 && UnfoldDifference(1) == -1 &&
              UnfoldDifference(127) == -64);
static_assert(FoldDifference(0) > 1u << kAlphaCode16.sampleBits);
static_assert(kAlphaCode8.StepIn16Bits() == 257 && kAlphaCode16.StepIn16Bits() == 1);
static_assert(MostAlphaBytes(AlphaType::k16Bit, 8) == 4608);

}  // namespace prores

#endif  // CODEC_BITSTREAM_ALPHACODES_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_SAMPLEDEPTH_H
#define CODEC_PIXEL_SAMPLEDEPTH_H

namespace prores {

/// Conversion of the values f of the inverse transform to samples (RDD 36, reconstruction of
/// samples): floor(gain * f + offset), clamped to [lowest, highest].
struct SampleDepth {
  int bits;
  float gain;
  float offset;   ///< mid-grey, plus a half that turns floor into rounding
  float lowest;   ///< codes below are reserved for synchronisation
  float highest;  ///< likewise above

  /// Returns the sample of f = 0.
  constexpr int MidGrey() const { return static_cast<int>(offset); }
};

/// Returns the depth of `bits` bits per sample, 8 to 12.
constexpr SampleDepth MakeSampleDepth(int bits) {
  const int step = 1 << (bits - 8);  // one code value of 8 bits
  return {bits, static_cast<float>(step) / 2, static_cast<float>(128 * step) + 0.5F,
          static_cast<float>(step), static_cast<float>(255 * step - 1)};
}

inline constexpr SampleDepth k8Bits = MakeSampleDepth(8);
inline constexpr SampleDepth k10Bits = MakeSampleDepth(10);
inline constexpr SampleDepth k12Bits = MakeSampleDepth(12);

static_assert(k10Bits.gain == 2 && k10Bits.offset == 512.5F);
static_assert(k10Bits.lowest == 4 && k10Bits.highest == 1019);
static_assert(k8Bits.lowest == 1 && k8Bits.highest == 254);
static_assert(k12Bits.lowest == 16 && k12Bits.highest == 4079);

}  // namespace prores

#endif  // CODEC_PIXEL_SAMPLEDEPTH_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_RATECONTROL_H
#define CODEC_RATE_RATECONTROL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "rate/Coarseness.h"

/**
 * @file
 * Choice of each slice's quantiser so that a frame lands on its budget.
 *
 * One number is looked for, the coarseness of the frame (rate/Coarseness.h), from which the
 * quantisers of all slices follow: the finest with which the frame fits, but for a thousandth of
 * its budget. Nothing is carried from frame to frame and all decisions are made in integers, so
 * that a frame's bytes depend on its picture alone.
 *
 * Measuring a slice is most of the work. So the coarseness is looked for on growing samples of the
 * slices, of which each begins with the one before. They are taken from a few whole strips
 * (macroblock rows), so that the others are not needed before a coarseness is known that is about
 * right. And the nearer two steps of the search are, the fewer slices change their quantiser; only
 * they are measured again.
 */

namespace prores {

/// Coded bytes of the components of a slice. A slice of eight macroblocks stays below 16 bits: see
/// MaxFrameBytes().
struct SliceSize {
  std::uint16_t luma = 0;
  std::uint16_t cb = 0;
  std::uint16_t cr = 0;

  std::uint64_t Payload() const { return std::uint64_t{luma} + cb + cr; }
};

/// The slices of a frame, numbered strip by strip.
struct SliceGrid {
  std::uint32_t strips = 0;
  std::uint32_t slicesPerStrip = 0;

  std::size_t Slices() const { return std::size_t{strips} * slicesPerStrip; }
  bool operator==(const SliceGrid&) const = default;
};

/// The quantiser of a slice and how large that makes it.
struct SliceChoice {
  static constexpr SliceQuantiser kNotMeasured{.rung = kCoarsestRung + 1};

  SliceQuantiser quantiser = kNotMeasured;
  SliceSize size;
};

/// Tells how large slices become.
class SliceMeter {
 public:
  virtual ~SliceMeter() = default;
  /// Brings `choices[slice]` of each of the named slices to what such a frame has:
  /// the quantiser, and the exact size where the quantiser was another one.
  virtual void Measure(const FrameQuantiser& frame, std::span<const std::uint32_t> slices,
                       std::span<SliceChoice> choices) = 0;
  /// The same for all slices.
  virtual void MeasureAll(const FrameQuantiser& frame, std::span<SliceChoice> choices) = 0;
};

/// Bytes that the payloads of all slices may take, without and with other weights than the
/// variant's own in the header.
struct PayloadBudget {
  std::uint64_t ownWeights = 0;
  std::uint64_t otherWeights = 0;

  std::uint64_t For(const FrameQuantiser& frame) const {
    return NeedsOtherWeights(frame) ? otherWeights : ownWeights;
  }
};

class CoarsenessSearch;

/// One encoder's rate control; its memory grows with the slice count and is kept between frames.
class RateControl {
 public:
  /// Chooses a quantiser for each slice of a grid that has one at least.
  ///
  /// The payloads sum up to at most the budget whenever the coarsest rung fits into it, else
  /// every slice is on the coarsest rung. The result stays valid until the next call.
  /// @throws std::bad_alloc.
  std::span<const SliceChoice> Choose(SliceMeter& meter, const SliceGrid& grid,
                                      const PayloadBudget& budget);

 private:
  void Resize(const SliceGrid& grid);
  FrameQuantiser Guess(SliceMeter& meter, const PayloadBudget& budget, CoarsenessSearch& search);
  void FitSample(SliceMeter& meter, std::size_t count, const PayloadBudget& budget,
                 FrameQuantiser& frame, CoarsenessSearch& search);
  bool IsShortOfChroma() const;
  void Fit(SliceMeter& meter, const PayloadBudget& budget, FrameQuantiser frame,
           CoarsenessSearch& search);

  SliceGrid grid_;
  std::vector<std::uint32_t> sample_;  ///< the slices of some strips, scattered
  std::vector<SliceChoice> measured_;  ///< the last that was measured of each slice
  std::vector<SliceChoice> fitting_;   ///< those of the finest frame known to fit
};

}  // namespace prores

#endif  // CODEC_RATE_RATECONTROL_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENCODE_RATE_RATECONTROL_H
#define CODEC_ENCODE_RATE_RATECONTROL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "encode/rate/Coarseness.h"
#include "encode/rate/CoarsenessSearch.h"

/**
 * @file
 * Chooses each slice's quantiser so that a frame meets its budget.
 *
 * The search is for one number, the coarseness of the frame (encode/rate/Coarseness.h), which
 * determines the quantisers of all slices: the finest with which the frame fits, to within a
 * thousandth of its budget. Nothing is carried over from frame to frame and all decisions use
 * integers, so a frame's bytes depend on its picture alone.
 *
 * Measuring slices is most of the work. The coarseness is therefore estimated with growing samples
 * of slices, each of which begins with the previous one. Samples come from a few whole strips
 * (macroblock rows), so that the other strips are needed only when an accurate estimate is known.
 * And the closer two steps of the search are, the fewer slices change their quantiser; only those
 * are measured again.
 */

namespace prores {

/// Coded bytes of the components of a slice. A slice of eight macroblocks stays below 2^16: see
/// MaxFrameBytes().
struct SliceSize {
  std::uint16_t luma = 0;
  std::uint16_t cb = 0;
  std::uint16_t cr = 0;

  constexpr std::uint64_t Payload() const { return std::uint64_t{luma} + cb + cr; }
};

/// Dimensions of a frame in slices, which are numbered strip by strip.
struct SliceGrid {
  std::uint32_t strips = 0;
  std::uint32_t slicesPerStrip = 0;

  std::size_t Slices() const { return std::size_t{strips} * slicesPerStrip; }
  bool operator==(const SliceGrid&) const = default;
};

/// The quantiser of a slice, and its size with it.
struct SliceChoice {
  static constexpr SliceQuantiser kNotMeasured{.rung = kCoarsestRung + 1};

  SliceQuantiser quantiser = kNotMeasured;
  SliceSize size;
};

/// Bytes that the payloads of all slices may take, with the variant's own weights in the header and
/// with others.
struct PayloadBudget {
  std::uint64_t ownWeights = 0;
  std::uint64_t otherWeights = 0;

  std::uint64_t For(const FrameQuantiser& frame) const {
    return NeedsOtherWeights(frame) ? otherWeights : ownWeights;
  }
};

/**
 * One encoder's rate control. Its memory grows with the slice count and is kept between frames.
 *
 * It decides what to measure next, and its owner measures:
 *
 *     control.Start(grid, budget);
 *     while (control.IsEstimating()) { ...measure Sample()...; control.JudgeSample(); }
 *     while (!control.IsSettled()) { ...measure all slices...; control.JudgeFrame(); }
 *
 * To measure slices means to bring their entries of Measured() to what they are in a frame with
 * Quantiser().
 */
class RateControl {
 public:
  /// Begins a frame.
  /// @param grid   has at least one slice.
  /// @param finest coarseness that the frame may have: kFinest or kFinestHalved.
  /// @throws std::bad_alloc.
  void Start(const SliceGrid& grid, const PayloadBudget& budget, Coarseness finest);

  /// Whether the frame's quantiser is still being estimated with samples.
  bool IsEstimating() const { return stage_ == Stage::kSample; }
  /// Whether all slices have their quantisers.
  bool IsSettled() const { return stage_ == Stage::kSettled; }

  /// The quantiser of the frame to measure.
  const FrameQuantiser& Quantiser() const { return quantiser_; }
  /// The slices to measure while IsEstimating(); all of them lie in SampleStrips().
  std::span<const std::uint32_t> Sample() const { return std::span(sample_).first(sampleCount_); }
  std::span<const std::uint32_t> SampleStrips() const { return sampleStrips_; }
  /// Latest measurements, by slice.
  std::span<SliceChoice> Measured() { return measured_; }

  /// Chooses the quantiser to measure next, after Sample() was measured.
  void JudgeSample();
  /// Chooses the quantiser to measure next, after all slices were measured, or settles.
  void JudgeFrame();

  /// Returns the choice for each slice, once settled. The payloads sum up to at most the budget
  /// whenever the coarsest rung fits into it, else every slice is on the coarsest rung.
  std::span<const SliceChoice> Chosen() const { return fitting_; }

 private:
  enum class Stage { kSample, kFrame, kSettled };

  void Resize(const SliceGrid& grid);
  void StartSample(std::size_t count);
  Coarseness Finest() const;
  bool IsShortOfChroma() const;

  SliceGrid grid_;
  PayloadBudget budget_;
  Coarseness finest_ = kFinest;
  Stage stage_ = Stage::kSettled;
  FrameQuantiser quantiser_;
  CoarsenessSearch search_;
  std::vector<std::uint32_t> sample_;        ///< all slices of SampleStrips(), scattered
  std::vector<std::uint32_t> sampleStrips_;  ///< ascending
  std::size_t sampleCount_ = 0;              ///< slices of the current sample
  std::vector<SliceChoice> measured_;        ///< the latest of each slice
  std::vector<SliceChoice> fitting_;         ///< those of the finest frame known to fit
  bool fits_ = false;                        ///< whether `fitting_` has such a frame
};

}  // namespace prores

#endif  // CODEC_ENCODE_RATE_RATECONTROL_H

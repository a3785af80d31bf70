// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_RATE_RATECONTROL_H
#define CODEC_RATE_RATECONTROL_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/**
 * @file
 * Choice of each slice's quantiser so that a frame lands on its budget.
 *
 * Quantisers form a ladder of rungs, finest first (QuantiserLadder). The frame takes the finest
 * rung that fits as a whole; then single slices, scattered over the frame, take the next finer rung
 * while the budget lasts, which is worth 0.1 to 0.3 dB over whole rungs. Nothing is carried from
 * frame to frame and all decisions are made in integers, so that a frame's bytes depend on its
 * picture alone.
 *
 * Measuring a slice is most of the work. So a rung is looked for on growing samples of the slices,
 * of which each begins with the one before; what was measured of a rung stays known. They are taken
 * from a few whole strips (macroblock rows), so that the others are not needed before a rung is
 * known that is about right. Of the finer rung only as many slices are measured as the budget lasts
 * for.
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

/// Tells how large slices become on a rung.
class SliceMeter {
 public:
  virtual ~SliceMeter() = default;
  /// Writes the exact size of each of the named slices to `sizes[slice]`.
  virtual void Measure(unsigned rung, std::span<const std::uint32_t> slices,
                       std::span<SliceSize> sizes) = 0;
  /// Writes the exact sizes of all slices.
  virtual void MeasureAll(unsigned rung, std::span<SliceSize> sizes) = 0;
};

/// What was chosen for a slice.
struct SliceChoice {
  std::uint8_t rung;
  SliceSize size;
};

class RungSearch;

/// One encoder's rate control; its memory grows with the slice count and is kept between frames.
class RateControl {
 public:
  /// Chooses a rung for each slice of a grid that has one at least.
  ///
  /// The payloads sum up to at most `budget` bytes whenever the coarsest rung fits into it, else
  /// every slice is on the coarsest rung. The result stays valid until the next call.
  /// @throws std::bad_alloc.
  std::span<const SliceChoice> Choose(SliceMeter& meter, const SliceGrid& grid,
                                      std::uint64_t budget);

 private:
  /// The slices measured on one rung: the first so many of an order.
  struct Trial {
    unsigned rung = 0;
    std::size_t measured = 0;
    std::uint64_t bytes = 0;  ///< of the measured slices
    std::vector<SliceSize> sizes;
  };

  void Resize(const SliceGrid& grid);
  void Extend(SliceMeter& meter, Trial& trial, std::span<const std::uint32_t> order,
              std::size_t count) const;
  void MeasureSample(SliceMeter& meter, unsigned rung, std::size_t count);
  void MeasureProbe(SliceMeter& meter, unsigned rung);
  unsigned GuessRung(SliceMeter& meter, std::uint64_t budget, RungSearch& search);
  void ChooseAround(SliceMeter& meter, std::uint64_t budget, unsigned guess, RungSearch& search);
  bool Fill(SliceMeter& meter, std::uint64_t budget);
  std::size_t NextChunk(std::size_t done, std::uint64_t total, std::uint64_t budget) const;
  void ChooseForAll(const Trial& trial);

  SliceGrid grid_;
  std::vector<std::uint32_t> scattered_;  ///< all slices, each far from those just before it
  std::vector<std::uint32_t> sample_;     ///< those of some strips, scattered
  Trial sampled_;
  Trial probe_;
  Trial coarse_;  ///< the finest rung known to fit
  Trial fine_;    ///< the next finer one
  std::vector<SliceChoice> choices_;
};

}  // namespace prores

#endif  // CODEC_RATE_RATECONTROL_H

// SPDX-License-Identifier: BSD-2-Clause
#include "rate/RateControl.h"

#include <algorithm>
#include <numeric>

#include "rate/CoarsenessSearch.h"

namespace prores {
namespace {

/// Slices of the first sample. It finds the neighbourhood in a few steps; each larger one
/// usually needs a single look.
constexpr std::size_t kFirstSample = 32;
constexpr std::size_t kSampleGrowth = 8;
/// Of the last one, at least, as far as there are so many.
constexpr std::uint32_t kSampleSlices = 160;
constexpr std::uint32_t kSampleStrips = 8;

/// Where the search begins: amid those of natural pictures, at a scale of 24.
constexpr Coarseness kFirstCoarseness = 5 * kOctave + kOctave / 2;

/// The weights of chroma are lowered where it would have less than this part of the bytes at the
/// scale of pictures that are hard to code, and at finer scales less in proportion.
constexpr std::uint64_t kLeastChromaShare = 6;
constexpr std::uint64_t kHardScale = 60;

/// The sample has a strip from each of so many even parts of the frame, each at another place in
/// its part, so that no regular pattern misleads. Slices that follow each other are spread over all
/// of them by a step of the golden section.
void FillSample(const SliceGrid& grid, std::vector<std::uint32_t>& sample) {
  const std::uint32_t wanted = (kSampleSlices + grid.slicesPerStrip - 1) / grid.slicesPerStrip;
  const std::uint32_t strips = std::min(grid.strips, std::max(kSampleStrips, wanted));
  const std::size_t count = std::size_t{strips} * grid.slicesPerStrip;
  std::size_t step = std::max<std::size_t>(1, count * 618 / 1000);
  while (std::gcd(step, count) != 1) ++step;
  for (std::size_t i = 0, next = 0; i < count; ++i, next = (next + step) % count) {
    const std::size_t part = next / grid.slicesPerStrip;
    const std::size_t first = part * grid.strips / strips;
    const std::size_t end = (part + 1) * grid.strips / strips;
    const std::size_t strip = first + 618 * part % 1000 * (end - first) / 1000;
    sample.push_back(
        static_cast<std::uint32_t>(strip * grid.slicesPerStrip + next % grid.slicesPerStrip));
  }
}

}  // namespace

std::span<const SliceChoice> RateControl::Choose(SliceMeter& meter, const SliceGrid& grid,
                                                 const PayloadBudget& budget) {
  Resize(grid);
  std::ranges::fill(measured_, SliceChoice{});
  CoarsenessSearch search;
  const FrameQuantiser guess = Guess(meter, budget, search);
  Fit(meter, budget, guess, search);
  return fitting_;
}

void RateControl::Resize(const SliceGrid& grid) {
  if (grid_ == grid) return;
  grid_ = {};  // if memory runs out below, the next frame comes here again
  measured_.resize(grid.Slices());
  fitting_.resize(grid.Slices());
  sample_.clear();
  FillSample(grid, sample_);
  grid_ = grid;
}

/// The quantiser with which the frame is expected to fit, judged by samples.
FrameQuantiser RateControl::Guess(SliceMeter& meter, const PayloadBudget& budget,
                                  CoarsenessSearch& search) {
  FrameQuantiser frame{.coarseness = kFirstCoarseness};
  for (std::size_t count = kFirstSample; count < sample_.size(); count *= kSampleGrowth) {
    FitSample(meter, count, budget, frame, search);
  }
  FitSample(meter, sample_.size(), budget, frame, search);
  if (IsShortOfChroma()) {
    frame.chromaQuarters = kLowerChroma;
    FitSample(meter, sample_.size(), budget, frame, search);
  }
  return frame;
}

/// Brings the first `count` slices of the sample near their part of the budget.
void RateControl::FitSample(SliceMeter& meter, std::size_t count, const PayloadBudget& budget,
                            FrameQuantiser& frame, CoarsenessSearch& search) {
  const auto sample = std::span<const std::uint32_t>(sample_).first(count);
  search.Restart();
  do {
    meter.Measure(frame, sample, measured_);
    std::uint64_t bytes = 0;
    for (const std::uint32_t slice : sample) bytes += measured_[slice].size.Payload();
    search.Add(frame.coarseness, bytes * grid_.Slices(), budget.For(frame) * count);
    frame.coarseness = search.Next();
  } while (!search.IsSettled() && !search.IsClose());
}

/// Whether luma is so hard to code that, with its whole weights, hardly any bytes are left for
/// chroma. The sample tells.
bool RateControl::IsShortOfChroma() const {
  std::uint64_t luma = 0;
  std::uint64_t chroma = 0;
  std::uint64_t scales = 0;
  for (const std::uint32_t slice : sample_) {
    const SliceChoice& choice = measured_[slice];
    luma += choice.size.luma;
    chroma += std::uint64_t{choice.size.cb} + choice.size.cr;
    scales += ScaleOf(choice.quantiser.rung);
  }
  const std::uint64_t scale = std::min(scales / sample_.size(), kHardScale);
  return chroma * kLeastChromaShare * kHardScale < (luma + chroma) * scale;
}

/// Measures the whole frame until nothing is left to gain. The last frame measured is the one that
/// is chosen where none fits: it is the coarsest.
void RateControl::Fit(SliceMeter& meter, const PayloadBudget& budget, FrameQuantiser frame,
                      CoarsenessSearch& search) {
  search.Restart();
  bool fits = false;
  do {
    meter.MeasureAll(frame, measured_);
    std::uint64_t bytes = 0;
    for (const SliceChoice& choice : measured_) bytes += choice.size.Payload();
    const std::uint64_t room = budget.For(frame);
    if (bytes <= room) fitting_ = measured_;
    fits = fits || bytes <= room;
    search.Add(frame.coarseness, bytes, room);
    frame.coarseness = search.Next();
  } while (!search.IsSettled());
  if (!fits) fitting_ = measured_;
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "rate/RateControl.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "rate/QuantiserLadder.h"

namespace prores {
namespace {

/// A guess is made from one slice in eight, but from no fewer than this.
constexpr std::size_t kSampleShare = 8;
constexpr std::size_t kMinSample = 32;

std::uint64_t TotalPayload(std::span<const std::uint32_t> slices,
                           std::span<const SliceSize> sizes) {
  std::uint64_t total = 0;
  for (const std::uint32_t slice : slices) total += sizes[slice].Payload();
  return total;
}

/// Every slice once. A step of the golden section spreads any run of slices over the frame.
void FillScattered(std::span<std::uint32_t> order) {
  const std::size_t count = order.size();
  std::size_t step = std::max<std::size_t>(1, count * 618 / 1000);
  while (std::gcd(step, count) != 1) ++step;
  std::size_t slice = 0;
  for (std::uint32_t& entry : order) {
    entry = static_cast<std::uint32_t>(slice);
    slice = (slice + step) % count;
  }
}

}  // namespace

std::span<const SliceChoice> RateControl::Choose(SliceMeter& meter, std::size_t sliceCount,
                                                 std::uint64_t budget) {
  Resize(sliceCount);
  Bracket(meter, budget, GuessRung(meter, budget));
  Fill(budget);
  return choices_;
}

void RateControl::Resize(std::size_t sliceCount) {
  if (scattered_.size() == sliceCount) return;
  scattered_.clear();  // if memory runs out below, the next frame comes here again
  for (Trial* trial : {&probe_, &coarse_, &fine_}) trial->sizes.resize(sliceCount);
  choices_.resize(sliceCount);
  scattered_.resize(sliceCount);
  FillScattered(scattered_);
}

/// The finest rung on which a sample of the slices fits its share of the budget.
unsigned RateControl::GuessRung(SliceMeter& meter, std::uint64_t budget) {
  const std::size_t count = scattered_.size();
  const std::size_t sampled = std::min(count, std::max(kMinSample, count / kSampleShare));
  const std::span<const std::uint32_t> sample = std::span(scattered_).first(sampled);
  unsigned finest = 0;
  unsigned coarsest = kCoarsestRung;
  while (finest < coarsest) {
    const unsigned rung = (finest + coarsest) / 2;
    meter.Measure(rung, sample, probe_.sizes);
    if (TotalPayload(sample, probe_.sizes) * count <= budget * sampled) {
      coarsest = rung;
    } else {
      finest = rung + 1;
    }
  }
  return coarsest;
}

/// Finds neighbouring rungs of which the coarser fits and the finer does not. Where even rung 0
/// fits, that is `coarse_` and its own finer neighbour; where nothing fits, both are the coarsest.
///
/// The guess is nearly always one of the two, so the first strides away from it are short.
void RateControl::Bracket(SliceMeter& meter, std::uint64_t budget, unsigned guess) {
  int tooLarge = -1;
  int fitting = kCoarsestRung + 1;
  int rung = static_cast<int>(guess);
  for (int stride = 1; fitting - tooLarge > 1; stride *= 2) {
    probe_.rung = static_cast<unsigned>(rung);
    meter.Measure(probe_.rung, scattered_, probe_.sizes);
    const bool fits = TotalPayload(scattered_, probe_.sizes) <= budget;
    (fits ? fitting : tooLarge) = rung;
    std::swap(fits ? coarse_ : fine_, probe_);
    rung = fits ? std::max(rung - stride, (tooLarge + rung) / 2)
                : std::min(rung + stride, (fitting + rung) / 2);
  }
  if (tooLarge < 0) fine_ = coarse_;
  if (fitting > static_cast<int>(kCoarsestRung)) coarse_ = fine_;
}

void RateControl::Fill(std::uint64_t budget) {
  std::uint64_t total = TotalPayload(scattered_, coarse_.sizes);
  for (const std::uint32_t slice : scattered_) {
    const std::uint64_t refined =
        total - coarse_.sizes[slice].Payload() + fine_.sizes[slice].Payload();
    const bool refine = refined <= budget;
    const Trial& chosen = refine ? fine_ : coarse_;
    choices_[slice] = {static_cast<std::uint8_t>(chosen.rung), chosen.sizes[slice]};
    if (refine) total = refined;
  }
}

}  // namespace prores

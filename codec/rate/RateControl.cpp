// SPDX-License-Identifier: BSD-2-Clause
#include "rate/RateControl.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "rate/QuantiserLadder.h"
#include "rate/RungSearch.h"

namespace prores {
namespace {

/// Slices of the first sample. It finds the neighbourhood in a few steps; each larger one
/// usually needs a single look.
constexpr std::size_t kFirstSample = 32;
constexpr std::size_t kSampleGrowth = 8;
/// Of the last one, at least, as far as there are so many.
constexpr std::uint32_t kSampleSlices = 160;
constexpr std::uint32_t kSampleStrips = 8;

/// Where the search begins: amid the rungs of natural pictures.
constexpr unsigned kFirstRung = 24;

/// Slices of the finer rung that are measured at a time, at first and at least.
constexpr std::size_t kFirstChunk = 64;
constexpr std::size_t kMinChunk = 32;
/// The fill ends when so many slices found no room: little of it can be left.
constexpr std::size_t kMaxRefusals = 24;

/// Calls visit(i) once for each i below `count`. A step of the golden section spreads any run of
/// them over the whole.
template <typename Visit>
void Scatter(std::size_t count, Visit&& visit) {
  std::size_t step = std::max<std::size_t>(1, count * 618 / 1000);
  while (std::gcd(step, count) != 1) ++step;
  std::size_t next = 0;
  for (std::size_t i = 0; i < count; ++i) {
    visit(next);
    next = (next + step) % count;
  }
}

/// The sample has a strip from each of so many even parts of the frame, each at another place in
/// its part, so that no regular pattern misleads.
void FillSample(const SliceGrid& grid, std::vector<std::uint32_t>& sample) {
  const std::uint32_t wanted = (kSampleSlices + grid.slicesPerStrip - 1) / grid.slicesPerStrip;
  const std::uint32_t strips = std::min(grid.strips, std::max(kSampleStrips, wanted));
  Scatter(std::size_t{strips} * grid.slicesPerStrip, [&](std::size_t i) {
    const std::size_t part = i / grid.slicesPerStrip;
    const std::size_t first = part * grid.strips / strips;
    const std::size_t end = (part + 1) * grid.strips / strips;
    const std::size_t strip = first + 618 * part % 1000 * (end - first) / 1000;
    sample.push_back(
        static_cast<std::uint32_t>(strip * grid.slicesPerStrip + i % grid.slicesPerStrip));
  });
}

}  // namespace

std::span<const SliceChoice> RateControl::Choose(SliceMeter& meter, const SliceGrid& grid,
                                                 std::uint64_t budget) {
  Resize(grid);
  for (Trial* trial : {&sampled_, &probe_, &coarse_, &fine_}) trial->measured = 0;
  RungSearch search;
  const unsigned guess = GuessRung(meter, budget, search);
  ChooseAround(meter, budget, guess, search);
  return choices_;
}

void RateControl::Resize(const SliceGrid& grid) {
  if (grid_ == grid) return;
  grid_ = {};  // if memory runs out below, the next frame comes here again
  const std::size_t slices = grid.Slices();
  for (Trial* trial : {&sampled_, &probe_, &coarse_, &fine_}) trial->sizes.resize(slices);
  choices_.resize(slices);
  scattered_.clear();
  Scatter(slices,
          [this](std::size_t slice) { scattered_.push_back(static_cast<std::uint32_t>(slice)); });
  sample_.clear();
  FillSample(grid, sample_);
  grid_ = grid;
}

/// Brings the measured slices of `trial` up to `count`.
void RateControl::Extend(SliceMeter& meter, Trial& trial, std::span<const std::uint32_t> order,
                         std::size_t count) const {
  if (count <= trial.measured) return;
  if (trial.measured == 0) trial.bytes = 0;
  const auto slices = order.subspan(trial.measured, count - trial.measured);
  meter.Measure(trial.rung, slices, trial.sizes);
  for (const std::uint32_t slice : slices) trial.bytes += trial.sizes[slice].Payload();
  trial.measured = count;
}

void RateControl::MeasureSample(SliceMeter& meter, unsigned rung, std::size_t count) {
  if (sampled_.rung != rung) sampled_.measured = 0;
  sampled_.rung = rung;
  Extend(meter, sampled_, sample_, count);
}

void RateControl::MeasureProbe(SliceMeter& meter, unsigned rung) {
  meter.MeasureAll(rung, probe_.sizes);
  probe_.rung = rung;
  probe_.measured = grid_.Slices();
  probe_.bytes = 0;
  for (const SliceSize& size : probe_.sizes) probe_.bytes += size.Payload();
}

/// The finest rung on which the frame is expected to fit, judged by samples.
unsigned RateControl::GuessRung(SliceMeter& meter, std::uint64_t budget, RungSearch& search) {
  const std::size_t all = grid_.Slices();
  unsigned rung = kFirstRung;
  const std::size_t largest = sample_.size();
  for (std::size_t count = std::min(kFirstSample, largest); count < all;
       count = std::min(kSampleGrowth * count, largest)) {
    search.Restart();
    do {
      MeasureSample(meter, rung, count);
      search.Add(rung, sampled_.bytes * all, budget * count);
      rung = search.Next();
    } while (!search.IsSettled() && !search.IsClose());
    if (count == largest) break;
  }
  return rung;
}

/// Finds the finest rung that fits as a whole and fills up with the next finer one.
void RateControl::ChooseAround(SliceMeter& meter, std::uint64_t budget, unsigned guess,
                               RungSearch& search) {
  search.Restart();
  for (unsigned rung = guess;; rung = search.Next()) {
    MeasureProbe(meter, rung);
    search.Add(rung, probe_.bytes, budget);
    std::swap(probe_.bytes <= budget ? coarse_ : fine_, probe_);
    if (fine_.measured != 0 && fine_.rung == kCoarsestRung) return ChooseForAll(fine_);
    // The fill tells as well whether the rung next to the coarse one fits as a whole.
    while (coarse_.measured != 0 && search.Next() + 1 >= coarse_.rung) {
      if (coarse_.rung == 0) return ChooseForAll(coarse_);
      if (Fill(meter, budget)) return;
      search.Add(fine_.rung, fine_.bytes, budget);
      std::swap(coarse_, fine_);
    }
  }
}

/// Refines slices from `coarse_` to the next finer rung.
/// @return false if there is room for all.
bool RateControl::Fill(SliceMeter& meter, std::uint64_t budget) {
  if (fine_.rung != coarse_.rung - 1) fine_.measured = 0;
  fine_.rung = coarse_.rung - 1;
  const std::size_t count = scattered_.size();
  std::uint64_t total = coarse_.bytes;
  std::size_t refusals = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (i == fine_.measured && refusals < kMaxRefusals) {
      Extend(meter, fine_, scattered_, std::min(count, i + NextChunk(i, total, budget)));
    }
    const std::uint32_t slice = scattered_[i];
    const std::uint64_t refined =
        total - coarse_.sizes[slice].Payload() + fine_.sizes[slice].Payload();
    const bool refine = i < fine_.measured && refined <= budget;
    const Trial& chosen = refine ? fine_ : coarse_;
    choices_[slice] = {static_cast<std::uint8_t>(chosen.rung), chosen.sizes[slice]};
    if (refine) total = refined;
    refusals += refine ? 0 : 1;
  }
  return refusals > 0;
}

/// How many slices to measure next for the fill, after `done` have brought the frame to `total`:
/// as many as the rest of the budget is expected to last for.
std::size_t RateControl::NextChunk(std::size_t done, std::uint64_t total,
                                   std::uint64_t budget) const {
  if (done == 0) return kFirstChunk;
  if (total <= coarse_.bytes) return scattered_.size();
  const std::uint64_t expected = (budget - total) * done / (total - coarse_.bytes);
  return std::max<std::size_t>(kMinChunk, expected);
}

void RateControl::ChooseForAll(const Trial& trial) {
  for (std::size_t slice = 0; slice < choices_.size(); ++slice) {
    choices_[slice] = {static_cast<std::uint8_t>(trial.rung), trial.sizes[slice]};
  }
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/RateControl.h"

#include <algorithm>
#include <numeric>

namespace prores {
namespace {

/// Slices of the first sample. It finds the neighbourhood in a few steps; each larger sample
/// usually needs one.
constexpr std::size_t kFirstSample = 32;
constexpr std::size_t kSampleGrowth = 8;
/// Least slices and strips of the last sample, if the frame has so many.
constexpr std::uint32_t kSampleSlices = 160;
constexpr std::uint32_t kSampleStrips = 8;

/// Where the search begins: a scale of 24, amid those of natural pictures.
constexpr Coarseness kFirstCoarseness = 5 * kOctave + kOctave / 2;

/// The weights of chroma are lowered where it would have less than this part of the bytes at
/// kHardScale, the scale of pictures that are hard to code; at finer scales less in proportion.
constexpr std::uint64_t kLeastChromaShare = 6;
constexpr std::uint64_t kHardScale = 60;

/// Takes one strip from each of so many equal parts of the frame, each at another place in its
/// part, so that no regular pattern misleads. A step of the golden section spreads successive
/// slices over all strips.
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

void RateControl::Start(const SliceGrid& grid, const PayloadBudget& budget, Coarseness finest) {
  Resize(grid);
  std::ranges::fill(measured_, SliceChoice{});
  budget_ = budget;
  finest_ = finest;
  quantiser_ = {.coarseness = kFirstCoarseness};
  search_ = CoarsenessSearch(finest);
  fits_ = false;
  stage_ = Stage::kSample;
  StartSample(kFirstSample);
}

void RateControl::Resize(const SliceGrid& grid) {
  if (grid_ == grid) return;
  grid_ = {};  // if memory runs out below, the next frame gets here again
  measured_.resize(grid.Slices());
  fitting_.resize(grid.Slices());
  sample_.clear();
  FillSample(grid, sample_);
  sampleStrips_.clear();
  for (const std::uint32_t slice : sample_) sampleStrips_.push_back(slice / grid.slicesPerStrip);
  std::ranges::sort(sampleStrips_);
  sampleStrips_.erase(std::unique(sampleStrips_.begin(), sampleStrips_.end()), sampleStrips_.end());
  grid_ = grid;
}

void RateControl::StartSample(std::size_t count) {
  sampleCount_ = std::min(count, sample_.size());
  search_.Restart(Finest());
}

/// Half of lower weights of chroma would not be whole.
Coarseness RateControl::Finest() const {
  return quantiser_.chromaQuarters == kQuarters ? finest_ : kFinest;
}

/// Brings each sample near its part of the budget before the next larger one is measured.
void RateControl::JudgeSample() {
  std::uint64_t bytes = 0;
  for (const std::uint32_t slice : Sample()) bytes += measured_[slice].size.Payload();
  search_.Add(quantiser_.coarseness, bytes * grid_.Slices(),
              budget_.For(quantiser_) * sampleCount_);
  quantiser_.coarseness = search_.Next();
  if (!search_.IsSettled() && !search_.IsClose()) return;

  if (sampleCount_ < sample_.size()) return StartSample(sampleCount_ * kSampleGrowth);
  const bool hasEnough = quantiser_.coarseness < kFinest;
  if (quantiser_.chromaQuarters == kQuarters && !hasEnough && IsShortOfChroma()) {
    quantiser_.chromaQuarters = kLowerChroma;
    return StartSample(sampleCount_);
  }
  stage_ = Stage::kFrame;
  search_.Restart(Finest());
}

/// Whether luma is so hard to code that, with its full weights, hardly any bytes are left for
/// chroma, judged by the sample.
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

void RateControl::JudgeFrame() {
  std::uint64_t bytes = 0;
  for (const SliceChoice& choice : measured_) bytes += choice.size.Payload();
  const std::uint64_t room = budget_.For(quantiser_);
  if (bytes <= room) {
    fitting_ = measured_;
    fits_ = true;
  }
  search_.Add(quantiser_.coarseness, bytes, room);
  quantiser_.coarseness = search_.Next();
  if (!search_.IsSettled()) return;
  // Where nothing fits, the last frame measured is the coarsest.
  if (!fits_) fitting_ = measured_;
  stage_ = Stage::kSettled;
}

}  // namespace prores

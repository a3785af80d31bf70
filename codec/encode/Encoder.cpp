// SPDX-License-Identifier: BSD-2-Clause
#include "encode/Encoder.h"

#include <algorithm>
#include <atomic>

#include "Ensure.h"
#include "encode/SourceFrame.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/Variant.h"
#include "pixel/PixelFormat.h"

namespace prores {
namespace {

/// Returns the finest coarseness of a frame.
constexpr Coarseness FinestOf(const VariantProfile& profile) {
  return profile.mayHalveWeights ? kFinestHalved : kFinest;
}

/// Safety margin below the estimated coarseness: the final one is hardly ever finer.
constexpr Coarseness kMargin = kOctave / 8;

Status CheckArguments(const EncodeParamsRecord& params, const PixelBufferRecord& source) {
  const VariantProfile* const profile = FindVariant(params.codecType);
  const bool interlaced = params.interlaceMode == kWPRTopFieldFirst;
  if (profile == nullptr || !IsValidPicture(source) ||
      GetPixelFormat(source.pixelFormat).chroma != profile->chroma ||
      (params.interlaceMode != kWPRProgressive && !interlaced)) {
    return Status::kBadArgument;
  }
  const Status status = CheckFrameSize(*profile, source.width, source.height);
  if (status != Status::kSuccess) return status;
  // Decoders disagree about the macroblock rows of two fields that need different numbers of them.
  const bool unequalFields = source.height % (2 * kMacroblockSize) == 1;
  return interlaced && unequalFields ? Status::kUnsupported : Status::kSuccess;
}

}  // namespace

Status Encoder::Encode(const EncodeParamsRecord& params, const PixelBufferRecord& source,
                       std::span<std::uint8_t> destination, std::uint32_t& compressedBytes) {
  if (pool_.IsForked()) return Status::kForked;
  if (const Status status = CheckArguments(params, source); status != Status::kSuccess) {
    return status;
  }
  if (!limits_.Allow(source.width, source.height)) return Status::kTooLarge;
  const SourceFrame frame(params, source, *FindVariant(params.codecType), settings_);
  analysis_.Reset(frame, pool_.StartWorkers(frame.Slices()));
  rateControl_.Start({frame.strips, frame.layout.SlicesPerRow()}, frame.budget,
                     FinestOf(frame.profile));

  AnalyseSample(frame);
  while (rateControl_.IsEstimating()) {
    MeasureSample();
    rateControl_.JudgeSample();
  }
  while (!rateControl_.IsSettled()) {
    AnalyseAndMeasureAll(frame);
    rateControl_.JudgeFrame();
  }
  return Write(frame, destination, compressedBytes);
}

/// Calls task(i) for each i below `count`. The threads take indices in groups, which makes sharing
/// them cheap.
template <typename Task>
void Encoder::ForEachSlice(std::size_t count, Task&& task) {
  constexpr std::size_t kGroup = 16;
  pool_.ParallelFor(static_cast<std::uint32_t>((count + kGroup - 1) / kGroup),
                    [&](std::uint32_t group, std::uint32_t /*worker*/) {
                      const std::size_t end = std::min(count, (group + 1) * kGroup);
                      for (std::size_t i = group * kGroup; i < end; ++i) task(i);
                    });
}

void Encoder::AnalyseSample(const SourceFrame& frame) {
  // Keeps everything that any quantiser keeps.
  const FrameQuantiser finest{.coarseness = FinestOf(frame.profile),
                              .chromaQuarters = kLowerChroma};
  const std::span<const std::uint32_t> strips = rateControl_.SampleStrips();
  pool_.ParallelFor(static_cast<std::uint32_t>(strips.size()),
                    [&](std::uint32_t i, std::uint32_t worker) {
                      analysis_.AnalyseStrip(strips[i], finest, false, worker);
                    });
}

void Encoder::MeasureSample() {
  const std::span<const std::uint32_t> sample = rateControl_.Sample();
  const std::span<SliceChoice> choices = rateControl_.Measured();
  ForEachSlice(sample.size(), [&](std::size_t i) {
    // The slices of the sample lie far apart in memory.
    if (i + 1 < sample.size()) analysis_.Coefficients().Prefetch(sample[i + 1]);
    analysis_.MeasureSlice(rateControl_.Quantiser(), sample[i], choices[sample[i]]);
  });
}

/// Analyses the strips that need it, and measures each strip while its coefficients are in
/// cache.
void Encoder::AnalyseAndMeasureAll(const SourceFrame& frame) {
  const FrameQuantiser& quantiser = rateControl_.Quantiser();
  FrameQuantiser finest = quantiser;
  finest.coarseness = std::max(FinestOf(frame.profile), quantiser.coarseness - kMargin);
  const bool onGrid = analysis_.FoundGrid();
  pool_.ParallelFor(frame.strips, [&](std::uint32_t strip, std::uint32_t worker) {
    if (!analysis_.Covers(strip, quantiser)) analysis_.AnalyseStrip(strip, finest, onGrid, worker);
    analysis_.MeasureStrip(quantiser, strip, rateControl_.Measured());
  });
}

Status Encoder::Write(const SourceFrame& frame, std::span<std::uint8_t> destination,
                      std::uint32_t& compressedBytes) {
  const std::uint64_t frameBytes = writer_.Plan(frame, analysis_, rateControl_.Chosen());
  const PixelBufferRecord& source = frame.source;
  if (!Ensure(frameBytes <= MaxFrameBytes(frame.profile, source.width, source.height))) {
    return Status::kInternalError;
  }
  if (frameBytes > destination.size()) return Status::kDestinationTooSmall;

  std::atomic<bool> written = writer_.WriteHeaders(frame, destination.data());
  ForEachSlice(frame.Slices(), [&](std::size_t slice) {
    if (!writer_.WriteSlice(static_cast<std::uint32_t>(slice), destination.data())) {
      written = false;
    }
  });
  if (!written) return Status::kInternalError;
  compressedBytes = static_cast<std::uint32_t>(frameBytes);
  return Status::kSuccess;
}

}  // namespace prores

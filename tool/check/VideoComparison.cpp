// SPDX-License-Identifier: BSD-2-Clause
#include "check/VideoComparison.h"

#include <algorithm>
#include <array>
#include <exception>
#include <functional>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "check/PictureQuality.h"
#include "media/raw/WidenedReader.h"
#include "run/OpenInput.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

[[noreturn]] void FailAtCounts(const std::string& reference, std::int64_t referenceFrames,
                               const std::string& distorted, std::int64_t distortedFrames) {
  const std::int64_t common = std::min(referenceFrames, distortedFrames);
  throw Failure(reference + " has " + Count(referenceFrames, "frame") + " and " + distorted +
                " has " + std::to_string(distortedFrames) + "; --frames 0-" +
                std::to_string(common - 1) + " compares the first " + std::to_string(common) +
                " of both, and --offset N those that come N later in " + distorted);
}

ComparedVideo DescribeSource(const PictureSource& source) {
  return {source.GetReader().GetName(),
          source.GetStreamFormat(),
          source.GetPictureFormat(),
          source.GetReader().GetDescription().frames,
          {}};
}

// Returns the range of the reference. Without a range, frames before the other video are left out.
std::optional<FrameRange> ChooseRange(const FrameReader& reference,
                                      const std::optional<FrameRange>& range, std::int64_t offset) {
  if (range) return ResolveRange(range, reference);
  return offset < 0 ? std::optional(FrameRange{-offset}) : std::nullopt;
}

// Returns the range of the other video. Its timecodes are its own, its numbers the reference's.
std::optional<FrameRange> Shift(const FrameReader& reader, const FrameReader& reference,
                                const std::optional<FrameRange>& range, std::int64_t offset) {
  if (!range) return offset > 0 ? std::optional(FrameRange{offset}) : std::nullopt;
  const bool hasTimecodes = !(range->firstTimecode + range->lastTimecode).empty();
  FrameRange shifted = *ResolveRange(range, hasTimecodes ? reader : reference);
  shifted.first += offset;
  if (!shifted.IsOpen()) shifted.last += offset;
  if (shifted.first >= 0) return shifted;
  throw Failure(reader.GetName() + ": has no frame " + std::to_string(shifted.first) +
                ", which --offset and --frames select");
}

// Working memory of a worker.
struct Scratch {
  SamplePicture reference;
  SamplePicture distorted;
};

}  // namespace

void PartQuality::Add(const PlaneQuality& part, unsigned bits) {
  bits_ = bits;
  errors_.Add(part.MeanSquaredError());
  if (part.squaredError > 0) psnr_.Add(ToPsnr(part.MeanSquaredError(), bits));
  ssim_.Add(part.ssim);
}

bool Comparison::IsUnrelated() const {
  constexpr double kLeastPsnr = 30;  // dB; above that of any useful encoding of other pictures
  return identical == 0 && parts[FrameQuality::kAll].PsnrOfMeanError() < kLeastPsnr;
}

std::vector<std::size_t> Comparison::FindWorst(std::size_t most) const {
  std::vector<std::size_t> worst;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    if (!frames[i].quality.IsIdentical()) worst.push_back(i);
  }
  const auto error = [this](std::size_t i) { return frames[i].quality.SortingError(); };
  std::ranges::stable_sort(worst, std::ranges::greater(), error);
  worst.resize(std::min(worst.size(), most));
  return worst;
}

const ComparedVideo* Comparison::FindAlphaLeftOut() const {
  if (depth.hasAlpha) return nullptr;
  if (reference.picture.HasAlpha()) return &reference;
  return distorted.picture.HasAlpha() ? &distorted : nullptr;
}

void AddFrame(Comparison& comparison, const ComparedFrame& frame) {
  for (std::size_t i = 0; i < comparison.depth.CountParts(); ++i) {
    comparison.parts[i].Add(frame.quality.parts[i], comparison.depth.BitsOf(i));
  }
  if (frame.quality.IsIdentical()) ++comparison.identical;
  comparison.frames.push_back(frame);
}

struct VideoComparison::Pair {
  NumberedFrame reference;
  NumberedFrame distorted;
  FrameQuality quality;
  std::optional<DamagedPicture> referenceDamage;
  std::optional<DamagedPicture> distortedDamage;
};

namespace {

// Returns true if 4:2:2 in 10 bits is not all that a video has. Images follow the other video.
bool IsFiner(const FrameReader& reader, const std::string& path) {
  const StreamFormat& format = reader.GetFormat();
  if (!format.IsRaw()) return format.is444 || format.HasAlpha();
  const InputDescription& input = reader.GetDescription();
  return !input.finer.empty() && !input.isSequence && IsReopenable(path);
}

// One of the two inputs.
struct Opened {
  const std::string& path;
  std::unique_ptr<FrameReader>& reader;

  // Opens the input again if it is open already and the reading has changed its pictures.
  void Open(const SequenceReading& reading) const {
    if (reader && !reader->GetFormat().IsRaw()) return;
    const bool isKept = reader && !IsReopenable(path);
    reader = isKept ? Widen(std::move(reader)) : OpenPictures(path, reading);
  }
};

}  // namespace

ComparedReaders OpenBoth(const ComparedInputs& inputs) {
  ComparedReaders readers;
  Opened first{inputs.reference, readers.reference};
  Opened second{inputs.distorted, readers.distorted};
  SequenceReading reading = inputs.images;
  reading.needsRate = false;
  const auto open = [&reading](const Opened& one, const Opened& other) {
    one.Open(reading);
    reading.isDeep = IsFiner(*one.reader, one.path);
    // A video states its matrix, which images are then converted with.
    if (reading.matrix == kUnspecifiedColour)
      reading.matrix = one.reader->GetFormat().colour.matrix;
    other.Open(reading);
    const bool isReopened = !reading.isDeep && IsFiner(*other.reader, other.path);
    if (isReopened) reading.isDeep = true;
    if (reading.isDeep) one.Open(reading);
    if (isReopened) other.Open(reading);
  };
  // A pipe cannot be opened again.
  const bool isSecondFirst = FindImages(inputs.reference) ||
                             (!IsReopenable(inputs.reference) && !FindImages(inputs.distorted));
  isSecondFirst ? open(second, first) : open(first, second);
  readers.isDeep = reading.isDeep;
  return readers;
}

VideoComparison::VideoComparison(ComparedReaders readers, const std::optional<FrameRange>& range,
                                 std::int64_t offset, int threads)
    : shares_(ShareThreads(threads, std::nullopt)),
      offset_(offset),
      reference_(std::move(readers.reference), shares_, readers.isDeep),
      distorted_(std::move(readers.distorted), shares_, readers.isDeep),
      referenceFrames_(reference_.GetReader(), ChooseRange(reference_.GetReader(), range, offset)),
      distortedFrames_(distorted_.GetReader(),
                       Shift(distorted_.GetReader(), reference_.GetReader(), range, offset)) {
  CheckSizes();
  if (!range && offset == 0) CheckCounts();
}

void VideoComparison::CheckSizes() const {
  const StreamFormat& a = reference_.GetPictureFormat();
  const StreamFormat& b = distorted_.GetPictureFormat();
  if (a.width == b.width && a.height == b.height) return;
  throw Failure(reference_.GetReader().GetName() + " is " + DescribeSize(a.width, a.height) +
                " and " + distorted_.GetReader().GetName() + " is " +
                DescribeSize(b.width, b.height) + "; only pictures of the same size compare");
}

void VideoComparison::CheckCounts() const {
  const auto a = reference_.GetReader().GetDescription().frames;
  const auto b = distorted_.GetReader().GetDescription().frames;
  if (!a || !b || *a == *b) return;
  FailAtCounts(reference_.GetReader().GetName(), *a, distorted_.GetReader().GetName(), *b);
}

std::optional<VideoComparison::Pair> VideoComparison::Read() {
  auto reference = referenceFrames_.Read();
  auto distorted = distortedFrames_.Read();
  if (!reference && !distorted) return std::nullopt;
  if ((!reference || !distorted) && offset_ != 0) return std::nullopt;
  if (!reference || !distorted) FailAtDifferentLengths(!reference);
  ++pairs_;
  return Pair{std::move(*reference), std::move(*distorted), {}, {}, {}};
}

// Fails with the numbers of frames. Only possible without a range, and if an input does not state
// its number of frames.
void VideoComparison::FailAtDifferentLengths(bool referenceEnded) {
  RangeReader& longer = referenceEnded ? distortedFrames_ : referenceFrames_;
  std::int64_t count = pairs_ + 1;
  while (longer.Read()) ++count;
  FailAtCounts(reference_.GetReader().GetName(), referenceEnded ? pairs_ : count,
               distorted_.GetReader().GetName(), referenceEnded ? count : pairs_);
}

Comparison VideoComparison::Describe() const {
  Comparison comparison;
  comparison.reference = DescribeSource(reference_);
  comparison.distorted = DescribeSource(distorted_);
  comparison.timecode = distorted_.GetReader().GetDescription().timecode;
  const auto& start = reference_.GetReader().GetDescription().timecode;
  if (!comparison.timecode && start) comparison.timecode = *start + -offset_;
  // The numbers of an image sequence are those of its files.
  if (comparison.timecode) comparison.timecode = *comparison.timecode + -FirstNumber();
  comparison.offset = offset_;
  comparison.firstNumber = FirstNumber();
  const StreamFormat& reference = reference_.GetPictureFormat();
  const StreamFormat& distorted = distorted_.GetPictureFormat();
  comparison.depth = {std::max(SampleBits(reference), SampleBits(distorted)),
                      reference.HasAlpha() && distorted.HasAlpha()};
  return comparison;
}

Comparison VideoComparison::Run() {
  Comparison comparison = Describe();
  for (const PictureSource* source : {&reference_, &distorted_}) {
    CheckRunMemory(source->GetPictureFormat(), shares_, source->GetReader().GetDescription().frames,
                   false);
  }
  std::vector<Scratch> scratch(shares_.elements);
  RunEnds<Pair> ends;
  ends.read = [this] { return Read(); };
  const auto compare = [&](Pair& pair, unsigned worker) {
    auto& [reference, distorted] = scratch[worker];
    auto a = reference_.Decode(pair.reference, worker);
    auto b = distorted_.Decode(pair.distorted, worker);
    reference.Load(reference_.GetPictureFormat(), BytesOf(*a.bytes), comparison.depth.colours);
    distorted.Load(distorted_.GetPictureFormat(), BytesOf(*b.bytes), comparison.depth.colours);
    pair.referenceDamage = std::move(a.damage);
    pair.distortedDamage = std::move(b.damage);
    pair.quality = MeasureQuality(reference, distorted, comparison.depth);
  };
  ends.write = [&](Pair& pair, const std::exception_ptr& failure) {
    if (failure) std::rethrow_exception(failure);
    if (pair.referenceDamage) comparison.reference.damage.push_back(*pair.referenceDamage);
    if (pair.distortedDamage) comparison.distorted.damage.push_back(*pair.distortedDamage);
    ComparedFrame frame{FirstNumber() + pair.distorted.number, pair.quality, std::nullopt};
    if (distorted_.IsProRes()) frame.bytes = pair.distorted.data->GetSize();
    AddFrame(comparison, frame);
    const auto error = pair.quality.SortingError();
    if (error > (worst_ ? worst_->error : std::pair(0.0, 0.0))) {
      worst_ = {error, std::move(pair.reference), std::move(pair.distorted)};
    }
  };
  ends.stopReading = RequestInterrupt;
  RunInOrder<Pair>(shares_.elements, ends, compare);
  return comparison;
}

}  // namespace vixprores

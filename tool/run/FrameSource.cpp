// SPDX-License-Identifier: BSD-2-Clause
#include "run/FrameSource.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "media/FrameReader.h"

namespace vixprores {
namespace {

// Frames of an open range whose sound is read: days, and no time computed from it overflows.
constexpr std::int64_t kMostFrames = INT32_MAX;

// Returns the time of a range of frames.
std::optional<TimeSpan> FindTimeSpan(const FrameReader& reader, std::optional<FrameRange> range) {
  if (!range && !reader.CutsSoundToStart()) return std::nullopt;
  if (!range) range = FrameRange();
  const StreamFormat& source = reader.GetFormat();
  const std::int64_t begin = source.start + range->first;
  const std::int64_t end = range->IsOpen() ? begin + kMostFrames : source.start + range->last + 1;
  return TimeSpan{begin, end, range->first, Invert(source.rate)};
}

void MarkLost(const FrameFailure& failure, Frame& frame) {
  frame.place.number = failure.GetFrame();
  frame.place.count = std::min(failure.GetCount(), kOpenEnd - failure.GetFrame());
  frame.place.offset = failure.GetOffset();
  frame.fault = failure.GetFound();
  frame.advice = failure.GetAdvice();
}

[[noreturn]] void RejectTimes(const FrameTimeFailure& failure, bool isRaw) {
  throw Failure(
      failure.what() +
      std::string(
          isRaw ? "\n--rate N/D takes all frames, one after the other at that rate; "
                  "--convert-rate N/D keeps their times, and repeats and drops frames; if frames "
                  "were lost, --on-error skip or conceal continues after them"
                : "\n--on-error skip or conceal goes on with the frames there are"));
}

}  // namespace

std::shared_ptr<SoundSource> BorrowSound(FrameReader& reader) {
  return {std::shared_ptr<void>(), reader.GetSideTracks()};
}

std::optional<std::int64_t> CountFrames(const FrameReader& reader,
                                        const std::optional<FrameRange>& range) {
  const auto available = reader.GetDescription().frames;
  if (!range) return available;
  if (available && range->Exceeds(*available)) {
    FailPastTheEnd(reader.GetName(), *range, *available);
  }
  if (range->IsOpen()) return available ? std::optional(*available - range->first) : std::nullopt;
  return range->last - range->first + 1;
}

FrameSource::FrameSource(std::unique_ptr<FrameReader> reader,
                         const std::optional<FrameRange>& range, DamagePolicy onDamage,
                         const std::optional<SoundRange>& soundRange,
                         std::shared_ptr<SoundSource> sound)
    : reader_(std::move(reader)),
      range_(range.value_or(FrameRange())),
      isPart_(range.has_value()),
      onDamage_(onDamage),
      convert_(reader_->GetConversion()),
      soundSource_(sound ? std::move(sound) : BorrowSound(*reader_)),
      sound_(soundSource_.get(), soundRange ? soundRange->span : FindTimeSpan(*reader_, range)),
      total_(CountFrames(*reader_, range)) {
  try {
    reader_->CheckRange(range_);
  } catch (const FrameTimeFailure& failure) {
    RejectTimes(failure, reader_->GetFormat().IsRaw());
  }
  const std::int64_t leadIn = soundRange ? soundRange->leadIn : 0;
  const std::int64_t start = std::max<std::int64_t>(0, range_.first - leadIn);
  if (start > 0 && reader_->SkipTo(start)) framesRead_ = start;
}

std::optional<Frame> FrameSource::Read() {
  while (framesRead_ <= range_.last) {
    CheckInterrupt();
    auto frame = ReadAny();
    if (!frame) {
      CheckEnd();
      return std::nullopt;
    }
    FramePlace& place = frame->place;
    framesRead_ = place.number + place.count;
    const StreamFormat& format = reader_->GetFormat();
    if (soundSource_) soundSource_->FollowVideo({format.start + framesRead_, Invert(format.rate)});
    // Sound may be stored before the pictures that it belongs to.
    std::ranges::move(sound_.Take(), std::back_inserter(soundRead_));
    if (framesRead_ <= range_.first) continue;
    frame->sound = std::exchange(soundRead_, {});
    if (frame->isUneven) ++unevenFrames_;
    // A gap may begin before the range or end after it.
    place.number = std::max(place.number, range_.first);
    place.count = std::min(framesRead_ - 1, range_.last) - place.number + 1;
    return frame;
  }
  return std::nullopt;
}

std::optional<Frame> FrameSource::ReadAny() {
  Frame frame;
  try {
    auto read = reader_->Read();
    if (!read) return std::nullopt;
    frame.place.number = read->number;
    frame.place.offset = read->offset;
    frame.source = std::move(read->data);
    frame.header = read->header;
    frame.hash = read->hash;
    frame.captions = std::move(read->captions);
    frame.isUneven = read->isUneven;
    frame.fault = std::move(read->fault);
  } catch (const FrameTimeFailure& failure) {
    if (onDamage_ == DamagePolicy::Stop) RejectTimes(failure, reader_->GetFormat().IsRaw());
    MarkLost(failure, frame);
  } catch (const FrameFailure& failure) {
    MarkLost(failure, frame);
  } catch (const UnreadableRest& rest) {
    if (onDamage_ == DamagePolicy::Stop) throw;
    frame.place = {framesRead_, 0, std::nullopt, rest.GetOffset()};  // their number is unknown
    frame.fault = "is lost with all frames after it: the file is damaged or truncated there";
  }
  const auto& timecode = reader_->GetDescription().timecode;
  if (timecode) frame.place.timecode = *timecode + frame.place.number;
  return frame;
}

void FrameSource::CheckEnd() const {
  if (framesRead_ == 0) throw Failure(GetName() + ": holds no frames");
  if (isPart_ && range_.Exceeds(framesRead_)) FailPastTheEnd(GetName(), range_, framesRead_);
}

std::string Describe(const DamagedPicture& damaged) {
  return Describe(damaged.place) + ": " + damaged.what;
}

PictureSource::PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares,
                             bool isDeep)
    : reader_(std::move(reader)),
      convert_(reader_->GetConversion()),
      format_(reader_->GetFormat()) {
  if (format_.IsRaw()) return;
  format_.code = isDeep ? vix::kFourCC_Y416 : vix::kFourCC_V210;
  format_.is444 = isDeep;
  if (!isDeep) format_.alphaBits = 0;
  decoders_.emplace(ProResElement::Decoder(format_.code, false), reader_->GetFormat(), shares);
}

FramePlace PictureSource::PlaceOf(const NumberedFrame& frame) const {
  FramePlace place{frame.number, 1, reader_->GetDescription().timecode, frame.offset};
  if (place.timecode) place.timecode = *place.timecode + frame.number;
  return place;
}

void PictureSource::FailToDecode(const NumberedFrame& frame, const std::string& fault) const {
  throw Failure(reader_->GetName() + ": " + Describe(PlaceOf(frame)) + ": " + fault +
                "; --frames leaves it out, 'vixprores verify' lists all damaged frames");
}

DecodedPicture PictureSource::Decode(const NumberedFrame& frame, unsigned worker) {
  const auto [data, fault, mended] = convert_ ? convert_(frame.data) : ConvertedFrame{frame.data};
  if (!data) FailToDecode(frame, fault);
  if (!decoders_) return {data, std::nullopt};
  const auto output =
      decoders_->Decode(worker, data, frame.header, frame.number, format_.FrameBytes());
  if (!output.sample) FailToDecode(frame, output.fault);
  DecodedPicture picture{output.sample->GetBuffer(), std::nullopt};
  std::string what = frame.fault;
  if (!output.slices.IsNone()) {
    const auto [colours, alpha] = output.slices;
    what += (what.empty() ? "" : "; ") + output.fault +
            (colours + alpha == 1 ? ", which is " : ", which are ") +
            (colours > 0 ? "concealed" : "made opaque");
  }
  if (!what.empty()) picture.damage = {PlaceOf(frame), what};
  return picture;
}

}  // namespace vixprores

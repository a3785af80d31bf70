// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ProResReader.h"

#include <cstdlib>
#include <utility>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

void RequireProRes(const ContainerTrack& track) {
  const AVCodecParameters& parameters = track.GetParameters();
  if (parameters.codec_id == AV_CODEC_ID_PRORES) return;
  throw Failure(track.GetName() + ": its video track is " + avcodec_get_name(parameters.codec_id) +
                ", not ProRes; 'vixprores encode' makes ProRes of it");
}

// Converts the failure of a field to the failure of its frame.
FrameFailure ToFrame(const std::exception_ptr& failure, const std::string& name,
                     std::int64_t number, std::optional<std::int64_t> offset) {
  try {
    std::rethrow_exception(failure);
  } catch (const FrameFailure& field) {
    return {name,
            number,
            "lacks a field, which " + field.GetFound(),
            {},
            (field.GetCount() + 1) / 2,
            offset ? offset : field.GetOffset()};
  }
}

}  // namespace

ProResReader::ProResReader(std::unique_ptr<InputFile> file, const ProResReading& reading)
    : ProResReader(std::make_unique<Demuxer>(std::move(file)), reading) {}

ProResReader::ProResReader(std::unique_ptr<Demuxer> demuxer, const ProResReading& reading)
    : track_(std::move(demuxer), reading.times), reading_(reading) {
  description_.name = track_.GetName();
  RequireProRes(track_);
  ChooseLayout();
  DescribeStream(FindHeader(reading.damagedStart));
  if (reading.inPlace) track_.KeepFramesInPlace();
}

void ProResReader::DescribeStream(const prores::FrameHeader& header) {
  description_ = track_.GetDescription();
  StreamFormat& container = *description_.container;
  container.code = FindProResVariant(track_.GetParameters().codec_tag) != nullptr
                       ? track_.GetParameters().codec_tag
                       : 0;
  StreamFormat& format = description_.format;
  format = CombineFormats(container, header);
  CheckPictureSize(GetName(), format.width, format.height);
  if (layout_ == SampleLayout::Standard) return;
  std::string& note = description_.notes.emplace_back(
      GetName() + ": its frames have no prefix with size and 'icpf'");
  if (layout_ == SampleLayout::BareFrames) return;
  // The container counts fields, in its timecodes too.
  format.rate = Reduce({format.rate.numerator, format.rate.denominator * 2});
  format.start /= 2;
  if (description_.frames) description_.frames = (*description_.frames + 1) / 2;
  description_.timecode = std::nullopt;
  note +=
      ", and each sample is one field; two fields make a frame, at half the rate of the "
      "container, " +
      Describe(format.rate) + " frames per second";
}

ProResReader::Outcome ProResReader::ReadTrack() {
  try {
    return {track_.Read(), nullptr};
  } catch (const FrameFailure&) {
    return {std::nullopt, std::current_exception()};
  }
}

void ProResReader::ChooseLayout() {
  samples_.push_back(ReadTrack());
  const auto first = samples_.front().frame;
  if (!first || FindLayout(*first->data, nullptr) == SampleLayout::Standard) return;
  samples_.push_back(ReadTrack());
  const auto& second = samples_.back().frame;
  layout_ = FindLayout(*first->data, second ? second->data.get() : nullptr);
}

ProResReader::Outcome ProResReader::TakeSample() {
  if (samples_.empty()) return ReadTrack();
  Outcome sample = std::move(samples_.front());
  samples_.pop_front();
  return sample;
}

ProResReader::Outcome ProResReader::ReadFrame() {
  Outcome outcome = TakeSample();
  if (layout_ == SampleLayout::BareFields) outcome = JoinFields(std::move(outcome));
  if (!outcome.frame) return outcome;
  NumberedFrame& frame = *outcome.frame;
  framesRead_ = frame.number + 1;
  if (layout_ == SampleLayout::BareFrames) frame.data = bareFrames_.AddPrefix(*frame.data);
  frame.header = ParseHeader(BytesOf(*frame.data));
  return outcome;
}

ProResReader::Outcome ProResReader::JoinFields(Outcome first) {
  if (first.IsEnd()) return first;
  const Outcome second = TakeSample();
  const std::int64_t number = framesRead_++;
  const auto offset = first.frame ? first.frame->offset : std::nullopt;
  if (const auto failure = first.failure ? first.failure : second.failure) {
    const FrameFailure frame = ToFrame(failure, GetName(), number, offset);
    framesRead_ = number + frame.GetCount();
    return {std::nullopt, std::make_exception_ptr(frame)};
  }
  if (second.IsEnd()) {
    const FrameFailure loneField(GetName(), number, "has one field only: the input ends after it",
                                 "choose the frames before it with --frames", 1, offset);
    return {std::nullopt, std::make_exception_ptr(loneField)};
  }
  first.frame->number = number;
  first.frame->data = bareFrames_.Join(*first.frame->data, *second.frame->data);
  return first;
}

prores::FrameHeader ProResReader::FindHeader(bool damagedStart) {
  for (;;) {
    frames_.push_back(ReadFrame());
    const Outcome& last = frames_.back();
    if (last.failure && !damagedStart) std::rethrow_exception(last.failure);
    if (last.frame && last.frame->header) return *last.frame->header;
    if (damagedStart && !last.IsEnd() && frames_.size() <= kMostDamagedAtStart) continue;
    if (frames_.front().failure) std::rethrow_exception(frames_.front().failure);
    throw FrameFailure(GetName(), 0,
                       "does not start with a readable ProRes frame header, so that nothing is "
                       "known of the pictures",
                       "get an undamaged copy");
  }
}

std::optional<NumberedFrame> ProResReader::Read() {
  Outcome outcome;
  if (frames_.empty()) {
    outcome = ReadFrame();
  } else {
    outcome = std::move(frames_.front());
    frames_.pop_front();
  }
  if (outcome.failure) std::rethrow_exception(outcome.failure);
  if (outcome.frame) CheckFrame(*outcome.frame);
  return std::move(outcome.frame);
}

bool ProResReader::SkipTo(std::int64_t frame) {
  // A frame that was read ahead may be the requested one.
  const bool isAhead = frame >= framesRead_;
  if (layout_ == SampleLayout::BareFields || !isAhead || !track_.SkipTo(frame)) return false;
  frames_.clear();
  samples_.clear();
  framesRead_ = frame;
  return true;
}

std::string ProResReader::GetEndNote() const {
  const std::int64_t uneven = track_.CountUnevenFrames();
  if (reading_.times != FrameTimes::Evident || uneven == 0) return track_.GetSoundNote();
  return "has a variable frame rate: " + Count(uneven, "frame") + " not at " +
         Describe(GetFormat().rate) + " frames per second";
}

// Leave an unreadable header to the decoder.
void ProResReader::CheckFrame(const NumberedFrame& frame) const {
  if (!frame.header) return;
  const auto mismatch = FindMismatch(*frame.header, GetFormat(), reading_.sameScan);
  if (!mismatch) return;
  throw FrameFailure(GetName(), frame.number, mismatch->found, mismatch->advice, 1, frame.offset);
}

}  // namespace vixprores

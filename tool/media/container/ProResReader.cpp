// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/ProResReader.h"

#include <cstdlib>
#include <utility>

#include "base/Errors.h"
#include "frames/FrameHeaders.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace vixprores {
namespace {

// A start that is worse than that is not searched any further: all of it is kept in memory.
constexpr std::size_t kMostDamagedAtStart = 32;

// The picture is what the header says; of the rest the container's word counts, because it is what
// editing programs set and show.
StreamFormat Combine(StreamFormat container, const prores::FrameHeader& header) {
  container.width = header.width;
  container.height = header.height;
  const StreamFormat told = FormatOf(header);
  container.fieldOrder = told.fieldOrder;
  container.is444 = told.is444;
  container.hasAlpha = told.hasAlpha;
  if (container.sampleAspect.numerator == 0) container.sampleAspect = told.sampleAspect;
  if (!container.colour.IsSpecified()) {
    const ColourRange range = container.colour.range;
    container.colour = told.colour;
    container.colour.range = range;
  }
  return container;
}

void RequireProRes(const ContainerTrack& track) {
  const AVCodecParameters& parameters = track.GetParameters();
  if (parameters.codec_id == AV_CODEC_ID_PRORES) return;
  throw Failure(track.GetName() + ": its video track is " + avcodec_get_name(parameters.codec_id) +
                ", not ProRes; there is nothing to decode");
}

// A field's failure as that of its frame.
std::exception_ptr ToFrame(const std::exception_ptr& failure, const std::string& name,
                           std::int64_t frame) {
  try {
    std::rethrow_exception(failure);
  } catch (const FrameFailure& field) {
    return std::make_exception_ptr(FrameFailure(
        name, frame, "lacks a field, which " + field.GetFound(), {}, (field.GetCount() + 1) / 2));
  }
}

}  // namespace

ProResReader::ProResReader(std::unique_ptr<InputFile> file, const ProResOptions& options)
    : ContainerReader(std::move(file)), demands_(options.demands) {
  RequireProRes(track_);
  track_.SetTimes(options.times);
  ChooseLayout();
  const prores::FrameHeader header = FindHeader(options.damagedStart);
  container_ = track_.GetFormat();
  const vix::FourCC code = track_.GetParameters().codec_tag;
  container_.code = FindProResVariant(code) ? code : 0;
  format_ = Combine(container_, header);
  if (layout_ == SampleLayout::BareFields) {
    // The container counts fields.
    format_.rate = Reduce({format_.rate.numerator, format_.rate.denominator * 2});
    format_.start /= 2;
  }
}

std::optional<std::int64_t> ProResReader::GetFrameCount() const {
  const auto samples = track_.GetFrameCount();
  if (!samples || layout_ != SampleLayout::BareFields) return samples;
  return (*samples + 1) / 2;
}

// Labels of fields would not be those of frames.
std::optional<Timecode> ProResReader::GetTimecode() const {
  return layout_ == SampleLayout::BareFields ? std::nullopt : track_.GetTimecode();
}

std::string ProResReader::GetNote() const {
  std::string note = track_.GetNote();
  if (layout_ == SampleLayout::Standard) return note;
  if (!note.empty()) note += "; ";
  note += GetName() + ": its frames have no prefix with size and 'icpf'";
  if (layout_ == SampleLayout::BareFields) {
    note +=
        ", and each sample is one field; two are taken for a frame, at half the rate of the "
        "container, " +
        Describe(format_.rate) + " frames per second";
  }
  return note;
}

ProResReader::Outcome ProResReader::ReadTrack() {
  Outcome sample;
  try {
    sample.bytes = track_.Read();
  } catch (const FrameFailure&) {
    sample.failure = std::current_exception();
  }
  sample.offset = track_.GetLastOffset();
  if (sample.bytes) sample.fault = track_.GetLastFault();
  return sample;
}

void ProResReader::ChooseLayout() {
  samples_.push_back(ReadTrack());
  const auto& first = samples_.front().bytes;
  if (!first || FindLayout(*first, nullptr) == SampleLayout::Standard) return;
  samples_.push_back(ReadTrack());
  layout_ = FindLayout(*first, samples_.back().bytes.get());
}

ProResReader::Outcome ProResReader::TakeSample() {
  if (samples_.empty()) return ReadTrack();
  Outcome sample = std::move(samples_.front());
  samples_.pop_front();
  return sample;
}

ProResReader::Outcome ProResReader::ReadFrame() {
  Outcome frame = TakeSample();
  frame.number = framesRead_++;
  if (layout_ == SampleLayout::BareFields) return JoinFields(std::move(frame));
  if (layout_ == SampleLayout::BareFrames && frame.bytes) {
    frame.bytes = bareFrames_.AddPrefix(*frame.bytes);
  }
  return frame;
}

ProResReader::Outcome ProResReader::JoinFields(Outcome frame) {
  if (frame.IsEnd()) return frame;
  const Outcome second = TakeSample();
  if (!frame.failure) frame.failure = second.failure;
  if (frame.failure) {
    frame.failure = ToFrame(frame.failure, GetName(), frame.number);
  } else if (second.IsEnd()) {
    frame.failure = std::make_exception_ptr(
        FrameFailure(GetName(), frame.number, "has one field only: the input ends behind it",
                     "choose the frames before it with --frames"));
  } else {
    frame.bytes = bareFrames_.Join(*frame.bytes, *second.bytes);
  }
  return frame;
}

prores::FrameHeader ProResReader::FindHeader(bool damagedStart) {
  for (;;) {
    Outcome frame = ReadFrame();
    if (frame.failure && !damagedStart) std::rethrow_exception(frame.failure);
    const auto header = frame.bytes ? ParseHeader(BytesOf(*frame.bytes)) : std::nullopt;
    const bool isEnd = frame.IsEnd();
    frames_.push_back(std::move(frame));
    if (header) return *header;
    if (isEnd && frames_.front().failure) std::rethrow_exception(frames_.front().failure);
    if (!damagedStart || isEnd || frames_.size() > kMostDamagedAtStart) {
      const auto& failure = frames_.front().failure;
      if (failure) std::rethrow_exception(failure);
      throw FrameFailure(GetName(), 0,
                         "does not start with a readable ProRes frame header, so that nothing is "
                         "known of the pictures",
                         "get an undamaged copy");
    }
  }
}

std::shared_ptr<vix::IBuffer> ProResReader::Read() {
  Outcome frame;
  if (frames_.empty()) {
    frame = ReadFrame();
  } else {
    frame = std::move(frames_.front());
    frames_.pop_front();
  }
  offset_ = frame.offset;
  fault_ = frame.fault;
  if (frame.failure) std::rethrow_exception(frame.failure);
  if (frame.bytes) CheckFrame(frame);
  return frame.bytes;
}

bool ProResReader::SkipTo(std::int64_t frame) {
  // Of what was looked at in advance the next one may be the one that is wanted.
  const bool isAhead = frame >= framesRead_;
  if (layout_ == SampleLayout::BareFields || !isAhead || !track_.SkipTo(frame)) return false;
  frames_.clear();
  samples_.clear();
  framesRead_ = frame;
  return true;
}

// A header that cannot be read is left to the decoder.
void ProResReader::CheckFrame(const Outcome& frame) const {
  const auto header = ParseHeader(BytesOf(*frame.bytes));
  if (!header) return;
  const auto mismatch = FindMismatch(*header, format_, demands_);
  if (mismatch) throw FrameFailure(GetName(), frame.number, mismatch->found, mismatch->advice);
}

}  // namespace vixprores

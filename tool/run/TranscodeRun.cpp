// SPDX-License-Identifier: BSD-2-Clause
#include "run/TranscodeRun.h"

#include <stdexcept>
#include <utility>

#include "base/Errors.h"
#include "base/FramePool.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "frames/FrameHeaders.h"
#include "run/OrderedRun.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

constexpr const char* kAdvice = "--on-error skip or conceal continues after it";

// Numbers files like the frames of the input, unless the user gave another number.
SequenceWriting NumberFrom(const SequencePlan& plan, const std::optional<FrameRange>& frames) {
  return {plan.firstNumber.value_or(frames ? frames->first : 0), plan.colours};
}

// Returns what was done to a picture that is written in spite of the fault of its frame.
FrameDamage::Treatment TreatmentOf(const SliceDamage& slices) {
  if (slices.IsNone()) return FrameDamage::Treatment::Kept;
  return slices.colours > 0 ? FrameDamage::Treatment::Concealed : FrameDamage::Treatment::Opaque;
}

}  // namespace

std::shared_ptr<const vix::IVideoSample> GapFiller::MakeGrey() const {
  auto picture = FramePool().MakeFrame(format_.FrameBytes());
  const auto& grey = FindRawFormat(format_.code)->grey;
  for (std::uint32_t i = 0; i < picture->GetSize(); ++i) {
    picture->GetData()[i] = grey[i % grey.size()];
  }
  ClearRowPadding(format_, picture->GetData());
  const auto info = DescribeStream(format_);
  return writer_.Pack(
      vix::CreateVideoSample(info->GetVideoParameters(), info, std::move(picture), {}, {}));
}

std::shared_ptr<const vix::IVideoSample> GapFiller::Make(std::int64_t number) {
  if (!last_) last_ = MakeGrey();
  const std::int64_t begin = format_.start + number;
  return vix::CreateVideoSample(last_->GetVideoParameters(), last_->GetVideoInfo(),
                                last_->GetBuffer(), {{begin, begin + 1, format_.rate}}, {});
}

TranscodeRun::TranscodeRun(const TranscodeOptions& options, TranscodePlan plan, RunReport& report,
                           RunObserver& observer)
    : options_(options),
      source_(std::move(plan.reader), options.frames, plan.onDamage, std::nullopt,
              std::move(plan.sound)),
      result_(plan.content.video),
      shares_(ShareThreads(options.threads, source_.GetFrameCount())),
      samples_(plan.source, plan.element.GetCode()),
      check_(plan.makeCheck ? plan.makeCheck(shares_) : nullptr),
      earlier_(options),
      opened_(CreateOutput(options.output, options.overwrite, plan.output, plan.content,
                           NumberFrom(plan.sequence, options.frames))),
      file_(*opened_.output),
      writer_(opened_.writer.get()),
      onDamage_(plan.onDamage),
      isEncoded_(plan.isEncoded),
      keepsPartial_(plan.keepsPartial),
      gapFiller_(plan.content.video, *writer_),
      report_(report),
      observer_(observer),
      start_(steady_clock::now()),
      elements_(plan.element.MakePool(plan.source, MakePoolOptions(plan.source))) {
  if (writer_->IsRecoverable()) earlier_.Mark(file_);
}

vix::ElementPoolOptions TranscodeRun::MakePoolOptions(const StreamFormat& source) {
  const bool encodes = source.IsRaw();
  if (!isEncoded_)
    CheckRunMemory(encodes ? source : result_, shares_, source_.GetFrameCount(), encodes);
  auto options = PoolOptions(shares_);
  options.prepare = [this](vix::PoolFrame& job, unsigned /*element*/) { Prepare(job); };
  options.finish = [this](vix::PoolFrame& job, unsigned element) { Complete(job, element); };
  return options;
}

bool TranscodeRun::ProcessFrames() {
  RunEnds<Frame> ends;
  ends.read = [this] { return ReadFrame(); };
  ends.write = [this](Frame& frame, const std::exception_ptr& failure) { Write(frame, failure); };
  // Only a pipe can block a reader, and the inputs of a batch are files.
  if (!options_.isOfMany) ends.stopReading = RequestInterrupt;
  try {
    RunThrough(*elements_, shares_.elements, ends);
    return true;
  } catch (const Interrupted&) {
    report_.frames = frames_;
    return false;
  }
}

void TranscodeRun::Finish() {
  report_.frames = frames_;
  if (frames_ == 0) throw Failure(source_.GetName() + ": holds no undamaged frame");
  for (SoundPacket& sound : source_.TakeRestOfSound()) writer_->WriteSound(std::move(sound));
  writer_->Finish();
  file_.Commit();
  earlier_.Finish(options_.output);
  ReportOutput(file_.GetName());
}

void TranscodeRun::FinishPartial(const std::string& reason) {
  report_.message = reason;
  std::string fate = "; nothing was kept";
  report_.frames = frames_;
  if (frames_ > 0 && keepsPartial_) {
    const KeptFrames kept = KeepFrames(file_, *writer_, frames_);
    if (!kept.name.empty()) ReportOutput(kept.name);
    fate = kept.fate;
  }
  // Frames that went to a pipe or a device are the reader's.
  if (file_.IsSeekable()) report_.message += fate;
}

// Reads a frame, with its result if that is encoded already.
std::optional<Frame> TranscodeRun::ReadFrame() {
  auto frame = source_.Read();
  if (!frame || !frame->source || !frame->fault.empty()) return frame;
  const std::int64_t begin = result_.start + source_.ToOutput(frame->place.number);
  const auto encoded = isEncoded_ ? frame->source : earlier_.Take(begin);
  if (!encoded) return frame;
  const auto info = DescribeStream(result_);
  frame->isResumed = true;
  frame->result = vix::CreateVideoSample(info->GetVideoParameters(), info, encoded,
                                         {{begin, begin + 1, result_.rate}}, {});
  frame->resultBytes = encoded->GetSize();
  frame->sourceBytes = report_.source.FrameBytes();
  // A check needs the picture, and so does a policy that lists damage.
  if (!check_ && onDamage_ == DamagePolicy::Stop) frame->source = nullptr;
  return frame;
}

// Converts a frame for the element. May be called from any thread, several at once, as Complete().
void TranscodeRun::Prepare(vix::PoolFrame& job) {
  Frame& frame = *static_cast<Frame*>(job.context.get());
  if (frame.isResumed && !frame.source) return;
  if (!frame.source) return StopAtDamage(frame);
  ConvertedFrame converted;
  try {
    converted = source_.Unpack(frame.source);
  } catch (const FrameFailure& failure) {
    if (onDamage_ == DamagePolicy::Stop) throw;
    converted.fault = failure.GetFound();
    frame.file = failure.GetInput();
  }
  frame.source = std::move(converted.data);
  if (!converted.fault.empty()) {
    frame.fault = std::move(converted.fault);
    frame.slices = converted.slices;
    frame.isResumed = false;
    frame.result = nullptr;
  }
  if (!frame.source) {
    frame.advice = kAdvice;
    return StopAtDamage(frame);
  }
  frame.sourceBytes = frame.source->GetSize();
  if (frame.isResumed) return;
  const bool isReadable = !result_.IsRaw() || frame.header.has_value();
  if (isReadable) job.input = samples_.Make(frame.source, source_.ToOutput(frame.place.number));
}

// Packs the element's output for the writer.
void TranscodeRun::Complete(vix::PoolFrame& job, unsigned element) {
  Frame& frame = *static_cast<Frame*>(job.context.get());
  if (!frame.source) return;
  if (frame.isResumed) {
    if (check_) Check(*frame.source, frame.result->GetBuffer(), frame.place.number, element);
    return;
  }
  const ElementOutput output = TakeOutput(job, frame);
  job.error = nullptr;  // it is the frame's fault now
  const auto source = std::move(frame.source);
  Sample sample = Judge(frame, output);
  if (!sample) return;
  const auto buffer = sample->GetBuffer();
  if (check_) Check(*source, buffer, frame.place.number, element);
  source_.CheckFramesInUse();
  if (result_.IsRaw()) {
    ClearRowPadding(result_, buffer->GetData());
  } else {
    StampFrameHeader(result_, {buffer->GetData(), buffer->GetSize()});
  }
  frame.resultBytes = buffer->GetSize();
  frame.result = writer_->Pack(sample);
}

ElementOutput TranscodeRun::TakeOutput(const vix::PoolFrame& job, const Frame& frame) const {
  if (!result_.IsRaw()) return TakeEncoded(job);
  if (!frame.header) return {nullptr, {}, kUnreadableHeader};
  return TakeDecoded(job, *frame.source, *frame.header, result_.FrameBytes());
}

// Returns null if the frame is not to be written.
TranscodeRun::Sample TranscodeRun::Judge(Frame& frame, const ElementOutput& output) const {
  if (!output.fault.empty()) frame.fault = output.fault;
  if (!output.slices.IsNone()) frame.slices = output.slices;
  if (frame.fault.empty()) return output.sample;
  frame.advice = kAdvice;
  StopAtDamage(frame);
  return onDamage_ == DamagePolicy::Skip ? nullptr : output.sample;
}

void TranscodeRun::Check(const vix::IBuffer& source, std::shared_ptr<const vix::IBuffer> encoded,
                         std::int64_t number, unsigned element) {
  try {
    check_->Measure(element, source, std::move(encoded), number);
  } catch (const std::runtime_error& error) {
    throw Failure(source_.GetName() + ": frame " + std::to_string(number) +
                  ": --verify cannot decode the encoded frame: " + error.what());
  }
}

void TranscodeRun::StopAtDamage(const Frame& frame) const {
  if (onDamage_ != DamagePolicy::Stop) return;
  FramePlace first = frame.place;
  first.count = 1;
  throw Failure(source_.GetName() + ": " + Describe(first) + ": " + frame.fault +
                (frame.advice.empty() ? "" : "; ") + frame.advice);
}

void TranscodeRun::Write(Frame& frame, const std::exception_ptr& failure) {
  report_.sourceBytes += frame.sourceBytes;
  if (!frame.fault.empty()) ReportDamage(frame);
  if (failure) std::rethrow_exception(failure);
  for (SoundPacket& sound : frame.sound) writer_->WriteSound(std::move(sound));
  if (frame.result) {
    if (!frame.captions.empty()) {
      writer_->WriteCaptions(result_.start + source_.ToOutput(frame.place.number), frame.captions);
    }
    if (onDamage_ == DamagePolicy::Conceal) gapFiller_.SetLast(frame.result);
    standIns_.CountFrame();
    WriteFrame(frame.result);
    if (frame.isResumed && !isEncoded_) ++report_.resumedFrames;
  } else if (onDamage_ == DamagePolicy::Conceal) {
    FillGap(frame.place);
  }
  report_.resultBytes += frame.resultBytes;
  if (check_ && frame.result) check_->Add(frame.place.number);
  StopClock();
  observer_.ReportProgress(report_, source_.GetFrameCount());
}

void TranscodeRun::WriteFrame(const Sample& frame) {
  CheckOutputSize(file_, frame->GetBuffer()->GetSize());
  writer_->Write(frame);
  ++frames_;
  // Those that wait would be lost with the process.
  report_.frames = frames_ - writer_->CountWaiting();
}

void TranscodeRun::FillGap(const FramePlace& place) {
  if (!result_.IsRaw() && !gapFiller_.HasLast()) {
    throw Failure(source_.GetName() + ": " + Describe(place) +
                  ": there is no picture before it to repeat; --on-error skip leaves it out");
  }
  if (!standIns_.Take(place.count)) {
    report_.damage.back().treatment = FrameDamage::Treatment::Stopped;
    throw Failure(source_.GetName() + ": " + Describe(place) + ": too many lost frames to fill (" +
                  std::to_string(place.count) + "); --on-error skip leaves them out");
  }
  const std::int64_t first = source_.ToOutput(place.number);
  for (std::int64_t i = 0; i < place.count; ++i) {
    CheckInterrupt();
    WriteFrame(gapFiller_.Make(first + i));
  }
}

void TranscodeRun::ReportDamage(const Frame& frame) {
  using Treatment = FrameDamage::Treatment;
  Treatment treatment = Treatment::Stopped;
  if (onDamage_ == DamagePolicy::Skip) treatment = Treatment::LeftOut;
  if (onDamage_ == DamagePolicy::Conceal) {
    const auto lost = frame.place.count > 0 ? Treatment::Replaced : Treatment::LeftOut;
    treatment = frame.result ? TreatmentOf(frame.slices) : lost;
  }
  FramePlace place = frame.place;
  place.number += source_.GetReader().GetDescription().firstNumber;
  report_.damage.push_back({place, frame.fault, treatment, frame.file});
}

void TranscodeRun::ReportOutput(const std::string& name) {
  report_.output = name;
  report_.soundDamage = source_.GetSoundDamage();
  if (check_) report_.quality = check_->GetQuality();
  report_.outputBytes = file_.GetSize();
  StopClock();
}

void TranscodeRun::StopClock() {
  report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
}

}  // namespace vixprores

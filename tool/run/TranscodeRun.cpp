// SPDX-License-Identifier: BSD-2-Clause
#include "run/TranscodeRun.h"

#include <stdexcept>
#include <utility>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "format/Encodable.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "run/DecoderWatch.h"
#include "run/OrderedPipeline.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

std::optional<EncodingCheck> MakeCheck(const TranscodePlan& plan, const ThreadShares& shares) {
  if (!plan.verifiesEncoding) return std::nullopt;
  return EncodingCheck(plan.source, plan.content.video, shares);
}

}  // namespace

TranscodeRun::TranscodeRun(const TranscodeOptions& options, TranscodePlan plan, RunReport& report)
    : options_(options),
      source_(std::move(plan.reader), options.frames, plan.onDamage),
      result_(plan.content.video),
      shares_(ShareThreads(options.threads, source_.GetFrameCount())),
      elements_(plan.makeElement, plan.source, shares_),
      check_(MakeCheck(plan, shares_)),
      file_(options.output, options.overwrite),
      writer_(MakeFrameWriter(file_, plan.output, plan.content)),
      onDamage_(plan.onDamage),
      standIn_(plan.content.video, *writer_),
      progress_(options.quiet ? ProgressKind::None : options.progress),
      report_(report),
      start_(steady_clock::now()) {}

bool TranscodeRun::ProcessFrames() {
  PipelineStages<Frame> stages;
  stages.read = [this] { return source_.Read(); };
  stages.process = [this](Frame& frame, unsigned element) { Process(frame, element); };
  stages.write = [this](Frame& frame, const std::exception_ptr& failure) { Write(frame, failure); };
  // Only a pipe can keep a reader waiting, and several inputs are files.
  if (!options_.isOfMany) stages.stopReading = RequestInterrupt;
  try {
    OrderedPipeline<Frame>(stages, elements_.GetSize(), elements_.GetMostInFlight()).Run();
    return true;
  } catch (const Interrupted&) {
    return false;
  }
}

void TranscodeRun::Finish() {
  if (report_.frames == 0) throw Failure(source_.GetName() + ": holds no undamaged frame");
  for (SoundPacket& sound : source_.TakeRestOfSound()) writer_->WriteSound(std::move(sound));
  writer_->Finish();
  file_.Commit();
  ReportOutput(file_.GetName());
}

void TranscodeRun::FinishPartial(const std::string& reason) {
  report_.message = reason;
  if (report_.frames == 0) {
    report_.message += "; nothing was kept";
    return;
  }
  const std::string kept =
      report_.frames == 1 ? "1 frame before that is kept in "
                          : std::to_string(report_.frames) + " frames before that are kept in ";
  try {
    writer_->Finish();
    ReportOutput(file_.CommitPartial());
    report_.message += "\n" + kept + report_.output;
  } catch (const Failure&) {
    if (!writer_->IsRecoverable()) {
      report_.message += "; nothing was kept";
      return;
    }
    const std::string work = file_.KeepWorkFile();
    report_.message += "\n" + kept + work + "; 'vixprores recover " + QuoteForShell(work) +
                       " OUTPUT' makes a whole file of it";
  }
}

// May be called from any thread, several at once.
void TranscodeRun::Process(Frame& frame, unsigned element) {
  if (!frame.source) {
    Blame(frame);
    return;
  }
  auto source = source_.Unpack(std::move(frame.source));
  frame.sourceBytes = source->GetSize();
  const auto sample = CodeAndJudge(frame, source, element);
  if (!sample) return;
  const auto buffer = sample->GetBuffer();
  if (check_) frame.quality = Check(*source, buffer, frame.place.number, element);
  source_.CheckFramesInUse();
  if (result_.IsRaw()) {
    ClearRowPadding(result_, buffer->GetData());
  } else {
    StampFrameHeader(result_, {buffer->GetData(), buffer->GetSize()});
  }
  frame.resultBytes = buffer->GetSize();
  frame.result = writer_->Pack(sample);
}

// What the element makes of a frame, and what is wrong with it. The element would take a frame
// without a prefix for one of another layout, and keep it for the next one.
TranscodeRun::Sample TranscodeRun::Code(std::shared_ptr<vix::IBuffer> source, Frame& frame,
                                        unsigned element) {
  const bool isDecoded = result_.IsRaw();
  if (isDecoded && !ParseHeader(BytesOf(*source))) {
    frame.fault = "has no readable frame header";
    return nullptr;
  }
  try {
    auto sample = elements_.Process(element, source, source_.ToOutput(frame.place.number));
    if (!isDecoded) return sample;
    if (sample->GetBuffer()->GetSize() == result_.FrameBytes()) return sample;
    frame.fault = "is not of the size of the first one";
  } catch (const std::runtime_error& error) {
    // The frame itself tells more than an element that could not decode it.
    const std::string found = isDecoded ? CheckFrame(BytesOf(*source)).Describe() : std::string();
    frame.fault = found.empty() ? error.what() : found;
  }
  return nullptr;
}

// Null where nothing that is to be written came of the frame.
TranscodeRun::Sample TranscodeRun::CodeAndJudge(Frame& frame, std::shared_ptr<vix::IBuffer> source,
                                                unsigned element) {
  auto sample = Code(std::move(source), frame, element);
  const std::int32_t damagedSlices = TakeDecoderAnswer();
  if (sample && damagedSlices > 0) {
    frame.fault = "has " + std::to_string(damagedSlices) +
                  (damagedSlices == 1 ? " damaged slice" : " damaged slices");
  }
  if (frame.fault.empty()) return sample;
  if (result_.IsRaw()) frame.advice = "--on-error skip or conceal goes on behind it";
  Blame(frame);
  return onDamage_ == DamagePolicy::Skip ? nullptr : sample;
}

FrameQuality TranscodeRun::Check(const vix::IBuffer& source,
                                 std::shared_ptr<const vix::IBuffer> encoded, std::int64_t number,
                                 unsigned element) {
  try {
    return check_->Measure(element, {source.GetData(), source.GetSize()}, std::move(encoded),
                           number);
  } catch (const std::runtime_error& error) {
    throw Failure(source_.GetName() + ": frame " + std::to_string(number) +
                  ": --verify could not decode what was encoded: " + error.what());
  }
}

// Ends the run at a damaged frame, if that is what the user wants.
void TranscodeRun::Blame(const Frame& frame) const {
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
    if (onDamage_ == DamagePolicy::Conceal) standIn_.Remember(frame.result);
    WriteFrame(frame.result);
  } else if (onDamage_ == DamagePolicy::Conceal) {
    const std::int64_t first = source_.ToOutput(frame.place.number);
    for (std::int64_t i = 0; i < frame.place.count; ++i) WriteFrame(standIn_.Make(first + i));
  }
  report_.resultBytes += frame.resultBytes;
  if (check_ && frame.result) check_->Add(frame.quality, frame.place.number);
  StopClock();
  progress_.Update(report_, source_.GetFrameCount());
}

void TranscodeRun::WriteFrame(const Sample& frame) {
  writer_->Write(frame);
  ++report_.frames;
}

void TranscodeRun::ReportDamage(const Frame& frame) {
  using Treatment = FrameDamage::Treatment;
  Treatment treatment = Treatment::Stopped;
  if (onDamage_ == DamagePolicy::Skip) treatment = Treatment::LeftOut;
  if (onDamage_ == DamagePolicy::Conceal) {
    treatment = frame.result ? Treatment::Concealed : Treatment::Replaced;
  }
  report_.damage.push_back({frame.place, frame.fault, treatment});
}

void TranscodeRun::ReportOutput(const std::string& name) {
  report_.output = name;
  SideTracks* const side = source_.GetReader().GetSideTracks();
  if (side) report_.soundDamage = side->GetSoundDamage();
  if (check_) report_.quality = check_->GetQuality();
  report_.outputBytes = file_.GetSize();
  StopClock();
}

void TranscodeRun::StopClock() {
  report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
}

}  // namespace vixprores

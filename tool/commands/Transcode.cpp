// SPDX-License-Identifier: BSD-2-Clause
#include "commands/Transcode.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <new>
#include <numeric>
#include <stdexcept>
#include <utility>

#include "commands/StandIn.h"
#include "container/SoundCopy.h"
#include "element/CodecEnvironment.h"
#include "element/DecoderWatch.h"
#include "element/PluginSearch.h"
#include "format/Encodable.h"
#include "format/FrameStamp.h"
#include "inspection/EncodingCheck.h"
#include "inspection/FrameCheck.h"
#include "inspection/StreamHeaders.h"
#include "io/FrameWriter.h"
#include "io/OutputFile.h"
#include "io/RangeReader.h"
#include "run/Errors.h"
#include "run/Interrupt.h"
#include "run/OrderedPipeline.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

void PrintNote(const TranscodeOptions& options, const std::string& text) {
  if (!options.quiet && !text.empty()) std::fprintf(stderr, "vixprores: note: %s\n", text.c_str());
}

// Frames that the run will write; none where only the end of the input tells.
std::optional<std::int64_t> CountFramesToWrite(const TranscodeOptions& options,
                                               const FrameReader& reader) {
  const auto available = reader.GetFrameCount();
  if (!options.frames) return available;
  if (available && options.frames->last >= *available) {
    FailPastTheEnd(reader.GetName(), *options.frames, *available);
  }
  return options.frames->last - options.frames->first + 1;
}

void PrintNotes(const TranscodeOptions& options, const TranscodePlan& plan) {
  PrintNote(options, plan.reader->GetNote());
  for (const std::string& note : plan.notes) PrintNote(options, note);
  if (plan.source.fieldOrder == FieldOrder::Unknown) {
    PrintNote(options, plan.reader->GetName() +
                           ": does not tell its field order; it is taken as progressive");
  }
  for (const std::string& property : FindLostProperties(plan.output, plan.content)) {
    PrintNote(options, options.output + ": the container cannot keep the " + property);
  }
}

void PrintSummary(const TranscodeOptions& options, const RunReport& report) {
  if (options.json) {
    // Standard output may be where the frames go.
    std::fprintf(options.output == "-" ? stderr : stdout, "%s\n", SummaryJson(report).c_str());
  } else if (!options.quiet && report.status == RunReport::Status::Done) {
    std::fprintf(stderr, "%s\n", SummaryLine(report).c_str());
  }
}

// A frame on its way from the input to the output, or several that are lost for one reason.
struct Frame {
  FramePlace place;                      // in the input
  std::shared_ptr<vix::IBuffer> source;  // null = lost
  std::string fault;                     // what is wrong with it; empty = nothing
  std::string advice;
  std::uint64_t sourceBytes = 0;
  std::shared_ptr<const vix::IVideoSample>
      result;  // as the writer takes it; null = none came of it
  std::uint64_t resultBytes = 0;
  std::vector<SoundPacket> sound;  // that came in front of it
  FrameQuality quality = {};       // where it is measured
};

// The sound tracks that the run copies, chosen in the reader.
void ChooseSound(const TranscodeOptions& options, TranscodePlan& plan) {
  SideTracks* const side = plan.reader->GetSideTracks();
  const std::size_t available = side ? side->GetSound().size() : 0;
  std::vector<std::size_t> places(available);
  std::iota(places.begin(), places.end(), std::size_t{0});
  if (options.audioTracks) places = *options.audioTracks;
  for (const std::size_t place : places) {
    if (place < available) continue;
    throw Failure(plan.reader->GetName() + ": has " + std::to_string(available) +
                  " sound tracks, but --audio-tracks asks for number " + std::to_string(place + 1));
  }
  if (options.noAudio) places.clear();
  if (plan.output.kind != OutputKind::Container && !places.empty()) {
    PrintNote(options,
              plan.reader->GetName() + ": its sound is left out, as the output holds none");
    places.clear();
  }
  if (!side) return;
  side->SelectSound(places);
  plan.content.sound = side->GetSound();
  plan.content.metadata = side->GetMetadata();
}

// The part of the input that frames of a range take, in time.
std::optional<TimeSpan> FindTimeSpan(const TranscodeOptions& options, const StreamFormat& source) {
  if (!options.frames) return std::nullopt;
  const auto [first, last] = *options.frames;
  return TimeSpan{source.start + first, source.start + last + 1, first, Invert(source.rate)};
}

std::optional<EncodingCheck> MakeCheck(const TranscodePlan& plan, const ThreadShares& shares) {
  if (!plan.verifiesEncoding) return std::nullopt;
  return EncodingCheck(plan.source, plan.content.video, shares);
}

class Run {
 public:
  Run(const TranscodeOptions& options, TranscodePlan plan, RunReport& report)
      : options_(options),
        range_(options.frames.value_or(FrameRange{0, kEndless})),
        reader_(std::move(plan.reader)),
        sound_(reader_->GetSideTracks(), FindTimeSpan(options, reader_->GetFormat())),
        total_(CountFramesToWrite(options, *reader_)),
        shares_(ShareThreads(options.threads, total_)),
        elements_(plan.makeElement, plan.source, shares_),
        check_(MakeCheck(plan, shares_)),
        file_(options.output, options.overwrite),
        writer_(MakeFrameWriter(file_, plan.output, plan.content)),
        onDamage_(plan.onDamage),
        timecode_(reader_->GetTimecode()),
        standIn_(plan.content.video, *writer_),
        progress_(options.quiet ? ProgressKind::None : options.progress),
        report_(report),
        start_(steady_clock::now()) {}

  // Returns false when the user asked to stop.
  bool ProcessFrames() {
    PipelineStages<Frame> stages;
    stages.read = [this] { return Read(); };
    stages.process = [this](Frame& frame, unsigned element) { Process(frame, element); };
    stages.write = [this](Frame& frame, const std::exception_ptr& failure) {
      Write(frame, failure);
    };
    // Only a pipe can keep a reader waiting, and several inputs are files.
    if (!options_.isOfMany) stages.stopReading = RequestInterrupt;
    try {
      OrderedPipeline<Frame>(stages, elements_.GetSize(), elements_.GetMostInFlight()).Run();
      return true;
    } catch (const Interrupted&) {
      return false;
    }
  }

  void Finish() {
    if (report_.frames == 0) throw Failure(reader_->GetName() + ": holds no undamaged frame");
    for (SoundPacket& sound : sound_.TakeRest()) writer_->WriteSound(std::move(sound));
    writer_->Finish();
    file_.Commit();
    ReportOutput(file_.GetName());
  }

  // Keeps what was written before the run ended for that reason.
  void FinishPartial(const std::string& reason) {
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

 private:
  static constexpr std::int64_t kEndless = INT64_MAX - 1;

  // The next frame of the range.
  std::optional<Frame> Read() {
    while (framesRead_ <= range_.last) {
      if (InterruptRequested()) throw Interrupted();
      auto frame = ReadAny();
      if (!frame) {
        CheckEnd();
        return std::nullopt;
      }
      FramePlace& place = frame->place;
      framesRead_ = place.number + place.count;
      frame->sound = sound_.Take();
      if (framesRead_ <= range_.first) continue;
      // Of those that are lost together some may be outside the range.
      place.number = std::max(place.number, range_.first);
      place.count = std::min(framesRead_ - 1, range_.last) - place.number + 1;
      return frame;
    }
    return std::nullopt;
  }

  std::optional<Frame> ReadAny() {
    Frame frame;
    frame.place.number = framesRead_;
    try {
      frame.source = reader_->Read();
      if (!frame.source) return std::nullopt;
      if (report_.result.IsRaw()) frame.fault = reader_->GetFrameFault();
    } catch (const FrameTimeFailure& failure) {
      if (onDamage_ == DamagePolicy::Stop || !failure.IsGap()) throw;
      Lose(failure, frame);
    } catch (const FrameFailure& failure) {
      Lose(failure, frame);
    }
    frame.place.offset = reader_->GetFrameOffset();
    if (timecode_) frame.place.timecode = *timecode_ + frame.place.number;
    return frame;
  }

  static void Lose(const FrameFailure& failure, Frame& frame) {
    frame.place.count = failure.GetCount();
    frame.fault = failure.GetFound();
    frame.advice = failure.GetAdvice();
  }

  void CheckEnd() const {
    if (framesRead_ == 0) throw Failure(reader_->GetName() + ": holds no frames");
    if (options_.frames) FailPastTheEnd(reader_->GetName(), range_, framesRead_);
  }

  // May be called from any thread, several at once.
  void Process(Frame& frame, unsigned element) {
    if (!frame.source) {
      Blame(frame);
      return;
    }
    auto source = reader_->Unpack(std::move(frame.source));
    frame.sourceBytes = source->GetSize();
    const auto sample = CodeAndJudge(frame, source, element);
    if (!sample) return;
    const auto buffer = sample->GetBuffer();
    if (check_) frame.quality = Check(*source, buffer, frame.place.number, element);
    if (report_.result.IsRaw()) {
      ClearRowPadding(report_.result, buffer->GetData());
    } else {
      StampFrameHeader(report_.result, *buffer);
    }
    frame.resultBytes = buffer->GetSize();
    frame.result = writer_->Pack(sample);
  }

  // What the element makes of a frame, and what is wrong with it. The element would take a frame
  // without a prefix for one of another layout, and keep it for the next one.
  std::shared_ptr<const vix::IVideoSample> Code(std::shared_ptr<vix::IBuffer> source, Frame& frame,
                                                unsigned element) {
    const bool isDecoded = report_.result.IsRaw();
    if (isDecoded && !ParseHeader(BytesOf(*source))) {
      frame.fault = "has no readable frame header";
      return nullptr;
    }
    try {
      auto sample = elements_.Process(element, source, frame.place.number - range_.first);
      if (!isDecoded) return sample;
      if (sample->GetBuffer()->GetSize() == report_.result.FrameBytes()) return sample;
      frame.fault = "is not of the size of the first one";
    } catch (const std::runtime_error& error) {
      // The frame itself tells more than an element that could not decode it.
      const std::string found = isDecoded ? CheckFrame(BytesOf(*source)).Describe() : std::string();
      frame.fault = found.empty() ? error.what() : found;
    }
    return nullptr;
  }

  // Null where nothing that is to be written came of the frame.
  std::shared_ptr<const vix::IVideoSample> CodeAndJudge(Frame& frame,
                                                        std::shared_ptr<vix::IBuffer> source,
                                                        unsigned element) {
    auto sample = Code(std::move(source), frame, element);
    const std::int32_t damagedSlices = TakeDecoderAnswer();
    if (sample && damagedSlices > 0) {
      frame.fault = "has " + std::to_string(damagedSlices) +
                    (damagedSlices == 1 ? " damaged slice" : " damaged slices");
    }
    if (frame.fault.empty()) return sample;
    if (report_.result.IsRaw()) frame.advice = "--on-error skip or conceal goes on behind it";
    Blame(frame);
    return onDamage_ == DamagePolicy::Skip ? nullptr : sample;
  }

  FrameQuality Check(const vix::IBuffer& source, std::shared_ptr<const vix::IBuffer> encoded,
                     std::int64_t number, unsigned element) {
    try {
      return check_->Measure(element, {source.GetData(), source.GetSize()}, std::move(encoded),
                             number);
    } catch (const std::runtime_error& error) {
      throw Failure(reader_->GetName() + ": frame " + std::to_string(number) +
                    ": --verify could not decode what was encoded: " + error.what());
    }
  }

  // Ends the run at a damaged frame, if that is what the user wants.
  void Blame(const Frame& frame) const {
    if (onDamage_ != DamagePolicy::Stop) return;
    FramePlace first = frame.place;
    first.count = 1;
    throw Failure(reader_->GetName() + ": " + Describe(first) + ": " + frame.fault +
                  (frame.advice.empty() ? "" : "; ") + frame.advice);
  }

  void Write(Frame& frame, const std::exception_ptr& failure) {
    report_.sourceBytes += frame.sourceBytes;
    if (!frame.fault.empty()) ReportDamage(frame);
    if (failure) std::rethrow_exception(failure);
    for (SoundPacket& sound : frame.sound) writer_->WriteSound(std::move(sound));
    if (frame.result) {
      if (onDamage_ == DamagePolicy::Conceal) standIn_.Remember(frame.result);
      WriteFrame(frame.result);
    } else if (onDamage_ == DamagePolicy::Conceal) {
      const std::int64_t first = frame.place.number - range_.first;
      for (std::int64_t i = 0; i < frame.place.count; ++i) WriteFrame(standIn_.Make(first + i));
    }
    report_.resultBytes += frame.resultBytes;
    if (check_ && frame.result) check_->Add(frame.quality, frame.place.number);
    StopClock();
    progress_.Update(report_, total_);
  }

  void WriteFrame(const std::shared_ptr<const vix::IVideoSample>& frame) {
    writer_->Write(frame);
    ++report_.frames;
  }

  void ReportDamage(const Frame& frame) {
    using Treatment = FrameDamage::Treatment;
    Treatment treatment = Treatment::Stopped;
    if (onDamage_ == DamagePolicy::Skip) treatment = Treatment::LeftOut;
    if (onDamage_ == DamagePolicy::Conceal) {
      treatment = frame.result ? Treatment::Concealed : Treatment::Replaced;
    }
    report_.damage.push_back({frame.place, frame.fault, treatment});
  }

  void ReportOutput(const std::string& name) {
    report_.output = name;
    SideTracks* const side = reader_->GetSideTracks();
    if (side) report_.damagedSound = side->CountDamagedSound();
    if (check_) report_.quality = check_->GetQuality();
    report_.outputBytes = file_.GetSize();
    StopClock();
  }

  void StopClock() {
    report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
  }

  const TranscodeOptions& options_;
  FrameRange range_;
  std::unique_ptr<FrameReader> reader_;
  SoundCopy sound_;
  std::optional<std::int64_t> total_;
  ThreadShares shares_;
  ElementTeam elements_;
  std::optional<EncodingCheck> check_;
  OutputFile file_;
  std::unique_ptr<FrameWriter> writer_;
  DamagePolicy onDamage_;
  std::optional<Timecode> timecode_;  // of the input
  StandIn standIn_;
  Progress progress_;
  RunReport& report_;
  std::int64_t framesRead_ = 0;  // those in front of the range included
  steady_clock::time_point start_;
};

}  // namespace

void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report) {
  if (options.frames && plan.content.timecode) {
    plan.content.timecode = *plan.content.timecode + options.frames->first;
  }
  report.source = plan.source;
  report.result = plan.content.video;
  CheckStorable(plan.output, plan.content.video);
  if (plan.reader->ReadsFrom(options.output)) {
    throw Failure(options.output + ": is the input itself; name another output");
  }
  ChooseSound(options, plan);
  report.soundTracks = plan.content.sound.size();
  if (plan.content.timecode) report.timecode = plan.content.timecode->ToText();
  PrintNotes(options, plan);
  Run run(options, std::move(plan), report);
  try {
    if (run.ProcessFrames()) {
      run.Finish();
      report.status = RunReport::Status::Done;
      return;
    }
    report.status = RunReport::Status::Interrupted;
    run.FinishPartial("interrupted after " + std::to_string(report.frames) + " frames");
  } catch (const std::bad_alloc&) {
    run.FinishPartial("out of memory");
  } catch (const std::exception& error) {
    run.FinishPartial(error.what());
  }
}

namespace {

int RunAlone(const TranscodeOptions& options, const char* command,
             const std::function<void(const BatchItem&, RunReport&)>& work) {
  RunReport report;
  report.command = command;
  report.input = options.input;
  try {
    work({options.input, options.output}, report);
  } catch (const UsageError&) {
    throw;
  } catch (const std::bad_alloc&) {
    report.message = "out of memory";
  } catch (const std::exception& error) {
    report.message = error.what();
  }
  if (!report.message.empty()) PrintError(report.message);
  if (!options.json) PrintDamage(report);
  PrintSummary(options, report);
  return report.status == RunReport::Status::Done ? kExitDone : kExitFailed;
}

}  // namespace

int RunReported(const TranscodeOptions& options, const char* command,
                const std::function<void(const BatchItem&, RunReport&)>& work) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  // Outside: an exception of the plug-in needs the plug-in's code until it is dealt with.
  const auto plugin = LoadProResPlugin(options.plugin);
  return options.outputDir ? RunBatch(options, command, work) : RunAlone(options, command, work);
}

}  // namespace vixprores

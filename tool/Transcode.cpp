// SPDX-License-Identifier: BSD-2-Clause
#include "Transcode.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "Errors.h"
#include "FrameStamp.h"
#include "FrameWriter.h"
#include "Interrupt.h"
#include "OutputFile.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

void PrintNote(const TranscodeOptions& options, const std::string& text) {
  if (!options.quiet && !text.empty()) std::fprintf(stderr, "vixprores: note: %s\n", text.c_str());
}

[[noreturn]] void FailPastTheEnd(const std::string& name, const FrameRange& range,
                                 std::int64_t count) {
  throw Failure(name + ": has " + std::to_string(count) + " frames (0-" +
                std::to_string(count - 1) + "), but --frames asks for " +
                std::to_string(range.first) + "-" + std::to_string(range.last));
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
  if (plan.reader->GetFormat().fieldOrder == FieldOrder::Unknown) {
    PrintNote(options, plan.reader->GetName() +
                           ": does not tell its field order; it is taken as progressive");
  }
  for (const std::string& property : FindLostProperties(plan.output, plan.result)) {
    PrintNote(options, options.output + ": the container cannot keep the " + property);
  }
}

class Run {
 public:
  Run(const TranscodeOptions& options, TranscodePlan plan, RunReport& report)
      : options_(options),
        reader_(std::move(plan.reader)),
        total_(CountFramesToWrite(options, *reader_)),
        element_(std::move(plan.element), reader_->GetFormat()),
        file_(options.output, options.overwrite),
        writer_(MakeFrameWriter(file_, plan.output, plan.result)),
        progress_(!options.quiet),
        report_(report),
        start_(steady_clock::now()) {}

  // Returns false when the user asked to stop.
  bool ProcessFrames() {
    try {
      const FrameRange range = options_.frames.value_or(FrameRange{0, kEndless});
      for (std::int64_t number = 0; number <= range.last; ++number) {
        if (InterruptRequested()) return false;
        auto frame = reader_->Read();
        if (!frame) {
          if (options_.frames || number == 0) FailAtEnd(range, number);
          break;
        }
        if (number >= range.first) Process(std::move(frame), number);
      }
      return true;
    } catch (const Interrupted&) {
      return false;
    }
  }

  void Finish() {
    writer_->Finish();
    file_.Commit();
    report_.output = file_.GetName();
    StopClock();
  }

  void FinishPartial() {
    report_.message = "interrupted after " + std::to_string(report_.frames) + " frames";
    if (report_.frames == 0) {
      report_.message += "; nothing was kept";
      return;
    }
    writer_->Finish();
    report_.output = file_.CommitPartial();
    report_.message += "; they are kept in " + report_.output;
    StopClock();
  }

 private:
  static constexpr std::int64_t kEndless = INT64_MAX - 1;

  [[noreturn]] void FailAtEnd(const FrameRange& range, std::int64_t count) const {
    if (count == 0) throw Failure(reader_->GetName() + ": holds no frames");
    FailPastTheEnd(reader_->GetName(), range, count);
  }

  void Process(std::shared_ptr<vix::IBuffer> frame, std::int64_t number) {
    report_.sourceBytes += frame->GetSize();
    std::shared_ptr<const vix::IVideoSample> sample;
    try {
      sample = element_.Process(std::move(frame), report_.frames);
    } catch (const std::runtime_error& error) {
      const char* const advice =
          report_.result.IsRaw() ? "; --frames decodes the ones before and behind it" : "";
      throw Failure(reader_->GetName() + ": frame " + std::to_string(number) + ": " + error.what() +
                    advice);
    }
    const auto buffer = sample->GetBuffer();
    if (report_.result.IsRaw()) {
      PrepareRaw(*buffer, number);
    } else {
      StampFrameHeader(report_.result, *buffer);
    }
    writer_->Write(sample);
    report_.resultBytes += buffer->GetSize();
    ++report_.frames;
    StopClock();
    progress_.Update(report_, total_);
  }

  void PrepareRaw(const vix::IBuffer& frame, std::int64_t number) const {
    if (frame.GetSize() != report_.result.FrameBytes()) {
      throw Failure(reader_->GetName() + ": frame " + std::to_string(number) +
                    " is scanned otherwise than the first one; leave out --skip-field");
    }
    ClearRowPadding(report_.result, frame.GetData());
  }

  void StopClock() {
    report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
  }

  const TranscodeOptions& options_;
  std::unique_ptr<FrameReader> reader_;
  std::optional<std::int64_t> total_;
  ElementStream element_;
  OutputFile file_;
  std::unique_ptr<FrameWriter> writer_;
  ProgressLine progress_;
  RunReport& report_;
  steady_clock::time_point start_;
};

}  // namespace

void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report) {
  report.source = plan.reader->GetFormat();
  report.result = plan.result;
  CheckStorable(plan.output, plan.result);
  if (plan.reader->ReadsFrom(options.output)) {
    throw Failure(options.output + ": is the input itself; name another output");
  }
  PrintNotes(options, plan);
  Run run(options, std::move(plan), report);
  if (run.ProcessFrames()) {
    run.Finish();
    report.status = RunReport::Status::Done;
  } else {
    run.FinishPartial();
    report.status = RunReport::Status::Interrupted;
  }
}

}  // namespace vixprores

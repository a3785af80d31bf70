// SPDX-License-Identifier: BSD-2-Clause
#include "run/Transcode.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "format/StreamFormat.h"
#include "media/OutputFile.h"
#include "media/sound/SideTracks.h"
#include "recovery/TaggedFileReader.h"
#include "run/FrameSource.h"
#include "run/Host.h"
#include "run/OpenInput.h"
#include "run/SoundPlan.h"
#include "run/TextPlan.h"
#include "run/TranscodeRun.h"

namespace vixprores {
namespace {

void ReportNotes(const TranscodeOptions& options, const TranscodePlan& plan,
                 RunObserver& observer) {
  const FrameReader& reader = *plan.reader;
  for (const std::string& note : reader.GetDescription().notes) observer.ReportNote(note);
  for (const std::string& note : plan.notes) observer.ReportNote(note);
  if (plan.source.fieldOrder == FieldOrder::Unknown) {
    observer.ReportNote(reader.GetName() + ": field order unknown; assuming progressive");
  }
  for (const std::string& property : FindLostProperties(plan.output, plan.content)) {
    observer.ReportNote(NameOfOutput(options.output) + ": the output cannot keep the " + property);
  }
  if (plan.source.rate != reader.GetFormat().rate && !plan.content.sound.empty()) {
    observer.ReportNote(reader.GetName() + ": plays at " + Describe(plan.source.rate) +
                        " instead of " + Describe(reader.GetFormat().rate) +
                        " frames per second, while its sound keeps its speed and length");
  }
}

// Reports notes that are known only after the last frame.
void ReportNotesAtEnd(const FrameSource& source, const RunReport& report, RunObserver& observer) {
  const FrameReader& reader = source.GetReader();
  if (report.resumedFrames > 0) {
    observer.ReportNote(report.output + ": resumed after " + Count(report.resumedFrames, "frame") +
                        " of an interrupted run");
  }
  const std::string found = reader.GetEndNote();
  if (!found.empty()) observer.ReportNote(reader.GetName() + ": " + found);
  const std::int64_t uneven = source.CountUnevenFrames();
  if (uneven == 0) return;
  observer.ReportNote(reader.GetName() + ": " + Count(uneven, "frame") +
                      " came at odd times; all frames follow each other at " +
                      Describe(report.result.rate) + " frames per second" +
                      (report.soundTracks > 0 ? "; the sound may drift from the pictures" : ""));
}

// Sets the timecode of the output's first frame.
void ChooseTimecode(const TranscodeOptions& options, TranscodePlan& plan) {
  auto& timecode = plan.content.timecode;
  const std::string unread = plan.reader->GetDescription().timecodeNote;
  if (!timecode && !unread.empty()) plan.notes.push_back(unread);
  if (timecode && options.frames) timecode = *timecode + options.frames->first;
  if (timecode || !plan.output.makesTimecode) return;
  timecode = Timecode::Find("00:00:00:00", plan.content.video.rate);
  if (!timecode) return;
  plan.notes.push_back(options.output +
                       ": this container needs a timecode; it starts at 00:00:00:00, as none is "
                       "known");
}

// Packets missing from the index are missing from the output too.
void NoteIndexFaults(const TranscodeOptions& options, TranscodePlan& plan) {
  for (const std::string& fault : FindIndexFaults(options.input, *plan.reader)) {
    plan.notes.push_back(plan.reader->GetName() + ": " + DescribeIndexFault(fault));
  }
}

// Sets the properties that are known before the first frame.
void DescribeRun(const TranscodePlan& plan, RunReport& report) {
  report.source = plan.source;
  report.result = KeptFormat(plan.output, plan.content.video);
  report.isImages = plan.output.kind == OutputKind::Images;
  report.isLabelled = plan.output.kind != OutputKind::RawFrames && !report.isImages;
  report.isPlanar = plan.output.kind == OutputKind::Y4m;
  report.soundTracks = plan.content.sound.size();
  if (plan.content.timecode && plan.output.keepsTimecode) {
    report.timecode = plan.content.timecode->ToText();
  }
}

}  // namespace

void Transcode(TranscodeOptions options, TranscodePlan plan, RunReport& report,
               RunObserver& observer) {
  options.frames = ResolveRange(options.frames, *plan.reader, plan.content.timecode);
  CheckStorable(plan.output, plan.content.video);
  if (plan.reader->ReadsFrom(options.output)) {
    throw Failure(options.output + ": is the input itself; name another output");
  }
  NoteIndexFaults(options, plan);
  PlanSound(options, plan);
  ChooseTimecode(options, plan);
  std::ranges::move(
      PlanTexts({{options.input, plan.reader.get(), options.frames}}, plan.output, plan.content),
      std::back_inserter(plan.notes));
  if (options.isOfMany && !options.overwrite && HasInputChanged({options.input, options.output})) {
    options.overwrite = true;
    observer.ReportNote(options.input + ": changed since " + options.output +
                        " was made, which is replaced");
  }
  if (options.isOfMany && !options.overwrite && IsMadeAlready(options, plan)) {
    report.status = RunReport::Status::Skipped;
    report.output = options.output;
    return;
  }
  DescribeRun(plan, report);
  ReportNotes(options, plan, observer);
  TranscodeRun run(options, std::move(plan), report, observer);
  try {
    if (run.ProcessFrames()) {
      run.Finish();
      if (options.isOfMany) RecordInput({options.input, options.output});
      ReportNotesAtEnd(run.GetSource(), report, observer);
      const std::string note = run.GetOutputNote();
      if (!note.empty()) observer.ReportNote(note);
      report.status = RunReport::Status::Done;
      return;
    }
    report.status = RunReport::Status::Interrupted;
    run.FinishPartial("interrupted after " + Count(report.frames, "frame"));
  } catch (...) {
    run.FinishPartial(DescribeException(run.GetSource().GetName()));
  }
}

int RunReported(const TranscodeOptions& options, const char* command, RunObserver& observer,
                const RunItem& work) {
  SetUpMessages(options);
  if (options.cpu) SetCpuLevel(*options.cpu);
  // Keep the plug-ins loaded until the end: their exceptions need their code.
  const auto plugins = LoadProResPlugins(options.plugin);
  for (const std::string& note : FindIgnoredVariables()) observer.ReportNote(note);
  if (options.outputDir) return RunBatch(options, command, observer, work);
  const RunReport report = RunReporting(command, {options.input, options.output}, 0, work);
  observer.ReportEnd(report);
  return report.HasOutput() ? kExitDone : kExitFailed;
}

namespace {

namespace fs = std::filesystem;
using FrameCount = std::optional<std::int64_t>;

// Returns true if the counts differ by more than the frames that may have been dropped.
bool Differ(const FrameCount& found, const FrameCount& wanted, DamagePolicy onDamage) {
  if (!found || !wanted) return false;
  return onDamage == DamagePolicy::Skip ? *found > *wanted : *found != *wanted;
}

std::string DescribePictures(const StreamFormat& format) {
  return DescribeSize(format.width, format.height) + " " + DescribeCode(format.code);
}

bool HasPictures(const StreamFormat& found, const StreamFormat& wanted) {
  const bool isOfKind = found.code == wanted.code || found.code == 0;  // 0 = not in the container
  return isOfKind && found.width == wanted.width && found.height == wanted.height;
}

std::string CompareRawFrames(const std::string& path, const TranscodePlan& plan,
                             const FrameCount& frames) {
  const std::uint32_t frameBytes = plan.content.video.FrameBytes();
  const auto bytes = static_cast<std::int64_t>(fs::file_size(path));
  const bool isWhole = bytes % frameBytes == 0;
  if (isWhole && !Differ(bytes / frameBytes, frames, plan.onDamage)) return {};
  return std::to_string(bytes) + " bytes instead of " +
         (frames ? std::to_string(*frames) : "whole") + " frames of " + std::to_string(frameBytes);
}

// Properties of a stream and its other tracks as texts to be compared. Empty = the container cannot
// store the property.
using Labels = std::array<std::string, 10>;

// Describes the aspect in whole pixels: some containers are no more precise.
std::string DescribeDisplay(const StreamFormat& format) {
  const auto [width, height] = format.sampleAspect;
  if (width <= 0) return {};
  const double wide = static_cast<double>(format.width) * width / height;
  return "shown " + DescribeSize(static_cast<std::uint32_t>(std::lround(wide)), format.height);
}

std::string DescribeAlpha(const StreamFormat& format) {
  if (format.IsRaw()) return {};  // room for it, whether it counts or not
  return format.HasAlpha() ? "alpha of " + AlphaName(format.alphaBits) : "no alpha";
}

Labels DescribeLabels(const StreamFormat& format, const std::optional<Timecode>& timecode,
                      std::size_t soundTracks) {
  const bool isFull = format.colour.range == ColourRange::Full;
  return {"colour " + Describe(format.colour),
          isFull ? "full range" : "limited range",
          Describe(format.fieldOrder),
          Describe(format.rate) + " fps",
          DescribeDisplay(format),
          timecode ? "timecode " + timecode->ToText() : "no timecode",
          Count(static_cast<std::int64_t>(soundTracks), "sound track"),
          format.masteringDisplay ? "mastering display " + Describe(*format.masteringDisplay)
                                  : "no mastering display",
          format.contentLight ? "content light level " + Describe(*format.contentLight)
                              : "no content light level",
          DescribeAlpha(format)};
}

Labels LabelsOf(FrameReader& reader) {
  const SideTracks* const side = reader.GetSideTracks();
  return DescribeLabels(reader.GetFormat(), reader.GetDescription().timecode,
                        side ? side->GetSound().size() : 0);
}

Labels LabelsOf(const TranscodePlan& plan) {
  const StreamFormat kept = KeptFormat(plan.output, plan.content.video);
  Labels labels = DescribeLabels(kept, plan.content.timecode, plan.content.sound.size());
  if (!plan.output.keepsColourRange) labels[1].clear();
  if (kept.fieldOrder == FieldOrder::Unknown) labels[2].clear();
  if (!plan.output.keepsTimecode) labels[5].clear();
  if (!plan.output.keepsMasteringDisplay) labels[7].clear();
  if (!plan.output.keepsContentLight) labels[8].clear();
  return labels;
}

std::string CompareLabels(const Labels& found, const Labels& wanted) {
  std::string is;
  std::string should;
  for (std::size_t i = 0; i < found.size(); ++i) {
    if (found[i].empty() || wanted[i].empty() || found[i] == wanted[i]) continue;
    is += (is.empty() ? "" : ", ") + found[i];
    should += (should.empty() ? "" : ", ") + wanted[i];
  }
  return is.empty() ? std::string() : is + " instead of " + should;
}

std::string CompareFrames(const std::string& path, const TranscodePlan& plan,
                          const FrameCount& frames) {
  const StreamFormat& wanted = plan.content.video;
  FootageReading reading;
  reading.isDeep = reading.keepsRgb = IsOf4444(wanted.code);
  const auto reader = wanted.IsRaw() ? OpenFootage(path, reading) : OpenProRes(path);
  if (wanted.IsRaw() && !reader->GetDescription().stored.empty()) {
    return reader->GetDescription().stored + " instead of " + DescribePictures(wanted);
  }
  if (!HasPictures(reader->GetFormat(), wanted)) {
    return DescribePictures(reader->GetFormat()) + " instead of " + DescribePictures(wanted);
  }
  const auto found = reader->GetDescription().frames;
  if (Differ(found, frames, plan.onDamage)) {
    return std::to_string(*found) + " frames instead of " + std::to_string(*frames);
  }
  return CompareLabels(LabelsOf(*reader), LabelsOf(plan));
}

// Returns how the file differs from the plan's output; empty = it matches.
std::string FindDifference(const std::string& path, const TranscodePlan& plan,
                           const FrameCount& frames) {
  try {
    return plan.output.kind == OutputKind::RawFrames ? CompareRawFrames(path, plan, frames)
                                                     : CompareFrames(path, plan, frames);
  } catch (const std::runtime_error& unreadable) {
    return unreadable.what();
  }
}

}  // namespace

bool IsMadeAlready(const TranscodeOptions& options, const TranscodePlan& plan) {
  if (!fs::exists(options.output)) return false;
  const FrameCount frames = CountFrames(*plan.reader, options.frames);
  const std::string difference = FindDifference(options.output, plan, frames);
  if (difference.empty()) return true;
  throw Failure(options.output + ": exists, but differs from the output of " +
                plan.reader->GetName() + " (found " + difference + "); --overwrite replaces it");
}

}  // namespace vixprores

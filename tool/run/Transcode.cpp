// SPDX-License-Identifier: BSD-2-Clause
#include "run/Transcode.h"

#include <cstdio>
#include <exception>
#include <new>
#include <numeric>
#include <utility>

#include "base/Errors.h"
#include "base/Text.h"
#include "media/OutputFile.h"
#include "media/sound/SideTracks.h"
#include "recovery/IndexCheck.h"
#include "report/VerificationReport.h"
#include "run/CodecEnvironment.h"
#include "run/ExistingOutput.h"
#include "run/PluginSearch.h"
#include "run/TranscodeRun.h"

namespace vixprores {
namespace {

void PrintNote(const TranscodeOptions& options, const std::string& text) {
  if (!options.quiet && !text.empty()) vixprores::PrintNote(text);
}

void PrintNotes(const TranscodeOptions& options, const TranscodePlan& plan) {
  PrintNote(options, plan.reader->GetDescription().note);
  for (const std::string& note : plan.notes) PrintNote(options, note);
  if (plan.source.fieldOrder == FieldOrder::Unknown) {
    PrintNote(options, plan.reader->GetName() +
                           ": does not tell its field order; it is taken as progressive");
  }
  for (const std::string& property : FindLostProperties(plan.output, plan.content)) {
    PrintNote(options, NameOfOutput(options.output) + ": the output cannot keep the " + property);
  }
  if (plan.source.rate != plan.reader->GetFormat().rate && !plan.content.sound.empty()) {
    PrintNote(options, plan.reader->GetName() + ": plays at " + Describe(plan.source.rate) +
                           " instead of " + Describe(plan.reader->GetFormat().rate) +
                           " frames per second, while its sound keeps its speed and length");
  }
}

void PrintSummary(const TranscodeOptions& options, const RunReport& report) {
  if (options.json) {
    // Standard output may be where the frames go.
    std::fprintf(options.output == "-" ? stderr : stdout, "%s\n", SummaryJson(report).c_str());
  } else if (!options.quiet && report.status == RunReport::Status::Done) {
    PrintText(stderr, SummaryLine(report) + "\n");
  }
}

// What is known only behind the last frame.
void PrintNoteAtEnd(const TranscodeOptions& options, const FrameSource& source,
                    const RunReport& report) {
  const FrameReader& reader = source.GetReader();
  const std::string found = reader.GetEndNote();
  if (!found.empty()) PrintNote(options, reader.GetName() + ": " + found);
  const std::int64_t uneven = source.CountUnevenFrames();
  if (uneven == 0) return;
  PrintNote(options, reader.GetName() + ": " + Count(uneven, "frame") +
                         " came at odd times; all frames follow each other at " +
                         Describe(report.result.rate) + " frames per second" +
                         (report.soundTracks > 0 ? "; the sound may drift from the pictures" : ""));
}

// The timecode of the output's first frame.
void ChooseTimecode(const TranscodeOptions& options, TranscodePlan& plan) {
  auto& timecode = plan.content.timecode;
  const std::string unread = plan.reader->GetDescription().timecodeNote;
  if (!timecode && !unread.empty()) plan.notes.push_back(unread);
  if (timecode && options.frames) timecode = *timecode + options.frames->first;
  if (timecode || !plan.output.makesTimecode) return;
  timecode = Timecode::Find("00:00:00:00", plan.content.video.rate);
  if (!timecode) return;
  plan.notes.push_back(options.output +
                       ": this container always has a timecode; it starts at 00:00:00:00, as none "
                       "is known");
}

// What is gone from the index is gone from the output, too.
void NoteIndexFaults(const TranscodeOptions& options, TranscodePlan& plan) {
  for (const std::string& fault : FindIndexFaults(options.input, *plan.reader)) {
    plan.notes.push_back(plan.reader->GetName() + ": " + DescribeIndexFault(fault));
  }
}

// The sound tracks that the run copies, chosen in the reader.
void ChooseSound(const TranscodeOptions& options, TranscodePlan& plan) {
  SideTracks* const side = plan.reader->GetSideTracks();
  const std::size_t available = side ? side->GetSound().size() : 0;
  std::vector<std::size_t> places(available);
  std::iota(places.begin(), places.end(), std::size_t{0});
  if (options.audioTracks) places = *options.audioTracks;
  for (const std::size_t place : places) {
    if (place < available) continue;
    throw Failure(plan.reader->GetName() + ": has " +
                  Count(static_cast<std::int64_t>(available), "sound track") +
                  ", but --audio-tracks asks for number " + std::to_string(place + 1));
  }
  if (options.noAudio) places.clear();
  if (plan.output.kind != OutputKind::Container && !places.empty()) {
    plan.notes.push_back(plan.reader->GetName() +
                         ": its sound is left out, as the output holds none");
    places.clear();
  }
  plan.content.metadata = plan.reader->GetDescription().metadata;
  if (!side) return;
  side->SelectSound(places);
  plan.content.sound = side->GetSound();
}

}  // namespace

void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report) {
  CheckStorable(plan.output, plan.content.video);
  if (plan.reader->ReadsFrom(options.output)) {
    throw Failure(options.output + ": is the input itself; name another output");
  }
  NoteIndexFaults(options, plan);
  ChooseSound(options, plan);
  ChooseTimecode(options, plan);
  if (options.isOfMany && !options.overwrite && IsMadeAlready(options, plan)) {
    report.status = RunReport::Status::Skipped;
    report.output = options.output;
    return;
  }
  report.source = plan.source;
  report.result = KeptFormat(plan.output, plan.content.video);
  report.isLabelled = plan.output.kind != OutputKind::Headless;
  report.soundTracks = plan.content.sound.size();
  if (plan.content.timecode && plan.output.keepsTimecode) {
    report.timecode = plan.content.timecode->ToText();
  }
  PrintNotes(options, plan);
  TranscodeRun run(options, std::move(plan), report);
  try {
    if (run.ProcessFrames()) {
      run.Finish();
      PrintNoteAtEnd(options, run.GetSource(), report);
      report.status = RunReport::Status::Done;
      return;
    }
    report.status = RunReport::Status::Interrupted;
    run.FinishPartial("interrupted after " + Count(report.frames, "frame"));
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

// SPDX-License-Identifier: BSD-2-Clause
#include "farm/JobRun.h"

#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>

#include "base/Errors.h"
#include "farm/JobFiles.h"
#include "farm/Part.h"
#include "farm/PartsReader.h"
#include "media/Folders.h"
#include "run/EarlierRun.h"
#include "run/EncodePlan.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

void Skip(const std::string& output, RunReport& report, RunObserver& observer) {
  observer.ReportNote(output + ": is done already");
  report.status = RunReport::Status::Skipped;
  report.output = output;
}

bool IsIntactPart(const std::string& path, const PartLabel& label) {
  std::error_code none;
  if (!fs::exists(path, none)) return false;
  try {
    const auto found = FindPartLabel(*OpenProRes(path));
    return found && found->ToText() == label.ToText() && FindDamage(path).empty();
  } catch (const Failure&) {
    return false;  // something else has the name
  }
}

// Removes the outcome of a copy of a chunk that failed, because another one has made the part.
void RemoveFailure(const std::string& part) {
  std::error_code none;
  const auto outcome = FindOutcome(NameOutcome(part));
  if (outcome && !outcome->isDone) fs::remove(NameOutcome(part), none);
}

// A run locks its work file before it writes to it: files without a lock and a byte may be new.
void RemoveAbandonedFiles(const std::string& output) {
  std::error_code none;
  for (const Leftover& leftover : LockLeftovers(output)) {
    if (leftover.bytes > 0) fs::remove(leftover.path, none);
  }
}

// Removes the parts of a joined job, and what their runs left behind. The outcomes go first: a late
// copy of a chunk that finds one takes its part for one that was kept.
void RemoveParts(const Job& job) {
  std::error_code none;
  for (const Chunk& chunk : job.chunks) {
    RemoveAbandonedFiles(chunk.part);
    fs::remove(NameOutcome(chunk.part), none);
    fs::remove(chunk.part, none);
  }
}

}  // namespace

void EncodeChunk(EncodeOptions options, TranscodePlan plan, RunReport& report,
                 RunObserver& observer) {
  const fs::path folder = fs::path(options.output).parent_path();
  const auto frames = ResolveRange(options.frames, *plan.reader, plan.content.timecode);
  const PartLabel label{*options.chunk, *frames, InputState(options.input).Of(*frames)};
  if (AreJoined(folder.string(), {label.ToText()})) return Skip(options.output, report, observer);
  if (IsIntactPart(options.output, label)) {
    RemoveFailure(options.output);
    return Skip(options.output, report, observer);
  }
  MakeFolder(folder.string());
  RemoveAbandonedFiles(options.output);
  plan.content.metadata[PartLabel::kKey] = label.ToText();
  plan.keepsPartial = false;
  options.overwrite = true;
  Transcode(options, std::move(plan), report, observer);
  // Another copy of the chunk may have been joined meanwhile, and its part removed.
  std::error_code failed;
  const bool isLate = report.status == RunReport::Status::Done &&
                      AreJoined(folder.string(), {label.ToText()}) &&
                      !fs::exists(NameOutcome(options.output), failed);
  if (!isLate) return;
  fs::remove(options.output, failed);
  Skip(options.output, report, observer);
}

void JoinParts(const JoinOptions& options, RunReport& report, RunObserver& observer) {
  if (options.verify) throw UsageError("--verify is for the chunks: a join encodes nothing");
  TranscodePlan plan = PlanEncoding(options);
  const Job job = DescribeJob(options, *options.job, *plan.reader);
  const auto labels = LabelParts(job);
  if (AreJoined(job.folder, labels)) return Skip(job.output, report, observer);
  plan.reader = std::make_unique<PartsReader>(std::move(plan.reader), plan.content.video, job);
  MakeFolder(fs::path(job.output).parent_path().string());
  plan.isEncoded = true;
  plan.keepsPartial = false;
  TranscodeOptions copying = options;
  if (copying.threads == 0) copying.threads = 2;  // one reads while the other writes
  Transcode(copying, std::move(plan), report, observer);
  if (report.status != RunReport::Status::Done) {
    // Another run of the same command may have removed the parts.
    if (report.status == RunReport::Status::Failed && AreJoined(job.folder, labels)) {
      report.message.clear();
      Skip(job.output, report, observer);
    }
    return;
  }
  // Without a record, a second run of the command needs the parts.
  const bool isRecorded = RecordOutcome(NameJoinOutcome(job.folder), job.id, report, labels);
  if (isRecorded && !options.keepsParts) RemoveParts(job);
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "check/Verification.h"
#include "cli/Commands.h"
#include "cli/Options.h"
#include "media/InputFile.h"
#include "media/OutputFile.h"
#include "recovery/TaggedFileReader.h"
#include "report/Pages.h"
#include "report/Report.h"
#include "report/VerificationReport.h"
#include "run/Host.h"
#include "run/OpenInput.h"

namespace vixprores {
namespace {

using std::chrono::steady_clock;

struct VerifyOptions : HostOptions, PageOptions, ScanOptions {
  std::vector<std::string> files;
  std::vector<Expectation> expectations;
  int threads = 0;
  bool json = false;
  bool quiet = false;
};

// Parses "LIST", or "@FILE" for the list in a file.
void AddExpectations(const std::string& text, std::vector<Expectation>& expectations) {
  constexpr std::size_t kMostBytes = 1U << 20;
  std::string list = text;
  if (text.starts_with("@")) {
    InputFile file(text.substr(1));
    const auto bytes = file.Peek(kMostBytes);
    list.assign(bytes.begin(), bytes.end());
  }
  const auto more = ParseExpectations(list);
  expectations.insert(expectations.end(), more.begin(), more.end());
}

Option ExpectOption(std::vector<Expectation>& expectations) {
  Option option{"--expect", "LIST",
                "report properties that differ: variant=hq,rate=25,... or @FILE",
                [&expectations](const std::string& text) { AddExpectations(text, expectations); }};
  option.mayRepeat = true;
  option.details =
      "LIST is PROPERTY=VALUE items between commas, or one a line in a file. The properties are " +
      JoinWords(ExpectedProperties()) +
      ". Values have the notation of the options of encode (alpha: none, 8 or 16 coded bits); "
      "those of duration (in seconds), frames "
      "and sound are numbers or ranges such as 58-62. A file that differs makes the exit code 1.";
  return option;
}

Command DescribeVerify(VerifyOptions& options) {
  Command command;
  command.name = "verify";
  command.summary = "Check ProRes files for damage";
  command.description =
      "Reads every frame of each file, checks headers and sizes, and decodes every slice down to "
      "its coefficients and its alpha. Reports each damaged frame with its number, its timecode, "
      "its place in the "
      "file, and the fault. Continues with the next file when one cannot be read.\n\n"
      "A .mov written by this program holds a checksum of every frame, which reveals any change, "
      "and a tag for every packet, which reveals losses of the index. In other files, damage that "
      "yields other valid codewords cannot be found.";
  command.usages = {"[OPTION]... FILE..."};
  command.arguments = {{"FILE", "container with a ProRes track; - for standard input"}};
  command.takeArguments = [&options](const std::vector<std::string>& words) {
    RefuseEmptyNames("FILE", words);
    options.files = words;
  };
  command.groups = {
      {"Report",
       {ExpectOption(options.expectations),
        Flag("--json", options.json, "print the results as JSON"),
        QuietOption(options.quiet, "report damaged files only, without progress")}},
      ScanGroup(options),
      {"Page", PageOptionList(options)},
      {"Machine",
       {ThreadsOption(options.threads),
        Flag("--verbose", options.verbose, "print messages of the container library")}},
      LimitsGroup(options.limits)};
  command.examples = {
      {"vixprores verify *.mov", "Check every file; exit code 0 means that all are intact."},
      {"vixprores verify --expect variant=hq,size=1080p,rate=25,fields=top out.mov",
       "Check a delivery."},
      {"vixprores verify --html report.html *.mov", "Write a page to pass on."}};
  return command;
}

// The progress line of one file.
class FileProgress {
 public:
  FileProgress(const VerifyOptions& options, const FrameReader& reader)
      : line_(options.quiet ? ProgressKind::None : ProgressKind::Line),
        total_(reader.GetDescription().frames) {
    report_.source = report_.result = reader.GetFormat();
  }

  void Update(std::int64_t frames, std::uint64_t bytes) {
    report_.frames = frames;
    report_.resultBytes = bytes;
    report_.seconds = std::chrono::duration<double>(steady_clock::now() - start_).count();
    line_.Update(report_, total_);
  }

 private:
  Progress line_;
  RunReport report_;
  std::optional<std::int64_t> total_;
  steady_clock::time_point start_ = steady_clock::now();
};

// Result of a file and the data for its page.
struct VerifiedFile {
  Verification result;
  std::optional<VerifiedStream> stream;  // nullopt without a page, or if the file cannot be opened
};

void PrintSoundDamage(const Verification& result) {
  for (const SoundDamage& damage : FirstOf(result.soundDamage)) {
    PrintText(stdout, result.file + ": " + Describe(damage) + "\n");
  }
}

void CheckExpectations(const VerifyOptions& options, FrameReader& reader, Verification& result) {
  result.isExpected = !options.expectations.empty();
  result.shortfalls = FindShortfalls(options.expectations, reader, result.frames);
  if (options.json) return;
  for (const Shortfall& shortfall : result.shortfalls) {
    PrintText(stdout, result.file + ": " + DescribeShortfall(shortfall) + "\n");
  }
}

void VerifyReader(const VerifyOptions& options, const std::string& path, FrameReader& reader,
                  VerifiedFile& file) {
  Verification& result = file.result;
  FileProgress progress(options, reader);
  VerificationEvents events;
  events.damaged = [&](const DamagedFrame& frame) {
    if (options.json) return;
    PrintText(stdout, result.file + ": " + DescribeDamage(frame) + "\n");
    std::fflush(stdout);
  };
  events.progress = [&](std::int64_t frames, std::uint64_t bytes) {
    progress.Update(frames, bytes);
  };
  if (options.page) {
    file.stream.emplace(reader);
    events.checked = [&stream = *file.stream](const DamagedFrame& frame,
                                              std::span<const std::uint8_t> bytes) {
      stream.Add(frame, bytes);
    };
  }
  VerifyFrames(reader, options.threads, events, result);
  if (!options.json) PrintSoundDamage(result);
  result.note = reader.GetEndNote();
  CheckExpectations(options, reader, result);
  if (options.scan) return;  // a scan ignores the index
  result.index = FindIndexFaults(path, reader);
  if (options.json) return;
  for (const std::string& fault : result.index) {
    PrintText(stdout, result.file + ": " + DescribeIndexFault(fault) + "\n");
  }
}

VerifiedFile VerifyFile(const VerifyOptions& options, const std::string& file) {
  VerifiedFile verified;
  Verification& result = verified.result;
  result.file = NameOfInput(file);
  ProResOptions opening = ToProResOptions(options);
  opening.damagedStart = true;
  opening.times = FrameTimes::Evident;
  try {
    const auto reader = OpenProRes(file, opening);
    VerifyReader(options, file, *reader, verified);
  } catch (const Interrupted&) {
    result.error = result.file + ": interrupted after " + Count(result.frames, "frame");
  } catch (...) {
    result.error = DescribeException(result.file);
  }
  if (!result.error.empty()) PrintError(result.error);
  if (!result.note.empty()) PrintNote(result.file + ": " + result.note);
  const bool isTold = !options.json && !(options.quiet && result.IsAccepted());
  if (isTold) PrintText(stdout, DescribeOutcome(result) + "\n");
  return verified;
}

int Verify(const VerifyOptions& options) {
  SetUpMessages(options);
  std::optional<OutputFile> pageFile;
  if (options.page) RefuseInputAsOutput(*options.page, options.files);
  if (options.page) pageFile.emplace(*options.page, options.overwrite);
  VerificationPage page;
  std::vector<Verification> results;
  for (const std::string& name : options.files) {
    VerifiedFile file = VerifyFile(options, name);
    if (pageFile) page.Add(file.result, file.stream);
    results.push_back(std::move(file.result));
    if (InterruptRequested()) break;
  }
  if (pageFile) {
    pageFile->Write(AsBytes(page.Finish()));
    pageFile->Commit();
  }
  if (options.json) {
    WriteVerificationJson(results, StandardOutput());
    std::printf("\n");
  }
  return std::ranges::all_of(results, &Verification::IsAccepted) ? kExitDone : kExitFailed;
}

}  // namespace

Command MakeVerifyCommand() {
  return BindOptions(DescribeVerify, Verify);
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "run/Batch.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "media/OutputFile.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

std::string ReplaceWords(const std::string& pattern,
                         const std::map<std::string, std::string>& words) {
  std::string text;
  std::size_t position = 0;
  for (;;) {
    const std::size_t begin = pattern.find('{', position);
    const std::size_t end = pattern.find('}', begin);
    text += pattern.substr(position, begin - position);
    if (begin == std::string::npos) return text;
    const auto found = words.find(pattern.substr(begin + 1, end - begin - 1));
    if (end == std::string::npos || found == words.end()) {
      throw UsageError("'" + pattern +
                       "' is no pattern of names; in braces it can have {name} and " + "{number}");
    }
    text += found->second;
    position = end + 1;
  }
}

// Another folder, which may not even be there, is not to be met by a slip.
void CheckName(const std::string& name, const std::string& pattern) {
  const bool isName = !name.empty() && name != "." && name != "..";
  if (isName && name.find('/') == std::string::npos) return;
  throw UsageError("--name '" + pattern + "' gives '" + name +
                   "', which is no name of a file in the folder; --output-dir names the folder");
}

[[noreturn]] void RefuseOneName(const std::string& one, const std::string& other,
                                const std::string& output) {
  throw UsageError(one + " and " + other + " would both become " + output +
                   "; tell them apart with {number} in --name");
}

class Batch {
 public:
  Batch(const TranscodeOptions& options, const char* command,
        const std::function<void(const BatchItem&, RunReport&)>& work)
      : options_(options),
        command_(command),
        work_(work),
        items_(NameOutputs(options)),
        reports_(items_.size()) {}

  int Run() {
    CreateFolder();
    {
      std::vector<std::jthread> helpers;
      const auto jobs = std::min(items_.size(), static_cast<std::size_t>(options_.jobs));
      for (std::size_t job = 1; job < jobs; ++job) helpers.emplace_back([this] { Work(); });
      Work();
    }
    if (options_.json) {
      std::fprintf(stdout, "%s\n", BatchJson(reports_).c_str());
    } else if (!options_.quiet) {
      PrintText(stderr, BatchTable(reports_));
    }
    return std::ranges::all_of(reports_, IsThere) ? kExitDone : kExitFailed;
  }

 private:
  static bool IsThere(const RunReport& report) {
    return report.status == RunReport::Status::Done || report.status == RunReport::Status::Skipped;
  }

  void CreateFolder() const {
    std::error_code error;
    fs::create_directories(*options_.outputDir, error);
    if (error) throw Failure(*options_.outputDir + ": cannot be made: " + error.message());
  }

  void Work() {
    for (;;) {
      const std::size_t next = next_++;
      if (next >= items_.size()) return;
      reports_[next] = RunItem(items_[next]);
      Tell(reports_[next]);
    }
  }

  RunReport RunItem(const BatchItem& item) const {
    RunReport report;
    report.command = command_;
    report.input = item.input;
    try {
      if (InterruptRequested()) throw Interrupted();
      RefuseInputAsOutput(item.output, {item.input});
      work_(item, report);
    } catch (const Interrupted& error) {
      report.status = RunReport::Status::Interrupted;
      report.message = error.what();
    } catch (const std::exception& error) {
      report.message = error.what();
    }
    return report;
  }

  void Tell(const RunReport& report) {
    const std::scoped_lock lock(telling_);
    if (!report.message.empty()) PrintError(report.message);
    if (!options_.json) PrintDamage(report);
    if (options_.quiet || options_.json || report.status != RunReport::Status::Done) return;
    PrintText(stderr, SummaryLine(report) + "\n");
  }

  const TranscodeOptions& options_;
  const char* command_;
  const std::function<void(const BatchItem&, RunReport&)>& work_;
  std::vector<BatchItem> items_;
  std::vector<RunReport> reports_;
  std::atomic<std::size_t> next_ = 0;
  std::mutex telling_;
};

}  // namespace

void ChooseItem(TranscodeOptions& options, const BatchItem& item) {
  options.input = item.input;
  options.output = item.output;
  if (options.jobs == 1) return;
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  if (options.threads == 0) options.threads = std::max(1, processors / options.jobs);
  // There is one line, and several that would draw it.
  if (options.progress == ProgressKind::Line) options.progress = ProgressKind::None;
}

std::vector<BatchItem> NameOutputs(const std::vector<std::string>& inputs,
                                   const std::string& folder, const std::string& pattern) {
  std::vector<BatchItem> items;
  std::map<std::string, std::string> inputOf;
  for (const std::string& input : inputs) {
    const std::string name = ReplaceWords(pattern, {{"name", fs::path(input).stem().string()},
                                                    {"number", std::to_string(items.size() + 1)}});
    CheckName(name, pattern);
    const std::string output = (fs::path(folder) / name).string();
    const auto [other, isNew] = inputOf.emplace(output, input);
    if (!isNew) RefuseOneName(other->second, input, output);
    items.push_back({input, output});
  }
  return items;
}

std::vector<BatchItem> NameOutputs(const TranscodeOptions& options) {
  return NameOutputs(options.inputs, *options.outputDir,
                     options.namePattern.value_or("{name}.mov"));
}

int RunBatch(const TranscodeOptions& options, const char* command,
             const std::function<void(const BatchItem&, RunReport&)>& work) {
  return Batch(options, command, work).Run();
}

}  // namespace vixprores

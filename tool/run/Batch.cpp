// SPDX-License-Identifier: BSD-2-Clause
#include "run/Batch.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <filesystem>
#include <map>
#include <system_error>
#include <thread>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "media/InputFile.h"
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
                       "' is not a pattern of names; it may contain {name} and {number}");
    }
    text += found->second;
    position = end + 1;
  }
}

// Rejects names that would write to another folder by mistake.
void CheckName(const std::string& name, const std::string& pattern) {
  const bool isName = !name.empty() && name != "." && name != "..";
  if (isName && name.find('/') == std::string::npos) return;
  throw UsageError("--name '" + pattern + "' gives '" + name +
                   "', which is not a file name in the folder; set the folder with --output-dir");
}

[[noreturn]] void RefuseOneName(const std::string& one, const std::string& other,
                                const std::string& output) {
  throw UsageError(one + " and " + other + " would both be written to " + output +
                   "; add {number} to --name");
}

class Batch {
 public:
  Batch(const TranscodeOptions& options, const char* command, RunObserver& observer,
        const RunItem& work)
      : options_(options),
        command_(command),
        observer_(observer),
        work_(work),
        items_(NameOutputs(options)),
        reports_(items_.size()) {}

  int Run() {
    CreateFolder();
    {
      std::vector<std::jthread> helpers;
      try {
        const auto jobs = std::min(items_.size(), static_cast<std::size_t>(options_.jobs));
        while (helpers.size() + 1 < jobs) helpers.emplace_back([this] { Work(); });
      } catch (const std::exception&) {
        // No memory or no more threads: continue with fewer, which is only slower.
      }
      Work();
    }
    observer_.ReportBatch(reports_);
    return std::ranges::all_of(reports_, &RunReport::HasOutput) ? kExitDone : kExitFailed;
  }

 private:
  void CreateFolder() const {
    std::error_code error;
    fs::create_directories(*options_.outputDir, error);
    if (error) throw Failure(*options_.outputDir + ": cannot be created: " + error.message());
  }

  void Work() {
    for (;;) {
      const std::size_t next = next_++;
      if (next >= items_.size()) return;
      reports_[next] = RunReporting(command_, items_[next], next + 1, work_);
      observer_.ReportEnd(reports_[next]);
    }
  }

  const TranscodeOptions& options_;
  const char* command_;
  RunObserver& observer_;
  const RunItem& work_;
  std::vector<BatchItem> items_;
  std::vector<RunReport> reports_;
  std::atomic<std::size_t> next_ = 0;
};

}  // namespace

void ChooseItem(TranscodeOptions& options, const BatchItem& item) {
  options.input = item.input;
  options.output = item.output;
  if (options.jobs == 1) return;
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  if (options.threads == 0) options.threads = std::max(1, processors / options.jobs);
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

RunReport RunReporting(const char* command, const BatchItem& item, std::size_t place,
                       const RunItem& work) {
  RunReport report;
  report.command = command;
  report.place = place;
  report.input = item.input;
  try {
    CheckInterrupt();
    if (place > 0) RefuseInputAsOutput(item.output, {item.input});
    work(item, report);
  } catch (const UsageError& error) {
    if (place == 0) throw;
    report.message = error.what();
  } catch (const Interrupted& error) {
    report.status = RunReport::Status::Interrupted;
    report.message = error.what();
  } catch (...) {
    report.message = DescribeException(NameOfInput(item.input));
  }
  return report;
}

int RunBatch(const TranscodeOptions& options, const char* command, RunObserver& observer,
             const RunItem& work) {
  return Batch(options, command, observer, work).Run();
}

}  // namespace vixprores

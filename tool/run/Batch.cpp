// SPDX-License-Identifier: BSD-2-Clause
#include "run/Batch.h"

#include <sys/stat.h>
#include <sys/xattr.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <exception>
#include <filesystem>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <thread>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "base/Text.h"
#include "media/Folders.h"
#include "media/InputFile.h"
#include "media/OutputFile.h"
#include "media/sequence/SequenceName.h"

namespace vixprores {
namespace {

namespace fs = std::filesystem;

// Returns text like "{name} and {number}".
std::string ListWords(const std::map<std::string, std::string>& words) {
  std::vector<std::string> list;
  list.reserve(words.size());
  for (const auto& [word, text] : words) list.push_back("{" + word + "}");
  return JoinWords(list);
}

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
      throw UsageError("'" + pattern + "' is not a pattern of names; it may contain " +
                       ListWords(words));
    }
    text += found->second;
    position = end + 1;
  }
}

// Returns the name of an input without folder, extension and the place of a number.
std::string StemOf(const std::string& input) {
  std::error_code none;
  if (fs::is_directory(input, none)) return NameOfFolder(input);
  const auto images = fs::exists(input, none) ? std::nullopt : ParseSequenceName(input);
  return images ? images->Stem() : fs::path(input).stem().string();
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

// Extensions of files in folders; a file of another name can be given by itself.
bool IsVideoName(const fs::path& path) {
  static const std::set<std::string> kExtensions{".3gp",  ".avi", ".dv",  ".gif", ".m2ts", ".m4v",
                                                 ".mkv",  ".mov", ".mp4", ".mpg", ".mts",  ".mxf",
                                                 ".mpeg", ".nut", ".ts",  ".vob", ".webm", ".y4m"};
  const std::string name = path.filename().string();
  return !name.starts_with(".") && kExtensions.contains(ToLower(path.extension().string()));
}

template <typename Iterator>
void FindVideos(Iterator entry, const fs::path& skipped, std::vector<fs::path>& videos) {
  for (const Iterator end; entry != end; ++entry) {
    std::error_code none;
    if constexpr (requires { entry.disable_recursion_pending(); }) {
      if (fs::equivalent(entry->path(), skipped, none)) entry.disable_recursion_pending();
    }
    if (IsVideoName(entry->path()) && entry->is_regular_file(none)) videos.push_back(entry->path());
  }
}

std::vector<fs::path> FindVideos(const fs::path& folder, bool recursive, const fs::path& skipped) {
  constexpr auto kSkip = fs::directory_options::skip_permission_denied;
  std::vector<fs::path> videos;
  try {
    recursive ? FindVideos(fs::recursive_directory_iterator(folder, kSkip), skipped, videos)
              : FindVideos(fs::directory_iterator(folder, kSkip), skipped, videos);
  } catch (const fs::filesystem_error& error) {
    throw Failure(folder.string() + ": cannot be read: " + error.code().message());
  }
  std::ranges::sort(videos);
  return videos;
}

constexpr const char* kRecord = "user.vixprores.input";  // name of the extended attribute

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
    CreateFolders();
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
  void CreateFolders() const {
    MakeFolder(*options_.outputDir);
    for (const BatchItem& item : items_) MakeFolder(fs::path(item.output).parent_path());
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

std::vector<BatchInput> ExpandFolders(const std::vector<std::string>& names, bool recursive,
                                      const std::string& skipped) {
  std::vector<BatchInput> inputs;
  for (const std::string& name : names) {
    std::error_code none;
    std::vector<fs::path> videos;
    if (fs::is_directory(name, none)) videos = FindVideos(name, recursive, skipped);
    for (const fs::path& video : videos) {
      const std::string folder = video.lexically_relative(name).parent_path().string();
      inputs.push_back({video.string(), folder});
    }
    if (videos.empty()) inputs.push_back({name});  // a file, or a folder with images
  }
  return inputs;
}

std::string DescribeState(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) != 0 || !S_ISREG(state.st_mode)) return {};
  return std::to_string(state.st_size) + " " + std::to_string(state.st_mtim.tv_sec) + "." +
         std::to_string(state.st_mtim.tv_nsec);
}

bool HasInputChanged(const BatchItem& item) {
  const std::string state = DescribeState(item.input);
  if (state.empty() || !fs::exists(item.output)) return false;
  std::array<char, 128> noted{};
  const auto bytes = getxattr(item.output.c_str(), kRecord, noted.data(), noted.size());
  if (bytes > 0) return state != std::string_view(noted.data(), static_cast<std::size_t>(bytes));
  return fs::last_write_time(item.input) > fs::last_write_time(item.output);
}

void RecordInput(const BatchItem& item) {
  const std::string state = DescribeState(item.input);
  // Without the note, HasInputChanged() compares times.
  if (!state.empty()) setxattr(item.output.c_str(), kRecord, state.data(), state.size(), 0);
}

void ChooseItem(TranscodeOptions& options, const BatchItem& item) {
  options.input = item.input;
  options.output = item.output;
  if (options.jobs == 1) return;
  const auto processors = static_cast<int>(std::thread::hardware_concurrency());
  if (options.threads == 0) options.threads = std::max(1, processors / options.jobs);
}

std::vector<BatchItem> NameOutputs(const std::vector<BatchInput>& inputs, const std::string& folder,
                                   const std::string& pattern,
                                   const std::map<std::string, std::string>& words) {
  std::vector<BatchItem> items;
  std::map<std::string, std::string> inputOf;
  for (const auto& [input, subfolder] : inputs) {
    auto all = words;
    all["name"] = StemOf(input);
    all["number"] = std::to_string(items.size() + 1);
    const std::string name = ReplaceWords(pattern, all);
    CheckName(name, pattern);
    const std::string output = (fs::path(folder) / subfolder / name).string();
    const auto [other, isNew] = inputOf.emplace(output, input);
    if (!isNew) RefuseOneName(other->second, input, output);
    items.push_back({input, output});
  }
  return items;
}

std::vector<BatchItem> NameOutputs(const TranscodeOptions& options) {
  return NameOutputs(options.inputs, *options.outputDir, options.namePattern.value_or("{name}.mov"),
                     options.nameWords);
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

// SPDX-License-Identifier: BSD-2-Clause
#include "cli/JobOptions.h"

#include <algorithm>
#include <utility>

#include "base/Errors.h"
#include "cli/Options.h"

namespace vixprores {
namespace {

OptionGroup LayoutGroup(JobOptions& options) {
  Option folder = Text("--job-dir", "DIR", options.jobDir, "folder of the parts [OUTPUT.job]");
  folder.completion = Completion::Folder;
  folder.details =
      "All machines reach it under this path. It also holds the outcome of each chunk. Of several "
      "inputs, each has its folder there.";
  return {
      "Job",
      {CountOption("--chunks", options.layout.chunks, "divide the frames into that many chunks"),
       CountOption("--chunk-frames", options.layout.chunkFrames,
                   "divide them into chunks of that many frames"),
       folder, Flag("--keep-parts", options.keepsParts, "leave the parts after the join")}};
}

}  // namespace

Option CountOption(const std::string& name, std::optional<int>& variable, std::string brief) {
  constexpr int kMost = 1'000'000;
  return {name, "N", std::move(brief), [&variable, name](const std::string& text) {
            const auto number = ParseNumber(text, kMost);
            if (!number || *number < 1) {
              throw UsageError(name + ": invalid number '" + text + "'; write 1 to " +
                               std::to_string(kMost));
            }
            variable = static_cast<int>(*number);
          }};
}

Command DescribeJobCommand(JobOptions& options, std::string name, std::string summary) {
  Command command = DescribeEncode(options);
  command.name = std::move(name);
  command.summary = std::move(summary);
  command.examples.clear();
  std::erase_if(command.groups,
                [](const OptionGroup& group) { return group.title == "Part of a job"; });
  command.groups.insert(command.groups.begin(), LayoutGroup(options));
  command.takeArguments = [&options, name = command.name, take = std::move(command.takeArguments)](
                              const std::vector<std::string>& words) {
    take(words);
    if (options.layout.chunks.has_value() == options.layout.chunkFrames.has_value()) {
      throw UsageError(name + " needs --chunks or --chunk-frames");
    }
  };
  return command;
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_BATCH_H
#define TOOL_RUN_BATCH_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "run/Options.h"
#include "run/RunReport.h"

namespace vixprores {

/// One input of a batch and its output.
struct BatchItem {
  std::string input;
  std::string output;
};

/// Replaces each folder that holds videos by these, in the order of their names. Other names stay.
/// @param recursive take the videos of subfolders too, whose outputs go to the same subfolders
/// @param skipped   folder that is not searched: that of the outputs
/// @throws Failure if a folder cannot be read
std::vector<BatchInput> ExpandFolders(const std::vector<std::string>& names, bool recursive,
                                      const std::string& skipped);

/// Names an output in `folder` for every input. In `pattern` "{name}" stands for the input's name
/// without folder, extension and place of a number, "{number}" for its place, from 1, and "{WORD}"
/// for each of `words`. Rejects with a UsageError two inputs with one output, unknown words in
/// braces, and names that leave the folder.
std::vector<BatchItem> NameOutputs(const std::vector<BatchInput>& inputs, const std::string& folder,
                                   const std::string& pattern,
                                   const std::map<std::string, std::string>& words = {});
/// Does the same for the inputs of the options, which must have an output folder.
std::vector<BatchItem> NameOutputs(const TranscodeOptions& options);

/// Turns the options of a batch into the options of one of its runs, which shares the processors
/// with the others.
void ChooseItem(TranscodeOptions& options, const BatchItem& item);

template <typename Options>
Options ForItem(Options options, const BatchItem& item) {
  ChooseItem(options, item);
  return options;
}

/// Returns size and time of the last change, as text; empty if there is no such file.
std::string DescribeState(const std::string& path);
/// Returns true if the input is not the one that the output was made from: its size or time differ
/// from those that RecordInput() noted, or without a note, it is newer than the output.
bool HasInputChanged(const BatchItem& item);
/// Notes size and time of the input in an extended attribute of the output, if its file system has
/// them.
void RecordInput(const BatchItem& item);

/// Runs one input; an exception is the outcome of that input alone.
using RunItem = std::function<void(const BatchItem&, RunReport&)>;

/// Runs one input and returns its report, even if it throws.
RunReport RunReporting(const char* command, const BatchItem& item, std::size_t place,
                       const RunItem& work);

/// Runs `work` on every input of the options, `jobs` of them in parallel. A failing input does not
/// stop the others. Returns the exit code: 0 if every output exists.
int RunBatch(const TranscodeOptions& options, const char* command, RunObserver& observer,
             const RunItem& work);

}  // namespace vixprores

#endif  // TOOL_RUN_BATCH_H

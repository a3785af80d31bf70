// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_BATCH_H
#define TOOL_RUN_BATCH_H

#include <functional>
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

/// Names an output in `folder` for every input. In `pattern` "{name}" stands for the input's name
/// without folder and extension, "{number}" for its place, from 1. Rejects with a UsageError two
/// inputs with one output, unknown words in braces, and names that leave the folder.
std::vector<BatchItem> NameOutputs(const std::vector<std::string>& inputs,
                                   const std::string& folder, const std::string& pattern);
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

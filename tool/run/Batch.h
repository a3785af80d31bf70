// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_BATCH_H
#define TOOL_RUN_BATCH_H

#include <functional>
#include <string>
#include <vector>

#include "report/Report.h"
#include "run/TranscodeOptions.h"

namespace vixprores {

/// One of several inputs, and where it goes.
struct BatchItem {
  std::string input;
  std::string output;
};

/// Names an output in `folder` for every input. In `pattern` "{name}" stands for the input's name
/// without folder and extension, "{number}" for its place, from 1. Two inputs with one output,
/// unknown words in braces, and what is no name of a file in the folder, are a UsageError.
std::vector<BatchItem> NameOutputs(const std::vector<std::string>& inputs,
                                   const std::string& folder, const std::string& pattern);
/// The same for the inputs of the options, which must have an output folder.
std::vector<BatchItem> NameOutputs(const TranscodeOptions& options);

/// Makes these the options of a run for one of the inputs, which shares the processors with the
/// others.
void ChooseItem(TranscodeOptions& options, const BatchItem& item);

template <typename Options>
Options ForItem(Options options, const BatchItem& item) {
  ChooseItem(options, item);
  return options;
}

/// Runs `work` on every input of the options, several side by side, and prints a line when each has
/// ended and a table of all. What `work` finds to be there already is passed over; one that
/// fails does not stop
/// the others. Returns the exit code: 0 when every output is there.
int RunBatch(const TranscodeOptions& options, const char* command,
             const std::function<void(const BatchItem&, RunReport&)>& work);

}  // namespace vixprores

#endif  // TOOL_RUN_BATCH_H

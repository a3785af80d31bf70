// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDS_TRANSCODE_H
#define TOOL_COMMANDS_TRANSCODE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "commands/TranscodeOptions.h"
#include "element/ElementTeam.h"
#include "format/OutputFormat.h"
#include "io/FrameReader.h"
#include "report/Report.h"

namespace vixprores {

/// A run that is ready to start: what encode and decode differ in.
struct TranscodePlan {
  std::unique_ptr<FrameReader> reader;
  ElementTeam::MakeElement makeElement;
  StreamFormat result;  ///< what comes out of the elements
  OutputFormat output;
  std::vector<std::string> notes = {};  ///< what the user should know of it
};

/// Runs the frames of the plan's reader through elements side by side into the output, which is
/// the same for every number of threads. Stops after the frames at hand when the user asks for it
/// and keeps what is there under the name of a partial output. `report` always tells how far the
/// run came.
/// @throws Failure, VIXRuntimeError; then no output is left
void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report);

/// Loads the plug-in, does `work`, and tells the user how it went: its report says how far it came,
/// also when it throws. Returns the exit code.
int RunReported(const TranscodeOptions& options, const char* command,
                const std::function<void(RunReport&)>& work);

}  // namespace vixprores

#endif  // TOOL_COMMANDS_TRANSCODE_H

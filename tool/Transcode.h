// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_TRANSCODE_H
#define TOOL_TRANSCODE_H

#include "CommandLine.h"
#include "ElementStream.h"
#include "FrameReader.h"
#include "OutputFormat.h"
#include "Report.h"

namespace vixprores {

/// A run that is ready to start: what encode and decode differ in.
struct TranscodePlan {
  std::unique_ptr<FrameReader> reader;
  vix::ElementDriver element;  ///< configured
  StreamFormat result;         ///< what comes out of the element
  OutputFormat output;
};

/// Runs the frames of the plan's reader through its element into the output. Stops after the
/// current frame when the user asks for it and keeps what is there under the name of a partial
/// output. `report` always tells how far the run came.
/// @throws Failure, VIXRuntimeError; then no output is left
void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report);

}  // namespace vixprores

#endif  // TOOL_TRANSCODE_H

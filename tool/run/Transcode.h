// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TRANSCODE_H
#define TOOL_RUN_TRANSCODE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "format/MovieContent.h"
#include "format/OutputFormat.h"
#include "media/FrameReader.h"
#include "report/Report.h"
#include "run/Batch.h"
#include "run/ElementTeam.h"
#include "run/TranscodeOptions.h"

namespace vixprores {

/// A run that is ready to start: what encode and decode differ in.
struct TranscodePlan {
  std::unique_ptr<FrameReader> reader;
  StreamFormat source;  ///< the reader's, but for what the user knows better
  ElementTeam::MakeElement makeElement;
  MovieContent content;  ///< the video that comes out of the elements, and what is known beside it
  OutputFormat output;
  bool verifiesEncoding = false;  ///< decodes every frame that it has encoded, and compares it
  std::vector<std::string> notes = {};  ///< what the user should know of it
  DamagePolicy onDamage = DamagePolicy::Stop;
};

/// Runs the frames of the plan's reader through elements side by side into the output, which is
/// the same for every number of threads; the sound, the timecode and the metadata of the input go
/// along. Stops after the frames at hand when the user asks for it, and at the first failure. What
/// is there then is kept under the name of a partial output. Of several inputs one whose output is
/// there already is passed over. `report` always tells how far the run came.
/// @throws Failure, VIXRuntimeError where nothing was written
void Transcode(const TranscodeOptions& options, TranscodePlan plan, RunReport& report);

/// Loads the plug-in, does `work` for the input of the options, or for each of several, and tells
/// the user how it went: the report says how far it came, also when it throws. Returns the exit
/// code.
int RunReported(const TranscodeOptions& options, const char* command,
                const std::function<void(const BatchItem&, RunReport&)>& work);

}  // namespace vixprores

#endif  // TOOL_RUN_TRANSCODE_H

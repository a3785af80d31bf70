// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_SOUNDPLAN_H
#define TOOL_RUN_SOUNDPLAN_H

#include "run/Transcode.h"

namespace vixprores {

/// Chooses the sound of a run: selects tracks of the input, opens sound files and aligns them with
/// the pictures, and converts tracks. Sets `plan.sound` and `plan.content.sound`, and adds notes.
/// @throws Failure if a track cannot be decoded or the output cannot hold it
void PlanSound(const TranscodeOptions& options, TranscodePlan& plan);

}  // namespace vixprores

#endif  // TOOL_RUN_SOUNDPLAN_H

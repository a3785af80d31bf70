// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_EXISTINGOUTPUT_H
#define TOOL_RUN_EXISTINGOUTPUT_H

#include "run/Transcode.h"

namespace vixprores {

/// True where the output is there already and, as far as can be told without reading its frames, is
/// what the plan would make: of its kind, its picture size, its number of frames, its labels
/// (colour, field order, rate, timecode) and its number of sound tracks. What is there and is
/// something else is a Failure that tells the difference.
bool IsMadeAlready(const TranscodeOptions& options, const TranscodePlan& plan);

}  // namespace vixprores

#endif  // TOOL_RUN_EXISTINGOUTPUT_H

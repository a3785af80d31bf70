// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ENCODEPLAN_H
#define TOOL_RUN_ENCODEPLAN_H

#include "run/Options.h"
#include "run/Transcode.h"

namespace vixprores {

/// Opens the input of an encoding and chooses the format and the labels of its output, without a
/// check of the encoded frames. Requires the plug-in.
/// @throws Failure, UsageError
TranscodePlan PlanEncoding(const EncodeOptions& options);

}  // namespace vixprores

#endif  // TOOL_RUN_ENCODEPLAN_H

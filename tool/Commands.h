// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDS_H
#define TOOL_COMMANDS_H

#include "CommandLine.h"
#include "Report.h"

namespace vixprores {

/// Encodes uncompressed video to ProRes. `report` tells how far it came, also when it throws.
void Encode(const EncodeOptions& options, RunReport& report);

/// Decodes ProRes to uncompressed video. `report` tells how far it came, also when it throws.
void Decode(const DecodeOptions& options, RunReport& report);

/// What the registry holds: every element with the parameters of its schema.
std::string DescribeElements();

}  // namespace vixprores

#endif  // TOOL_COMMANDS_H

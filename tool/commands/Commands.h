// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_COMMANDS_COMMANDS_H
#define TOOL_COMMANDS_COMMANDS_H

#include "commandline/CommandLine.h"
#include "report/Report.h"

namespace vixprores {

/// Encodes uncompressed video to ProRes. `report` tells how far it came, also when it throws.
void Encode(const EncodeOptions& options, RunReport& report);

/// Decodes ProRes to uncompressed video. `report` tells how far it came, also when it throws.
void Decode(const DecodeOptions& options, RunReport& report);

/// Encodes and decodes test pictures in memory, several times over, and tells how fast that was:
/// as lines of text, or as one JSON object where the options ask for it.
std::string Bench(const BenchOptions& options);

/// What the registry holds: every element with the parameters of its schema.
std::string DescribeElements();

}  // namespace vixprores

#endif  // TOOL_COMMANDS_COMMANDS_H

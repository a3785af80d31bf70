// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_VERSION_H
#define TOOL_CLI_VERSION_H

#include <string>

namespace vixprores {

/// Returns the version, such as "1.0.0".
std::string ProgramVersion();

/// Returns the answer to --version: the version, and one line each for compiler, container library,
/// processor levels and plug-in. It holds no date, so that builds are reproducible.
std::string DescribeBuild();

}  // namespace vixprores

#endif  // TOOL_CLI_VERSION_H

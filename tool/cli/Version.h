// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CLI_VERSION_H
#define TOOL_CLI_VERSION_H

#include <string>

namespace vixprores {

/// "1.0.0"
std::string ProgramVersion();

/// The answer to --version: "vixprores 1.0.0" and, a line each, what the program was built with and
/// what it finds on this machine. No dates, so that equal builds answer the same.
std::string DescribeBuild();

}  // namespace vixprores

#endif  // TOOL_CLI_VERSION_H

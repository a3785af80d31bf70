// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_PROGRAM_H
#define TOOL_BASE_PROGRAM_H

#include <string>
#include <vector>

namespace vixprores {

/// How another program ended.
struct ProgramResult {
  int exitCode = 0;    ///< 128 and the signal's number if a signal ended it
  std::string output;  ///< standard output
  std::string errors;  ///< standard error
};

/// Runs a program of the search path and waits for its end. It reads nothing.
/// @throws Failure if it cannot be started, for example because it is not installed
ProgramResult RunProgram(const std::vector<std::string>& command);

}  // namespace vixprores

#endif  // TOOL_BASE_PROGRAM_H

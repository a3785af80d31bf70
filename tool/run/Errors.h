// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_ERRORS_H
#define TOOL_RUN_ERRORS_H

/// @file
/// What ends a run early. The text of each error is a whole message for the user: what was wrong,
/// where, and what to do about it.

#include <cstdio>
#include <stdexcept>
#include <string>

namespace vixprores {

/// Exit codes of the program.
enum ExitCode { kExitDone = 0, kExitFailed = 1, kExitWrongUse = 2 };

/// Prints "vixprores: " and the message on standard error.
inline void PrintError(const std::string& message) {
  std::fprintf(stderr, "vixprores: %s\n", message.c_str());
}

/// The command line asks for something that cannot be: exit code 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The work cannot be done: exit code 1.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The user stopped the program while it waited for input.
class Interrupted : public std::runtime_error {
 public:
  Interrupted() : std::runtime_error("interrupted") {}
};

}  // namespace vixprores

#endif  // TOOL_RUN_ERRORS_H

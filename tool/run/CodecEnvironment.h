// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_CODECENVIRONMENT_H
#define TOOL_RUN_CODECENVIRONMENT_H

/// @file
/// What the codec library is told through the environment, because no element has a parameter for
/// it. The library looks there when an element opens it, which is at the element's first frame; so
/// these are called before that, while the program has one thread.

#include <string>
#include <vector>

namespace vixprores {

/// Makes the codec library use that CPU level ("auto" = the best one that there is), whatever the
/// environment said. A level that this processor lacks is a Failure that names the ones it has.
/// @param level one of CpuLevels()
void SetCpuLevel(const std::string& level);

/// "auto", "scalar", ...
std::vector<std::string> CpuLevels();

/// The levels that this processor has, without "auto": "scalar", ...
std::vector<std::string> AvailableCpuLevels();

/// Name of the level that the codec library is to use at most, as the environment stands.
std::string CpuLevelInUse();

/// Sets how many threads an element uses that has no parameter for them, unless the user's
/// environment says so already.
void SetAutomaticThreads(int threads);

}  // namespace vixprores

#endif  // TOOL_RUN_CODECENVIRONMENT_H

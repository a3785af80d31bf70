// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_LIBRARIES_H
#define TOOL_BASE_LIBRARIES_H

/// @file
/// Places of the libraries that the program loads while it runs.

#include <string>
#include <vector>

namespace vixprores {

/// Returns the folder of the running program.
std::string ProgramFolder();

/// Returns the possible paths of a library for a program in `programFolder`: in the library folders
/// of a build tree and of an installation.
/// @param name relative to the library folder
std::vector<std::string> LibraryCandidates(const std::string& programFolder,
                                           const std::string& name);

}  // namespace vixprores

#endif  // TOOL_BASE_LIBRARIES_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_INTERRUPT_H
#define TOOL_INTERRUPT_H

namespace vixprores {

/// From now on SIGINT, SIGTERM and SIGHUP ask the program to stop after the current frame; a second
/// one ends it at once. Writing to a closed pipe and beyond a size limit become ordinary write
/// errors.
void InstallSignalHandlers();

/// True once the user has asked to stop. May be called from any thread.
bool InterruptRequested();

}  // namespace vixprores

#endif  // TOOL_INTERRUPT_H

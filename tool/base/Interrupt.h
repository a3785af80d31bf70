// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_INTERRUPT_H
#define TOOL_BASE_INTERRUPT_H

namespace vixprores {

/// From now on SIGINT, SIGTERM and SIGHUP ask the program to stop after the current frame; a second
/// one ends it at once. Writing to a closed pipe and beyond a size limit become ordinary write
/// errors. A thread of its own waits for the signals; all others block them, so that no call of
/// theirs is broken off. To be called before any other thread is started.
/// @throws std::system_error if no thread can be started.
void InstallSignalHandlers();

/// Asks the program to stop, as a signal does. May be called from any thread.
void RequestInterrupt();

/// True once the program was asked to stop. May be called from any thread.
bool InterruptRequested();

/// A descriptor that is readable once the program was asked to stop, for poll(). Negative, which
/// poll() passes over, before InstallSignalHandlers().
int InterruptDescriptor();

}  // namespace vixprores

#endif  // TOOL_BASE_INTERRUPT_H

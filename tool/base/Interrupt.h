// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_INTERRUPT_H
#define TOOL_BASE_INTERRUPT_H

namespace vixprores {

/// Makes SIGINT, SIGTERM and SIGHUP (unless it is ignored, as under nohup) ask the program to stop
/// after the current frame; a second signal ends it at once. Turns writing to a closed pipe and
/// beyond a size limit into ordinary write errors. Call it before any other thread is started.
void InstallSignalHandlers();

/// Asks the program to stop, as a signal does. May be called from any thread.
void RequestInterrupt();

/// Forgets that, for a process that runs a command after another one. No other thread may run.
void WithdrawInterrupt();

/// Returns true once the program was asked to stop. Costs one atomic load, so that every loop over
/// the contents of a file can poll it. May be called from any thread.
bool InterruptRequested();

/// Throws Interrupted once the program was asked to stop.
void CheckInterrupt();

/// Returns a descriptor that is readable once the program was asked to stop, for poll(); before
/// InstallSignalHandlers() a negative one, which poll() skips.
int InterruptDescriptor();

/// Ends the process by the signal that asked it to stop, so that a shell stops its loop; returns if
/// there was none. Call it when everything is written and closed.
void EndBySignal();

}  // namespace vixprores

#endif  // TOOL_BASE_INTERRUPT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_PRELOAD_MAINHOOK_H
#define TESTS_TOOL_PRELOAD_MAINHOOK_H

using Main = int (*)(int, char**, char**);

// Defined by a library that is to be preloaded: called instead of the program's main(), which is
// the first argument.
int HookedMain(Main main, int count, char** arguments, char** environment);

#endif  // TESTS_TOOL_PRELOAD_MAINHOOK_H

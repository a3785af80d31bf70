// SPDX-License-Identifier: BSD-2-Clause
// Replaces the function of the C library that calls main().
#include "MainHook.h"

#include <dlfcn.h>

namespace {

Main g_main = nullptr;

int CallHook(int count, char** arguments, char** environment) {
  return HookedMain(g_main, count, arguments, environment);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

// NOLINTNEXTLINE(bugprone-reserved-identifier)
int __libc_start_main(Main main, int count, char** arguments, void (*init)(), void (*finish)(),
                      void (*finishLoader)(), void* stackEnd) {
  using Start = decltype(&__libc_start_main);
  g_main = main;
  const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(CallHook, count, arguments, init, finish, finishLoader, stackEnd);
}

}  // extern "C"

#pragma GCC visibility pop

// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_REQUIRE_H
#define FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

/// Ends the run as a fault, with the place of the call, if a promise does not hold.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: broken promise\n", file, line);
  std::abort();
}

#endif  // FUZZ_REQUIRE_H

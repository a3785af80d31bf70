// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_ENSURE_H
#define CODEC_ENSURE_H

/// @file
/// Checks of the codec's own invariants, never of input. Checked builds (CMake option VIX_CHECKED:
/// debug, sanitizer and fuzzer builds) abort with the place of the check.

#include <cstdio>
#include <cstdlib>

namespace prores {

#ifdef PRORES_CHECKED
inline constexpr bool kChecked = true;
#else
inline constexpr bool kChecked = false;
#endif

[[noreturn]] inline void AbortCheck(const char* file, int line) {
  std::fprintf(stderr, "%s:%d: invariant violated\n", file, line);
  std::abort();
}

/// Checks an invariant whose violation must not reach a caller's data. `file` and `line` are those
/// of the call.
/// @return `holds`. Release builds turn false into Status::kInternalError.
[[nodiscard]] inline bool Ensure(bool holds, [[maybe_unused]] const char* file = __builtin_FILE(),
                                 [[maybe_unused]] int line = __builtin_LINE()) {
  if constexpr (kChecked) {
    if (!holds) AbortCheck(file, line);
  }
  return holds;
}

/// Checks a precondition or a proven bound in code that is too hot for a check in release builds,
/// where this does nothing.
/// @param holds must have no side effect.
constexpr void Expect([[maybe_unused]] bool holds,
                      [[maybe_unused]] const char* file = __builtin_FILE(),
                      [[maybe_unused]] int line = __builtin_LINE()) {
  if constexpr (kChecked) {
    if (!holds) AbortCheck(file, line);
  }
}

}  // namespace prores

#endif  // CODEC_ENSURE_H

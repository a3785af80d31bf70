// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_UNINTERRUPTED_H
#define TOOL_BASE_UNINTERRUPTED_H

#include <cerrno>

namespace vixprores {

/// Repeats a call of the system, which returns a negative number and sets errno when it fails,
/// until it is not a signal that made it fail.
template <typename Call>
auto Uninterrupted(const Call& call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

}  // namespace vixprores

#endif  // TOOL_BASE_UNINTERRUPTED_H

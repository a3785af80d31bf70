// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_COUNT_H
#define TOOL_BASE_COUNT_H

#include <cstdint>
#include <string>

namespace vixprores {

/// "1 frame", "2 frames"
inline std::string Count(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

}  // namespace vixprores

#endif  // TOOL_BASE_COUNT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_BIGENDIANTEXT_H
#define TESTS_TOOL_BIGENDIANTEXT_H

#include <cstdint>
#include <string>

namespace vixprores {

/// Returns the last `bytes` bytes of a number, the most significant one first.
inline std::string BigEndian(std::uint64_t value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xFF);
  }
  return text;
}

/// Returns an atom of a .mov with its header.
inline std::string PackAtom(const std::string& type, const std::string& contents) {
  return BigEndian(contents.size() + 8, 4) + type + contents;
}

}  // namespace vixprores

#endif  // TESTS_TOOL_BIGENDIANTEXT_H

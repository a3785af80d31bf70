// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ENUMTEXT_H
#define CORE_ENUMTEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace vix {

/// One row of a table that names enumerators.
template <typename Enum>
struct EnumText {
  Enum value;
  const char* text;
};

/// Returns the name of `value`, or `enumName` and the number for a value that is not in the table.
template <typename Enum, std::size_t N>
std::string TextOf(Enum value, const EnumText<Enum> (&table)[N], const char* enumName) {
  for (const EnumText<Enum>& row : table) {
    if (row.value == value) return row.text;
  }
  return std::string(enumName) + ' ' + std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace vix

#endif  // CORE_ENUMTEXT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_ENUMTEXT_H
#define CORE_ENUMTEXT_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace vix {

/// One row of a table that gives enumerators their words.
template <typename Enum>
struct EnumText {
  Enum value;
  const char* text;
};

/// The word of `value`, or `enumName` and the number for a value that the table does not know.
template <typename Enum, std::size_t N>
std::string TextOf(Enum value, const EnumText<Enum> (&table)[N], const char* enumName) {
  for (const EnumText<Enum>& row : table) {
    if (row.value == value) return row.text;
  }
  return std::string(enumName) + ' ' + std::to_string(static_cast<std::int32_t>(value));
}

}  // namespace vix

#endif  // CORE_ENUMTEXT_H

// SPDX-License-Identifier: BSD-2-Clause
#include "FourCCText.h"

#include <cstdio>
#include <string>

namespace vix {

std::string FourCCCharacters(FourCC code) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const FourCC character = code >> shift & 0xFF;
    const bool printable = character >= 0x20 && character < 0x7F;
    text += printable ? static_cast<char>(character) : '.';
  }
  return text;
}

std::string FourCCText(FourCC code) {
  char number[16];
  std::snprintf(number, sizeof number, "0x%08X", code);
  return '"' + FourCCCharacters(code) + "\" (" + number + ')';
}

}  // namespace vix

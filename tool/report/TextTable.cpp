// SPDX-License-Identifier: BSD-2-Clause
#include "report/TextTable.h"

#include <algorithm>
#include <cstdio>

namespace vixprores {

std::string Fixed(double value, int decimals) {
  std::string text(64, '\0');
  const int length = std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::string Percentage(double part, double whole) {
  return whole > 0 ? Fixed(100 * part / whole, 1) + " %" : std::string();
}

std::string TextTable::ToText(std::size_t indent) const {
  std::vector<std::size_t> widths(alignments_.size());
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto& row : rows_) {
    std::string line(indent, ' ');
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string padding(widths[i] - row[i].size(), ' ');
      if (i > 0) line += "  ";
      line += alignments_[i] == 'r' ? padding + row[i] : row[i] + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}

}  // namespace vixprores

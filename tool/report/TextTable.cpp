// SPDX-License-Identifier: BSD-2-Clause
#include "report/TextTable.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/Text.h"

namespace vixprores {
namespace {

// Returns the number of characters of UTF-8 text: all bytes but continuation bytes.
std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(
      std::ranges::count_if(text, [](char byte) { return (byte & 0xC0) != 0x80; }));
}

}  // namespace

std::string Fixed(double value, int decimals) {
  std::array<char, 400> text{};  // the largest double has 309 digits
  std::snprintf(text.data(), text.size(), "%.*f", decimals, value);
  return text.data();
}

std::string Percentage(double part, double whole) {
  return whole > 0 ? Fixed(100 * part / whole, 1) + " %" : std::string();
}

void WriteTable(const TextSink& write, std::string_view alignments, std::size_t indent,
                std::size_t rows, const std::function<std::vector<std::string>(std::size_t)>& row) {
  std::vector<std::size_t> widths(alignments.size());
  for (std::size_t i = 0; i < rows; ++i) {
    const auto cells = row(i);
    for (std::size_t k = 0; k < cells.size(); ++k) {
      widths[k] = std::max(widths[k], WidthOf(PrintableLine(cells[k])));
    }
  }
  for (std::size_t i = 0; i < rows; ++i) {
    const auto cells = row(i);
    std::string line(indent, ' ');
    for (std::size_t k = 0; k < cells.size(); ++k) {
      const std::string text = PrintableLine(cells[k]);
      const std::string padding(widths[k] - WidthOf(text), ' ');
      if (k > 0) line += "  ";
      line += alignments[k] == 'r' ? padding + text : text + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    write(line + "\n");
  }
}

std::string TextTable::ToText(std::size_t indent) const {
  std::string text;
  WriteTable([&text](std::string_view line) { text += line; }, alignments_, indent, rows_.size(),
             [this](std::size_t i) { return rows_[i]; });
  return text;
}

}  // namespace vixprores

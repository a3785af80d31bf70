// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_TEXTTABLE_H
#define TOOL_REPORT_TEXTTABLE_H

/// @file
/// Numbers and columns of the text reports.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "report/Json.h"

namespace vixprores {

/// Returns `value` with that many decimals.
std::string Fixed(double value, int decimals);
/// Returns text like "98.3 %" for a part of a whole; empty if the whole is 0.
std::string Percentage(double part, double whole);

/// Writes rows in columns as wide as their widest cells, two spaces apart, without trailing spaces.
/// Escapes unprintable characters in cells.
/// @param alignments one letter per column: 'l' or 'r'; a row may have fewer cells
/// @param indent     spaces before each row
/// @param row        returns the cells of a row by index; called twice for each row, so that a long
/// table is never in memory as a whole
void WriteTable(const TextSink& write, std::string_view alignments, std::size_t indent,
                std::size_t rows, const std::function<std::vector<std::string>(std::size_t)>& row);

/// A table with few rows.
class TextTable {
 public:
  explicit TextTable(std::string alignments) : alignments_(std::move(alignments)) {}

  void Add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  /// Returns the rows as WriteTable() writes them.
  std::string ToText(std::size_t indent) const;

 private:
  std::string alignments_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vixprores

#endif  // TOOL_REPORT_TEXTTABLE_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_TEXTTABLE_H
#define TOOL_REPORT_TEXTTABLE_H

/// @file
/// Numbers and columns as reports print them.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vixprores {

/// `value` with that many digits behind the point.
std::string Fixed(double value, int decimals);
/// A part of a whole in percent, "98.3 %"; empty when there is no whole.
std::string Percentage(double part, double whole);

/// Rows of cells that are printed in columns as wide as their widest cell, two blanks apart.
class TextTable {
 public:
  /// @param alignments one letter a column: 'l' or 'r'; a row may have fewer cells
  explicit TextTable(std::string alignments) : alignments_(std::move(alignments)) {}

  void Add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
  /// The rows, each after `indent` blanks and with its newline; no blanks stand at their ends.
  std::string ToText(std::size_t indent) const;

 private:
  std::string alignments_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vixprores

#endif  // TOOL_REPORT_TEXTTABLE_H

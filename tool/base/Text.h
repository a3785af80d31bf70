// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_TEXT_H
#define TOOL_BASE_TEXT_H

/// @file
/// Text for people: words, numbers, tables, safe text, and messages on standard error.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "base/Errors.h"

namespace vixprores {

/// Returns "1 frame", "2 frames".
std::string Count(std::int64_t number, const std::string& noun);

/// Returns "a, b and c".
std::string JoinWords(const std::vector<std::string>& words);

/// Returns the words with a separator between each two of them.
std::string Join(const std::vector<std::string>& words, std::string_view separator);

/// Returns the parts of `text` between separators; one part if there is none.
std::vector<std::string> Split(std::string_view text, char separator);

/// Returns `text` with `by` in each place of `what`.
std::string Replace(std::string_view text, std::string_view what, std::string_view by);

/// Returns `text` with the letters A to Z in lower case.
std::string ToLower(std::string text);

/// Returns the word of an enumerator; `words` follow the order of the enumeration.
template <typename Enum>
const char* WordOf(Enum value, std::initializer_list<const char*> words) {
  const auto place = static_cast<std::size_t>(value);
  Ensure(place < words.size(), "every enumerator has a word");
  return std::data(words)[place];
}

/// Returns " (did you mean 'WORD'?)" with the known word that is nearest to the misspelt `text`, or
/// an empty text if none is near.
std::string Suggest(const std::string& text, const std::vector<std::string>& known);

/// Returns `text` with control characters (C0, DEL, C1) and bytes that are not UTF-8 replaced by
/// visible escapes such as \x1B, so that text from a file cannot control the terminal. Newlines
/// stay: messages have several lines.
std::string PrintableText(std::string_view text);

/// Does the same with newlines escaped too, for a name or a title inside one line.
std::string PrintableLine(std::string_view text);

/// Prints `text` through PrintableText().
void PrintText(std::FILE* stream, std::string_view text);

/// Prints "vixprores: MESSAGE" on standard error.
void PrintError(const std::string& message);

/// Prints "vixprores: note: MESSAGE" on standard error.
void PrintNote(const std::string& message);

/// Returns a number of bytes as people read it: "512 bytes", "1.5 MiB".
std::string DescribeBytes(std::uint64_t bytes);

/// Returns `value` with that many decimals.
std::string Fixed(double value, int decimals);
/// Returns text like "00:00:01.480" for a number of seconds.
std::string ClockText(double seconds);
/// Returns text like "98.3 %" for a part of a whole; empty if the whole is 0.
std::string Percentage(double part, double whole);

/// Receives a long text piece by piece.
using TextSink = std::function<void(std::string_view)>;

/// Returns a sink that writes to standard output.
TextSink StandardOutput();

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

#endif  // TOOL_BASE_TEXT_H

// SPDX-License-Identifier: BSD-2-Clause
#include "base/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <new>
#include <numeric>
#include <utility>

namespace vixprores {
namespace {

char Lower(char letter) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// Counts the insertions, deletions, replacements and swaps of neighbours that turn one word into
// the other (optimal string alignment). Ignores case.
std::size_t EditDistance(const std::string& from, const std::string& to) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> above(to.size() + 1);
  std::iota(above.begin(), above.end(), std::size_t{0});
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::vector<std::size_t> row(to.size() + 1, i);
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const bool same = Lower(from[i - 1]) == Lower(to[j - 1]);
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && Lower(from[i - 1]) == Lower(to[j - 2]) &&
                           Lower(from[i - 2]) == Lower(to[j - 1]);
      if (swapped) row[j] = std::min(row[j], before[j - 2] + 1);
    }
    before = std::exchange(above, std::move(row));
  }
  return above.back();
}

struct Utf8Character {
  std::size_t bytes;  // 0 = not UTF-8
  char32_t code;
};

// Decodes the character at the start of `text`, which is not empty.
Utf8Character DecodeUtf8(std::string_view text) {
  constexpr std::array<char32_t, 5> kSmallest{0, 0, 0x80, 0x800, 0x10000};  // by length in bytes
  const auto first = static_cast<unsigned char>(text.front());
  if (first < 0x80) return {1, first};
  const std::size_t bytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC0 || first >= 0xF8 || text.size() < bytes) return {0, 0};
  char32_t code = first & (0xFFU >> (bytes + 1));
  for (const char next : text.substr(1, bytes - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xC0) != 0x80) return {0, 0};
    code = code << 6 | (byte & 0x3F);
  }
  const bool isSurrogate = code >= 0xD800 && code < 0xE000;
  if (code < kSmallest[bytes] || code > 0x10FFFF || isSurrogate) return {0, 0};
  return {bytes, code};
}

bool IsControl(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

// Returns `prefix` and that many hexadecimal digits of `value`.
std::string HexEscape(const char* prefix, std::size_t digits, std::uint32_t value) {
  std::string escape = prefix;
  for (; digits > 0; --digits) escape += "0123456789ABCDEF"[value >> 4 * (digits - 1) & 0xF];
  return escape;
}

std::string Escape(std::string_view text, bool keepsNewlines) {
  std::string printable;
  printable.reserve(text.size());
  while (!text.empty()) {
    const auto [bytes, code] = DecodeUtf8(text);
    const std::string_view character = text.substr(0, std::max<std::size_t>(bytes, 1));
    if (bytes == 0) {
      printable += HexEscape("\\x", 2, static_cast<unsigned char>(text.front()));
    } else if (code == '\n') {
      printable += keepsNewlines ? "\n" : "\\n";
    } else if (IsControl(code)) {
      printable += code < 0x80 ? HexEscape("\\x", 2, code) : HexEscape("\\u", 4, code);
    } else {
      printable += character;
    }
    text.remove_prefix(character.size());
  }
  return printable;
}

// Keeps the messages of several threads apart.
void PrintLines(std::string_view prefix, std::string_view message) {
  flockfile(stderr);
  for (const std::string_view part : {prefix, message, std::string_view("\n")}) {
    PrintText(stderr, part);
  }
  funlockfile(stderr);
}

}  // namespace

std::string Count(std::int64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string JoinWords(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " and " : ", ";
    text += words[i];
  }
  return text;
}

std::string Join(const std::vector<std::string>& words, std::string_view separator) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += separator;
    text += words[i];
  }
  return text;
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (;;) {
    const std::size_t end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string Replace(std::string_view text, std::string_view what, std::string_view by) {
  std::string replaced;
  for (;;) {
    const std::size_t at = text.find(what);
    replaced += text.substr(0, at);
    if (at == std::string_view::npos) return replaced;
    replaced += by;
    text.remove_prefix(at + what.size());
  }
}

std::string ToLower(std::string text) {
  std::ranges::transform(text, text.begin(), Lower);
  return text;
}

std::string Suggest(const std::string& text, const std::vector<std::string>& known) {
  if (known.empty()) return {};
  // An abbreviation means the word that it begins, however much of it is missing.
  const auto begun = std::ranges::find_if(known, [&text](const std::string& word) {
    return text.size() > 3 && word.starts_with(text);
  });
  const auto nearest = std::ranges::min_element(
      known, {}, [&text](const std::string& word) { return EditDistance(text, word); });
  // The dashes of options are no letters that could be mistyped.
  const std::size_t letters = text.size() - std::min(text.find_first_not_of('-'), text.size());
  const bool isNear = EditDistance(text, *nearest) <= std::max<std::size_t>(letters / 3, 1);
  if (begun == known.end() && !isNear) return {};
  return " (did you mean '" + (begun != known.end() ? *begun : *nearest) + "'?)";
}

std::string PrintableText(std::string_view text) {
  return Escape(text, true);
}

std::string PrintableLine(std::string_view text) {
  return Escape(text, false);
}

void PrintText(std::FILE* stream, std::string_view text) {
  try {
    const std::string printable = PrintableText(text);
    std::fwrite(printable.data(), 1, printable.size(), stream);
  } catch (const std::bad_alloc&) {
    // Out of memory is a message too.
    for (const char letter : text) {
      const bool isPlain = letter == '\n' || (letter >= ' ' && letter <= '~');
      std::fputc(isPlain ? letter : '?', stream);
    }
  }
}

void PrintError(const std::string& message) {
  PrintLines("vixprores: ", message);
}

void PrintNote(const std::string& message) {
  PrintLines("vixprores: note: ", message);
}

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

std::string ClockText(double seconds) {
  const long long thousandths = std::llround(std::max(seconds, 0.0) * 1000);
  std::array<char, 48> text{};
  std::snprintf(text.data(), text.size(), "%02lld:%02lld:%02lld.%03lld", thousandths / 3'600'000,
                thousandths / 60'000 % 60, thousandths / 1000 % 60, thousandths % 1000);
  return text.data();
}

std::string Percentage(double part, double whole) {
  return whole > 0 ? Fixed(100 * part / whole, 1) + " %" : std::string();
}

std::string DescribeBytes(std::uint64_t bytes) {
  constexpr std::array kUnits{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
  constexpr int kStep = 1024;
  if (bytes < kStep) return Count(static_cast<std::int64_t>(bytes), "byte");
  double value = static_cast<double>(bytes) / kStep;
  std::size_t unit = 0;
  for (; value >= kStep && unit + 1 < kUnits.size(); ++unit) value /= kStep;
  const bool isWhole = value == std::floor(value);
  return Fixed(value, isWhole ? 0 : 1) + " " + kUnits[unit];
}

TextSink StandardOutput() {
  return [](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); };
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

// SPDX-License-Identifier: BSD-2-Clause
#include "base/Suggestion.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <utility>

namespace vixprores {
namespace {

char Lower(char letter) {
  return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
}

// Insertions, deletions, replacements and swaps of neighbours that turn one word into the other
// (optimal string alignment), in any case.
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

}  // namespace

std::string Suggest(const std::string& text, const std::vector<std::string>& known) {
  // What is begun is meant, however much of it is missing.
  const auto begun = std::ranges::find_if(known, [&text](const std::string& word) {
    return text.size() > 3 && word.starts_with(text);
  });
  const auto nearest = std::ranges::min_element(
      known, {}, [&text](const std::string& word) { return EditDistance(text, word); });
  if (known.empty()) return {};
  const bool isNear = EditDistance(text, *nearest) <= text.size() / 3 + 1;
  if (begun == known.end() && !isNear) return {};
  return " (did you mean '" + (begun != known.end() ? *begun : *nearest) + "'?)";
}

std::string JoinWords(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (i > 0) text += i + 1 == words.size() ? " and " : ", ";
    text += words[i];
  }
  return text;
}

}  // namespace vixprores

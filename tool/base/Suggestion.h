// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_SUGGESTION_H
#define TOOL_BASE_SUGGESTION_H

#include <string>
#include <vector>

namespace vixprores {

/// " (did you mean 'WORD'?)" with the known word that a slip of the finger could have turned into
/// `text`, or an empty text where none is near.
std::string Suggest(const std::string& text, const std::vector<std::string>& known);

/// "a, b and c"
std::string JoinWords(const std::vector<std::string>& words);

}  // namespace vixprores

#endif  // TOOL_BASE_SUGGESTION_H

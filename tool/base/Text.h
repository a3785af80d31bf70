// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_TEXT_H
#define TOOL_BASE_TEXT_H

/// @file
/// Text for people: words, safe text, and messages on standard error.

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

namespace vixprores {

/// Returns "1 frame", "2 frames".
std::string Count(std::int64_t number, const std::string& noun);

/// Returns "a, b and c".
std::string JoinWords(const std::vector<std::string>& words);

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

}  // namespace vixprores

#endif  // TOOL_BASE_TEXT_H

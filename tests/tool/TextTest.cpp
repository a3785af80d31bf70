// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include "base/Text.h"

namespace vixprores {
namespace {

using namespace std::string_literals;

TEST(PrintableText, KeepsTextOfEveryLanguage) {
  for (const char* text : {"", "clip.mov", "Ünïcödé", "映像 ✓", "\U0001F3AC", "two\nlines"}) {
    EXPECT_EQ(PrintableText(text), text);
  }
}

TEST(PrintableText, EscapesControlCharacters) {
  EXPECT_EQ(PrintableText("a\x1B[2Jb"), "a\\x1B[2Jb");
  EXPECT_EQ(PrintableText("\a\b\t\r\x7F"), "\\x07\\x08\\x09\\x0D\\x7F");
  EXPECT_EQ(PrintableText("\0"s), "\\x00");
  EXPECT_EQ(PrintableText("\xC2\x9B"
                          "31m"),
            "\\u009B31m");
}

TEST(PrintableText, EscapesBytesThatAreNotUtf8) {
  EXPECT_EQ(PrintableText("\x9B"
                          "31m"),
            "\\x9B31m");
  EXPECT_EQ(PrintableText("\xFF\xFE"), "\\xFF\\xFE");
  EXPECT_EQ(PrintableText("\xC0\x9B"), "\\xC0\\x9B") << "an overlong form";
  EXPECT_EQ(PrintableText("\xED\xA0\x80"), "\\xED\\xA0\\x80") << "a surrogate";
  EXPECT_EQ(PrintableText("\xF4\x90\x80\x80"), "\\xF4\\x90\\x80\\x80") << "beyond Unicode";
  EXPECT_EQ(PrintableText("cut \xE6\x98"), "cut \\xE6\\x98");
}

TEST(PrintableLine, EscapesNewlines) {
  EXPECT_EQ(PrintableLine("two\nlines"), "two\\nlines");
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_HTMLPAGE_H
#define TOOL_REPORT_HTMLPAGE_H

/// @file
/// Pages that are one file: nothing in them is loaded from anywhere, and they say so to the
/// browser. They follow the light or dark scheme of the system, fit narrow windows, and their
/// controls work by keyboard.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vixprores {

/// What a row of a table, or a figure, is to be seen as.
enum class HtmlMark { None, Good, Unknown, Bad };

/// A table. Texts are plain; the page escapes them.
struct HtmlTable {
  struct Row {
    std::vector<std::string> cells;  ///< the first one is the row's heading
    HtmlMark mark = HtmlMark::None;
  };

  std::string caption;               ///< for those who cannot see it
  std::vector<std::string> columns;  ///< empty = no headings
  std::vector<Row> rows;
  bool areNumbers = false;  ///< cells behind the first one are set to the right
};

/// A figure of the summary at the top of a page.
struct HtmlFigure {
  std::string name;
  std::string value;
  HtmlMark mark = HtmlMark::None;
};

/// Builds a part of a page from the top. Everything that takes `html` takes it as it is; all other
/// texts are plain and need not be UTF-8.
class HtmlPart {
 public:
  void AddFigures(const std::vector<HtmlFigure>& figures);
  void AddHeading(const std::string& text);
  void AddSubheading(const std::string& text);
  void AddParagraph(const std::string& text);
  void AddTable(const HtmlTable& table);
  /// A table that is shown when asked for.
  void AddFoldedTable(const std::string& summary, const HtmlTable& table);
  void Add(const std::string& html) { html_ += html; }

  const std::string& GetHtml() const { return html_; }

 private:
  std::string html_;
};

/// A page, built from the top.
class HtmlPage : public HtmlPart {
 public:
  /// @param title    of the page
  /// @param subtitle what it is about in a line
  HtmlPage(std::string title, const std::string& subtitle);

  /// The bytes of the file.
  std::string Finish() const;

 private:
  std::string title_;
};

/// A mark as a character with a blank behind it, for those who cannot tell its colour.
std::string SymbolOf(HtmlMark mark);

/// `text` with the characters replaced that mean something to HTML, and those that are no UTF-8.
std::string EscapeHtml(const std::string& text);
/// The bytes of a text.
std::span<const std::uint8_t> AsBytes(const std::string& text);
/// A picture as the address of itself.
std::string PngDataUri(std::span<const std::uint8_t> png);

}  // namespace vixprores

#endif  // TOOL_REPORT_HTMLPAGE_H

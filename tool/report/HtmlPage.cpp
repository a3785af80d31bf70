// SPDX-License-Identifier: BSD-2-Clause
#include "report/HtmlPage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <nlohmann/json.hpp>
#include <utility>

#include "report/HtmlAssets.h"

namespace vixprores {
namespace {

const char* ClassOf(HtmlMark mark) {
  static constexpr std::array<const char*, 4> kClasses{"", " class=\"good\"", " class=\"unknown\"",
                                                       " class=\"bad\""};
  return kClasses.at(static_cast<std::size_t>(mark));
}

// Bytes that are no UTF-8 become replacement characters.
std::string ToUtf8(const std::string& text) {
  const nlohmann::json string(text);
  return nlohmann::json::parse(
             string.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace))
      .get<std::string>();
}

std::string TableHtml(const HtmlTable& table) {
  std::string html = "<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"" +
                     EscapeHtml(table.caption) + "\"><table" +
                     (table.areNumbers ? " class=\"numbers\"" : "") +
                     "><caption class=\"hidden\">" + EscapeHtml(table.caption) + "</caption>\n";
  if (!table.columns.empty()) {
    html += "<thead><tr>";
    for (const auto& column : table.columns) {
      html += "<th scope=\"col\">" + EscapeHtml(column) + "</th>";
    }
    html += "</tr></thead>\n";
  }
  html += "<tbody>\n";
  for (const auto& row : table.rows) {
    html += std::string("<tr") + ClassOf(row.mark) + ">";
    for (std::size_t i = 0; i < row.cells.size(); ++i) {
      const std::string text = EscapeHtml(row.cells[i]);
      html += i == 0 ? "<th scope=\"row\">" + text + "</th>" : "<td>" + text + "</td>";
    }
    html += "</tr>\n";
  }
  return html + "</tbody></table></div>\n";
}

}  // namespace

void HtmlPart::AddFigures(const std::vector<HtmlFigure>& figures) {
  html_ += "<dl class=\"figures\">\n";
  for (const HtmlFigure& figure : figures) {
    html_ += std::string("<div") + ClassOf(figure.mark) + "><dt>" + EscapeHtml(figure.name) +
             "</dt><dd>" + EscapeHtml(figure.value) + "</dd></div>\n";
  }
  html_ += "</dl>\n";
}

void HtmlPart::AddHeading(const std::string& text) {
  html_ += "<h2>" + EscapeHtml(text) + "</h2>\n";
}

void HtmlPart::AddSubheading(const std::string& text) {
  html_ += "<h3>" + EscapeHtml(text) + "</h3>\n";
}

void HtmlPart::AddParagraph(const std::string& text) {
  html_ += "<p>" + EscapeHtml(text) + "</p>\n";
}

void HtmlPart::AddTable(const HtmlTable& table) {
  html_ += TableHtml(table);
}

void HtmlPart::AddFoldedTable(const std::string& summary, const HtmlTable& table) {
  html_ += "<details><summary>" + EscapeHtml(summary) + "</summary>\n" + TableHtml(table) +
           "</details>\n";
}

HtmlPage::HtmlPage(std::string title, const std::string& subtitle) : title_(std::move(title)) {
  Add("<header><h1>" + EscapeHtml(title_) + "</h1><p>" + EscapeHtml(subtitle) +
      "</p></header>\n<main>\n");
}

std::string HtmlPage::Finish() const {
  return "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; "
         "img-src data:; style-src 'unsafe-inline'; script-src 'unsafe-inline'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
         EscapeHtml(title_) + "</title>\n<style>" + kPageStyle + "</style>\n</head>\n<body>\n" +
         GetHtml() + "</main>\n<script>" + kPageScript + "</script>\n</body>\n</html>\n";
}

std::string SymbolOf(HtmlMark mark) {
  if (mark == HtmlMark::Good) return "\u2713 ";
  return mark == HtmlMark::Bad ? "\u2717 " : "\u2013 ";
}

std::string EscapeHtml(const std::string& text) {
  std::string escaped;
  for (const char character : ToUtf8(text)) {
    switch (character) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += character;
    }
  }
  return escaped;
}

std::span<const std::uint8_t> AsBytes(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string PngDataUri(std::span<const std::uint8_t> png) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text = "data:image/png;base64,";
  text.reserve(text.size() + (png.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < png.size(); i += 3) {
    const std::size_t bytes = std::min<std::size_t>(3, png.size() - i);
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (k < bytes ? png[i + k] : 0U);
    for (std::size_t k = 0; k < 4; ++k) {
      text += k <= bytes ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
  }
  return text;
}

}  // namespace vixprores

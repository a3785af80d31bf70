// SPDX-License-Identifier: BSD-2-Clause
#include "report/ContactSheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "report/Json.h"

namespace vixprores {
namespace {

constexpr std::uint32_t kGlyphWidth = 5;
constexpr std::uint32_t kGlyphHeight = 7;
constexpr std::uint32_t kMargin = 12;
constexpr std::uint8_t kPaper = 24;
constexpr std::uint8_t kInk = 224;

struct Glyph {
  char character;
  std::array<std::string_view, kGlyphHeight> rows;
};

constexpr Glyph kGlyphs[] = {
    {'0', {" ### ", "#   #", "#  ##", "# # #", "##  #", "#   #", " ### "}},
    {'1', {"  #  ", " ##  ", "  #  ", "  #  ", "  #  ", "  #  ", " ### "}},
    {'2', {" ### ", "#   #", "    #", "   # ", "  #  ", " #   ", "#####"}},
    {'3', {" ### ", "#   #", "    #", "  ## ", "    #", "#   #", " ### "}},
    {'4', {"   # ", "  ## ", " # # ", "#  # ", "#####", "   # ", "   # "}},
    {'5', {"#####", "#    ", "#### ", "    #", "    #", "#   #", " ### "}},
    {'6', {" ### ", "#    ", "#    ", "#### ", "#   #", "#   #", " ### "}},
    {'7', {"#####", "    #", "   # ", "  #  ", "  #  ", "  #  ", "  #  "}},
    {'8', {" ### ", "#   #", "#   #", " ### ", "#   #", "#   #", " ### "}},
    {'9', {" ### ", "#   #", "#   #", " ####", "    #", "    #", " ### "}},
    {':', {"     ", "  #  ", "  #  ", "     ", "  #  ", "  #  ", "     "}},
    {';', {"     ", "  #  ", "  #  ", "     ", "  #  ", "  #  ", " #   "}},
};

void Fill(RgbPicture& sheet, RgbSize size, std::uint32_t left, std::uint32_t top,
          std::uint8_t grey) {
  for (std::uint32_t y = 0; y < size.height; ++y) {
    std::fill_n(sheet.At(left, top + y), std::size_t{3} * size.width, grey);
  }
}

void DrawGlyph(RgbPicture& sheet, const Glyph& glyph, std::uint32_t left, std::uint32_t top,
               std::uint32_t dot) {
  for (std::uint32_t y = 0; y < kGlyphHeight; ++y) {
    for (std::uint32_t x = 0; x < kGlyphWidth; ++x) {
      if (glyph.rows[y][x] == '#') Fill(sheet, {dot, dot}, left + x * dot, top + y * dot, kInk);
    }
  }
}

constexpr std::uint32_t WidthOf(std::size_t characters, std::uint32_t dot) {
  return static_cast<std::uint32_t>(characters) * (kGlyphWidth + 1) * dot;
}

void DrawCaption(RgbPicture& sheet, const std::string& caption, std::uint32_t left,
                 std::uint32_t top, std::uint32_t dot) {
  for (std::uint32_t i = 0; i < caption.size(); ++i) {
    const auto* const glyph = std::ranges::find(kGlyphs, caption[i], &Glyph::character);
    const std::uint32_t at = left + WidthOf(i, dot);
    if (glyph == std::end(kGlyphs) || at + WidthOf(1, dot) > sheet.width) continue;
    DrawGlyph(sheet, *glyph, at, top, dot);
  }
}

void Paste(RgbPicture& sheet, const RgbPicture& picture, std::uint32_t left, std::uint32_t top) {
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::copy_n(picture.At(0, y), std::size_t{3} * picture.width, sheet.At(left, top + y));
  }
}

std::uint32_t CountColumns(std::size_t pictures, RgbSize cell) {
  const double square = std::sqrt(static_cast<double>(pictures) * cell.height / cell.width);
  return std::clamp<std::uint32_t>(static_cast<std::uint32_t>(std::round(square)), 1,
                                   static_cast<std::uint32_t>(pictures));
}

}  // namespace

// Returns the side of a dot of the letters: 2 if the longest caption then fits under its picture.
std::uint32_t ContactSheet::FindDot() const {
  std::size_t longest = 1;
  for (const Entry& entry : entries_) longest = std::max(longest, entry.caption.size());
  return std::clamp<std::uint32_t>(entries_.front().picture.width / WidthOf(longest, 1), 1, 2);
}

// Returns the size of a picture with its caption and the margins to its neighbours.
RgbSize ContactSheet::FindCell(std::uint32_t dot) const {
  const RgbPicture& first = entries_.front().picture;
  return {first.width + kMargin, first.height + (3 + kGlyphHeight) * dot + kMargin};
}

void ContactSheet::Add(RgbPicture picture, std::string caption) {
  const std::string advice = "; take fewer pictures with --every, or smaller ones with --width";
  if (entries_.size() == kMostSheetPictures) {
    throw Failure(name_ + ": a sheet has at most " + std::to_string(kMostSheetPictures) +
                  " pictures" + advice);
  }
  entries_.push_back({std::move(picture), std::move(caption)});
  const RgbSize cell = FindCell(2);
  if (std::uint64_t{cell.width} * cell.height * entries_.size() > kMostSheetPixels) {
    throw Failure(name_ + ": a sheet has at most " + std::to_string(kMostSheetPixels) + " pixels" +
                  advice);
  }
}

RgbPicture ContactSheet::Draw() const {
  const std::uint32_t dot = FindDot();
  const RgbSize cell = FindCell(dot);
  const std::uint32_t columns = CountColumns(entries_.size(), cell);
  const auto count = static_cast<std::uint32_t>(entries_.size());
  const std::uint32_t rows = (count + columns - 1) / columns;
  RgbPicture sheet(columns * cell.width + kMargin, rows * cell.height + kMargin);
  Fill(sheet, {sheet.width, sheet.height}, 0, 0, kPaper);
  for (std::uint32_t i = 0; i < count; ++i) {
    const auto& [picture, caption] = entries_[i];
    const std::uint32_t left = kMargin + i % columns * cell.width;
    const std::uint32_t top = kMargin + i / columns * cell.height;
    Paste(sheet, picture, left, top);
    DrawCaption(sheet, caption, left, top + picture.height + 3 * dot, dot);
  }
  return sheet;
}

namespace {

// Returns text like "frame 12" or "frames 12 to 228".
std::string FramesText(const std::vector<StillReport>& stills) {
  const std::string first = std::to_string(stills.front().number);
  if (stills.size() == 1) return "frame " + first;
  return "frames " + first + " to " + std::to_string(stills.back().number);
}

JsonValue ToJson(const StillReport& still) {
  JsonValue json;
  json["frame"] = still.number;
  json["timecode"] = TimecodeJson(still.timecode, 0);
  json["file"] = still.file.empty() ? JsonValue() : JsonValue(still.file);
  if (still.damage) json["damage"] = still.damage->what;
  return json;
}

}  // namespace

std::string StillsText(const StillsReport& report) {
  const std::string frames = FramesText(report.stills);
  std::string text;
  if (!report.folder.empty()) {
    text = PrintableLine(report.folder) + ": " + Count(std::ssize(report.stills), "still") +
           " of " + DescribeSize(report.size.width, report.size.height) + ", " + frames;
  }
  if (report.sheet.empty()) return text;
  return text + (text.empty() ? "" : "; ") + PrintableLine(report.sheet) + ": " +
         Count(std::ssize(report.stills), "picture") + ", " + frames;
}

std::string StillsJson(const StillsReport& report) {
  JsonValue json;
  json["command"] = "thumbs";
  json["status"] = "done";
  json["input"] = report.input;
  json["sheet"] = report.sheet.empty() ? JsonValue() : JsonValue(report.sheet);
  json["stills"] = JsonValue::array();
  for (const StillReport& still : report.stills) json["stills"].push_back(ToJson(still));
  return Dump(json);
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "report/ContactSheet.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

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

// Side of a dot of the letters: the longest caption fits under its picture, where any size does.
std::uint32_t DotFor(const std::vector<SheetPicture>& pictures) {
  std::size_t longest = 1;
  for (const SheetPicture& picture : pictures) longest = std::max(longest, picture.caption.size());
  const std::uint32_t widest = pictures.front().picture.width;
  return std::clamp<std::uint32_t>(widest / WidthOf(longest, 1), 1, 2);
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

RgbPicture DrawContactSheet(const std::vector<SheetPicture>& pictures) {
  const std::uint32_t dot = DotFor(pictures);
  const RgbPicture& first = pictures.front().picture;
  const std::uint32_t captionTop = first.height + 3 * dot;
  const RgbSize cell{first.width + kMargin, captionTop + kGlyphHeight * dot + kMargin};
  const std::uint32_t columns = CountColumns(pictures.size(), cell);
  const auto count = static_cast<std::uint32_t>(pictures.size());
  const std::uint32_t rows = (count + columns - 1) / columns;
  RgbPicture sheet(columns * cell.width + kMargin, rows * cell.height + kMargin);
  Fill(sheet, {sheet.width, sheet.height}, 0, 0, kPaper);
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t left = kMargin + i % columns * cell.width;
    const std::uint32_t top = kMargin + i / columns * cell.height;
    Paste(sheet, pictures[i].picture, left, top);
    DrawCaption(sheet, pictures[i].caption, left, top + captionTop, dot);
  }
  return sheet;
}

}  // namespace vixprores

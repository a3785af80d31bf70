// SPDX-License-Identifier: BSD-2-Clause
#include "report/HtmlPictures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "media/Png.h"
#include "report/HtmlPage.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

using Json = nlohmann::ordered_json;

// From low to high: dark blue, violet, red, orange, light yellow. Brightness rises all the way, so
// that it is read without colours too.
constexpr std::array<std::array<double, 3>, 5> kRamp{
    {{24, 20, 96}, {112, 30, 130}, {206, 62, 84}, {248, 148, 54}, {252, 250, 190}}};

std::array<std::uint8_t, 3> RampColour(double share) {
  const double place = std::clamp(share, 0.0, 1.0) * (kRamp.size() - 1);
  const auto low = std::min(static_cast<std::size_t>(place), kRamp.size() - 2);
  std::array<std::uint8_t, 3> colour{};
  for (std::size_t i = 0; i < colour.size(); ++i) {
    const double value =
        std::lerp(kRamp[low][i], kRamp[low + 1][i], place - static_cast<double>(low));
    colour[i] = static_cast<std::uint8_t>(std::lround(value));
  }
  return colour;
}

std::string RampCss() {
  std::string css = "linear-gradient(90deg";
  for (std::size_t i = 0; i < kRamp.size(); ++i) {
    const auto colour = RampColour(static_cast<double>(i) / (kRamp.size() - 1));
    css += ",rgb(" + std::to_string(colour[0]) + " " + std::to_string(colour[1]) + " " +
           std::to_string(colour[2]) + ")";
  }
  return css + ")";
}

// One of the two layers over the picture.
struct Layer {
  std::string name;
  std::string unit;
  int decimals;
  std::vector<double> values;  // of the slices; NaN = none
  double low = 0;
  double high = 0;

  // Where all slices are the same there is nothing to see.
  bool IsFlat() const { return low == high; }
};

Layer MakeLayer(std::string name, std::string unit, int decimals, std::vector<double> values) {
  Layer layer{std::move(name), std::move(unit), decimals, std::move(values)};
  bool isFirst = true;
  for (const double value : layer.values) {
    if (std::isnan(value)) continue;
    layer.low = isFirst ? value : std::min(layer.low, value);
    layer.high = isFirst ? value : std::max(layer.high, value);
    isFirst = false;
  }
  return layer;
}

Layer QuantiserLayer(const SliceGrid& grid) {
  std::vector<double> values = grid.quantisers;
  std::ranges::replace(values, 0.0, std::nan(""));
  const bool areWhole =
      std::ranges::all_of(grid.quantisers, [](double value) { return value == std::floor(value); });
  return MakeLayer("Quantiser", "", areWhole ? 0 : 1, std::move(values));
}

// Slices at the right are narrower than others; so it is the bits for an area that compare.
Layer BitsLayer(const SliceGrid& grid) {
  std::vector<double> values = grid.bytes;
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] *= 8.0 / grid.columns[i % grid.columns.size()].macroblocks;
  }
  return MakeLayer("Bits", "bits a macroblock", 0, std::move(values));
}

// A pixel for each macroblock; the browser scales it to the picture.
std::string LayerUri(const SliceGrid& grid, const Layer& layer) {
  constexpr std::uint8_t kOpacity = 184;
  std::vector<std::uint8_t> pixels;
  for (std::size_t i = 0; i < grid.Count(); ++i) {
    const bool isMissing = layer.IsFlat() || std::isnan(layer.values[i]);
    const auto colour =
        RampColour(isMissing ? 0 : (layer.values[i] - layer.low) / (layer.high - layer.low));
    for (unsigned k = 0; k < grid.columns[i % grid.columns.size()].macroblocks; ++k) {
      pixels.insert(pixels.end(), colour.begin(), colour.end());
      pixels.push_back(isMissing ? 0 : kOpacity);
    }
  }
  return PngDataUri(EncodeTransparentPng(grid.macroblocks, grid.rows, pixels));
}

// The picture may end inside the last macroblocks; these go beyond its edges.
std::string LayerStyle(const SliceGrid& grid) {
  const double width = grid.macroblocks / (grid.macroblocks - 1 + grid.lastMacroblockShare);
  const double height = grid.rows / (grid.rows - 1 + grid.lastRowShare);
  return "width:" + Fixed(100 * width, 3) + "%;height:" + Fixed(100 * height, 3) + "%";
}

// What the page's script tells of each slice.
Json CellsJson(const SliceGrid& grid) {
  Json json;
  json["rows"] = grid.rows - 1 + grid.lastRowShare;
  json["macroblocks"] = grid.macroblocks - 1 + grid.lastMacroblockShare;
  json["columns"] = Json::array();
  for (const auto& span : grid.columns) {
    json["columns"].push_back({span.firstMacroblock, span.macroblocks});
  }
  json["quantisers"] = grid.quantisers;
  json["bytes"] = grid.bytes;
  return json;
}

// In which pictures a slice is damaged, by its place in the grid.
Json DamageJson(const SliceGrid& grid, const std::vector<DamagedSlice>& damaged) {
  Json json = Json::object();
  for (const DamagedSlice& slice : damaged) {
    for (const std::size_t cell : grid.FindCells(slice.row, slice.span)) {
      json[std::to_string(cell)].push_back(slice.picture + 1);
    }
  }
  return json;
}

// What goes from slice to slice by keys and pointer, over `drawing`.
std::string Stage(const std::string& name, const std::string& drawing) {
  return "<div class=\"stage\" tabindex=\"0\" role=\"group\" aria-label=\"" + EscapeHtml(name) +
         ", slice by slice. Arrow keys go from slice to slice.\">" + drawing +
         "<div class=\"cursor\" hidden></div></div>\n";
}

std::string Readout(const Json& cells) {
  return "<output class=\"readout\" aria-live=\"polite\">Point at a slice, or use the arrow "
         "keys.</output>\n<script type=\"application/json\">" +
         cells.dump() + "</script>";
}

std::string Image(const std::string& source, const std::string& text, const std::string& rest) {
  return "<img src=\"" + source + "\" alt=\"" + EscapeHtml(text) + "\"" + rest + ">";
}

std::string SizeOf(const RgbPicture& picture) {
  return " width=\"" + std::to_string(picture.width) + "\" height=\"" +
         std::to_string(picture.height) + "\"";
}

// The start of a figure that is not drawn larger than its picture, unless that is tiny.
std::string FigureStart(const std::string& cssClass, const RgbPicture& picture,
                        const std::string& name) {
  constexpr std::uint32_t kLeastWidth = 320;
  return "<figure class=\"" + cssClass +
         "\" style=\"max-width:" + std::to_string(std::max(picture.width, kLeastWidth)) +
         "px\"><figcaption>" + EscapeHtml(name) + "</figcaption>\n";
}

std::string Choice(const std::string& id, const std::string& value, const std::string& text,
                   bool isChosen) {
  return "<label><input type=\"radio\" name=\"" + id + "\" value=\"" + value + "\"" +
         (isChosen ? " checked" : "") + "> " + text + "</label>";
}

// In pixels of the frame, across and down.
std::string RectSvg(const SliceGrid& grid, const DamagedSlice& slice) {
  const auto& span = slice.span;
  return "<rect x=\"" + std::to_string(prores::kMacroblockSize * span.firstMacroblock) + "\" y=\"" +
         std::to_string(grid.rowLines * slice.row) + "\" width=\"" +
         std::to_string(prores::kMacroblockSize * span.macroblocks) + "\" height=\"" +
         std::to_string(grid.rowLines) + "\" data-row=\"" + std::to_string(slice.row) +
         "\" data-slice=\"" + std::to_string(slice.index) + "\"><title>Picture " +
         std::to_string(slice.picture + 1) + ", row " + std::to_string(slice.row) + ", slice " +
         std::to_string(slice.index) + "</title></rect>\n";
}

// The borders of the slices.
std::string LinesSvg(const SliceGrid& grid) {
  std::string path;
  for (const auto& span : grid.columns) {
    path += "M" + std::to_string(prores::kMacroblockSize * span.firstMacroblock) + " 0V" +
            std::to_string(grid.rowLines * grid.rows);
  }
  for (std::uint32_t row = 0; row < grid.rows; ++row) {
    path += "M0 " + std::to_string(grid.rowLines * row) + "H" +
            std::to_string(prores::kMacroblockSize * grid.macroblocks);
  }
  return "<path d=\"" + path + "\"/>\n";
}

std::string Legend(const Layer& layer, const std::string& cssClass) {
  if (layer.IsFlat()) {
    return "<div class=\"legend " + cssClass + "\"><span>" + Fixed(layer.low, layer.decimals) +
           " " + layer.unit + " everywhere</span></div>\n";
  }
  return "<div class=\"legend " + cssClass + "\"><span>" + Fixed(layer.low, layer.decimals) +
         "</span><i style=\"background:" + RampCss() + "\"></i><span>" +
         Fixed(layer.high, layer.decimals) + " " + layer.unit + "</span></div>\n";
}

}  // namespace

std::string SliceMapHtml(const std::string& name, const std::string& id, const RgbPicture& picture,
                         const SliceGrid& grid) {
  const Layer quantisers = QuantiserLayer(grid);
  const Layer bits = BitsLayer(grid);
  const std::string hidden = " class=\"layer quantiser\" style=\"" + LayerStyle(grid) + "\"";
  const std::string shown = " class=\"layer bits\" style=\"" + LayerStyle(grid) + "\"";
  return FigureStart("map", picture, name) +
         "<fieldset><legend class=\"hidden\">What is laid over the "
         "picture</legend>" +
         Choice(id, "quantiser", "Quantiser", true) + Choice(id, "bits", "Bits", false) +
         Choice(id, "picture", "Picture", false) + "</fieldset>\n" +
         Stage(name, Image(PngDataUri(EncodePng(picture)), name, SizeOf(picture)) +
                         Image(LayerUri(grid, quantisers), "Quantiser of each slice", hidden) +
                         Image(LayerUri(grid, bits), "Bits of each slice", shown)) +
         Legend(quantisers, "quantiser") + Legend(bits, "bits") + Readout(CellsJson(grid)) +
         "</figure>\n";
}

std::string DamageMapHtml(const std::string& name, const SliceGrid& grid,
                          const std::vector<DamagedSlice>& damaged) {
  const double width = prores::kMacroblockSize * (grid.macroblocks - 1 + grid.lastMacroblockShare);
  const double height = grid.rowLines * (grid.rows - 1 + grid.lastRowShare);
  std::string svg = "<svg viewBox=\"0 0 " + Fixed(width, 0) + " " + Fixed(height, 0) +
                    "\" role=\"img\" aria-label=\"" + EscapeHtml(name) + "\">\n" + LinesSvg(grid);
  for (const DamagedSlice& slice : damaged) svg += RectSvg(grid, slice);
  Json cells = CellsJson(grid);
  cells["damaged"] = DamageJson(grid, damaged);
  return "<figure class=\"map damage\"><figcaption>" + EscapeHtml(name) + "</figcaption>\n" +
         Stage(name, svg + "</svg>") + Readout(cells) + "</figure>\n";
}

std::string PictureSliderHtml(const std::string& name, const RgbPicture& reference,
                              const RgbPicture& distorted) {
  return FigureStart("slider", reference, name) + "<div class=\"stage\">" +
         Image(PngDataUri(EncodePng(reference)), "Reference", SizeOf(reference)) +
         Image(PngDataUri(EncodePng(distorted)), "Distorted", " class=\"over\"") +
         "<span class=\"tag left\">reference</span><span class=\"tag right\">distorted</span>"
         "</div>\n<label>Share of the reference <input type=\"range\" min=\"0\" max=\"100\" "
         "value=\"50\"></label></figure>\n";
}

std::string PictureHtml(const std::string& name, const RgbPicture& picture) {
  return FigureStart("picture", picture, name) +
         Image(PngDataUri(EncodePng(picture)), name, SizeOf(picture)) + "</figure>\n";
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "report/HtmlChart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "base/Text.h"
#include "report/HtmlPage.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

// Drawing units; the browser stretches them to the room that there is.
constexpr double kWidth = 1000;
constexpr double kHeight = 100;

// Frames that are drawn as one.
struct Bin {
  std::int64_t first;
  std::int64_t last;
  std::string label;
  std::optional<double> value;
  bool isMarked;  // one of them is
};

// With as many digits as give the number back.
std::string Exact(double value) {
  std::array<char, 32> text{};
  const auto [end, error] = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), end};
}

bool Replaces(const Chart& chart, const std::optional<double>& value,
              const std::optional<double>& before) {
  if (!value) return false;
  if (!before) return true;
  return chart.standing == Chart::Standing::Largest ? *value > *before : *value < *before;
}

std::vector<Bin> MakeBins(const Chart& chart) {
  const std::size_t each = (chart.points.size() + kMostChartPoints - 1) / kMostChartPoints;
  std::vector<Bin> bins;
  for (std::size_t i = 0; i < chart.points.size(); ++i) {
    const ChartPoint& point = chart.points[i];
    if (i % each == 0) {
      bins.push_back({point.frame, point.frame, point.label, point.value, point.isMarked});
    } else {
      bins.back().last = point.frame;
      bins.back().isMarked |= point.isMarked;
      if (Replaces(chart, point.value, bins.back().value)) bins.back().value = point.value;
    }
  }
  return bins;
}

struct Range {
  double low;
  double high;
};

// None where no bin has a value.
std::optional<Range> FindRange(const std::vector<Bin>& bins) {
  std::optional<Range> range;
  for (const Bin& bin : bins) {
    if (!bin.value) continue;
    if (!range) range = {*bin.value, *bin.value};
    range = {std::min(range->low, *bin.value), std::max(range->high, *bin.value)};
  }
  return range;
}

// The values that the lower and the upper edge stand for.
struct Scale {
  double low;
  double high;

  double HeightOf(double value) const { return kHeight * (value - low) / (high - low); }
};

// A round number that is not smaller: 1, 2 or 5 and zeros.
double RoundUp(double value) {
  const double unit = std::pow(10, std::floor(std::log10(value)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (value <= factor * unit) return factor * unit;
  }
  return 10 * unit;
}

// From round number to round number, and not beyond what values can be.
Scale RoundOut(const Chart& chart, const Range& range) {
  // Half of it can be written with the chart's decimals, as the middle of the axis is.
  const double smallest = 2 * std::pow(10, -chart.decimals);
  const double step = std::max(RoundUp(std::max(range.high - range.low, smallest) / 4), smallest);
  const double low = step * std::floor(range.low / step);
  const double high = step * std::ceil(range.high / step);
  return {std::max(low, 0.0), std::min(high > low ? high : low + step, chart.highest)};
}

Scale FindScale(const Chart& chart, const std::vector<Bin>& bins) {
  const auto values = FindRange(bins);
  if (!values) return {0, 1};
  Range range = *values;
  if (chart.target) range.high = std::max(range.high, *chart.target);
  if (chart.shape == Chart::Shape::Bars) range.low = 0;
  return RoundOut(chart, range);
}

std::string ValueText(const Chart& chart, const std::optional<double>& value) {
  return value ? Fixed(*value, chart.decimals) + " " + chart.unit : chart.missing;
}

std::string BinText(const Chart& chart, const Bin& bin) {
  std::string text = "Frame " + std::to_string(bin.first);
  if (bin.last > bin.first) {
    text = "Frames " + std::to_string(bin.first) + " to " + std::to_string(bin.last);
  }
  if (!bin.label.empty()) text += " (" + bin.label + ")";
  text += ": " + ValueText(chart, bin.value);
  if (bin.last > bin.first) {
    text += chart.standing == Chart::Standing::Largest ? ", the largest" : ", the smallest";
  }
  if (!bin.isMarked) return text;
  return text + (bin.last > bin.first ? ", some " : ", ") + chart.markName;
}

// One column of the drawing; in a line chart it is there to be pointed at.
std::string ColumnSvg(const Chart& chart, const Bin& bin, const Scale& scale, double left,
                      double width) {
  const bool isBar = chart.shape == Chart::Shape::Bars;
  const double height = isBar && bin.value ? scale.HeightOf(*bin.value) : kHeight;
  const double gap = isBar && width > 4 ? 0.15 * width : 0;
  std::string svg = "<rect class=\"" + std::string(isBar && bin.value ? "bar" : "hit") + "\" x=\"" +
                    Fixed(left + gap / 2, 3) + "\" y=\"" + Fixed(kHeight - height, 3) +
                    "\" width=\"" + Fixed(width - gap, 3) + "\" height=\"" + Fixed(height, 3) +
                    "\" data-frame=\"" + std::to_string(bin.first) + "\"";
  if (bin.value) svg += " data-value=\"" + Exact(*bin.value) + "\"";
  return svg + "><title>" + EscapeHtml(BinText(chart, bin)) + "</title></rect>\n";
}

// Over the whole height, so that small and missing values are seen too.
std::string MarkSvg(double left, double width) {
  return "<rect class=\"mark\" x=\"" + Fixed(left, 3) + "\" y=\"0\" width=\"" + Fixed(width, 3) +
         "\" height=\"100\"/>\n";
}

// Runs of points that have values, each a step as wide as its frames.
std::string LineSvg(const std::vector<Bin>& bins, const Scale& scale, double width) {
  std::string path;
  bool isOpen = false;
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (bins[i].value) {
      const double left = width * static_cast<double>(i);
      path += (isOpen ? " L" : " M") + Fixed(left, 3) + " " +
              Fixed(kHeight - scale.HeightOf(*bins[i].value), 3) + " H" + Fixed(left + width, 3);
    }
    isOpen = bins[i].value.has_value();
  }
  return "<path class=\"line\" d=\"" + path + "\"/>\n";
}

std::string TargetSvg(const Chart& chart, const Scale& scale) {
  if (!chart.target) return {};
  const std::string y = Fixed(kHeight - scale.HeightOf(*chart.target), 3);
  return "<line class=\"target\" x1=\"0\" x2=\"1000\" y1=\"" + y + "\" y2=\"" + y +
         "\" data-value=\"" + Exact(*chart.target) + "\"/>\n";
}

std::string Svg(const Chart& chart, const std::vector<Bin>& bins, const Scale& scale) {
  const double width = kWidth / static_cast<double>(bins.size());
  std::string svg =
      "<svg viewBox=\"0 0 1000 100\" preserveAspectRatio=\"none\" aria-hidden=\"true\">\n";
  if (chart.shape == Chart::Shape::Line) svg += LineSvg(bins, scale, width);
  for (std::size_t i = 0; i < bins.size(); ++i) {
    if (bins[i].isMarked) svg += MarkSvg(width * static_cast<double>(i), width);
    svg += ColumnSvg(chart, bins[i], scale, width * static_cast<double>(i), width);
  }
  return svg + TargetSvg(chart, scale) + "</svg>";
}

std::string Label(const Chart& chart, const std::vector<Bin>& bins) {
  std::string text = chart.name + ", " + Count(std::ssize(chart.points), "frame");
  if (const auto range = FindRange(bins)) {
    text += ", " + ValueText(chart, range->low) + " to " + ValueText(chart, range->high);
  }
  return text + ". Arrow keys go from frame to frame.";
}

}  // namespace

std::string ChartHtml(const Chart& chart) {
  if (chart.points.empty()) return {};
  const auto bins = MakeBins(chart);
  const Scale scale = FindScale(chart, bins);
  std::string html = "<figure class=\"chart\"><figcaption>" + EscapeHtml(chart.name) + " (" +
                     EscapeHtml(chart.unit) + ")";
  if (chart.target) {
    html += " <span class=\"key\"><i></i>" + EscapeHtml(chart.targetName) + ": " +
            EscapeHtml(ValueText(chart, chart.target)) + "</span>";
  }
  if (std::ranges::any_of(bins, &Bin::isMarked)) {
    html += " <span class=\"key marked\"><i></i>" + EscapeHtml(chart.markName) + "</span>";
  }
  html += "</figcaption>\n<div class=\"plot\"><div class=\"y\" aria-hidden=\"true\"><span>" +
          Fixed(scale.high, chart.decimals) + "</span><span>" +
          Fixed((scale.low + scale.high) / 2, chart.decimals) + "</span><span>" +
          Fixed(scale.low, chart.decimals) +
          "</span></div>\n<div class=\"area\" tabindex=\"0\" role=\"group\" aria-label=\"" +
          EscapeHtml(Label(chart, bins)) + "\">" + Svg(chart, bins, scale) +
          "</div>\n<div class=\"x\" aria-hidden=\"true\"><span>" +
          std::to_string(bins.front().first) + "</span><span>frame</span><span>" +
          std::to_string(bins.back().last) + "</span></div></div>\n";
  return html +
         "<output class=\"readout\" aria-live=\"polite\">Point at a frame, or use the arrow "
         "keys.</output></figure>\n";
}

}  // namespace vixprores

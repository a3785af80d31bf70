// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_HTMLCHART_H
#define TOOL_REPORT_HTMLCHART_H

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace vixprores {

/// The value of a frame.
struct ChartPoint {
  std::int64_t frame = 0;
  std::string label;            ///< its timecode; empty = none
  std::optional<double> value;  ///< none = no bar, and a gap in a line
  bool isMarked = false;        ///< as what Chart::markName says
};

/// A value for each frame over time.
struct Chart {
  enum class Shape {
    Bars,  ///< from zero up
    Line,  ///< between the smallest and the largest
  };

  std::string name;  ///< "Size of each frame"
  std::string unit;  ///< "bytes"
  int decimals = 0;
  Shape shape = Shape::Bars;
  /// Which one stands for several frames where there are too many of them to be told apart.
  enum class Standing { Largest, Smallest } standing = Standing::Largest;
  std::optional<double> target;  ///< a line across
  std::string targetName;
  double highest = std::numeric_limits<double>::infinity();  ///< that a value can be; none is < 0
  std::string missing;   ///< what a point without a value is, "identical"
  std::string markName;  ///< what marked points are, "damaged"
  std::vector<ChartPoint> points;
};

/// Most points that are drawn.
inline constexpr std::size_t kMostChartPoints = 1200;

/// The chart as a part of a page. What is drawn for a frame has its number and value, with all
/// digits, as attributes data-frame and data-value.
std::string ChartHtml(const Chart& chart);

}  // namespace vixprores

#endif  // TOOL_REPORT_HTMLCHART_H

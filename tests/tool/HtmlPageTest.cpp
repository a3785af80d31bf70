// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "report/HtmlChart.h"
#include "report/HtmlPage.h"
#include "report/HtmlPictures.h"
#include "report/TextTable.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::Not;

std::size_t CountOf(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    ++count;
  }
  return count;
}

TEST(TextTable, AlignsColumnsWithoutBlanksAtTheEnd) {
  TextTable table("lr");
  table.Add({"frames", "5"});
  table.Add({"a", "1234"});
  table.Add({"b", ""});
  EXPECT_EQ(table.ToText(2), "  frames     5\n  a       1234\n  b\n");
}

TEST(TextTable, PercentageOfNothingIsEmpty) {
  EXPECT_EQ(Percentage(1, 8), "12.5 %");
  EXPECT_EQ(Percentage(1, 0), "");
}

TEST(HtmlPage, EscapesWhatComesFromFiles) {
  HtmlPage page("<script>\"&.mov", "x");
  page.AddTable({"caption", {"<b>"}, {{{"a<b", "c&d"}, HtmlMark::Bad}}});
  const std::string html = page.Finish();
  EXPECT_THAT(html, HasSubstr("<h1>&lt;script&gt;&quot;&amp;.mov</h1>"));
  EXPECT_THAT(html, HasSubstr("<tr class=\"bad\"><th scope=\"row\">a&lt;b</th><td>c&amp;d</td>"));
  EXPECT_EQ(CountOf(html, "<script>"), 1u);
}

TEST(HtmlPage, ReplacesBytesThatAreNoText) {
  EXPECT_EQ(EscapeHtml("a\xFF"
                       "b"),
            "a\xEF\xBF\xBD"
            "b");
}

TEST(HtmlPage, LoadsNothing) {
  HtmlPage page("title", "x");
  page.AddFigures({{"Frames", "5"}});
  const std::string html = page.Finish();
  EXPECT_THAT(html, HasSubstr("default-src 'none'"));
  for (const char* word : {"http://", "https://", "<link", " src=", "@import", "url("}) {
    EXPECT_THAT(html, Not(HasSubstr(word)));
  }
}

TEST(PngDataUri, IsBase64) {
  const std::string text = "Many hands";
  const auto bytes = AsBytes(text);
  EXPECT_EQ(PngDataUri(bytes), "data:image/png;base64,TWFueSBoYW5kcw==");
  EXPECT_EQ(PngDataUri(bytes.first(9)), "data:image/png;base64,TWFueSBoYW5k");
  EXPECT_EQ(PngDataUri(bytes.first(8)), "data:image/png;base64,TWFueSBoYW4=");
}

Chart MakeChart(std::size_t points) {
  Chart chart;
  chart.name = "Size";
  chart.unit = "bytes";
  for (std::size_t i = 0; i < points; ++i) {
    const auto frame = static_cast<std::int64_t>(i);
    chart.points.push_back({frame, "", static_cast<double>(100 + i)});
  }
  return chart;
}

TEST(HtmlChart, DrawsEveryFrameWithItsValue) {
  Chart chart = MakeChart(3);
  chart.target = 204.5;
  chart.targetName = "target";
  const std::string html = ChartHtml(chart);
  EXPECT_EQ(CountOf(html, "class=\"bar\""), 3u);
  EXPECT_THAT(html, HasSubstr("data-frame=\"2\" data-value=\"102\""));
  EXPECT_THAT(html, HasSubstr("class=\"target\""));
  EXPECT_THAT(html, HasSubstr("data-value=\"204.5\""));
}

TEST(HtmlChart, BarsStandOnZeroInProportion) {
  Chart chart = MakeChart(0);
  chart.points = {{0, "", 50.0}, {1, "", 100.0}};
  const std::string html = ChartHtml(chart);
  EXPECT_THAT(html, HasSubstr("y=\"50.000\" width=\"425.000\" height=\"50.000\""));
  EXPECT_THAT(html, HasSubstr("y=\"0.000\" width=\"425.000\" height=\"100.000\""));
}

TEST(HtmlChart, LabelsOfTheAxisDifferHoweverCloseTheValuesAre) {
  Chart chart = MakeChart(0);
  chart.shape = Chart::Shape::Line;
  chart.decimals = 5;
  chart.highest = 1;
  chart.points = {{0, "", 0.999992}, {1, "", 0.999993}};
  EXPECT_THAT(ChartHtml(chart), HasSubstr("<span>1.00000</span><span>0.99999</span>"
                                          "<span>0.99998</span>"));
}

TEST(HtmlChart, PutsManyFramesTogetherByTheOneThatStandsOut) {
  Chart chart = MakeChart(2 * kMostChartPoints);
  EXPECT_EQ(CountOf(ChartHtml(chart), "data-frame"), kMostChartPoints);
  EXPECT_THAT(ChartHtml(chart), HasSubstr("data-frame=\"0\" data-value=\"101\""));
  EXPECT_THAT(ChartHtml(chart), HasSubstr("Frames 0 to 1: 101 bytes, the largest"));
  chart.standing = Chart::Standing::Smallest;
  EXPECT_THAT(ChartHtml(chart), HasSubstr("data-frame=\"0\" data-value=\"100\""));
}

TEST(HtmlChart, LeavesAGapWhereThereIsNoValue) {
  Chart chart = MakeChart(3);
  chart.shape = Chart::Shape::Line;
  chart.missing = "identical";
  chart.points[1].value.reset();
  const std::string html = ChartHtml(chart);
  EXPECT_EQ(CountOf(html, " M"), 2u);
  EXPECT_THAT(html, HasSubstr("data-frame=\"1\"><title>Frame 1: identical</title>"));
}

TEST(HtmlChart, TakesValuesThatAreAllTheSameOrMissing) {
  Chart chart = MakeChart(2);
  chart.shape = Chart::Shape::Line;
  chart.points[1].value = chart.points[0].value;
  EXPECT_THAT(ChartHtml(chart), Not(HasSubstr("nan")));
  for (auto& point : chart.points) point.value.reset();
  EXPECT_THAT(ChartHtml(chart), Not(HasSubstr("nan")));
  EXPECT_EQ(ChartHtml(MakeChart(0)), "");
}

TEST(HtmlChart, MarksFramesAndTellsWhatTheMarksAre) {
  Chart chart = MakeChart(3);
  chart.markName = "damaged";
  EXPECT_THAT(ChartHtml(chart), Not(HasSubstr("damaged")));
  chart.points[1].isMarked = true;
  const std::string html = ChartHtml(chart);
  EXPECT_EQ(CountOf(html, "class=\"mark\""), 1u);
  EXPECT_THAT(html, HasSubstr("Frame 1: 101 bytes, damaged<"));
  EXPECT_THAT(html, HasSubstr("class=\"key marked\""));
}

TEST(HtmlChart, MarksFramesThatAreDrawnAsOneWhereAnyOfThemIs) {
  Chart chart = MakeChart(2 * kMostChartPoints);
  chart.markName = "damaged";
  chart.points[3].isMarked = true;
  const std::string html = ChartHtml(chart);
  EXPECT_EQ(CountOf(html, "class=\"mark\""), 1u);
  EXPECT_THAT(html, HasSubstr("Frames 2 to 3: 103 bytes, the largest, some damaged<"));
}

TEST(DamageMap, FillsTheDamagedSlicesOnly) {
  SliceGrid grid;
  grid.columns = {{0, 4}, {4, 2}};
  grid.macroblocks = 6;
  grid.rows = 3;
  grid.rowLines = 32;
  grid.lastRowShare = 0.5;
  grid.quantisers = grid.bytes = {1, 2, 3, 4, 5, 6};
  const std::string html = DamageMapHtml("Frame 4", grid, {{1, 2, 1, 500, {4, 2}}});
  EXPECT_EQ(CountOf(html, "<rect"), 1u);
  EXPECT_THAT(html, HasSubstr("viewBox=\"0 0 96 80\""));
  EXPECT_THAT(html, HasSubstr("<rect x=\"64\" y=\"64\" width=\"32\" height=\"32\""));
  EXPECT_THAT(html, HasSubstr("Picture 2, row 2, slice 1"));
  EXPECT_THAT(html, HasSubstr("\"damaged\":{\"5\":[2]}"));
}

}  // namespace
}  // namespace vixprores

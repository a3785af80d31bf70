// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/Text.h"
#include "report/InspectionReport.h"
#include "report/Pages.h"

namespace vixprores {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

TEST(TextTable, AlignsColumnsWithoutSpacesAtTheEnd) {
  TextTable table("lr");
  table.Add({"frames", "5"});
  table.Add({"a", "1234"});
  table.Add({"b", ""});
  EXPECT_EQ(table.ToText(2), "  frames     5\n  a       1234\n  b\n");
}

TEST(TextTable, AlignsCharactersAndNotBytes) {
  TextTable table("ll");
  table.Add({"caf\xC3\xA9", "x"});
  table.Add({"table", "x"});
  EXPECT_EQ(table.ToText(0), "caf\xC3\xA9   x\ntable  x\n");
}

TEST(TextTable, EscapesControlCharacters) {
  TextTable table("ll");
  table.Add({"two\nlines", "\x1B[2J"});
  EXPECT_EQ(table.ToText(0), "two\\nlines  \\x1B[2J\n");
}

TEST(TextTable, PercentageOfNothingIsEmpty) {
  EXPECT_EQ(Percentage(1, 8), "12.5 %");
  EXPECT_EQ(Percentage(1, 0), "");
}

// Returns the JSON of one block of a page.
JsonValue BlockOf(const std::string& page, const std::string& id) {
  const std::string tag = "<script type=\"application/json\" id=\"" + id + "\">";
  const std::size_t begin = page.find(tag) + tag.size();
  return JsonValue::parse(page.substr(begin, page.find("</script>", begin) - begin));
}

std::size_t CountOf(const std::string& text, const std::string& word) {
  std::size_t count = 0;
  for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
    ++count;
  }
  return count;
}

StreamStatistics MakeStream(std::int64_t frames) {
  StreamStatistics stream;
  stream.name = "clip.mov";
  stream.format.rate = {25, 1};
  for (std::int64_t i = 0; i < frames; ++i) {
    FrameStatistics frame;
    frame.number = i;
    frame.bytes = 1000;
    stream.bytes.Add(1000);
    stream.frames.push_back(std::move(frame));
  }
  return stream;
}

std::vector<std::int64_t> NumbersOf(const JsonValue& frames) {
  std::vector<std::int64_t> numbers;
  for (const JsonValue& frame : frames) numbers.push_back(frame["frame"]);
  return numbers;
}

TEST(Page, LoadsNothing) {
  const std::string page = InspectionPage(MakeStream(1), {});
  EXPECT_THAT(page, HasSubstr("default-src 'none'"));
  for (const char* word : {"<link", " src=\"http", "@import", "url(", "@STYLE@", "@SCRIPT@"}) {
    EXPECT_THAT(page, Not(HasSubstr(word)));
  }
}

TEST(Page, NamesOfFilesCannotEndTheirBlock) {
  StreamStatistics stream = MakeStream(1);
  const std::size_t scripts = CountOf(InspectionPage(stream, {}), "<script");
  stream.name = "<script></script><!--\xFF.mov";
  const std::string page = InspectionPage(stream, {});
  EXPECT_EQ(CountOf(page, "<script"), scripts);
  EXPECT_EQ(BlockOf(page, "report")["input"], "<script></script><!--\xEF\xBF\xBD.mov");
}

TEST(Page, HoldsTheReport) {
  std::string report;
  const StreamStatistics stream = MakeStream(3);
  WriteInspectionJson(stream, [&report](std::string_view text) { report += text; });
  EXPECT_EQ(BlockOf(InspectionPage(stream, {}), "report"), JsonValue::parse(report));
}

TEST(Page, ShowsTheLargestFrameAndTheFirstFaultOfEachGroupOfALongStream) {
  StreamStatistics stream = MakeStream(10 * kMostPageGroups);
  stream.frames[123].bytes = 1001;
  stream.frames[127].fault = "is damaged";
  stream.frames[128].fault = "is damaged";
  const std::string page = InspectionPage(stream, {});
  EXPECT_EQ(BlockOf(page, "page")["group"], 10);
  const auto numbers = NumbersOf(BlockOf(page, "report")["frames"]);
  EXPECT_EQ(numbers.size(), kMostPageGroups + 1);
  EXPECT_THAT(numbers, Contains(123));
  EXPECT_THAT(numbers, Contains(127));
  EXPECT_THAT(numbers, Not(Contains(128)));
}

TEST(Page, CutsListsOfDamage) {
  Verification file;
  file.damage.resize(2 * kMostPageRows);
  file.damage.front().check.slices.resize(100);
  VerificationPage page;
  page.Add(file, std::nullopt);
  const std::string html = page.Finish();
  const JsonValue report = BlockOf(html, "report")["files"][0];
  const JsonValue extra = BlockOf(html, "page")["files"][0];
  EXPECT_EQ(report["damage"].size(), kMostPageRows);
  EXPECT_LT(report["damage"][0]["slices"].size(), 100u);
  EXPECT_EQ(extra["damaged"], 2 * kMostPageRows);
  EXPECT_EQ(extra["slices"][0], 100);
}

MappedFrame MakeMappedFrame(std::uint32_t rows) {
  MappedFrame frame{"Largest frame", 7, RgbPicture(2, 1), {}};
  frame.grid.columns.assign(4, {0, 1});
  frame.grid.rows = rows;
  frame.grid.quantisers.resize(frame.grid.Count());
  frame.grid.bytes.resize(frame.grid.Count());
  return frame;
}

TEST(Page, HasPicturesAndSlicesOfFrames) {
  const std::string page = InspectionPage(MakeStream(1), {MakeMappedFrame(2)});
  const JsonValue map = BlockOf(page, "page")["maps"][0];
  EXPECT_EQ(map["grid"]["quantisers"].size(), 8u);
  const std::string source = map["picture"]["source"];
  EXPECT_TRUE(source.starts_with("data:image/png;base64,iVBORw0KGgo")) << source;
  EXPECT_EQ(map["picture"]["width"], 2);
}

TEST(Page, LeavesOutTheSlicesOfHugeFrames) {
  const auto rows = static_cast<std::uint32_t>(kMostPageSlices / 4 + 1);
  const std::string page = InspectionPage(MakeStream(1), {MakeMappedFrame(rows)});
  const JsonValue map = BlockOf(page, "page")["maps"][0];
  EXPECT_TRUE(map["grid"].is_null());
  EXPECT_EQ(map["slices"], 4 * rows);
}

}  // namespace
}  // namespace vixprores

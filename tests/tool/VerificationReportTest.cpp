// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "report/Report.h"
#include "report/VerificationReport.h"

namespace vixprores {
namespace {

DamagedFrame MakeDamage() {
  DamagedFrame frame;
  frame.place = {17, 1, Timecode::Parse("10:00:00:17", {25, 1}), 12345};
  frame.check.faults = {"says that it has 3 bytes, where 4 were found"};
  frame.check.slices = {{0, 2, 1, 400}, {1, 0, 3, 900}};
  return frame;
}

TEST(FramePlace, IncludesKnownValuesOnly) {
  EXPECT_EQ(Describe(FramePlace{3, 1, {}, {}}), "frame 3");
  EXPECT_EQ(Describe(FramePlace{3, 4, {}, {}}), "frame 3 and 3 more");
  EXPECT_EQ(Describe(MakeDamage().place), "frame 17 (10:00:00:17) at byte 12345");
}

TEST(VerificationReport, NamesFaultsAndSlices) {
  EXPECT_EQ(DescribeDamage(MakeDamage()),
            "frame 17 (10:00:00:17) at byte 12345: says that it has 3 bytes, where 4 were found; "
            "2 damaged slices (picture 1 row 2 slice 1, picture 2 row 0 slice 3)");
}

TEST(VerificationReport, NamesTheFirstOfManySlices) {
  DamagedFrame frame = MakeDamage();
  frame.check.slices.resize(7);
  const std::string text = DescribeDamage(frame);
  EXPECT_THAT(text, testing::HasSubstr("7 damaged slices ("));
  EXPECT_THAT(text, testing::EndsWith(" and 3 more)"));
}

TEST(VerificationReport, ReportsTheOutcomeOfAFile) {
  Verification file;
  file.file = "a.mov";
  file.frames = 240;
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, intact");
  file.damagedFrames = 2;
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, 2 damaged");
  file.damagedFrames = 0;
  file.index = {"has no timecode"};
  EXPECT_FALSE(file.IsIntact());
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, 0 damaged, index damaged");
  file.index.clear();
  file.damagedFrames = 2;
  file.error = "a.mov: cannot be read";
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, 2 damaged, not verified to its end");
  file.frames = 0;
  EXPECT_EQ(DescribeOutcome(file), "a.mov: not verified");
}

TEST(VerificationReport, ReportsUnmetExpectations) {
  Verification file;
  file.file = "a.mov";
  file.frames = 240;
  EXPECT_FALSE(SummaryJson(file).contains("shortfalls"));
  file.isExpected = true;
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, intact, as expected");
  EXPECT_TRUE(SummaryJson(file)["shortfalls"].empty());
  file.shortfalls = {{"variant", "lt", "hq"}};
  EXPECT_TRUE(file.IsIntact());
  EXPECT_FALSE(file.IsAccepted());
  EXPECT_EQ(DescribeOutcome(file), "a.mov: 240 frames, intact, 1 unmet expectation");
  EXPECT_EQ(DescribeShortfall(file.shortfalls[0]), "variant is lt, expected hq");
  EXPECT_EQ(SummaryJson(file)["shortfalls"].dump(),
            R"([{"property":"variant","found":"lt","expected":"hq"}])");
}

TEST(VerificationReport, PutsEverythingIntoJson) {
  Verification file;
  file.file = "caf\xe9.mov";  // not UTF-8
  file.frames = 20;
  file.damagedFrames = 1;
  file.damage = {MakeDamage()};
  std::string text;
  WriteVerificationJson({file, Verification{}}, [&text](std::string_view part) { text += part; });
  const auto json = nlohmann::json::parse(text);
  EXPECT_EQ(json["intact"], false);
  ASSERT_EQ(json["files"].size(), 2u);
  EXPECT_EQ(json["files"][1]["intact"], true);
  const auto& frame = json["files"][0]["damage"][0];
  EXPECT_EQ(frame["frame"], 17);
  EXPECT_EQ(frame["timecode"], "10:00:00:17");
  EXPECT_EQ(frame["offset"], 12345);
  EXPECT_EQ(frame["faults"].size(), 1u);
  EXPECT_EQ(frame["slices"][1],
            (nlohmann::json{{"picture", 2}, {"row", 0}, {"slice", 3}, {"offsetInFrame", 900}}));
}

TEST(FrameDamage, IsReportedWithItsTreatment) {
  FrameDamage damage{MakeDamage().place, "has 2 damaged slices", FrameDamage::Treatment::Concealed};
  EXPECT_EQ(Describe(damage),
            "frame 17 (10:00:00:17) at byte 12345: has 2 damaged slices; concealed");
  RunReport report;
  report.output = "out.mov";
  report.frames = 20;
  report.damage = {damage, damage};
  EXPECT_THAT(SummaryLine(report), testing::HasSubstr("20 frames, 2 damaged in the input"));
  const auto json = nlohmann::json::parse(SummaryJson(report));
  ASSERT_EQ(json["damage"].size(), 2u);
  EXPECT_EQ(json["damage"][0]["treatment"], "concealed");
  damage.treatment = FrameDamage::Treatment::Opaque;
  EXPECT_THAT(Describe(damage), testing::EndsWith("; made opaque there"));
  damage.treatment = FrameDamage::Treatment::Kept;
  EXPECT_THAT(Describe(damage), testing::EndsWith("; kept as decoded"));
  EXPECT_EQ(json["damage"][0]["what"], "has 2 damaged slices");
}

}  // namespace
}  // namespace vixprores

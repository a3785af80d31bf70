// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "report/Report.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::Not;

// Returns an encode of 100 frames at 25 frames per second that took 2 seconds.
RunReport MakeReport() {
  RunReport report;
  report.command = "encode";
  report.status = RunReport::Status::Done;
  report.input = "in.mov";
  report.output = "out.mov";
  report.source.code = vix::kFourCC_V210;
  report.source.rate = {25, 1};
  report.result = report.source;
  report.result.code = vix::MakeFourCC("apcn");
  report.result.width = 1920;
  report.result.height = 1080;
  report.result.fieldOrder = FieldOrder::TopFirst;
  report.frames = 100;
  report.sourceBytes = 552'960'000;
  report.resultBytes = 60'000'000;
  report.outputBytes = 60'500'000;
  report.seconds = 2;
  return report;
}

TEST(ErrorJson, EscapesAllControlCharacters) {
  EXPECT_EQ(ErrorJson("\x1B[2J \x7F \xC2\x9B \xC3\xA9 \xFF \\x7F"),
            R"({"error":"\u001b[2J \u007F \u009B )"
            "\xC3\xA9 \xEF\xBF\xBD"
            R"( \\x7F"})");
}

TEST(RunReport, ComputesSpeedAndBitRate) {
  const RunReport report = MakeReport();
  EXPECT_DOUBLE_EQ(report.FramesPerSecond(), 50);
  EXPECT_DOUBLE_EQ(report.RealTimeFactor(), 2);
  EXPECT_DOUBLE_EQ(report.MegabitsPerSecond(), 120);
}

TEST(RunReport, UsesTheBitRateOfTheProResSide) {
  RunReport report = MakeReport();
  std::swap(report.source.code, report.result.code);
  std::swap(report.sourceBytes, report.resultBytes);
  EXPECT_DOUBLE_EQ(report.MegabitsPerSecond(), 120);
}

TEST(RunReport, HasNoRatesBeforeTheFirstFrame) {
  const RunReport report;
  EXPECT_EQ(report.FramesPerSecond(), 0);
  EXPECT_EQ(report.RealTimeFactor(), 0);
  EXPECT_EQ(report.MegabitsPerSecond(), 0);
}

TEST(SummaryLine, DescribesPlanesByTheirDepth) {
  RunReport report = MakeReport();
  report.isPlanar = true;
  for (const auto& [code, text] :
       {std::pair{vix::kFourCC_V210, "1920x1080 planar 4:2:2 in 10 bits,"},
        {vix::kFourCC_UYVY, "1920x1080 planar 4:2:2 in 8 bits,"}}) {
    report.result.code = code;
    EXPECT_THAT(SummaryLine(report), HasSubstr(text));
  }
}

TEST(SummaryLine, IncludesColourSoundAndTimecode) {
  RunReport report = MakeReport();
  report.result.colour = {9, 16, 9};
  report.soundTracks = 2;
  report.timecode = "10:00:00:00";
  EXPECT_THAT(SummaryLine(report),
              HasSubstr("colour bt2020-pq, 2 sound tracks, timecode 10:00:00:00, 60.5 MB"));
}

TEST(SummaryLine, PutsEverythingOnOneLine) {
  EXPECT_EQ(SummaryLine(MakeReport()),
            "out.mov: 100 frames, 1920x1080 ProRes 422, top field first, 25 fps, colour "
            "unspecified, 60.5 MB, "
            "ProRes at 120.0 Mb/s, in 2.0 s (50.0 fps, 2.00x real time)");
}

TEST(SummaryJson, AcceptsFileNamesThatAreNotText) {
  RunReport report = MakeReport();
  report.output = "\xff\xfe\"\n.mov";
  const std::string json = SummaryJson(report);
  EXPECT_THAT(json, HasSubstr("\\\"\\n.mov"));
  EXPECT_THAT(json, Not(HasSubstr("\n")));
}

TEST(SummaryJson, ReportsTheBytesOfTheFramesAndOfTheFile) {
  const std::string json = SummaryJson(MakeReport());
  EXPECT_THAT(json, HasSubstr("\"resultBytes\":60000000"));
  EXPECT_THAT(json, HasSubstr("\"outputBytes\":60500000"));
}

TEST(SummaryJson, OmitsUnknownValues) {
  RunReport report;
  report.status = RunReport::Status::Failed;
  report.message = "in.mov: cannot be read";
  const std::string json = SummaryJson(report);
  EXPECT_THAT(json, HasSubstr("\"status\":\"failed\""));
  EXPECT_THAT(json, HasSubstr("in.mov: cannot be read"));
  EXPECT_THAT(json, Not(HasSubstr("width")));
  EXPECT_THAT(json, Not(HasSubstr("\"output")));
}

TEST(BatchTable, KeepsEveryInputOnOneLine) {
  RunReport report = MakeReport();
  report.input = "two\nlines\x1B.mov";
  EXPECT_THAT(BatchTable({report}), HasSubstr("  two\\nlines\\x1B.mov\n"));
}

TEST(ProgressText, ShowsTheTimeLeft) {
  EXPECT_EQ(ProgressText(MakeReport(), 350),
            "frame 100/350  50.0 fps  2.00x  120.0 Mb/s  0:00:05 left");
  EXPECT_EQ(ProgressText(MakeReport(), 100 + 50 * 3725),
            "frame 100/186350  50.0 fps  2.00x  120.0 Mb/s  1:02:05 left");
}

TEST(ProgressText, OmitsTheTimeLeftWithoutATotal) {
  EXPECT_EQ(ProgressText(MakeReport(), std::nullopt), "frame 100  50.0 fps  2.00x  120.0 Mb/s");
}

}  // namespace
}  // namespace vixprores

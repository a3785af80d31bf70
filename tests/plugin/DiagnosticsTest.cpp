// SPDX-License-Identifier: BSD-2-Clause
#include <iostream>
#include <locale>
#include <stdexcept>

#include "PluginTest.h"
#include "VideoEncoderProRes.h"

namespace {

using fake::TheHost;

class DiagnosticsTest : public PluginTest {
 protected:
  static void ReportFailure() { vix::Fail("UpdateConfig not supported"); }
};

TEST_F(DiagnosticsTest, CallsTheHostInAFixedOrderAndThenWrites) {
  EXPECT_EQ(CatchReport([] { vix::Fail("text", 17, "file.cpp"); }), "[text]");
  EXPECT_EQ(TheHost().TakeCalls(),
            (CallList{"GetCurrentLoggerWriter()", "GetCurrentTimeString()", "GetThreadId()",
                      "ToString(17)", "GetCurrentContextString()", "writer.Write(2)"}));
}

TEST_F(DiagnosticsTest, PassesEveryFieldOfTheRecordToTheWriter) {
  CatchReport([] { vix::Fail("text", 17, "file.cpp"); });
  ASSERT_EQ(Records().size(), 1U);
  const fake::LogRecord& record = Records().front();
  EXPECT_EQ(record.level, vix::LogLevel::Error);
  EXPECT_EQ(record.message, "[text]");
  EXPECT_EQ(record.context, "the context");
  EXPECT_EQ(record.sourceFile, "file.cpp");
  EXPECT_EQ(record.line, "17");
  EXPECT_EQ(record.reserved, "");
  EXPECT_EQ(record.threadId, "the thread");
  EXPECT_EQ(record.time, "the time");
}

TEST_F(DiagnosticsTest, NamesTheCallingStatementAsOrigin) {
  const int line = __LINE__ + 1;
  ExpectReport([] { vix::FailUnbracketed("text"); }, "text", "DiagnosticsTest.cpp",
               std::to_string(line));
}

TEST_F(DiagnosticsTest, WithoutWriterWritesALineToStandardErrorAndStillThrows) {
  TheHost().writer = nullptr;
  testing::internal::CaptureStderr();
  EXPECT_EQ(CatchReport(ReportFailure), "[UpdateConfig not supported]");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "LEVEL2 [UpdateConfig not supported]\n");
  EXPECT_EQ(TheHost().TakeCalls(), (CallList{"GetCurrentLoggerWriter()", "ToString(level, 2)"}));
}

TEST_F(DiagnosticsTest, AWriterThatThrowsDoesNotReplaceTheFailure) {
  TheHost().hooks["writer.Write"] = [] { throw std::logic_error("disk full"); };
  testing::internal::CaptureStderr();
  EXPECT_EQ(CatchReport(ReportFailure), "[UpdateConfig not supported]");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "LEVEL2 [UpdateConfig not supported]\n");
}

TEST_F(DiagnosticsTest, NoFailingHostFunctionReplacesTheFailure) {
  for (const char* const function : {"GetCurrentLoggerWriter", "GetCurrentTimeString",
                                     "GetThreadId", "GetCurrentContextString", "writer.Write"}) {
    TheHost().hooks = {{function, [] { throw 42; }}};
    testing::internal::CaptureStderr();
    EXPECT_EQ(CatchReport(ReportFailure), "[UpdateConfig not supported]") << function;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "LEVEL2 [UpdateConfig not supported]\n")
        << function;
  }
}

TEST_F(DiagnosticsTest, AFailingLevelWordHasAFallback) {
  TheHost().writer = nullptr;
  TheHost().hooks["ToString"] = [] { throw std::runtime_error("no words"); };
  testing::internal::CaptureStderr();
  EXPECT_EQ(CatchReport(ReportFailure), "[UpdateConfig not supported]");
  vix::WriteMilestone("reached");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "ERROR [UpdateConfig not supported]\nINFO [MILESTONE][reached]\n");
}

TEST_F(DiagnosticsTest, AFailingStandardErrorStreamDoesNotReplaceTheFailure) {
  struct Broken : std::streambuf {
    std::streamsize xsputn(const char*, std::streamsize) override { throw 42; }
  } broken;
  TheHost().writer = nullptr;
  std::streambuf* const original = std::cerr.rdbuf(&broken);
  std::cerr.exceptions(std::ios::badbit);
  EXPECT_EQ(CatchReport(ReportFailure), "[UpdateConfig not supported]");
  std::cerr.exceptions(std::ios::goodbit);
  std::cerr.rdbuf(original);
  std::cerr.clear();
}

TEST_F(DiagnosticsTest, TheWriterIsReleasedBeforeTheFailureIsThrown) {
  TheHost().hooks["writer.Write"] = [] { TheHost().writer = nullptr; };
  TheHost().noteReleases = true;
  CatchReport(ReportFailure);
  EXPECT_EQ(TheHost().calls.back(), "~writer");
}

TEST_F(DiagnosticsTest, NullPointerCheckNamesThePointer) {
  const std::shared_ptr<int> none;
  ExpectReport([&] { vix::CheckNotNull(none, "manifest"); }, "[manifest] [ Pointer is null ]",
               "DiagnosticsTest.cpp");
  ExpectReport([&] { vix::CheckNotNull(none.get(), "raw"); }, "[raw] [ Pointer is null ]",
               "DiagnosticsTest.cpp");
}

TEST_F(DiagnosticsTest, EqualityCheckWritesBothOperands) {
  ExpectReport([] { vix::CheckEqual("Only one input video track allowed", 1, 2); },
               "[Only one input video track allowed] [ value1 (1) is not == value2 (2) ]",
               "DiagnosticsTest.cpp");
  ExpectReport([] { vix::CheckEqual("text", 1, 0); }, "[text] [ value1 (1) is not == value2 (0) ]",
               "DiagnosticsTest.cpp");
}

TEST_F(DiagnosticsTest, PassedChecksCallNothing) {
  vix::CheckEqual("text", 3, 3);
  vix::CheckNotNull(std::make_shared<int>(), "label");
  EXPECT_TRUE(TheHost().calls.empty());
}

TEST_F(DiagnosticsTest, NumbersHaveNoSeparatorsInAnyLocale) {
  struct Grouping : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };
  const std::locale previous =
      std::locale::global(std::locale(std::locale::classic(), new Grouping));
  ExpectReport([] { vix::CheckEqual<std::uint64_t>("text", 1, 1234567); },
               "[text] [ value1 (1) is not == value2 (1234567) ]", "DiagnosticsTest.cpp");
  ExpectReport([] { vix::CheckEqual<std::int32_t>("text", 0, -1234567, 123456); },
               "[text] [ value1 (0) is not == value2 (-1234567) ]", "DiagnosticsTest.cpp",
               "123456");
  std::locale::global(previous);
}

TEST_F(DiagnosticsTest, ReportsAreRuntimeErrorsWithTheLoggedText) {
  try {
    ReportFailure();
    FAIL();
  } catch (const std::runtime_error& error) {
    ASSERT_EQ(Records().size(), 1U);
    EXPECT_EQ(error.what(), Records().front().message);
    EXPECT_NE(dynamic_cast<const vix::VIXRuntimeError*>(&error), nullptr);
  }
}

TEST_F(DiagnosticsTest, MilestonesAreRecordsAtLevelFourAndThrowNothing) {
  vix::WriteMilestone("reached", 240, "file.h");
  ASSERT_EQ(Records().size(), 1U);
  EXPECT_EQ(Records().front().level, vix::LogLevel::Info);
  EXPECT_EQ(Records().front().message, "[MILESTONE][reached]");
  EXPECT_EQ(Records().front().line, "240");
}

TEST_F(DiagnosticsTest, ElementsReportInTheSameWay) {
  const auto encoder = vix::CreateVideoEncoderProRes(nullptr);
  TheHost().writer = nullptr;
  testing::internal::CaptureStderr();
  EXPECT_EQ(CatchReport([&] { encoder->DefineInput(nullptr, ""); }),
            "[Need config prior to define input for encoder] [ Pointer is null ]");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "LEVEL2 [Need config prior to define input for encoder] [ Pointer is null ]\n");
}

}  // namespace

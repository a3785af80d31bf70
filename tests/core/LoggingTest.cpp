// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "ErrorText.h"
#include "vix/Diagnostics.h"
#include "vix/Logging.h"
#include "vix/Registry.h"

namespace vix {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

class Logger : public ::testing::Test {
 protected:
  ~Logger() override {
    SetCurrentLoggerWriter(GetDefaultLoggerWriter());
    SetLogThreshold(LogLevel::Warning);
  }

  /// Writes one record of each level and returns what appears on the standard error stream.
  static std::string WriteEveryLevel() {
    testing::internal::CaptureStderr();
    for (const LogLevel level :
         {LogLevel::Fatal, LogLevel::Error, LogLevel::Warning, LogLevel::Info, LogLevel::Debug}) {
      WriteLogRecord(level, "[message]", 1, "File.cpp");
    }
    return testing::internal::GetCapturedStderr();
  }
};

TEST_F(Logger, PrintsWarningsAndErrorsAtFirst) {
  EXPECT_EQ(GetCurrentLoggerWriter(), GetDefaultLoggerWriter());
  EXPECT_EQ(GetLogThreshold(), LogLevel::Warning);
  EXPECT_EQ(WriteEveryLevel(), "FATAL [message]\nERROR [message]\nWARNING [message]\n");
}

TEST_F(Logger, PrintsDownToTheThreshold) {
  SetLogThreshold(LogLevel::Fatal);
  EXPECT_EQ(WriteEveryLevel(), "FATAL [message]\n");
  SetLogThreshold(LogLevel::Info);
  EXPECT_EQ(GetLogThreshold(), LogLevel::Info);
  EXPECT_EQ(WriteEveryLevel(),
            "FATAL [message]\nERROR [message]\nWARNING [message]\nINFO [message]\n");
}

TEST_F(Logger, RejectsAnUnknownThreshold) {
  for (const int level : {0, 6}) {
    EXPECT_THAT(ErrorTextOf([&] { SetLogThreshold(static_cast<LogLevel>(level)); }),
                HasSubstr("LogLevel " + std::to_string(level)));
  }
  EXPECT_EQ(GetLogThreshold(), LogLevel::Warning);
}

TEST_F(Logger, LeavesEveryRecordToOtherWriters) {
  std::vector<LogLevel> levels;
  SetCurrentLoggerWriter(
      CreateLineLoggerWriter([&](LogLevel level, const std::string&) { levels.push_back(level); }));
  EXPECT_EQ(WriteEveryLevel(), "");
  EXPECT_EQ(levels.size(), 5u);
}

TEST_F(Logger, LeavesEveryRecordToElementsWithoutAWriter) {
  SetCurrentLoggerWriter(nullptr);
  SetLogThreshold(LogLevel::Fatal);
  EXPECT_THAT(WriteEveryLevel(), HasSubstr("DEBUG [message]\n"));
}

TEST_F(Logger, ReplacesAndRemovesTheWriter) {
  const auto writer = CreateLineLoggerWriter([](LogLevel, const std::string&) {});
  SetCurrentLoggerWriter(writer);
  EXPECT_EQ(GetCurrentLoggerWriter(), writer);
  SetCurrentLoggerWriter(nullptr);
  EXPECT_EQ(GetCurrentLoggerWriter(), nullptr);
}

/// A writer whose destructor reads the current writer.
class ReadingWriter : public ILoggerWriter {
 public:
  explicit ReadingWriter(bool* gone) : gone_(gone) {}
  ~ReadingWriter() override { *gone_ = GetCurrentLoggerWriter() == nullptr; }
  ReadingWriter(const ReadingWriter&) = delete;
  ReadingWriter& operator=(const ReadingWriter&) = delete;
  void Write(LogLevel, const char*, const char*, const char*, const char*, const char*, const char*,
             const char*) override {}

 private:
  bool* gone_;
};

TEST_F(Logger, DestroysTheOldWriterOutsideItsLock) {
  bool gone = false;
  SetCurrentLoggerWriter(std::make_shared<ReadingWriter>(&gone));
  SetCurrentLoggerWriter(nullptr);
  EXPECT_TRUE(gone);
}

TEST(LineLogger, FormatsARecordAsOneLine) {
  std::vector<std::string> lines;
  LogLevel level{};
  const auto writer = CreateLineLoggerWriter([&](LogLevel itsLevel, const std::string& line) {
    level = itsLevel;
    lines.push_back(line);
  });
  writer->Write(LogLevel::Error, "it failed", "clip 7", "some/where/File.h", "79", "", "4711",
                "noon");
  EXPECT_EQ(level, LogLevel::Error);
  writer->Write(LogLevel::Info, "two\nlines\r\n", "", "File.cpp", "1", "", "1", "noon");
  EXPECT_THAT(lines, ElementsAre("noon ERROR [4711] clip 7: it failed (File.h:79)",
                                 "noon INFO [1] two lines   (File.cpp:1)"));
}

TEST(LineLogger, AcceptsRecordsFromItsSink) {
  std::vector<std::string> lines;
  std::shared_ptr<ILoggerWriter> writer;
  writer = CreateLineLoggerWriter([&](LogLevel, const std::string& line) {
    lines.push_back(line);
    if (lines.size() == 1) {
      writer->Write(LogLevel::Warning, "disk is slow", "", "Sink.cpp", "2", "", "1", "noon");
    }
  });
  writer->Write(LogLevel::Info, "hello", "", "File.cpp", "1", "", "1", "noon");
  EXPECT_THAT(lines, ElementsAre("noon INFO [1] hello (File.cpp:1)",
                                 "noon WARNING [1] disk is slow (Sink.cpp:2)"));
}

TEST(LineLogger, PassesExceptionsOfTheSinkAndStaysUsable) {
  int calls = 0;
  const auto writer = CreateLineLoggerWriter([&](LogLevel, const std::string&) {
    if (++calls == 1) throw std::runtime_error("disk is full");
  });
  const auto write = [&] { writer->Write(LogLevel::Info, "", "", "", "", "", "", ""); };
  EXPECT_THROW(write(), std::runtime_error);
  std::thread(write).join();
  EXPECT_EQ(calls, 2);
}

TEST(LineLogger, DropsRecordsBelowItsThreshold) {
  std::vector<std::string> lines;
  const auto writer = CreateLineLoggerWriter(
      LogLevel::Error, [&](LogLevel, const std::string& line) { lines.push_back(line); });
  writer->Write(LogLevel::Warning, "slow", "", "File.cpp", "1", "", "1", "noon");
  writer->Write(LogLevel::Error, "failed", "", "File.cpp", "2", "", "1", "noon");
  EXPECT_THAT(lines, ElementsAre("noon ERROR [1] failed (File.cpp:2)"));
  EXPECT_THAT(ErrorTextOf([] { CreateLineLoggerWriter(LogLevel{}, {}); }), HasSubstr("LogLevel 0"));
}

TEST(LineLogger, RejectsAnEmptySink) {
  EXPECT_THAT(ErrorTextOf([] { CreateLineLoggerWriter({}); }), HasSubstr("sink"));
}

/// Sets the time zone for one test.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  ~TimeZone() {
    unsetenv("TZ");
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
};

TEST(TimeString, IsLocalTimeWithUtcOffset) {
  const struct {
    const char* zone;
    const char* offset;
  } kZones[] = {{"UTC0", "\\+00:00"}, {"XXX-05:30", "\\+05:30"}, {"YYY+03:30", "-03:30"}};
  for (const auto& [zone, offset] : kZones) {
    const TimeZone timeZone(zone);
    // gmock's regular expressions have no repetition counts.
    const std::string two = "[0-9][0-9]";
    EXPECT_THAT(GetCurrentTimeString(),
                MatchesRegex(two + two + "-" + two + "-" + two + "T" + two + ":" + two + ":" + two +
                             "\\.[0-9]" + two + offset));
  }
}

TEST(ThreadId, IsTheOperatingSystemsNumber) {
  EXPECT_EQ(GetThreadId(), std::to_string(gettid()));
  std::string other;
  std::thread([&] { other = GetThreadId(); }).join();
  EXPECT_NE(other, GetThreadId());
}

TEST(ContextScope, NamesTheInnermostWork) {
  EXPECT_EQ(GetCurrentContextString(), "");
  {
    const ContextScope outer("outer");
    {
      const ContextScope inner("inner");
      EXPECT_EQ(GetCurrentContextString(), "inner");
    }
    EXPECT_EQ(GetCurrentContextString(), "outer");
  }
  EXPECT_EQ(GetCurrentContextString(), "");
}

TEST(ContextScope, BelongsToItsThread) {
  const ContextScope scope("mine");
  std::string other = "unset";
  std::thread([&] { other = GetCurrentContextString(); }).join();
  EXPECT_EQ(other, "");
}

TEST(ContextScope, MayEndBeforeAnInnerOne) {
  auto outer = std::make_unique<ContextScope>("outer");
  auto inner = std::make_unique<ContextScope>("inner");
  outer.reset();
  EXPECT_EQ(GetCurrentContextString(), "inner");
  inner.reset();
  EXPECT_EQ(GetCurrentContextString(), "");
}

TEST(ToString, WritesDecimalNumbers) {
  EXPECT_EQ(ToString(0), "0");
  EXPECT_EQ(ToString(-1234567), "-1234567");
}

TEST(ToString, NamesLevels) {
  EXPECT_EQ(ToString(LogLevel::Fatal), "FATAL");
  EXPECT_EQ(ToString(LogLevel::Error), "ERROR");
  EXPECT_EQ(ToString(LogLevel::Warning), "WARNING");
  EXPECT_EQ(ToString(LogLevel::Info), "INFO");
  EXPECT_EQ(ToString(LogLevel::Debug), "DEBUG");
  EXPECT_EQ(ToString(static_cast<LogLevel>(9)), "LogLevel 9");
}

}  // namespace
}  // namespace vix

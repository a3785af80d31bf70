// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "base/Errors.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(NameOutputs, FillsInThePattern) {
  const auto items = NameOutputs({"/a/one.avi", "b.c.mov"}, "out", "{number}_{name}.mov");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].input, "/a/one.avi");
  EXPECT_EQ(items[0].output, "out/1_one.mov");
  EXPECT_EQ(items[1].output, "out/2_b.c.mov");
  EXPECT_EQ(NameOutputs({"x.mov"}, "out/", "plain.mov")[0].output, "out/plain.mov");
}

TEST(NameOutputs, RejectsOneNameForTwo) {
  EXPECT_THAT(
      [] {
        NameOutputs({"a/x.mov", "b/x.avi"}, "out", "{name}.mov");
      },
      ThrowsMessage<UsageError>(HasSubstr("a/x.mov and b/x.avi would both be written to")));
}

TEST(NameOutputs, RejectsNamesThatLeaveTheFolder) {
  for (const char* pattern : {"../{name}.mov", "/{name}", "sub/{name}", ".", "..", ""}) {
    EXPECT_THAT([pattern] { NameOutputs({"a.mov"}, "out", pattern); },
                ThrowsMessage<UsageError>(HasSubstr("not a file name in the folder")))
        << pattern;
  }
}

TEST(NameOutputs, RejectsUnknownWords) {
  for (const char* pattern : {"{title}.mov", "{name.mov", "{}.mov", "{"}) {
    EXPECT_THROW(NameOutputs({"a.mov"}, "out", pattern), UsageError) << pattern;
  }
}

TEST(RunReporting, TurnsEveryExceptionIntoTheOutcomeOfItsInput) {
  const auto messageOf = [](const RunItem& work) {
    const RunReport report = RunReporting("encode", {"in.mov", "out.mov"}, 1, work);
    EXPECT_EQ(report.status, RunReport::Status::Failed);
    return report.message;
  };
  EXPECT_EQ(messageOf([](auto&, auto&) { throw Failure("in.mov: no"); }), "in.mov: no");
  EXPECT_EQ(messageOf([](auto&, auto&) { throw UsageError("in.mov: wrong"); }), "in.mov: wrong");
  EXPECT_EQ(messageOf([](auto&, auto&) { throw std::bad_alloc(); }), "in.mov: not enough memory");
  EXPECT_EQ(messageOf([](auto&, auto&) { throw std::out_of_range("at"); }), "in.mov: at");
  EXPECT_EQ(messageOf([](auto&, auto&) { throw 1; }), "in.mov: unknown error");
}

TEST(RunReporting, ReportsAnInterrupt) {
  const RunReport report =
      RunReporting("encode", {"in.mov", "out.mov"}, 1, [](auto&, auto&) { throw Interrupted(); });
  EXPECT_EQ(report.status, RunReport::Status::Interrupted);
}

TEST(RunReporting, LeavesWrongUseOfASingleRunToTheCaller) {
  const auto run = [] {
    RunReporting("encode", {"in.mov", "out.mov"}, 0, [](auto&, auto&) { throw UsageError("no"); });
  };
  EXPECT_THROW(run(), UsageError);
}

}  // namespace
}  // namespace vixprores

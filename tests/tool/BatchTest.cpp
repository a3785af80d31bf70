// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/Errors.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(NameOutputs, FillsThePatternIn) {
  const auto items = NameOutputs({"/a/one.avi", "b.c.mov"}, "out", "{number}_{name}.mov");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].input, "/a/one.avi");
  EXPECT_EQ(items[0].output, "out/1_one.mov");
  EXPECT_EQ(items[1].output, "out/2_b.c.mov");
  EXPECT_EQ(NameOutputs({"x.mov"}, "out/", "plain.mov")[0].output, "out/plain.mov");
}

TEST(NameOutputs, RefusesOneNameForTwo) {
  EXPECT_THAT(
      [] {
        NameOutputs({"a/x.mov", "b/x.avi"}, "out", "{name}.mov");
      },
      ThrowsMessage<UsageError>(HasSubstr("a/x.mov and b/x.avi would both become")));
}

TEST(NameOutputs, RefusesWhatIsNoNameInTheFolder) {
  for (const char* pattern : {"../{name}.mov", "/{name}", "sub/{name}", ".", "..", ""}) {
    EXPECT_THAT([pattern] { NameOutputs({"a.mov"}, "out", pattern); },
                ThrowsMessage<UsageError>(HasSubstr("no name of a file in the folder")))
        << pattern;
  }
}

TEST(NameOutputs, RefusesWordsThatItDoesNotKnow) {
  for (const char* pattern : {"{title}.mov", "{name.mov", "{}.mov", "{"}) {
    EXPECT_THROW(NameOutputs({"a.mov"}, "out", pattern), UsageError) << pattern;
  }
}

}  // namespace
}  // namespace vixprores

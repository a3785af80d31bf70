// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/xattr.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <new>
#include <stdexcept>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "run/Batch.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(NameOutputs, FillsInThePattern) {
  const auto items =
      NameOutputs({{"/a/one.avi"}, {"b.c.mov", "sub"}}, "out", "{number}_{name}.mov");
  ASSERT_EQ(items.size(), 2u);
  EXPECT_EQ(items[0].input, "/a/one.avi");
  EXPECT_EQ(items[0].output, "out/1_one.mov");
  EXPECT_EQ(items[1].output, "out/sub/2_b.c.mov");
  EXPECT_EQ(NameOutputs({{"x.mov"}}, "out/", "plain.mov")[0].output, "out/plain.mov");
}

TEST(NameOutputs, LeavesThePlaceOfANumberOut) {
  const std::pair<const char*, const char*> cases[] = {
      {"p/a.%04d.exr", "a"},         {"shot_####.dpx", "shot"},     {"shot.v2.*.png", "shot.v2"},
      {"a.%04d.left.exr", "a.left"}, {"plates/%04d.exr", "plates"}, {"plates/_#.exr", "plates"},
      {"100%%.%d.tif", "100%"},      {"a.%04d.mov", "a.%04d"},      {"a.1001.exr", "a.1001"}};
  for (const auto& [input, name] : cases) {
    EXPECT_EQ(NameOutputs({{input}}, "out", "{name}.mov")[0].output,
              std::string("out/") + name + ".mov");
  }
}

TEST(NameOutputs, NamesOutputsOfFoldersAfterThem) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder / "shot.v2");
  std::ofstream(folder / "a.%04d.exr") << "image";  // not a pattern
  for (const char* input : {"shot.v2", "shot.v2/", "shot.v2/."}) {
    EXPECT_EQ(NameOutputs({{folder / input}}, "out", "{name}.mov")[0].output, "out/shot.v2.mov");
  }
  EXPECT_EQ(NameOutputs({{folder / "a.%04d.exr"}}, "out", "{name}.mov")[0].output,
            "out/a.%04d.mov");
}

TEST(NameOutputs, RejectsOneNameForASequenceAndAnother) {
  EXPECT_THAT(
      [] {
        NameOutputs({{"a.%04d.exr"}, {"b/a_###.dpx"}}, "out", "{name}.mov");
      },
      ThrowsMessage<UsageError>(HasSubstr("a.%04d.exr and b/a_###.dpx would both be")));
}

TEST(NameOutputs, FillsInFurtherWords) {
  EXPECT_EQ(NameOutputs({{"x.mov"}}, "out", "{name}-{variant}.mov", {{"variant", "hq"}})[0].output,
            "out/x-hq.mov");
}

TEST(NameOutputs, RejectsOneNameForTwo) {
  EXPECT_THAT(
      [] {
        NameOutputs({{"a/x.mov"}, {"b/x.avi"}}, "out", "{name}.mov");
      },
      ThrowsMessage<UsageError>(HasSubstr("a/x.mov and b/x.avi would both be written to")));
}

TEST(NameOutputs, RejectsNamesThatLeaveTheFolder) {
  for (const char* pattern : {"../{name}.mov", "/{name}", "sub/{name}", ".", "..", ""}) {
    EXPECT_THAT([pattern] { NameOutputs({{"a.mov"}}, "out", pattern); },
                ThrowsMessage<UsageError>(HasSubstr("not a file name in the folder")))
        << pattern;
  }
}

TEST(NameOutputs, RejectsUnknownWords) {
  for (const char* pattern : {"{title}.mov", "{name.mov", "{}.mov", "{"}) {
    EXPECT_THROW(NameOutputs({{"a.mov"}}, "out", pattern), UsageError) << pattern;
  }
}

std::vector<std::string> Expand(const std::string& folder, bool recursive) {
  std::vector<std::string> found;
  for (const auto& [path, subfolder] : ExpandFolders({folder}, recursive, folder + "/out")) {
    found.push_back(subfolder + ":" + path.substr(folder.size()));
  }
  return found;
}

TEST(ExpandFolders, ListsTheVideosOfAFolder) {
  const ScratchFolder folder;
  const std::string root = folder / "in";
  for (const char* name : {"in/b.mov", "in/A.MXF", "in/notes.txt", "in/.hidden.mov", "in/x/c.mp4",
                           "in/x/y/d.mkv", "in/out/made.mov"}) {
    const std::filesystem::path path = folder / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << "video";
  }
  EXPECT_THAT(Expand(root, false), testing::ElementsAre(":/A.MXF", ":/b.mov"));
  EXPECT_THAT(Expand(root, true),
              testing::ElementsAre(":/A.MXF", ":/b.mov", "x:/x/c.mp4", "x/y:/x/y/d.mkv"));
}

TEST(ExpandFolders, KeepsOtherNames) {
  const ScratchFolder folder;
  const auto inputs = ExpandFolders({"a.mov", folder / "."}, true, "out");
  ASSERT_EQ(inputs.size(), 2u);
  EXPECT_EQ(inputs[0].path, "a.mov");
  EXPECT_EQ(inputs[1].path, folder / ".");  // may hold images
}

TEST(HasInputChanged, ComparesTimesWithoutANote) {
  const ScratchFolder folder;
  const BatchItem item{folder / "in", folder / "out"};
  EXPECT_FALSE(HasInputChanged(item));
  std::ofstream(item.input) << "input";
  EXPECT_FALSE(HasInputChanged(item));  // there is no output yet
  std::ofstream(item.output) << "output";
  const auto now = std::filesystem::last_write_time(item.output);
  std::filesystem::last_write_time(item.input, now - std::chrono::hours(1));
  EXPECT_FALSE(HasInputChanged(item));
  std::filesystem::last_write_time(item.input, now + std::chrono::hours(1));
  EXPECT_TRUE(HasInputChanged(item));
}

TEST(HasInputChanged, ComparesSizeAndTimeWithTheNote) {
  const ScratchFolder folder;
  const BatchItem item{folder / "in", folder / "out"};
  std::ofstream(item.input) << "input";
  std::ofstream(item.output) << "output";
  const auto time = std::filesystem::last_write_time(item.input) - std::chrono::hours(1);
  std::filesystem::last_write_time(item.input, time);
  RecordInput(item);
  EXPECT_FALSE(HasInputChanged(item));
  std::ofstream(item.input) << "longer input";
  std::filesystem::last_write_time(item.input, time - std::chrono::hours(1));
  std::array<char, 128> note{};
  if (getxattr(item.output.c_str(), "user.vixprores.input", note.data(), note.size()) <= 0) {
    GTEST_SKIP() << "the file system has no extended attributes";
  }
  EXPECT_TRUE(HasInputChanged(item));
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

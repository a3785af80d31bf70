// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/OutputFile.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

void WriteWord(OutputFile& file, const std::string& word) {
  file.Write(std::vector<std::uint8_t>(word.begin(), word.end()));
}

class OutputFileTest : public testing::Test {
 protected:
  ScratchFolder folder_;
  std::string path_ = folder_ / "out.mov";
};

TEST_F(OutputFileTest, HasItsNameOnlyWhenItIsComplete) {
  OutputFile file(path_, false);
  WriteWord(file, "frames");
  EXPECT_FALSE(std::filesystem::exists(path_));
  file.Commit();
  EXPECT_EQ(ReadText(path_), "frames");
  EXPECT_THAT(folder_.List(), ElementsAre("out.mov"));
}

TEST_F(OutputFileTest, LeavesNothingWithoutACommit) {
  {
    OutputFile file(path_, false);
    WriteWord(file, "frames");
    EXPECT_EQ(folder_.List().size(), 1u);
  }
  EXPECT_THAT(folder_.List(), IsEmpty());
}

TEST_F(OutputFileTest, RejectsAnExistingFile) {
  WriteText(path_, "old");
  EXPECT_THAT([this] { OutputFile(path_, false); },
              ThrowsMessage<Failure>(HasSubstr("--overwrite")));
  EXPECT_EQ(ReadText(path_), "old");
}

TEST_F(OutputFileTest, KeepsTheOldFileUntilTheCommit) {
  WriteText(path_, "old");
  {
    OutputFile file(path_, true);
    WriteWord(file, "new");
    EXPECT_EQ(ReadText(path_), "old");
  }
  EXPECT_EQ(ReadText(path_), "old");
  OutputFile file(path_, true);
  WriteWord(file, "new");
  file.Commit();
  EXPECT_EQ(ReadText(path_), "new");
}

TEST_F(OutputFileTest, DoesNotReplaceAFileCreatedMeanwhile) {
  OutputFile file(path_, false);
  WriteText(path_, "of somebody else");
  EXPECT_THROW(file.Commit(), Failure);
  EXPECT_EQ(ReadText(path_), "of somebody else");
}

TEST_F(OutputFileTest, KeepsAPartialFileUnderAFreeName) {
  for (const char* name : {"out.partial.mov", "out.partial-2.mov", "out.partial-3.mov"}) {
    OutputFile file(path_, false);
    WriteWord(file, name);
    EXPECT_EQ(file.CommitPartial(), folder_ / name);
    EXPECT_EQ(ReadText(folder_ / name), name);
  }
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(OutputFileTest, ReadsAndReplacesWhatItWrote) {
  OutputFile file(path_, false);
  WriteWord(file, "0123456789");
  file.Seek(4);
  WriteWord(file, "xy");
  EXPECT_EQ(file.GetSize(), 10);
  EXPECT_EQ(file.GetPosition(), 6);
  std::vector<std::uint8_t> bytes(8);
  EXPECT_EQ(file.ReadAt(3, bytes), 7u);
  EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 7), "3xy6789");
  file.Commit();
  EXPECT_EQ(ReadText(path_), "0123xy6789");
}

TEST_F(OutputFileTest, ReplacesTheTargetOfALink) {
  const std::string target = folder_ / "target.mov";
  WriteText(target, "old");
  std::filesystem::create_symlink(target, path_);
  OutputFile file(path_, true);
  WriteWord(file, "new");
  file.Commit();
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
  EXPECT_EQ(ReadText(target), "new");
}

TEST_F(OutputFileTest, TakesAnotherNameThanAStaleWorkFile) {
  const std::string stale = path_ + ".part-" + std::to_string(getpid());
  WriteText(stale, "of a killed process with the same number");
  OutputFile file(path_, false);
  WriteWord(file, "frames");
  file.Commit();
  EXPECT_EQ(ReadText(path_), "frames");
  EXPECT_EQ(ReadText(stale), "of a killed process with the same number");
}

TEST_F(OutputFileTest, KeepsThePermissionsOfTheFileThatItReplaces) {
  WriteText(path_, "old");
  for (const mode_t mode : {0600U, 0640U, 0444U, 0666U}) {
    ASSERT_EQ(chmod(path_.c_str(), mode), 0);
    OutputFile file(path_, true);
    file.Commit();
    struct stat status {};
    ASSERT_EQ(stat(path_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, mode);
  }
}

TEST_F(OutputFileTest, KeepsTheOwnerOfTheFileThatItReplaces) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  WriteText(path_, "old");
  ASSERT_EQ(chown(path_.c_str(), 1234, 5678), 0);
  OutputFile file(path_, true);
  file.Commit();
  struct stat status {};
  ASSERT_EQ(stat(path_.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 1234U);
  EXPECT_EQ(status.st_gid, 5678U);
}

TEST_F(OutputFileTest, NamesNoWorkFileThatIsGoneWithItsFolder) {
  const std::string folder = folder_ / "gone";
  std::filesystem::create_directory(folder);
  OutputFile file(folder + "/out.mov", false);
  WriteWord(file, "frames");
  std::filesystem::remove_all(folder);
  EXPECT_EQ(file.KeepWorkFile(), "");
}

TEST_F(OutputFileTest, WritesToDevicesDirectly) {
  OutputFile null("/dev/null", false);
  WriteWord(null, "frames");
  null.Commit();
  OutputFile full("/dev/full", false);
  EXPECT_THAT([&] { WriteWord(full, "frames"); },
              ThrowsMessage<Failure>(HasSubstr("/dev/full: cannot be written: No space left")));
}

TEST_F(OutputFileTest, NamesAMissingFolder) {
  EXPECT_THAT([this] { OutputFile(folder_ / "nowhere/out.mov", false); },
              ThrowsMessage<Failure>(HasSubstr("nowhere/out.mov: cannot be written: No such")));
  EXPECT_THAT([this] { OutputFile(folder_ / ".", true); },
              ThrowsMessage<Failure>(HasSubstr("Is a directory")));
}

TEST(PartialName, InsertsPartialBeforeTheExtension) {
  EXPECT_EQ(PartialName("dir.d/out.mov"), "dir.d/out.partial.mov");
  EXPECT_EQ(PartialName("a.b.mov"), "a.b.partial.mov");
  EXPECT_EQ(PartialName("frames"), "frames.partial");
  EXPECT_EQ(PartialName("out.mov", 3), "out.partial-3.mov");
}

}  // namespace
}  // namespace vixprores

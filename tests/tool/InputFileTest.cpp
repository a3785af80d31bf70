// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <thread>

#include "ScratchFolder.h"
#include "io/InputFile.h"
#include "run/Errors.h"

namespace vixprores {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

std::string Read(InputFile& file, std::size_t bytes) {
  std::vector<std::uint8_t> data(bytes);
  data.resize(file.Read(data));
  return {data.begin(), data.end()};
}

std::string Peek(InputFile& file, std::size_t bytes) {
  const auto data = file.Peek(bytes);
  return {data.begin(), data.end()};
}

class InputFileTest : public testing::Test {
 protected:
  ScratchFolder folder_;
  std::string path_ = folder_ / "in.raw";
};

TEST_F(InputFileTest, ReadsToTheEnd) {
  WriteText(path_, "0123456789");
  InputFile file(path_);
  EXPECT_EQ(file.GetSize(), 10);
  EXPECT_EQ(Read(file, 4), "0123");
  EXPECT_EQ(file.GetPosition(), 4);
  EXPECT_EQ(Read(file, 100), "456789");
  EXPECT_EQ(Read(file, 100), "");
}

TEST_F(InputFileTest, GivesPeekedBytesAgain) {
  WriteText(path_, "0123456789");
  InputFile file(path_);
  EXPECT_EQ(Peek(file, 4), "0123");
  EXPECT_EQ(Peek(file, 2), "01");
  EXPECT_EQ(file.GetPosition(), 0);
  EXPECT_EQ(Read(file, 6), "012345");
  EXPECT_EQ(Peek(file, 100), "6789");
  EXPECT_EQ(Read(file, 100), "6789");
  EXPECT_EQ(Peek(file, 1), "");
}

TEST_F(InputFileTest, SeeksAwayFromPeekedBytes) {
  WriteText(path_, "0123456789");
  InputFile file(path_);
  Peek(file, 8);
  file.Seek(5);
  EXPECT_EQ(file.GetPosition(), 5);
  EXPECT_EQ(Read(file, 2), "56");
}

TEST_F(InputFileTest, JoinsThePiecesThatAPipeGives) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  std::jthread writer([this] {
    const int pipe = open(path_.c_str(), O_WRONLY);
    for (const char* piece : {"012", "34", "56789"}) {
      EXPECT_GT(write(pipe, piece, std::char_traits<char>::length(piece)), 0);
    }
    close(pipe);
  });
  InputFile file(path_);
  EXPECT_FALSE(file.IsSeekable());
  EXPECT_EQ(Peek(file, 2), "01");
  EXPECT_EQ(Read(file, 8), "01234567");
  EXPECT_EQ(Read(file, 8), "89");
}

TEST_F(InputFileTest, KnowsItsFileUnderOtherNames) {
  WriteText(path_, "x");
  WriteText(folder_ / "other", "x");
  std::filesystem::create_symlink(path_, folder_ / "symbolic");
  std::filesystem::create_hard_link(path_, folder_ / "hard");
  const InputFile file(path_);
  EXPECT_TRUE(file.IsSameFile(path_));
  EXPECT_TRUE(file.IsSameFile(folder_ / "symbolic"));
  EXPECT_TRUE(file.IsSameFile(folder_ / "hard"));
  EXPECT_FALSE(file.IsSameFile(folder_ / "other"));
  EXPECT_FALSE(file.IsSameFile(folder_ / "missing"));
  EXPECT_FALSE(InputFile("/dev/null").IsSameFile("/dev/null"));
}

TEST_F(InputFileTest, NamesWhatCannotBeRead) {
  EXPECT_THAT([this] { InputFile(folder_ / "missing"); },
              ThrowsMessage<Failure>(HasSubstr("missing: cannot be read: No such file")));
  EXPECT_THAT([this] { InputFile(folder_ / "."); },
              ThrowsMessage<Failure>(HasSubstr("Is a directory")));
}

}  // namespace
}  // namespace vixprores

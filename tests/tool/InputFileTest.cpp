// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <thread>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/InputFile.h"

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

TEST_F(InputFileTest, ReturnsPeekedBytesAgain) {
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

// Returns the number of read system calls of this process so far.
std::int64_t CountReads() {
  std::ifstream usage("/proc/self/io");
  std::string name;
  std::int64_t value = 0;
  while (usage >> name >> value) {
    if (name == "syscr:") return value;
  }
  return -1;
}

TEST_F(InputFileTest, ReadsLinesInOnePiece) {
  const std::string line(200, 'x');
  WriteText(path_, line + "\n\nFRAME\npicture");
  InputFile file(path_);
  const std::int64_t before = CountReads();
  EXPECT_EQ(file.ReadLine(4096), line);
  EXPECT_LT(CountReads() - before, 10);
  EXPECT_EQ(file.GetPosition(), 201);
  EXPECT_EQ(file.ReadLine(4096), "");
  EXPECT_EQ(file.ReadLine(3), "FRA");
  EXPECT_EQ(file.ReadLine(4096), "ME");
  EXPECT_EQ(Read(file, 4), "pict");
  EXPECT_EQ(file.ReadLine(4096), "ure");
  EXPECT_EQ(file.ReadLine(4096), "");
}

TEST_F(InputFileTest, SeeksAwayFromPeekedBytes) {
  WriteText(path_, "0123456789");
  InputFile file(path_);
  Peek(file, 8);
  file.Seek(5);
  EXPECT_EQ(file.GetPosition(), 5);
  EXPECT_EQ(Read(file, 2), "56");
}

TEST_F(InputFileTest, JoinsThePiecesOfAPipe) {
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

TEST_F(InputFileTest, RecognisesItsFileUnderOtherNames) {
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

TEST_F(InputFileTest, NamesUnreadableInputs) {
  EXPECT_THAT([this] { InputFile(folder_ / "missing"); },
              ThrowsMessage<Failure>(HasSubstr("missing: cannot be read: No such file")));
  EXPECT_THAT([this] { InputFile(folder_ / "."); },
              ThrowsMessage<Failure>(HasSubstr("Is a directory")));
}

// Enough bytes to be mapped, after a few that break the alignment to pages.
class MappedFileTest : public InputFileTest {
 protected:
  static constexpr std::size_t kBytes = std::size_t{3} << 20;

  MappedFileTest() {
    for (std::size_t i = 0; i < kBytes; ++i) bytes_ += static_cast<char>(i * 7 % 251 + 1);
    WriteText(path_, "head" + bytes_ + "tail");
  }

  static std::string TextOf(const FileMapping& mapping, std::size_t bytes) {
    const auto* const data = reinterpret_cast<const char*>(mapping.GetData());
    return {data, data + bytes};
  }

  std::string bytes_;
};

TEST_F(MappedFileTest, ReturnsTheNextBytesInPlaceAndMovesPastThem) {
  InputFile file(path_);
  file.AllowMapping();
  EXPECT_EQ(Peek(file, 6).substr(0, 4), "head");
  EXPECT_EQ(Read(file, 4), "head");
  const auto mapping = file.ReadInPlace(kBytes);
  ASSERT_NE(mapping, nullptr);
  EXPECT_TRUE(TextOf(*mapping, kBytes) == bytes_);
  EXPECT_EQ(Read(file, 100), "tail");
  EXPECT_NO_THROW(file.CheckMappings());
}

TEST_F(MappedFileTest, ReturnsNullForShortMissingOrForbiddenParts) {
  InputFile file(path_);
  EXPECT_EQ(file.ReadInPlace(kBytes), nullptr);
  file.AllowMapping();
  EXPECT_EQ(file.ReadInPlace(1000), nullptr);
  EXPECT_EQ(file.ReadInPlace(kBytes + 9), nullptr);
  EXPECT_EQ(file.GetPosition(), 0);
}

TEST_F(MappedFileTest, ReportsAFileTruncatedWhileItsBytesAreInUse) {
  InputFile file(path_);
  file.AllowMapping();
  const auto mapping = file.ReadInPlace(kBytes);
  ASSERT_NE(mapping, nullptr);
  std::filesystem::resize_file(path_, 1 << 20);
  const std::string found = TextOf(*mapping, kBytes);
  EXPECT_EQ(found.substr(4, 1000), bytes_.substr(0, 1000));
  EXPECT_EQ(found.substr(2 << 20), std::string(1 << 20, '\0'));
  EXPECT_THAT([&] { file.CheckMappings(); },
              ThrowsMessage<Failure>(HasSubstr("in.raw: was cut short while it was read")));
}

TEST_F(MappedFileTest, ReturnsNullWhenAllMappingsAreInUse) {
  InputFile file(path_);
  file.AllowMapping();
  std::vector<std::shared_ptr<const FileMapping>> mappings;
  while (auto mapping = file.ReadInPlace(kBytes)) {
    mappings.push_back(std::move(mapping));
    ASSERT_LE(mappings.size(), 1000U);
    file.Seek(0);
  }
  EXPECT_GE(mappings.size(), 100U);
  mappings.pop_back();
  EXPECT_NE(file.ReadInPlace(kBytes), nullptr);
}

}  // namespace
}  // namespace vixprores

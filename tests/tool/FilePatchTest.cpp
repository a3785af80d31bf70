// SPDX-License-Identifier: BSD-2-Clause
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "BigEndianText.h"
#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/container/FilePatch.h"
#include "media/container/PacketTag.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Property;
using testing::Throws;

const std::string kBefore = "0123456789";

struct Change {
  int position;
  std::string before, after;
};

std::string WithChecksum(const std::string& journal) {
  const std::vector<std::uint8_t> bytes(journal.begin(), journal.end());
  return journal + BigEndian(HashPacket(bytes), 8);
}

std::string MakeJournal(const std::vector<Change>& changes) {
  std::string journal = "vixundo\1" + BigEndian(kBefore.size(), 8) + BigEndian(changes.size(), 8);
  for (const auto& [position, before, after] : changes) {
    journal += BigEndian(static_cast<unsigned>(position), 8) + BigEndian(before.size(), 8) +
               BigEndian(after.size(), 8) + before + after;
  }
  return WithChecksum(journal);
}

// The file after an interruption that left `found`.
class FilePatches : public testing::Test {
 protected:
  void Interrupt(const std::string& found) {
    WriteText(path_, found);
    WriteText(journal_, MakeJournal({{2, "23", "xy"}, {10, "", "end"}}));
  }

  void ExpectRefused(const std::string& found, const std::string& reason) const {
    EXPECT_THAT([&] { UndoPatches(path_); },
                Throws<Failure>(Property(&Failure::what, HasSubstr(reason))));
    EXPECT_EQ(ReadText(path_), found);
    EXPECT_TRUE(IsHalfPatched(path_));
  }

  ScratchFolder folder_;
  std::string path_ = folder_ / "file";
  std::string journal_ = path_ + ".undo";
};

TEST_F(FilePatches, ReplaceAndExtend) {
  WriteText(path_, kBefore);
  ApplyPatches(path_, {{2, {'x', 'y'}}, {10, {'e', 'n', 'd'}}});
  EXPECT_EQ(ReadText(path_), "01xy456789end");
  EXPECT_THAT(folder_.List(), ElementsAre("file"));
  EXPECT_FALSE(IsHalfPatched(path_));
}

TEST_F(FilePatches, AreNotAppliedToAFileInUse) {
  WriteText(path_, kBefore);
  const int descriptor = open(path_.c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(descriptor, LOCK_EX), 0);
  EXPECT_THAT(([&] {
                ApplyPatches(path_, {{2, {'x'}}});
              }),
              Throws<Failure>(Property(&Failure::what, HasSubstr("another run"))));
  close(descriptor);
  EXPECT_EQ(ReadText(path_), kBefore);
}

TEST_F(FilePatches, AreUndoneWhereverTheyWereInterrupted) {
  for (const char* found : {"0123456789", "01x3456789", "01xy456789", "01xy456789e",
                            "01xy456789\0\0\0", "01xy456789end"}) {
    Interrupt(found);
    EXPECT_TRUE(IsHalfPatched(path_));
    UndoPatches(path_);
    EXPECT_EQ(ReadText(path_), kBefore) << found;
    EXPECT_THAT(folder_.List(), ElementsAre("file"));
  }
}

TEST_F(FilePatches, AreNotUndoneInAFileThatChangedSince) {
  for (const char* found : {"01xz456789", "01xy456789enx", "01x"}) {
    Interrupt(found);
    ExpectRefused(found, "has been changed since");
  }
}

TEST_F(FilePatches, AreNotUndoneByADamagedJournal) {
  Interrupt("01x3456789");
  const std::string journal = ReadText(journal_);
  for (std::size_t byte = 0; byte < journal.size(); ++byte) {
    std::string damaged = journal;
    damaged[byte] = static_cast<char>(damaged[byte] ^ 1);
    WriteText(journal_, damaged);
    ExpectRefused("01x3456789", "is damaged or no journal");
  }
  for (const std::size_t bytes : {std::size_t{0}, std::size_t{8}, journal.size() - 1}) {
    WriteText(journal_, journal.substr(0, bytes));
    ExpectRefused("01x3456789", "is damaged or no journal");
  }
}

TEST_F(FilePatches, AreNotUndoneByAMisleadingJournal) {
  const std::string head = "vixundo\1" + BigEndian(kBefore.size(), 8);
  const std::string change = BigEndian(2, 8) + BigEndian(2, 8) + BigEndian(1, 8) + "23x";
  for (const std::string& journal :
       {head + BigEndian(2, 8) + change,  // ends inside
        head + BigEndian(1, 8) + change,  // restores more than was changed
        head + BigEndian(1, 8) + BigEndian(~0ULL, 8) + BigEndian(0, 8) + BigEndian(0, 8)}) {
    WriteText(path_, kBefore);
    WriteText(journal_, WithChecksum(journal));
    ExpectRefused(kBefore, "is damaged or no journal");
  }
  for (const std::size_t size : {9U, 14U}) {
    const std::string other = std::string("01xy456789endzz").substr(0, size);
    Interrupt(other);
    ExpectRefused(other, "has been changed since");
  }
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "base/FramePool.h"
#include "base/Limits.h"
#include "base/Memory.h"
#include "base/Text.h"
#include "format/Values.h"

namespace vixprores {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr std::uint64_t kMebibyte = 1U << 20U;

class LimitsTest : public testing::Test {
 protected:
  ~LimitsTest() override { SetLimits({}); }

  static void LimitMemory(std::uint64_t bytes) {
    Limits limits;
    limits.memory = bytes;
    SetLimits(limits);
  }
};

TEST_F(LimitsTest, PicturesHaveAtMost16384PixelsOnEachSideUnlessSetOtherwise) {
  EXPECT_TRUE(IsPictureSizeAllowed(16384, 16384));
  EXPECT_FALSE(IsPictureSizeAllowed(16385, 1));
  EXPECT_FALSE(IsPictureSizeAllowed(1, 16385));
  Limits limits;
  limits.width = 20000;
  limits.height = 100;
  SetLimits(limits);
  EXPECT_TRUE(IsPictureSizeAllowed(20000, 100));
  EXPECT_FALSE(IsPictureSizeAllowed(100, 101));
}

TEST_F(LimitsTest, ARefusedPictureNamesTheInputTheSizeTheLimitAndTheOption) {
  EXPECT_NO_THROW(CheckPictureSize("a.mov", 1920, 1080));
  EXPECT_THAT([] { CheckPictureSize("a.mov", 20000, 30000); },
              ThrowsMessage<Failure>(AllOf(HasSubstr("a.mov: "), HasSubstr("16384x16384"),
                                           HasSubstr("--limit-size 20000x30000"))));
}

TEST_F(LimitsTest, MemoryBeyondTheLimitIsRefusedWithTheReason) {
  LimitMemory(std::uint64_t{1} << 50);
  EXPECT_NO_THROW(CheckMemory("pictures", kMebibyte));
  LimitMemory(FindMemoryInUse() + 64 * kMebibyte);
  EXPECT_NO_THROW(CheckMemory("pictures", kMebibyte));
  const auto isExplained = ThrowsMessage<MemoryLimitError>(
      AllOf(HasSubstr("8 pictures need 256 MiB"), HasSubstr("--limit-memory")));
  EXPECT_THAT([] { CheckMemory("8 pictures", 256 * kMebibyte); }, isExplained);
  EXPECT_THROW(CheckMemory("pictures", std::numeric_limits<std::uint64_t>::max()),
               MemoryLimitError);
}

TEST_F(LimitsTest, FramesAreRefusedBeforeTheyAreAllocatedUnlessTheirMemoryIsThere) {
  const FramePool pool;
  constexpr std::uint32_t kBytes = 300 * kMebibyte;
  pool.MakeFrame(kBytes);  // not touched, so that it does not count as used
  LimitMemory(FindMemoryInUse() + 100 * kMebibyte);
  EXPECT_NO_THROW(pool.MakeFrame(kBytes)) << "idle memory is used again";
  EXPECT_THROW(FramePool().MakeFrame(kBytes), MemoryLimitError);
}

TEST_F(LimitsTest, AMissingLimitOfMemoryIsDescribedWithTheInput) {
  LimitMemory(1);
  try {
    CheckMemory("pictures", 1);
    FAIL();
  } catch (...) {
    EXPECT_THAT(DescribeException("a.mov"), testing::StartsWith("a.mov: pictures need 1 byte"));
  }
}

TEST_F(LimitsTest, AnOutputIsUnlimitedUnlessSetOtherwise) {
  EXPECT_NO_THROW(CheckOutputSize("out.mov", std::uint64_t{1} << 60));
  Limits limits;
  limits.output = 1000;
  SetLimits(limits);
  EXPECT_NO_THROW(CheckOutputSize("out.mov", 1000));
  EXPECT_THAT([] { CheckOutputSize("out.mov", 1001); },
              ThrowsMessage<Failure>(AllOf(HasSubstr("out.mov"), HasSubstr("--limit-output"))));
}

TEST(Memory, OfTheMachineExceedsThatInUse) {
  EXPECT_GT(FindMemoryInUse(), kMebibyte);
  EXPECT_GT(FindMachineMemory(), FindMemoryInUse());
}

class ControlGroups : public testing::Test {
 protected:
  // Makes the file of a group's limit.
  void Limit(const std::string& path, const std::string& text) {
    const std::filesystem::path file(root_ / path);
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file) << text << '\n';
  }

  ScratchFolder root_;
};

TEST_F(ControlGroups, OfVersion2LimitMemoryOnAllLevels) {
  Limit("jobs/memory.max", "3000");
  Limit("jobs/mine/memory.max", "max");
  EXPECT_EQ(FindGroupLimit("0::/jobs/mine\n", root_ / ""), 3000);
  Limit("jobs/mine/memory.max", "2000");
  EXPECT_EQ(FindGroupLimit("0::/jobs/mine\n", root_ / ""), 2000);
  Limit("memory.max", "1000");
  EXPECT_EQ(FindGroupLimit("0::/jobs/mine\n", root_ / ""), 1000);
  EXPECT_EQ(FindGroupLimit("0::/\n", root_ / ""), 1000);
}

TEST_F(ControlGroups, OfVersion1LimitMemoryWithTheirController) {
  Limit("memory/jobs/memory.limit_in_bytes", "3000");
  const std::string groups = "5:cpu,cpuacct:/\n4:memory:/jobs\n0::/\n";
  EXPECT_EQ(FindGroupLimit(groups, root_ / ""), 3000);
  EXPECT_EQ(FindGroupLimit("4:cpu:/jobs\n", root_ / ""), std::nullopt);
}

TEST_F(ControlGroups, WithoutALimitAreNone) {
  Limit("memory.max", "max");
  for (const char* groups : {"", "0::/\n", "0::/missing/group\n", "nonsense", "1:memory\n"}) {
    EXPECT_EQ(FindGroupLimit(groups, root_ / ""), std::nullopt) << groups;
  }
}

TEST(ByteCounts, AreNumbersWithUnitsOf1024) {
  EXPECT_EQ(ParseByteCount("1"), 1);
  EXPECT_EQ(ParseByteCount("512k"), 512U << 10U);
  EXPECT_EQ(ParseByteCount("8G"), std::uint64_t{8} << 30);
  EXPECT_EQ(ParseByteCount("1024T"), std::uint64_t{1} << 50);
  for (const char* text :
       {"", "0", "G", "-1G", "1.5G", "1025T", "8GB", "8 G", "99999999999999999999"}) {
    EXPECT_THAT([text] { ParseByteCount(text); },
                ThrowsMessage<UsageError>(HasSubstr("512M or 8G")))
        << text;
  }
}

TEST(ByteCounts, AreDescribedInTheLargestUnit) {
  EXPECT_EQ(DescribeBytes(0), "0 bytes");
  EXPECT_EQ(DescribeBytes(1023), "1023 bytes");
  EXPECT_EQ(DescribeBytes(1024), "1 KiB");
  EXPECT_EQ(DescribeBytes(1536 * kMebibyte), "1.5 GiB");
  EXPECT_EQ(DescribeBytes(std::numeric_limits<std::uint64_t>::max()), "16 EiB");
}

TEST(SizeLimits, AreTwoSides) {
  const PictureSize size = ParseSizeLimit("32768x2");
  EXPECT_EQ(size.width, 32768);
  EXPECT_EQ(size.height, 2);
  for (const char* text : {"", "100", "0x1", "1x0", "1000001x1", "1x1x1"}) {
    EXPECT_THAT([text] { ParseSizeLimit(text); },
                ThrowsMessage<UsageError>(HasSubstr("32768x32768")))
        << text;
  }
}

}  // namespace
}  // namespace vixprores

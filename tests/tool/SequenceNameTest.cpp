// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/sequence/SequenceName.h"

namespace vixprores {
namespace {

using testing::AllOf;
using testing::Eq;
using testing::HasSubstr;
using testing::Optional;
using testing::ThrowsMessage;

TEST(SequenceName, PlacesForNumbersAreDirectivesHashesAndStars) {
  const SequenceName padded{"plates/", "shot.", ".exr", 4};
  EXPECT_THAT(ParseSequenceName("plates/shot.%04d.exr"), Optional(padded));
  EXPECT_THAT(ParseSequenceName("plates/shot.####.exr"), Optional(padded));
  EXPECT_THAT(ParseSequenceName("shot%d.PNG"), Optional(SequenceName{"", "shot", ".PNG", 1}));
  EXPECT_THAT(ParseSequenceName("*.dpx"), Optional(SequenceName{"", "", ".dpx", 0}));
  EXPECT_THAT(ParseSequenceName("50%/100%%_#.tif"),
              Optional(SequenceName{"50%/", "100%_", ".tif", 1}));
}

TEST(SequenceName, OtherNamesAreNoPatterns) {
  for (const char* name : {"shot.0001.exr", "shot.%04d.mov", "%04d/shot.exr", "a%x.png", "", "%"}) {
    EXPECT_EQ(ParseSequenceName(name), std::nullopt) << name;
  }
}

TEST(SequenceName, TwoPlacesAreRejected) {
  EXPECT_THAT([] { ParseSequenceName("%02d_%04d.png"); },
              ThrowsMessage<UsageError>(HasSubstr("two places for the number")));
}

TEST(SequenceName, NumbersArePaddedWithZeros) {
  const SequenceName name{"a/", "b%", ".png", 3};
  EXPECT_EQ(name.PathOf(7), "a/b%007.png");
  EXPECT_EQ(name.PathOf(1234), "a/b%1234.png");
  EXPECT_EQ(name.ToText(), "a/b%%%03d.png");
  EXPECT_THAT(ParseSequenceName(name.ToText()), Optional(name));
}

TEST(SequenceName, PercentSignsAreDoubledWithAnyPadding) {
  const SequenceName any{"a/", "b%%d", ".png", 0};
  EXPECT_EQ(any.ToText(), "a/b%%%%d*.png");
  EXPECT_THAT(ParseSequenceName(any.ToText()), Optional(any));
}

TEST(SequenceName, ReadsNumbersOfItsPaddingOnly) {
  const SequenceName padded{"", "s", ".png", 3};
  EXPECT_THAT(padded.NumberIn("s007.png"), Optional(7));
  EXPECT_THAT(padded.NumberIn("s1000.png"), Optional(1000));
  for (const char* other : {"s07.png", "s0007.png", "s.png", "s-07.png", "t007.png", "s007.jpg"}) {
    EXPECT_EQ(padded.NumberIn(other), std::nullopt) << other;
  }
  const SequenceName any{"", "s", ".png", 0};
  EXPECT_THAT(any.NumberIn("s0007.png"), Optional(7));
  EXPECT_EQ(any.NumberIn("s9999999999.png"), std::nullopt);
}

class SequenceFiles : public testing::Test {
 protected:
  void Make(std::initializer_list<const char*> names) const {
    for (const char* name : names) WriteText(folder_ / name, "");
  }
  static std::vector<std::int64_t> NumbersOf(const ImageFiles& images) {
    std::vector<std::int64_t> numbers;
    for (const NumberedFile& file : images.files) numbers.push_back(file.number);
    return numbers;
  }

  ScratchFolder folder_;
};

TEST_F(SequenceFiles, AreSortedByNumber) {
  Make({"s10.png", "s9.png", "s100.png", "sx.png", "s9.png.part"});
  EXPECT_THAT(NumbersOf(*FindImages(folder_ / "s%d.png")), testing::ElementsAre(9, 10, 100));
  EXPECT_EQ(FindImages(folder_ / "s%d.png")->files.front().path, folder_ / "s9.png");
}

TEST_F(SequenceFiles, ThatExistAreNoPatterns) {
  Make({"take#.png", "take1.png", "100%04d.mov"});
  EXPECT_EQ(FindImages(folder_ / "take#.png")->files.size(), 1U);
  EXPECT_FALSE(FindImages(folder_ / "100%04d.mov"));
}

TEST_F(SequenceFiles, OneImageHasItsNumber) {
  Make({"still.0042.exr"});
  const auto images = FindImages(folder_ / "still.0042.exr");
  EXPECT_THAT(NumbersOf(*images), testing::ElementsAre(42));
}

TEST_F(SequenceFiles, WithOneNumberAreRejected) {
  Make({"s1.png", "s01.png"});
  EXPECT_THAT([&] { FindImages(folder_ / "s*.png"); },
              ThrowsMessage<Failure>(AllOf(HasSubstr("two files have the number 1"),
                                           HasSubstr("s01.png"), HasSubstr("s1.png"))));
  EXPECT_EQ(FindImages(folder_ / "s%d.png")->files.size(), 1U);
}

TEST_F(SequenceFiles, ThatDoNotExistAreNamed) {
  EXPECT_THAT([&] { FindImages(folder_ / "s%04d.png"); },
              ThrowsMessage<Failure>(HasSubstr("s%04d.png: there are no such files")));
}

TEST_F(SequenceFiles, OfAFolderAreItsOnlySequence) {
  Make({"shot_v2.0999.exr", "shot_v2.1000.exr", "shot_v2.10000.exr", "slate1.png", "notes.txt",
        "._shot_v2.1000.exr"});
  const auto images = FindImages(folder_ / "");
  EXPECT_EQ(images->name, folder_ / "shot_v2.%04d.exr");
  EXPECT_THAT(NumbersOf(*images), testing::ElementsAre(999, 1000, 10000));
}

TEST_F(SequenceFiles, OfAFolderWithSeveralSequencesAreListed) {
  Make({"a1.png", "a2.png", "a4.png", "b007.dpx", "b008.dpx"});
  EXPECT_THAT([&] { FindOnlySequence(folder_ / ""); },
              ThrowsMessage<Failure>(AllOf(HasSubstr("2 image sequences"), HasSubstr("a%d.png 1-4"),
                                           HasSubstr("b%03d.dpx 7-8"))));
}

TEST_F(SequenceFiles, OfAFolderWithoutImagesAreMissing) {
  Make({"a.png", "b1.txt"});
  EXPECT_THAT([&] { FindImages(folder_ / ""); }, ThrowsMessage<Failure>(HasSubstr("is a folder")));
}

TEST_F(SequenceFiles, MissingNumbersAreRanges) {
  Make({"s3.png", "s4.png", "s6.png", "s10.png"});
  const auto images = *FindImages(folder_ / "s#.png");
  EXPECT_EQ(DescribeNumbers(FindMissingNumbers(images, {3, 10})), "5 and 7-9");
  EXPECT_EQ(DescribeNumbers(FindMissingNumbers(images, {1, 8})), "1-2, 5 and 7-8");
  EXPECT_EQ(DescribeNumbers(FindMissingNumbers(images, {3, 4})), "");
}

TEST_F(SequenceFiles, ManyMissingRangesAreCounted) {
  const std::vector<FrameRange> ranges(30, FrameRange{5, 5});
  EXPECT_THAT(DescribeNumbers(ranges), HasSubstr("5 and 10 more ranges"));
}

}  // namespace
}  // namespace vixprores

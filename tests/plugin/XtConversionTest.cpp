// SPDX-License-Identifier: BSD-2-Clause
#include <algorithm>

#include "CompressedFrames.h"
#include "PluginTest.h"
#include "VideoDecoderProRes.h"

namespace {

using fake::TheHost;

constexpr std::uint8_t kUntouched = 0xEE;

/// A decoder with a scratch buffer from the test.
class XtConversionTest : public PluginTest {
 protected:
  void ProvideScratch(std::uint32_t bytes) {
    Scratch().Provide(bytes);
    std::fill_n(Scratch().memory.get(), bytes, kUntouched);
  }
  static fake::Buffer& Scratch() { return *TheHost().buffers.at(0).lock(); }

  std::int32_t ConvertBytes(const std::vector<std::uint8_t>& frame,
                            bool appendSecondField = false) {
    return decoder->XTToStdProRes(std::make_shared<fake::Buffer>("source", frame),
                                  appendSecondField);
  }
  std::int32_t Convert(const FrameShape& shape, bool appendSecondField = false) {
    return ConvertBytes(MakeCompressedFrame(shape), appendSecondField);
  }

  void ExpectScratchUntouched() {
    const auto contents = Scratch().Contents();
    EXPECT_TRUE(std::all_of(contents.begin(), contents.end(),
                            [](std::uint8_t byte) { return byte == kUntouched; }));
  }

  /// Returns the bytes [begin, begin + count) of the scratch buffer.
  std::vector<std::uint8_t> ScratchBytes(std::size_t begin, std::size_t count) {
    const auto contents = Scratch().Contents();
    const auto first = contents.begin() + static_cast<std::ptrdiff_t>(begin);
    return {first, first + static_cast<std::ptrdiff_t>(count)};
  }

  // The first buffer of a decoder is its scratch buffer.
  std::unique_ptr<vix::VideoDecoderProRes> decoder =
      std::make_unique<vix::VideoDecoderProRes>(nullptr);
};

TEST_F(XtConversionTest, AProgressiveFrameGetsAPrefixWithIdentifier) {
  ProvideScratch(2000);
  const auto frame = MakeCompressedFrame({.bare = true, .bytes = 1000});
  EXPECT_EQ(ConvertBytes(frame), 0);
  EXPECT_EQ(ScratchBytes(0, 8), (std::vector<std::uint8_t>{0, 0, 3, 0xF0, 'i', 'c', 'p', 'f'}));
  EXPECT_EQ(ScratchBytes(8, 1000), frame);
  EXPECT_EQ(ScratchBytes(1008, 992), std::vector<std::uint8_t>(992, kUntouched));
}

TEST_F(XtConversionTest, AFirstFieldGetsAPrefixWithoutIdentifier) {
  for (const unsigned mode : {1U, 2U}) {
    ProvideScratch(2000);
    const auto frame = MakeCompressedFrame({.bare = true, .interlaceMode = mode, .bytes = 1000});
    EXPECT_EQ(ConvertBytes(frame), 0);
    EXPECT_EQ(ScratchBytes(0, 8), (std::vector<std::uint8_t>{0, 0, 3, 0xF0, 0, 0, 0, 0}));
    EXPECT_EQ(ScratchBytes(8, 1000), frame);
    EXPECT_EQ(ScratchBytes(1008, 992), std::vector<std::uint8_t>(992, kUntouched));
  }
}

TEST_F(XtConversionTest, AProgressiveFrameIsNeverAppended) {
  ProvideScratch(2000);
  EXPECT_EQ(Convert({.bare = true, .bytes = 1000}, true), 0);
  EXPECT_EQ(ScratchBytes(4, 4), (std::vector<std::uint8_t>{'i', 'c', 'p', 'f'}));
}

TEST_F(XtConversionTest, AScratchBufferOfExactlyTheNeededSizeIsUsed) {
  ProvideScratch(1008);
  EXPECT_EQ(Convert({.bare = true, .bytes = 1000}), 0);
  ProvideScratch(1007);
  EXPECT_EQ(Convert({.bare = true, .bytes = 1000}), -2);
  ExpectScratchUntouched();
}

TEST_F(XtConversionTest, UnreadableSourcesAreRejected) {
  ProvideScratch(2000);
  EXPECT_EQ(Convert({.bare = true, .bitstreamVersion = 1}), -1);
  EXPECT_EQ(Convert({.bare = true, .chromaFormat = 1}), -1);
  EXPECT_EQ(Convert({.bare = true, .interlaceMode = 3}), -1);
  EXPECT_EQ(ConvertBytes(std::vector<std::uint8_t>(7)), -1);
  ExpectScratchUntouched();
}

TEST_F(XtConversionTest, ASourceWithoutMemoryIsUnreadable) {
  EXPECT_EQ(decoder->XTToStdProRes(std::make_shared<fake::Buffer>("source"), false), -1);
}

TEST_F(XtConversionTest, AMissingScratchBufferIsRejected) {
  EXPECT_EQ(Convert({.bare = true}), -2);
  EXPECT_EQ(Convert({.bare = true, .interlaceMode = 1}, true), -2);
}

TEST_F(XtConversionTest, StandardFramesAreRejected) {
  ProvideScratch(2000);
  for (const unsigned mode : {0U, 1U}) {
    EXPECT_EQ(Convert({.interlaceMode = mode}, false), -2);
    EXPECT_EQ(Convert({.interlaceMode = mode}, true), -2);
  }
  ExpectScratchUntouched();
}

TEST_F(XtConversionTest, ASecondFieldNormallyFailsOnTheStoredPrefix) {
  ProvideScratch(4000);
  const FrameShape field{.bare = true, .interlaceMode = 1, .bytes = 1000};
  EXPECT_EQ(Convert(field), 0);
  const auto before = Scratch().Contents();
  EXPECT_EQ(Convert(field, true), -1);
  EXPECT_EQ(Scratch().Contents(), before);
}

/// A scratch buffer with a stored field: a header of 20 bytes and a picture of 100.
class XtJoinTest : public XtConversionTest {
 protected:
  XtJoinTest() { Restore(400); }

  void Restore(std::uint32_t bytes) {
    ProvideScratch(bytes);
    const auto stored =
        MakeCompressedFrame({.bare = true, .headerSize = 20, .pictureSize = 100, .bytes = 200});
    std::copy_n(stored.begin(), std::min<std::size_t>(stored.size(), bytes),
                Scratch().memory.get());
  }

  FrameShape second{
      .bare = true, .headerSize = 30, .interlaceMode = 1, .pictureSize = 50, .bytes = 80};
};

TEST_F(XtJoinTest, ASecondFieldIsCopiedBehindTheFirstPicture) {
  const auto before = Scratch().Contents();
  const auto frame = MakeCompressedFrame(second);
  EXPECT_EQ(ConvertBytes(frame, true), 0);
  // 100 + 20 + 50 + 8
  EXPECT_EQ(ScratchBytes(0, 8), (std::vector<std::uint8_t>{0, 0, 0, 178, 0, 0, 0, 0}));
  EXPECT_EQ(ScratchBytes(128, 50), std::vector<std::uint8_t>(frame.begin() + 30, frame.end()));
  const auto after = Scratch().Contents();
  EXPECT_TRUE(std::equal(after.begin() + 8, after.begin() + 128, before.begin() + 8));
  EXPECT_TRUE(std::equal(after.begin() + 178, after.end(), before.begin() + 178));
}

TEST_F(XtJoinTest, AJoinOfExactlyTheBufferSizeFitsAndALargerOneIsRejected) {
  Restore(178);
  EXPECT_EQ(Convert(second, true), 0);
  Restore(177);
  const auto before = Scratch().Contents();
  EXPECT_EQ(Convert(second, true), -2);
  EXPECT_EQ(Scratch().Contents(), before);
}

TEST_F(XtJoinTest, AStoredPictureOfAnySizeDoesNotWrapAround) {
  std::fill_n(Scratch().memory.get() + 21, 4, std::uint8_t{0xFF});
  const auto before = Scratch().Contents();
  EXPECT_EQ(Convert(second, true), -2);
  EXPECT_EQ(Scratch().Contents(), before);
}

TEST_F(XtJoinTest, ASourcePictureLargerThanItsFrameIsUnreadable) {
  for (const std::uint32_t size : {51U, 0xFFFFFFFFU}) {
    second.pictureSize = size;
    const auto before = Scratch().Contents();
    EXPECT_EQ(Convert(second, true), -1);
    EXPECT_EQ(Scratch().Contents(), before);
  }
}

TEST_F(XtJoinTest, AnUnreadableStoredFieldIsRejected) {
  Scratch().memory[3] = 1;
  EXPECT_EQ(Convert(second, true), -1);
}

}  // namespace

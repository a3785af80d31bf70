// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ReferenceCodec.h"
#include "ScratchFolder.h"
#include "recovery/FrameScanner.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string MakeEncodedFrame(int width, unsigned seed, int interlaceMode = 0) {
  reference::StreamSpec spec;
  spec.width = width;
  spec.height = 34;
  spec.interlaceMode = interlaceMode;
  spec.framePaddingBytes = 3;
  const auto stream = MakeStream(spec, reference::NaturalSource(seed));
  return {stream.bytes.begin(), stream.bytes.end()};
}

std::string Junk(std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(i * i % 251);
  return text;
}

struct Found {
  std::size_t offset;
  std::string bytes;
  friend bool operator==(const Found&, const Found&) = default;
};

class FrameScannerTest : public testing::Test {
 protected:
  std::vector<Found> Scan(const std::string& input) {
    WriteText(folder_ / "input", input);
    FrameScanner scanner(std::make_unique<InputFile>(folder_ / "input"));
    std::vector<Found> all;
    while (const auto frame = scanner.Next()) {
      const char* const begin = reinterpret_cast<const char*>(frame->bytes->GetData());
      all.push_back({static_cast<std::size_t>(frame->offset),
                     std::string(begin, begin + frame->bytes->GetSize())});
    }
    return all;
  }

  SkippedBytes Skip(const std::string& input) {
    WriteText(folder_ / "input", input);
    FrameScanner scanner(std::make_unique<InputFile>(folder_ / "input"));
    while (scanner.Next()) continue;
    return scanner.GetSkipped();
  }

  ScratchFolder folder_;
  const std::string a_ = MakeEncodedFrame(48, 1);
  const std::string b_ = MakeEncodedFrame(48, 2, 1);
  const std::string c_ = MakeEncodedFrame(48, 3);
};

TEST_F(FrameScannerTest, FindsNothingInAnEmptyFile) {
  EXPECT_THAT(Scan(""), IsEmpty());
  EXPECT_THAT(Scan("icpf"), IsEmpty());
  EXPECT_THAT(Scan(Junk(3 << 20)), IsEmpty());
}

TEST_F(FrameScannerTest, FindsFramesWithAnythingBetweenThem) {
  EXPECT_THAT(Scan(a_ + b_ + c_),
              ElementsAre(Found{0, a_}, Found{a_.size(), b_}, Found{a_.size() + b_.size(), c_}));
  const std::string junk = Junk(1000) + "icpf" + Junk(100);
  EXPECT_THAT(Scan(junk + a_ + junk + c_ + junk),
              ElementsAre(Found{junk.size(), a_}, Found{2 * junk.size() + a_.size(), c_}));
}

TEST_F(FrameScannerTest, FindsFramesAcrossTheBordersOfItsBlocks) {
  constexpr std::size_t kBlock = 1 << 20;
  for (const std::size_t before : {0u, 1u, 3u, 4u, 5u, 7u, 8u, 9u, 60u}) {
    const std::string junk = Junk(kBlock - before);
    EXPECT_THAT(Scan(junk + a_ + junk + b_),
                ElementsAre(Found{junk.size(), a_}, Found{2 * junk.size() + a_.size(), b_}))
        << before;
  }
}

TEST_F(FrameScannerTest, IsNotMisledByAPrefixInsideAFrame) {
  // The padding after the last slice of the frame holds the start of another frame.
  std::string frame = a_;
  const std::string start = c_.substr(0, 28);
  frame += start;
  frame[2] = static_cast<char>(frame.size() >> 8);
  frame[3] = static_cast<char>(frame.size() & 0xff);
  const auto found = Scan(frame + b_);
  ASSERT_EQ(found.size(), 3u);  // the bytes after the pictures are a truncated frame
  EXPECT_EQ(found[1].bytes, start);
  // Inside a slice it is ignored.
  frame = a_;
  frame.replace(frame.size() - 40, start.size(), start);
  EXPECT_THAT(Scan(frame + b_), ElementsAre(Found{0, frame}, Found{frame.size(), b_}));
}

TEST_F(FrameScannerTest, FindsDamagedFramesInTheirStream) {
  std::string broken = b_;
  broken[8 + 20] = 0;  // the size of a picture header
  const std::string junk = Junk(200);
  // The previous frame identifies the damaged one.
  EXPECT_THAT(Scan(a_ + broken + junk + c_),
              ElementsAre(Found{0, a_}, Found{a_.size(), broken},
                          Found{a_.size() + broken.size() + junk.size(), c_}));
  // The next frame identifies the damaged one.
  EXPECT_THAT(Scan(broken + junk + c_),
              ElementsAre(Found{0, broken}, Found{broken.size() + junk.size(), c_}));
  EXPECT_THAT(Scan(broken + c_), ElementsAre(Found{0, broken}, Found{broken.size(), c_}));
}

TEST_F(FrameScannerTest, KeepsDamagedFramesOutOfTheNextOne) {
  std::string broken = b_;
  broken[8 + 20] = 0;
  broken[1] = 1;  // 64 KiB more than present
  EXPECT_THAT(Scan(a_ + broken + c_), ElementsAre(Found{0, a_}, Found{a_.size(), broken},
                                                  Found{a_.size() + broken.size(), c_}));
  broken[0] = '\xff';
  EXPECT_THAT(Scan(a_ + broken + c_), ElementsAre(Found{0, a_}, Found{a_.size(), broken},
                                                  Found{a_.size() + broken.size(), c_}));
}

TEST_F(FrameScannerTest, PrefersThePicturesToTheStatedSize) {
  std::string larger = a_;
  larger[1] = 1;
  std::string smaller = c_;
  smaller[2] = 0;
  const auto found = Scan(larger + smaller + b_);
  ASSERT_EQ(found.size(), 3u);
  EXPECT_EQ(found[1].offset, a_.size());
  EXPECT_EQ(found[2], (Found{a_.size() + c_.size(), b_}));
}

TEST_F(FrameScannerTest, KeepsTheTruncatedLastFrame) {
  const std::string cut = c_.substr(0, c_.size() / 2);
  EXPECT_THAT(Scan(a_ + cut), ElementsAre(Found{0, a_}, Found{a_.size(), cut}));
  EXPECT_THAT(Scan(cut), ElementsAre(Found{0, cut}));
}

TEST_F(FrameScannerTest, SkipsHeadersThatLeadNowhere) {
  std::string alien = MakeEncodedFrame(32, 4);
  alien[8 + 20] = 0;
  const std::string junk = Junk(300);
  EXPECT_THAT(Scan(a_ + alien + junk + c_),
              ElementsAre(Found{0, a_}, Found{a_.size() + alien.size() + junk.size(), c_}));
}

TEST_F(FrameScannerTest, SkipsHeadersThatReachIntoTheNextFrame) {
  std::string broken = b_.substr(0, 200);
  broken[8] = 1;  // the size of the header
  EXPECT_THAT(Scan(broken + a_ + c_),
              ElementsAre(Found{broken.size(), a_}, Found{broken.size() + a_.size(), c_}));
}

TEST_F(FrameScannerTest, CountsBytesOutsideFrames) {
  EXPECT_EQ(Skip(a_ + b_).places, 0);
  const SkippedBytes skipped = Skip(Junk(7) + a_ + Junk(5000) + b_ + c_ + Junk(3));
  EXPECT_EQ(skipped.bytes, 5010);
  EXPECT_EQ(skipped.places, 3);
  EXPECT_EQ(skipped.largest, 5000);
  EXPECT_EQ(skipped.largestBegin, static_cast<std::int64_t>(7 + a_.size()));
  EXPECT_EQ(Skip(a_ + Junk(3'000'000)).bytes, 3'000'000);
}

}  // namespace
}  // namespace vixprores

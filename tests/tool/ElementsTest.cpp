// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "ReferenceCodec.h"
#include "base/FramePool.h"
#include "run/Elements.h"
#include "run/Host.h"

namespace vixprores {
namespace {

void ExpectShares(const ThreadShares& shares, unsigned elements, int threadsEach) {
  EXPECT_EQ(shares.elements, elements);
  EXPECT_EQ(shares.threadsEach, threadsEach);
}

TEST(ThreadShares, GiveEachThreadFramesOfItsOwn) {
  ExpectShares(ShareThreads(1, 100), 1, 1);
  ExpectShares(ShareThreads(3, 100), 3, 1);
  ExpectShares(ShareThreads(8, 8), 8, 1);
  ExpectShares(ShareThreads(8, std::nullopt), 8, 1);
}

TEST(ThreadShares, ShareFramesIfThereAreFewerFramesThanThreads) {
  ExpectShares(ShareThreads(8, 1), 1, 8);
  ExpectShares(ShareThreads(8, 3), 3, 2);
  ExpectShares(ShareThreads(5, 4), 4, 1);
}

TEST(ThreadShares, HaveAnElementEvenForNoFrames) {
  ExpectShares(ShareThreads(4, 0), 1, 4);
}

TEST(ThreadShares, HaveAtLeastOneThread) {
  const ThreadShares shares = ShareThreads(0, std::nullopt);
  EXPECT_GE(shares.elements, 1u);
  EXPECT_EQ(shares.threadsEach, 1);
}

TEST(DescribeStream, StatesWhetherAlphaCounts) {
  StreamFormat format;
  format.code = vix::kFourCC_Y416;
  format.is444 = true;
  format.rate = {25, 1};
  const auto chroma = [&] {
    return static_cast<vix::VideoChroma>(
        DescribeStream(format)->GetVideoParameters()->GetVideoProperty1());
  };
  EXPECT_EQ(chroma(), vix::VideoChroma::C444);
  format.alphaBits = 16;
  EXPECT_EQ(chroma(), vix::VideoChroma::C4444);
  format.code = vix::MakeFourCC("ap4h");
  EXPECT_EQ(chroma(), vix::VideoChroma::C444);
}

TEST(DescribeStream, StatesTheUsualMatrixOfUnlabelledProRes) {
  StreamFormat format;
  format.code = vix::MakeFourCC("ap4h");
  format.rate = {25, 1};
  const auto matrix = [&](std::uint32_t height, int stated) {
    format.height = height;
    format.colour.matrix = stated;
    return DescribeStream(format)->GetVideoParameters()->GetVideoProperty4();
  };
  EXPECT_EQ(matrix(576, 2), 6);
  EXPECT_EQ(matrix(1080, 2), 1);
  EXPECT_EQ(matrix(576, 9), 9);
  format.code = vix::kFourCC_Y416;
  EXPECT_EQ(matrix(576, 2), 2);  // the encoder states nothing, either
}

TEST(LowerVersion, CopiesOnlyFramesOfAnotherVersion) {
  reference::StreamSpec spec;
  spec.width = 64;
  spec.height = 48;
  const auto stream = MakeStream(spec, reference::NaturalSource(1));
  const FramePool pool;
  const auto frame = pool.MakeFrame(static_cast<std::uint32_t>(stream.bytes.size()));
  std::ranges::copy(stream.bytes, frame->GetData());
  EXPECT_EQ(LowerVersion(frame, pool), frame);
  frame->GetData()[11] = 1;
  const auto lowered = LowerVersion(frame, pool);
  EXPECT_TRUE(std::ranges::equal(BytesOf(*lowered), stream.bytes));
  EXPECT_EQ(ParseHeader(BytesOf(*frame))->version, 1) << "the frame itself was changed";
}

class Decoders : public testing::Test {
 protected:
  Decoders() {
    SetUpMessages({});
    reference::StreamSpec spec;
    format_.width = 512;
    format_.height = 256;
    spec.width = 512;
    spec.height = 256;
    format_.code = vix::MakeFourCC("apcn");
    format_.rate = {25, 1};
    stream_ = MakeStream(spec, reference::NaturalSource(1));
  }

  DecoderTeam MakeTeam(int threadsEach) const {
    return {ProResElement::Decoder(vix::kFourCC_V210, false), format_, {1, threadsEach}};
  }

  ElementOutput Decode(DecoderTeam& team) const {
    auto frame = FramePool().MakeFrame(static_cast<std::uint32_t>(stream_.bytes.size()));
    std::ranges::copy(stream_.bytes, frame->GetData());
    StreamFormat picture = format_;
    picture.code = vix::kFourCC_V210;
    return team.Decode(0, frame, ParseHeader(BytesOf(*frame)), 0, picture.FrameBytes());
  }

  static std::ptrdiff_t CountThreads() {
    namespace fs = std::filesystem;
    return std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator());
  }

  Plugins plugins_ = LoadProResPlugins(std::nullopt);
  StreamFormat format_;
  reference::Stream stream_;
};

TEST_F(Decoders, HaveTheThreadsOfTheirOwnTeam) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the thread sanitizer has threads of its own, which would be counted";
#endif
  const auto before = CountThreads();
  auto first = MakeTeam(3);
  EXPECT_TRUE(Decode(first).fault.empty());
  EXPECT_EQ(CountThreads(), before + 2);
  auto second = MakeTeam(1);
  EXPECT_TRUE(Decode(second).fault.empty());
  EXPECT_EQ(CountThreads(), before + 2);
}

TEST_F(Decoders, ReportTheDamagedSlicesOfEachFrame) {
  auto team = MakeTeam(1);
  const auto intact = stream_.bytes;
  stream_.bytes[stream_.slices.at(1).offset] = 0;
  stream_.bytes[stream_.slices.at(3).offset] = 0;
  const auto damaged = Decode(team);
  EXPECT_EQ(damaged.slices.colours, 2u);
  EXPECT_EQ(damaged.slices.alpha, 0u);
  EXPECT_EQ(damaged.fault, "has 2 damaged slices");
  EXPECT_TRUE(damaged.sample);
  stream_.bytes = intact;
  EXPECT_TRUE(Decode(team).slices.IsNone());
}

TEST_F(Decoders, ReportTheFaultOfAFrameThatCannotBeDecoded) {
  auto team = MakeTeam(1);
  stream_.bytes.resize(stream_.bytes.size() / 2);
  const auto output = Decode(team);
  EXPECT_FALSE(output.sample);
  EXPECT_FALSE(output.fault.empty());
  stream_.bytes.resize(4);
  EXPECT_EQ(Decode(team).fault, "has no readable frame header");
}

}  // namespace
}  // namespace vixprores

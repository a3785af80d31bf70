// SPDX-License-Identifier: BSD-2-Clause
// Damaged frames: what becomes of them by each error policy, and that none crashes the decoder.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "Harness.h"
#include "Streams.h"

namespace vix::test {
namespace {

using testing::Each;
using testing::HasSubstr;

constexpr unsigned kBad = 3;

using Damage = void (*)(Bytes& frame);

/// Overwrites the last slices, which are concealed.
void DamageSlice(Bytes& frame) {
  std::fill(frame.end() - 40, frame.end(), std::uint8_t{0xff});
}

void Truncate(Bytes& frame) {
  frame.resize(frame.size() / 2);
}

void DamageHeader(Bytes& frame) {
  frame.at(8) = 0xff;
}

GstBuffer* MakeDamaged(const Shape& shape, unsigned number, Damage damage) {
  Bytes frame = EncodeDirectly(shape, number, ProResCodecVariant::Standard);
  damage(frame);
  return MakeBuffer(frame, number);
}

/// Pushes frames of which one is damaged, until an error. Returns the last result.
GstFlowReturn PushWithDamage(Harness& harness, Damage damage) {
  for (unsigned i = 0; i < kFrames; ++i) {
    const GstFlowReturn result =
        harness.Push(i == kBad ? MakeDamaged(kSmall, i, damage) : MakeProResBuffer(kSmall, i));
    if (result != GST_FLOW_OK) return result;
  }
  return GST_FLOW_OK;
}

bool IsCorrupted(const BufferPointer& buffer) {
  return GST_BUFFER_FLAG_IS_SET(buffer.get(), GST_BUFFER_FLAG_CORRUPTED);
}

/// Expects all pictures but the damaged one, and returns that if it is there.
BufferPointer ExpectOthers(const std::vector<BufferPointer>& pictures) {
  BufferPointer damaged;
  std::vector<BufferPointer> others;
  for (const auto& picture : pictures) {
    (GST_BUFFER_PTS(picture.get()) == kBad * kFrameTime ? damaged : others.emplace_back()) =
        picture;
  }
  EXPECT_EQ(others.size(), kFrames - 1);
  for (unsigned i = 0; i < others.size(); ++i) {
    EXPECT_FALSE(IsCorrupted(others[i]));
    ExpectDecoded(others[i], kSmall, i < kBad ? i : i + 1);
  }
  return damaged;
}

TEST(Damage, ConcealedPicturesAreMarkedAndReported) {
  DecoderHarness harness(kSmall, "error-policy=conceal");
  EXPECT_EQ(PushWithDamage(harness, DamageSlice), GST_FLOW_OK);
  const auto damaged = ExpectOthers(harness.Finish());
  ASSERT_TRUE(damaged);
  EXPECT_TRUE(IsCorrupted(damaged));
  const auto warnings = harness.PopTexts(GST_MESSAGE_WARNING);
  ASSERT_EQ(warnings.size(), 1U);
  EXPECT_THAT(warnings[0], HasSubstr("frame 3"));
}

TEST(Damage, FramesThatCannotBeDecodedAreReportedAndRepeatThePictureBefore) {
  for (const Damage damage : {Truncate, DamageHeader}) {
    DecoderHarness harness(kSmall, "error-policy=conceal");
    EXPECT_EQ(PushWithDamage(harness, damage), GST_FLOW_OK);
    const auto damaged = ExpectOthers(harness.Finish());
    ASSERT_TRUE(damaged);
    EXPECT_TRUE(IsCorrupted(damaged));
    GST_BUFFER_PTS(damaged.get()) = (kBad - 1) * kFrameTime;
    ExpectDecoded(damaged, kSmall, kBad - 1);
    EXPECT_THAT(harness.PopTexts(GST_MESSAGE_WARNING), testing::ElementsAre(HasSubstr("frame 3")));
  }
}

TEST(Damage, NoPictureIsRepeatedAfterAFlush) {
  DecoderHarness harness(kSmall, "error-policy=conceal");
  harness.Push(MakeProResBuffer(kSmall, 0));
  ExpectDecoded(harness.Pull(), kSmall, 0);
  harness.Flush();
  harness.Push(MakeDamaged(kSmall, 1, Truncate));
  EXPECT_TRUE(harness.Finish().empty());
}

TEST(Damage, SkippedFramesLeaveNoPictureAndAreReported) {
  for (const Damage damage : {DamageSlice, Truncate, DamageHeader}) {
    DecoderHarness harness(kSmall, "error-policy=skip");
    EXPECT_EQ(PushWithDamage(harness, damage), GST_FLOW_OK);
    EXPECT_FALSE(ExpectOthers(harness.Finish()));
    EXPECT_THAT(harness.PopTexts(GST_MESSAGE_WARNING), testing::ElementsAre(HasSubstr("frame 3")));
  }
}

TEST(Damage, StopEndsTheStreamWithAnErrorThatNamesTheFrame) {
  for (const Damage damage : {DamageSlice, Truncate, DamageHeader}) {
    DecoderHarness harness(kSmall, "error-policy=stop threads=1");
    GstFlowReturn result = PushWithDamage(harness, damage);
    for (unsigned i = kFrames; i < 1000 && result == GST_FLOW_OK; ++i) {
      result = harness.Push(MakeProResBuffer(kSmall, i));  // the error may come a few frames later
    }
    EXPECT_EQ(result, GST_FLOW_ERROR);
    EXPECT_THAT(harness.PopTexts(GST_MESSAGE_ERROR), testing::ElementsAre(HasSubstr("frame 3")));
    unsigned pictures = 0;
    while (harness.TryPull()) ++pictures;
    EXPECT_EQ(pictures, kBad);
  }
}

TEST(Damage, OfAllFramesEndsTheStreamInOrder) {
  for (const char* const policy : {"error-policy=conceal", "error-policy=skip"}) {
    DecoderHarness harness(kSmall, policy);
    for (unsigned i = 0; i < kFrames; ++i) harness.Push(MakeDamaged(kSmall, i, Truncate));
    for (const auto& picture : harness.Finish()) EXPECT_TRUE(IsCorrupted(picture));
    EXPECT_FALSE(harness.PopTexts(GST_MESSAGE_WARNING).empty());
    EXPECT_TRUE(harness.PopTexts(GST_MESSAGE_ERROR).empty());
  }
}

/// Returns a frame with changed bytes, a part of one, or random bytes.
Bytes MakeRandom(std::mt19937& random, unsigned number) {
  const auto upTo = [&](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  Bytes frame = EncodeDirectly(kSmall, number, ProResCodecVariant::Standard);
  switch (upTo(2)) {
    case 0:
      frame.resize(upTo(frame.size()));
      break;
    case 1:
      for (std::size_t i = upTo(20); i > 0; --i) {
        frame.at(upTo(i % 2 ? 80 : frame.size() - 1)) = static_cast<std::uint8_t>(random());
      }
      break;
    default:
      frame.resize(upTo(2000));
      for (auto& byte : frame) byte = static_cast<std::uint8_t>(random());
  }
  return frame;
}

class ErrorPolicies : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Damage, ErrorPolicies, testing::Values("conceal", "skip", "stop"),
                         [](const auto& test) { return std::string(test.param); });

TEST_P(ErrorPolicies, SurviveRandomBytes) {
  std::mt19937 random(20261123);
  for (int round = 0; round < 10; ++round) {
    DecoderHarness harness(kSmall, std::string("error-policy=") + GetParam());
    for (unsigned i = 0; i < 40; ++i) {
      if (harness.Push(MakeBuffer(MakeRandom(random, i), i)) != GST_FLOW_OK) break;
    }
    harness.Finish();
  }
}

TEST_P(ErrorPolicies, DecodeAgainAfterDamageAndFlush) {
  DecoderHarness harness(kSmall, std::string("error-policy=") + GetParam());
  for (int round = 0; round < 20; ++round) {
    PushWithDamage(harness, Truncate);
    harness.Flush();
    while (harness.TryPull()) {
    }
    harness.Push(MakeProResBuffer(kSmall, 5));
    ExpectDecoded(harness.Pull(), kSmall, 5);
  }
}

}  // namespace
}  // namespace vix::test

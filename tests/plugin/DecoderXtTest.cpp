// SPDX-License-Identifier: BSD-2-Clause
// Frames in the bare XT layout: conversion in the scratch buffer and pairs of fields.
#include <functional>

#include "DecoderTest.h"

namespace {

using fake::TheCodec;
using fake::TheHost;

using DecoderXtTest = DecoderTest;

/// Scratch buffer size for small XT frames.
constexpr std::uint32_t kScratchFloor = 1032192;

TEST_F(DecoderXtTest, AProgressiveXtFrameIsDecodedFromTheScratchBufferCallByCall) {
  Define();
  Push(FrameShape{.bare = true, .bytes = 600000});
  const CallList calls = TheHost().TakeCalls();
  EXPECT_EQ(
      CallList(calls.begin() + 5, calls.begin() + 17),
      (CallList{"input.GetData()", "input.GetSize()", "buffer1.GetSize()",
                "buffer1.Resize(1032192)", "input.GetData()", "input.GetSize()",
                "buffer1.GetData()", "buffer1.GetSize()", "buffer1.GetData()", "buffer1.GetSize()",
                "CreateBuffer(recycler2, null)", "GetFrameBytes(" + kV210 + ", 2, 1920, 1080)"}));
  EXPECT_EQ(LastDecoded().frameBytes, kScratchFloor);
  EXPECT_EQ(LastDecoded().frame, TheHost().buffers.at(0).lock()->memory.get());
  EXPECT_NE(decoder->GetSample(), nullptr);
}

TEST_F(DecoderXtTest, TheScratchBufferOnlyGrows) {
  Define();
  Push(FrameShape{.bare = true, .bytes = 600000});
  TheHost().calls.clear();
  Push(FrameShape{.bare = true, .bytes = 1032184});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize"), 0U);
  Push(FrameShape{.bare = true, .bytes = 1100000});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize(1100008)"), 1U);
  Push(FrameShape{.bare = true, .bytes = 600000});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize"), 1U);
  EXPECT_EQ(LastDecoded().frameBytes, 1100008U);
}

TEST_F(DecoderXtTest, AnInterlacedXtFieldFollowsTheSameStepsWhenFieldsAreSkipped) {
  DefineSkippingFields();
  // The stored field has no identifier, so the prefix is parsed as the header: version 0xF0.
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 1, .bytes = 1000});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize(1032192)"), 1U);
  EXPECT_EQ(TheHost().CountCalls("CreateBuffer"), 0U);
  // The scratch buffer is not doubled: one input is one picture.
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 1, .bytes = 1100000});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize(1100008)"), 1U);
}

TEST_F(DecoderXtTest, SkippedFieldsAreNotCounted) {
  DefineSkippingFields();
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 1});
  initConfig->numbers["SkipField"] = 0;
  decoder->SetInitConfig(initConfig);
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1});
}

TEST_F(DecoderXtTest, AFirstXtFieldIsStoredAndReportedAsMinusSix) {
  Define();
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1, .bytes = 600000});
  EXPECT_EQ(TheHost().CountCalls("buffer1.Resize(1200008)"), 1U);
  EXPECT_EQ(TheHost().CountCalls("WPR"), 0U);
  EXPECT_EQ(decoder->GetSample(), nullptr);
}

TEST_F(DecoderXtTest, ASecondXtFieldNormallyFailsAndStaysTheSecond) {
  Define();
  const FrameShape field{.bare = true, .interlaceMode = 1};
  ExpectResult(-6, field);
  ExpectResult(-1, field);
  ExpectResult(-1, field);
}

TEST_F(DecoderXtTest, ARejectedFirstFieldIsNotCounted) {
  Define();
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 3});
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1});
}

TEST_F(DecoderXtTest, ScratchSizesWrapAt32BitsAndFramesThatDoNotFitAreRejected) {
  Define();
  struct Case {
    unsigned interlaceMode;
    std::uint32_t inputBytes;
    std::string scratchCall;
  };
  for (const Case& c :
       std::vector<Case>{{0, 0xFFFFFFF8, "buffer1.Resize(1032192)"},  // size + 8 = 2^32
                         {1, 0x7FFFFFFC, "buffer1.GetData()"},        // 2 x size + 8 = 2^32
                         {1, 0x80000000U + 600000, "buffer1.Resize(1200008)"}}) {  // 2^32 + 1200008
    const auto input =
        MakeInput(MakeCompressedFrame({.bare = true, .interlaceMode = c.interlaceMode}));
    input->size = c.inputBytes;
    TheHost().calls.clear();
    ExpectReport([&] { decoder->PushSample(MakeContainer(nullptr, input)); },
                 "[Failed to decode frame] [ value1 (0) is not == value2 (-2) ]",
                 "VideoDecoderProRes");
    EXPECT_EQ(TheHost().CountCalls(c.scratchCall), 1U) << c.inputBytes;
    const auto scratch = TheHost().buffers.at(0).lock()->Contents();
    EXPECT_EQ(scratch, std::vector<std::uint8_t>(scratch.size())) << "something was written";
  }
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1});  // still a first field
}

/// A pair whose second field is accepted: with this size and encoder identifier of the first field,
/// the stored prefix and that of the joined frame parse as a header (version 0, 4:2:2, mode 1).
class DecoderFieldPairTest : public DecoderTest {
 protected:
  DecoderFieldPairTest() { Define(); }
  static FrameShape FirstField() {
    return {.bare = true, .encoderIdentifier = 0x84, .interlaceMode = 1, .bytes = 1024 - 8};
  }
  static FrameShape SecondField() {
    return {.bare = true, .interlaceMode = 1, .pictureSize = 256 - 8, .bytes = 1000};
  }
};

TEST_F(DecoderFieldPairTest, AJoinedPairIsDecodedAndTheNextFieldIsAFirstOneAgain) {
  ExpectResult(-6, FirstField());
  Push(SecondField());
  EXPECT_NE(decoder->GetSample(), nullptr);
  EXPECT_EQ(LastDecoded().frameBytes, kScratchFloor);
  const std::uint8_t* const joined = LastDecoded().frame;
  // The prefix parses as a header of 0 bytes and a picture of 0x040000 bytes.
  EXPECT_EQ(std::vector<std::uint8_t>(joined, joined + 8),
            (std::vector<std::uint8_t>{0, 4, 1, 0, 0, 0, 0, 0}));
  const auto second = MakeCompressedFrame(SecondField());
  EXPECT_TRUE(std::equal(second.begin() + 148, second.begin() + 148 + 248, joined + 8 + 0x040000));
  ExpectResult(-6, FirstField());
}

TEST_F(DecoderFieldPairTest, ASkippedFieldIsDecodedFromTheScratchBufferAndNotCounted) {
  DefineSkippingFields();
  Push(FirstField());
  // Width and height are bytes of the field's own header: its size (148) and 0x0200.
  EXPECT_EQ(LastDecoded().frame, TheHost().buffers.at(0).lock()->memory.get());
  EXPECT_EQ(LastDecoded().destination.width, 148U);
  EXPECT_EQ(LastDecoded().destination.height, 256U);
  EXPECT_EQ(LastDecoded().fieldFlag, 1);
  EXPECT_NE(decoder->GetSample(), nullptr);
  initConfig->numbers["SkipField"] = 0;
  decoder->SetInitConfig(initConfig);
  ExpectResult(-6, FirstField());
}

/// Something that a host may do between the two fields of a pair.
struct Interruption {
  std::string name;
  std::function<void(DecoderFieldPairTest&)> run;
};

struct StoredFieldTest : DecoderFieldPairTest, testing::WithParamInterface<Interruption> {};

TEST_P(StoredFieldTest, IsDecodedToItsPicture) {
  Push(FrameShape{});  // opens the decoder and leaves a sample waiting
  ExpectResult(-6, FirstField());
  GetParam().run(*this);
  Push(SecondField());
  EXPECT_NE(decoder->GetSample(), nullptr);
  ASSERT_EQ(LastDecoded().frame, TheHost().buffers.at(0).lock()->memory.get());
  const auto first = MakeCompressedFrame(FirstField());
  EXPECT_TRUE(std::equal(first.begin(), first.end(), LastDecoded().frame + 8));
  ExpectResult(-6, FirstField());
}

INSTANTIATE_TEST_SUITE_P(
    StoredFieldTest, StoredFieldTest,
    testing::Values(Interruption{"ClearInternalBuffer",
                                 [](auto& test) { test.decoder->ClearInternalBuffer(); }},
                    Interruption{"Flush", [](auto& test) { test.decoder->Flush(); }},
                    Interruption{"Release", [](auto& test) { test.decoder->Release(); }},
                    Interruption{"SetInitConfig",
                                 [](auto& test) { test.decoder->SetInitConfig(test.initConfig); }},
                    Interruption{"Interrupt", [](auto& test) { test.decoder->Interrupt(); }},
                    Interruption{"GetSample", [](auto& test) { test.decoder->GetSample(); }},
                    Interruption{"DefineInput", [](auto& test) { test.Define(); }},
                    Interruption{"StandardFrame", [](auto& test) { test.Push(FrameShape{}); }}),
    [](const auto& test) { return test.param.name; });

TEST_F(DecoderFieldPairTest, AFailedSecondFieldIsNotCounted) {
  ExpectResult(-6, FirstField());
  TheCodec().decodeResult = -1;
  ExpectResult(-5, SecondField());
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 3});
  // It is still a second field: a first one would be stored (-6).
  ExpectResult(-1, SecondField());
}

}  // namespace

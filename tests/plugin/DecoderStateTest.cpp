// SPDX-License-Identifier: BSD-2-Clause
// Members without a getter, after the operations that set them.
#include "DecoderTest.h"

namespace {

// Explicit instantiations may name private members.
template <auto OutputFourCC, auto FieldCount>
struct State {
  friend vix::FourCC OutputFourCCOf(const vix::VideoDecoderProRes& decoder) {
    return decoder.*OutputFourCC;
  }
  friend std::uint64_t FieldCountOf(const vix::VideoDecoderProRes& decoder) {
    return decoder.*FieldCount;
  }
};
vix::FourCC OutputFourCCOf(const vix::VideoDecoderProRes& decoder);
std::uint64_t FieldCountOf(const vix::VideoDecoderProRes& decoder);
template struct State<&vix::VideoDecoderProRes::outputFourCC, &vix::VideoDecoderProRes::fieldCount>;

class DecoderStateTest : public DecoderTest {
 protected:
  vix::FourCC OutputFourCC() const { return OutputFourCCOf(Element()); }
  std::uint64_t FieldCount() const { return FieldCountOf(Element()); }

 private:
  const vix::VideoDecoderProRes& Element() const {
    return dynamic_cast<const vix::VideoDecoderProRes&>(*decoder);
  }
};

TEST_F(DecoderStateTest, AnUnsetOutputFourCCIsReplacedByDefineInput) {
  EXPECT_EQ(OutputFourCC(), 0U);
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(OutputFourCC(), 0U);
  decoder->DefineInput(MakeStream(parameters), "");
  EXPECT_EQ(OutputFourCC(), vix::kFourCC_V210);
}

TEST_F(DecoderStateTest, TheOutputFourCCIsReplacedEvenWhenTheConfigurationIsMissing) {
  EXPECT_THROW(decoder->DefineInput(MakeStream(parameters), ""), vix::VIXRuntimeError);
  EXPECT_EQ(OutputFourCC(), vix::kFourCC_V210);
}

TEST_F(DecoderStateTest, AConfiguredOutputFourCCIsStored) {
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  decoder->SetInitConfig(initConfig);
  EXPECT_EQ(OutputFourCC(), vix::kFourCC_UYVY);
}

TEST_F(DecoderStateTest, AcceptedXtFieldsAreCounted) {
  Define();
  EXPECT_EQ(FieldCount(), 0U);
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1});
  EXPECT_EQ(FieldCount(), 1U);
  ExpectResult(-1, FrameShape{.bare = true, .interlaceMode = 1});
  EXPECT_EQ(FieldCount(), 1U);
}

TEST_F(DecoderStateTest, OtherFramesAreNotCounted) {
  Define();
  Push(FrameShape{});
  Push(FrameShape{.interlaceMode = 1});
  Push(FrameShape{.bare = true});
  EXPECT_EQ(FieldCount(), 0U);
}

TEST_F(DecoderStateTest, OtherFramesBetweenTwoFieldsAreNotCounted) {
  Define();
  ExpectResult(-6, FrameShape{.bare = true, .interlaceMode = 1});
  Push(FrameShape{.bare = true});
  EXPECT_EQ(FieldCount(), 1U);
  Push(FrameShape{});
  EXPECT_EQ(FieldCount(), 1U);
  DefineSkippingFields();
  // Its prefix parses as a header, so that the skipped field is decoded.
  Push(FrameShape{.bare = true, .encoderIdentifier = 0x84, .interlaceMode = 1, .bytes = 1024 - 8});
  EXPECT_EQ(FieldCount(), 1U);
}

}  // namespace

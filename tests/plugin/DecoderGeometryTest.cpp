// SPDX-License-Identifier: BSD-2-Clause
// The picture geometry that the first frame fixes, and later frames that differ from it.
#include "DecoderTest.h"

namespace {

using fake::TheHost;

using DecoderGeometryTest = DecoderTest;

TEST_F(DecoderGeometryTest, AChangeOfSizeIsNotReflectedUntilRelease) {
  Define();
  Push(FrameShape{.width = 720, .height = 576});
  Push(FrameShape{.width = 1920, .height = 1080});
  EXPECT_EQ(LastDecoded().destination.width, 720U);
  EXPECT_EQ(LastDecoded().destination.height, 576U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 1920U);
  decoder->Release();
  Push(FrameShape{.width = 1920, .height = 1080});
  EXPECT_EQ(LastDecoded().handle, reinterpret_cast<void*>(2));
  EXPECT_EQ(LastDecoded().destination.width, 1920U);
  EXPECT_EQ(LastDecoded().destination.height, 1080U);
  EXPECT_EQ(LastDecoded().destination.rowBytes, 5120U);
}

TEST_F(DecoderGeometryTest, AChangeOfConfigurationIsNotReflectedUntilRelease) {
  Define();
  Push(FrameShape{.interlaceMode = 1});
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  DefineSkippingFields();
  Push(FrameShape{.interlaceMode = 1});
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0x76323130U);
  EXPECT_EQ(LastDecoded().destination.height, 1080U);
  EXPECT_EQ(LastDecoded().fieldFlag, 1);
  decoder->Release();
  Push(FrameShape{.interlaceMode = 1});
  EXPECT_EQ(LastDecoded().destination.pixelFormat, 0x32767579U);
  EXPECT_EQ(LastDecoded().destination.height, 540U);
}

TEST_F(DecoderGeometryTest, TheOutputBufferGrowsToALargerOpeningPicture) {
  Define();
  Push(FrameShape{.width = 1920, .height = 1080});
  TheHost().calls.clear();
  Push(FrameShape{.width = 720, .height = 576});
  EXPECT_EQ(TheHost().CountCalls("buffer3.Allocate(1105920)"), 1U);
  EXPECT_EQ(TheHost().CountCalls("buffer3.Resize(5529600)"), 1U);
  const auto sample = OnlySample(decoder->GetSample());
  const auto& buffer = dynamic_cast<const fake::Buffer&>(*sample->buffer);
  EXPECT_EQ(buffer.size, 5529600U);
  EXPECT_EQ(LastDecoded().destination.baseAddress, buffer.memory.get());
}

TEST_F(DecoderGeometryTest, TheOutputBufferGrowsIfOneDimensionOrTheFormatDiffers) {
  // The frame sizes that this host reports are always too small for the opening picture.
  TheHost().frameBytes = 16;
  Define();
  Push(FrameShape{.width = 1920, .height = 1080});
  Push(FrameShape{.width = 1918, .height = 1080});
  EXPECT_EQ(TheHost().CountCalls("buffer3.Resize(5529600)"), 1U);
  Push(FrameShape{.width = 1920, .height = 1079});
  EXPECT_EQ(TheHost().CountCalls("buffer4.Resize(5529600)"), 1U);
  initConfig->fourccs["OutputFourCC"] = vix::kFourCC_UYVY;
  Define();
  Push(FrameShape{.width = 1920, .height = 1080});
  EXPECT_EQ(TheHost().CountCalls("buffer5.Resize(5529600)"), 1U);
}

TEST_F(DecoderGeometryTest, TheOutputBufferOfAnEqualPictureStaysAsAllocated) {
  TheHost().frameBytes = 16;  // less than stride x height
  Define();
  for (const int frame : {2, 3}) {
    Push(FrameShape{});
    const std::string buffer = "buffer" + std::to_string(frame);
    EXPECT_EQ(TheHost().CountCalls(buffer + ".Resize"), 0U);
    EXPECT_EQ(TheHost().CountCalls(buffer + ".SetSize(16)"), 1U);
  }
}

TEST_F(DecoderGeometryTest, AnOpeningPictureLargerThanAnyBufferIsRejected) {
  Define();
  TheHost().strides = {0x10000000};
  TheHost().frameBytes = 16;
  Push(FrameShape{});
  ExpectResult(-2, FrameShape{.width = 720});
  EXPECT_EQ(TheHost().CountCalls("WPRDecodeFrame"), 1U);
}

}  // namespace

// SPDX-License-Identifier: BSD-2-Clause
#include "PluginTest.h"
#include "VideoCodecProResCommon.h"

namespace {

using vix::GetInterlaceMode;
using vix::GetPixelFormat;
using vix::GetProResCodecType;

using CodeConversionTest = PluginTest;

TEST_F(CodeConversionTest, VariantsBecomeCodecTypes) {
  EXPECT_EQ(GetProResCodecType(vix::ProResCodecVariant{1}), 0x6170636FU);
  EXPECT_EQ(GetProResCodecType(vix::ProResCodecVariant{2}), 0x61706373U);
  EXPECT_EQ(GetProResCodecType(vix::ProResCodecVariant{3}), 0x6170636EU);
  EXPECT_EQ(GetProResCodecType(vix::ProResCodecVariant{4}), 0x61706368U);
}

TEST_F(CodeConversionTest, OtherVariantsAreAPlainErrorWithoutRecord) {
  for (const int value : {0, -1, 5, 1000}) {
    ExpectPlainError([=] { GetProResCodecType(vix::ProResCodecVariant{value}); },
                     "Failed to convert prores codec variant to apple prores code type");
  }
}

TEST_F(CodeConversionTest, ScanModesBecomeInterlaceModes) {
  EXPECT_EQ(GetInterlaceMode(vix::ScanMode{1}), 1U);
  EXPECT_EQ(GetInterlaceMode(vix::ScanMode{2}), 0U);
}

TEST_F(CodeConversionTest, OtherScanModesAreAPlainErrorWithoutRecord) {
  for (const int value : {0, -1, 3}) {
    ExpectPlainError([=] { GetInterlaceMode(vix::ScanMode{value}); },
                     "Failed to convert ScanMode to apple interlace mode");
  }
}

TEST_F(CodeConversionTest, FourCCsBecomePixelFormats) {
  EXPECT_EQ(GetPixelFormat(0x59565955), 0x32767579U);
  EXPECT_EQ(GetPixelFormat(0x30313256), 0x76323130U);
}

TEST_F(CodeConversionTest, OtherFourCCsAreReportedWithoutBrackets) {
  for (const vix::FourCC fourcc : {vix::FourCC{0}, vix::MakeFourCC("NV12"), 0x32767579U}) {
    ExpectReport([=] { GetPixelFormat(fourcc); }, "Unsupported fourcc", "VideoCodecProResCommon");
  }
}

}  // namespace

// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <vector>

#include "check/VideoComparison.h"
#include "format/PlanarPicture.h"
#include "report/ComparisonReport.h"

namespace vixprores {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

StreamFormat Format(vix::FourCC code, std::uint32_t width, std::uint32_t height) {
  StreamFormat format;
  format.code = code;
  format.width = width;
  format.height = height;
  format.rate = {25, 1};
  return format;
}

// Makes an 8-bit picture from its planes, with samples of `bits` bits.
SamplePicture Load(const StreamFormat& format, const std::vector<std::uint8_t>& planar,
                   unsigned bits) {
  std::vector<std::uint8_t> packed(format.FrameBytes());
  PackPicture(format, planar, packed);
  SamplePicture picture;
  picture.Load(format, packed, bits);
  return picture;
}

SamplePicture Flat(std::uint8_t luma, std::uint8_t cb, std::uint8_t cr, unsigned bits = 8) {
  std::vector<std::uint8_t> planar(32 * 16, luma);
  std::fill_n(planar.begin() + 16 * 16, 8 * 16, cb);
  std::fill_n(planar.begin() + 24 * 16, 8 * 16, cr);
  return Load(Format(vix::kFourCC_UYVY, 16, 16), planar, bits);
}

TEST(SamplePicture, WidensSamplesOfEightBits) {
  const SamplePicture picture = Flat(1, 2, 255, 10);
  EXPECT_EQ(picture.GetPlane(0).Row(15)[15], 4);
  EXPECT_EQ(picture.GetPlane(1).Row(0)[0], 8);
  EXPECT_EQ(picture.GetPlane(2).Row(15)[7], 1020);
  EXPECT_EQ(picture.GetPlane(2).width, 8u);
}

TEST(PictureQuality, HasNoErrorForEqualPictures) {
  const auto quality = MeasureQuality(Flat(90, 100, 110), Flat(90, 100, 110), {8});
  EXPECT_TRUE(quality.IsIdentical());
  EXPECT_TRUE(std::isinf(ToPsnr(quality.parts[0].MeanSquaredError(), 8)));
  EXPECT_EQ(quality.parts[FrameQuality::kAll].ssim, 1);
}

TEST(PictureQuality, CountsTheErrorOfEachPlane) {
  const auto quality = MeasureQuality(Flat(90, 100, 110), Flat(95, 100, 109), {8});
  EXPECT_EQ(quality.parts[0].MeanSquaredError(), 25);
  EXPECT_EQ(quality.parts[1].MeanSquaredError(), 0);
  EXPECT_EQ(quality.parts[2].MeanSquaredError(), 1);
  EXPECT_EQ(quality.parts[FrameQuality::kAll].MeanSquaredError(), 0.5 * 25 + 0.25);
  EXPECT_NEAR(ToPsnr(25, 8), 10 * std::log10(255.0 * 255 / 25), 1e-12);
  EXPECT_NEAR(ToPsnr(25, 10), 10 * std::log10(1023.0 * 1023 / 25), 1e-12);
}

TEST(PictureQuality, SimilarityOfFlatPicturesFollowsTheirMeans) {
  const auto quality = MeasureQuality(Flat(90, 100, 110), Flat(60, 100, 110), {8});
  const double c1 = std::pow(0.01 * 255, 2);
  const double expected = (2.0 * 90 * 60 + c1) / (90.0 * 90 + 60.0 * 60 + c1);
  EXPECT_NEAR(quality.parts[0].ssim, expected, 1e-9);
  EXPECT_EQ(quality.parts[1].ssim, 1);
  EXPECT_NEAR(quality.parts[FrameQuality::kAll].ssim, 0.5 * expected + 0.5, 1e-9);
}

// Computes one window of samples that differ in all respects by the definition.
TEST(PictureQuality, SimilarityOfAWindowFollowsItsDefinition) {
  const StreamFormat format = Format(vix::kFourCC_UYVY, 8, 8);
  std::vector<std::uint8_t> a(PlanarBytes(format), 128);
  std::vector<std::uint8_t> b = a;
  double sumA = 0;
  double sumB = 0;
  for (std::size_t i = 0; i < 64; ++i) {
    a[i] = static_cast<std::uint8_t>(i * 37 % 200);
    b[i] = static_cast<std::uint8_t>(i * 53 % 180 + 10);
    sumA += a[i];
    sumB += b[i];
  }
  const double meanA = sumA / 64;
  const double meanB = sumB / 64;
  double varianceA = 0;
  double varianceB = 0;
  double covariance = 0;
  for (std::size_t i = 0; i < 64; ++i) {
    varianceA += (a[i] - meanA) * (a[i] - meanA) / 63;
    varianceB += (b[i] - meanB) * (b[i] - meanB) / 63;
    covariance += (a[i] - meanA) * (b[i] - meanB) / 63;
  }
  const double c1 = std::pow(0.01 * 255, 2);
  const double c2 = std::pow(0.03 * 255, 2);
  const double expected = (2 * meanA * meanB + c1) * (2 * covariance + c2) /
                          ((meanA * meanA + meanB * meanB + c1) * (varianceA + varianceB + c2));
  const auto quality = MeasureQuality(Load(format, a, 8), Load(format, b, 8), {8});
  EXPECT_NEAR(quality.parts[0].ssim, expected, 1e-9);
}

TEST(PictureQuality, AcceptsPicturesSmallerThanAWindow) {
  const StreamFormat format = Format(vix::kFourCC_UYVY, 2, 2);
  const std::vector<std::uint8_t> a(PlanarBytes(format), 100);
  const std::vector<std::uint8_t> b(PlanarBytes(format), 120);
  const double ssim = MeasureQuality(Load(format, a, 8), Load(format, b, 8), {8}).parts[0].ssim;
  EXPECT_GT(ssim, 0.9);
  EXPECT_LT(ssim, 1);
}

// Makes a "Y416" picture of one pixel value, given in 16 bits.
SamplePicture Deep(std::uint16_t alpha, std::uint16_t luma, std::uint32_t width = 100,
                   std::uint32_t height = 80) {
  const StreamFormat format = Format(vix::kFourCC_Y416, width, height);
  std::vector<std::uint16_t> pixels;
  for (std::size_t i = 0; i < std::size_t{width} * height; ++i) {
    pixels.insert(pixels.end(), {alpha, luma, 0x8000, 0x1230});
  }
  SamplePicture picture;
  picture.Load(format, {reinterpret_cast<const std::uint8_t*>(pixels.data()), 2 * pixels.size()},
               12);
  return picture;
}

TEST(SamplePicture, RoundsDeepColoursToTwelveBitsAndKeepsAlpha) {
  const SamplePicture picture = Deep(0x1235, 0x2348, 3, 2);
  EXPECT_EQ(picture.GetPlane(0).Row(1)[2], 0x235);
  EXPECT_EQ(picture.GetPlane(1).Row(1)[2], 0x800);
  EXPECT_EQ(picture.GetPlane(2).Row(0)[0], 0x123);
  EXPECT_EQ(picture.GetPlane(2).width, 3u);
  EXPECT_EQ(picture.GetAlpha().Row(1)[2], 0x1235);
}

// The largest errors overflow sums that are too narrow. The similarity of flat pictures follows
// their means.
TEST(PictureQuality, IsExactForTheLargestErrors) {
  const auto quality = MeasureQuality(Deep(0, 0), Deep(0xFFFF, 0xFFFF), {12, true});
  const PlaneQuality& luma = quality.parts[0];
  const PlaneQuality& alpha = quality.parts[FrameQuality::kAlpha];
  EXPECT_EQ(luma.MeanSquaredError(), 4095.0 * 4095);
  EXPECT_EQ(alpha.MeanSquaredError(), 65535.0 * 65535);
  EXPECT_NEAR(ToPsnr(alpha.MeanSquaredError(), ComparedDepth::kAlphaBits), 0, 1e-9);
  EXPECT_NEAR(luma.ssim, 0.0001 / 1.0001, 1e-9);
  EXPECT_NEAR(alpha.ssim, 0.0001 / 1.0001, 1e-9);
  const auto bright = MeasureQuality(Deep(0xFFFF, 0xFFF0), Deep(0xFFFE, 0xFFE0), {12, true});
  const double c1 = std::pow(0.01 * 4095, 2);
  EXPECT_NEAR(bright.parts[0].ssim, (2.0 * 4095 * 4094 + c1) / (4095.0 * 4095 + 4094.0 * 4094 + c1),
              1e-6);
  EXPECT_NEAR(bright.parts[FrameQuality::kAlpha].ssim, 1, 1e-6);
}

TEST(PictureQuality, KeepsAlphaOutOfTheSumOfAllSamples) {
  const auto quality = MeasureQuality(Deep(100, 0x8000), Deep(101, 0x8000), {12, true});
  EXPECT_EQ(quality.parts[FrameQuality::kAll].squaredError, 0);
  EXPECT_EQ(quality.parts[FrameQuality::kAll].samples, 3u * 100 * 80);
  EXPECT_EQ(quality.parts[FrameQuality::kAlpha].MeanSquaredError(), 1);
  EXPECT_FALSE(quality.IsIdentical());
  EXPECT_TRUE(MeasureQuality(Deep(100, 0), Deep(101, 0), {12, false}).IsIdentical());
}

Comparison Compare(const std::vector<std::uint8_t>& lumas) {
  Comparison comparison;
  comparison.reference.format = comparison.distorted.format = Format(vix::kFourCC_UYVY, 16, 16);
  comparison.reference.picture = comparison.distorted.picture = comparison.reference.format;
  comparison.depth = {8};
  for (const std::uint8_t luma : lumas) {
    AddFrame(comparison,
             {std::ssize(comparison.frames),
              MeasureQuality(Flat(100, 128, 128), Flat(luma, 128, 128), {8}), std::nullopt});
  }
  return comparison;
}

TEST(Comparison, DistinguishesMeanDecibelsFromMeanError) {
  const Comparison comparison = Compare({101, 110, 100});
  const PartQuality& luma = comparison.parts[0];
  EXPECT_EQ(comparison.identical, 1);
  EXPECT_NEAR(luma.PsnrOfMeanError(), ToPsnr((1.0 + 100) / 3, 8), 1e-12);
  EXPECT_NEAR(luma.GetPsnr().GetMean(), (ToPsnr(1, 8) + ToPsnr(100, 8)) / 2, 1e-12);
  EXPECT_NEAR(luma.GetPsnr().GetMin(), ToPsnr(100, 8), 1e-12);
}

TEST(Comparison, FindsTheWorstFramesFirst) {
  EXPECT_THAT(Compare({101, 110, 100, 104}).FindWorst(5), ElementsAre(1, 3, 0));
  EXPECT_THAT(Compare({101, 110, 100, 104}).FindWorst(1), ElementsAre(1));
  EXPECT_THAT(Compare({100, 100}).FindWorst(5), ElementsAre());
}

TEST(Comparison, FindsFramesWhoseAlphaAloneDiffersAfterOthers) {
  Comparison comparison;
  comparison.depth = {12, true};
  for (const auto& [alpha, luma] :
       {std::pair(7, 0x8000), std::pair(8, 0x8000), std::pair(9, 0x8000), std::pair(7, 0x8010)}) {
    const auto distorted =
        Deep(static_cast<std::uint16_t>(alpha), static_cast<std::uint16_t>(luma));
    AddFrame(comparison,
             {std::ssize(comparison.frames),
              MeasureQuality(Deep(7, 0x8000), distorted, comparison.depth), std::nullopt});
  }
  EXPECT_EQ(comparison.identical, 1);
  EXPECT_THAT(comparison.FindWorst(5), ElementsAre(3, 2, 1));
}

std::string JsonOf(const Comparison& comparison) {
  std::string report;
  WriteComparisonJson(comparison, [&report](std::string_view text) { report += text; });
  return report;
}

TEST(ComparisonReport, HasAlphaWhereItIsCompared) {
  Comparison comparison;
  comparison.reference.format = comparison.distorted.format = Format(vix::kFourCC_Y416, 100, 80);
  comparison.reference.picture = comparison.distorted.picture = comparison.reference.format;
  for (const bool hasAlpha : {false, true}) {
    comparison.depth = {12, hasAlpha};
    comparison.frames.clear();
    AddFrame(comparison, {0, MeasureQuality(Deep(7, 0), Deep(8, 0), comparison.depth), {}});
    const auto json = nlohmann::json::parse(JsonOf(comparison));
    EXPECT_EQ(json["bits"], 12);
    for (const char* key : {"psnr", "ssim"}) {
      EXPECT_EQ(json[key].contains("alpha"), hasAlpha);
      EXPECT_EQ(json["frames"][0][key].contains("alpha"), hasAlpha);
    }
    EXPECT_EQ(ComparisonText(comparison).find("alpha") != std::string::npos, hasAlpha);
  }
}

TEST(ComparisonReport, ReportsIdenticalVideos) {
  const Comparison comparison = Compare({100, 100});
  EXPECT_THAT(ComparisonText(comparison), HasSubstr("2 frames compared in 8 bits, all identical"));
  const auto json = nlohmann::json::parse(JsonOf(comparison));
  EXPECT_EQ(json["identical"], true);
  EXPECT_TRUE(json["psnr"]["all"]["ofMeanSquaredError"].is_null());
  EXPECT_TRUE(json["frames"][0]["psnr"]["y"].is_null());
  EXPECT_EQ(json["frames"][0]["identical"], true);
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>
#include <zimg.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include "ConverterTest.h"
#include "base/Errors.h"
#include "media/decode/PictureConverter.h"
#include "media/decode/PictureRows.h"
#include "vix/PixelConversion.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace vixprores {
namespace {

using test::Convert;
using test::FillAtRandom;
using test::MakePicture;
using test::TargetOf;
using test::UniqueFrame;

/// The samples of a packed picture.
struct Planes {
  std::vector<std::uint16_t> luma, cb, cr;
};

Planes Unpack(const StreamFormat& format, const std::vector<std::uint8_t>& packed) {
  const std::uint32_t width = format.width;
  const std::uint32_t height = format.height;
  const std::uint32_t chroma = (width + 1) / 2;
  Planes planes{std::vector<std::uint16_t>(std::size_t{width} * height),
                std::vector<std::uint16_t>(std::size_t{chroma} * height),
                std::vector<std::uint16_t>(std::size_t{chroma} * height)};
  vix::PixelPicture target{vix::PixelFormat::I210, width, height, {}};
  target.planes[0] = {reinterpret_cast<std::uint8_t*>(planes.luma.data()), 2 * width};
  target.planes[1] = {reinterpret_cast<std::uint8_t*>(planes.cb.data()), 2 * chroma};
  target.planes[2] = {reinterpret_cast<std::uint8_t*>(planes.cr.data()), 2 * chroma};
  vix::ConvertPixels(vix::MakePixelPicture(vix::PixelFormat::V210, width, height, packed.data()),
                     target);
  return planes;
}

constexpr AVPixelFormat kFormats[] = {
    AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUVJ420P,    AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,
    AV_PIX_FMT_YUV411P,     AV_PIX_FMT_YUV410P,     AV_PIX_FMT_YUV440P,     AV_PIX_FMT_YUV420P10LE,
    AV_PIX_FMT_YUV422P10BE, AV_PIX_FMT_YUV422P12LE, AV_PIX_FMT_YUV444P12LE, AV_PIX_FMT_YUV444P16LE,
    AV_PIX_FMT_YUVA420P,    AV_PIX_FMT_NV12,        AV_PIX_FMT_NV21,        AV_PIX_FMT_P010LE,
    AV_PIX_FMT_P210LE,      AV_PIX_FMT_UYVY422,     AV_PIX_FMT_YUYV422,     AV_PIX_FMT_Y210LE,
    AV_PIX_FMT_RGB24,       AV_PIX_FMT_BGRA,        AV_PIX_FMT_RGB565LE,    AV_PIX_FMT_RGB48BE,
    AV_PIX_FMT_RGBA64LE,    AV_PIX_FMT_GBRP,        AV_PIX_FMT_GBRP10LE,    AV_PIX_FMT_GBRP12BE,
    AV_PIX_FMT_GBRAP16LE,   AV_PIX_FMT_X2RGB10LE,   AV_PIX_FMT_PAL8,        AV_PIX_FMT_GRAY8,
    AV_PIX_FMT_GRAY12LE,    AV_PIX_FMT_GRAY16BE,    AV_PIX_FMT_YA8};

constexpr vix::FourCC kTargets[] = {vix::kFourCC_V210, vix::kFourCC_Y416};

class PictureConverterFormats : public testing::TestWithParam<AVPixelFormat> {};

TEST_P(PictureConverterFormats, AreConvertedAlikeOnEveryProcessor) {
  for (const auto& [width, height] : {std::pair{64, 48}, {63, 61}, {1, 1}, {2, 3}, {50, 2}}) {
    for (const FieldOrder order : {FieldOrder::Progressive, FieldOrder::TopFirst}) {
      const UniqueFrame picture = MakePicture(GetParam(), width, height);
      picture->interlaced_frame = order == FieldOrder::TopFirst ? 1 : 0;
      FillAtRandom(*picture, 1);
      for (const vix::FourCC code : kTargets) {
        PictureTarget target = TargetOf(width, height, order);
        target.format.code = code;
        const auto best = Convert(target, *picture);
        // Levels that the processor lacks count as the best one.
        for (const int level :
             {ZIMG_CPU_X86_MMX, ZIMG_CPU_X86_SSE2, ZIMG_CPU_X86_AVX, ZIMG_CPU_X86_AVX2}) {
          target.cpuLevel = level;
          EXPECT_EQ(Convert(target, *picture), best) << width << 'x' << height << " at " << level;
        }
      }
    }
  }
}

TEST_P(PictureConverterFormats, AreScaledAlikeOnEveryProcessor) {
  const UniqueFrame picture = MakePicture(GetParam(), 97, 50);
  FillAtRandom(*picture, 2);
  for (const auto& [width, height] : {std::pair{48, 25}, {131, 77}, {33, 50}}) {
    for (const vix::FourCC code : kTargets) {
      PictureTarget target = TargetOf(width, height);
      target.format.code = code;
      const auto best = Convert(target, *picture);
      for (const int level : {ZIMG_CPU_X86_MMX, ZIMG_CPU_X86_SSE2, ZIMG_CPU_X86_AVX2}) {
        target.cpuLevel = level;
        EXPECT_EQ(Convert(target, *picture), best) << width << 'x' << height << " at " << level;
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(, PictureConverterFormats, testing::ValuesIn(kFormats),
                         [](const testing::TestParamInfo<AVPixelFormat>& format) {
                           return std::string(av_get_pix_fmt_name(format.param));
                         });

TEST(PictureConverter, KeepsEverySampleOf422With10Bits) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUV422P10, 62, 31);
  FillAtRandom(*picture, 3);
  const PictureTarget target = TargetOf(62, 31);
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  for (int y = 0; y < 31; ++y) {
    const auto* const luma =
        reinterpret_cast<const std::uint16_t*>(picture->data[0] + y * picture->linesize[0]);
    const auto* const cr =
        reinterpret_cast<const std::uint16_t*>(picture->data[2] + y * picture->linesize[2]);
    EXPECT_TRUE(std::equal(luma, luma + 62, planes.luma.begin() + y * 62)) << y;
    EXPECT_TRUE(std::equal(cr, cr + 31, planes.cr.begin() + y * 31)) << y;
  }
}

TEST(PictureConverter, KeepsEightBitLumaWithoutDithering) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUV420P, 64, 32);
  FillAtRandom(*picture, 4);
  const PictureTarget target = TargetOf(64, 32);
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  for (std::size_t i = 0; i < planes.luma.size(); ++i) {
    const std::size_t x = i % 64;
    const std::size_t y = i / 64;
    const std::size_t stride = static_cast<std::size_t>(picture->linesize[0]);
    EXPECT_EQ(planes.luma[i], 4 * picture->data[0][y * stride + x]) << x << ", " << y;
  }
}

// Returns the Y, Cb and Cr of a picture of one RGB colour.
std::array<int, 3> ConvertColour(int matrix, std::array<std::uint8_t, 3> rgb) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_RGB24, 16, 4);
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 48; ++x) {
      picture->data[0][y * picture->linesize[0] + x] = rgb[static_cast<std::size_t>(x % 3)];
    }
  }
  PictureTarget target = TargetOf(16, 4);
  target.format.colour.matrix = matrix;
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  return {planes.luma[20], planes.cb[9], planes.cr[9]};
}

TEST(PictureConverter, ConvertsRgbByTheMatrix) {
  using Sample = std::array<int, 3>;
  EXPECT_EQ(ConvertColour(AVCOL_SPC_BT709, {255, 255, 255}), (Sample{940, 512, 512}));
  EXPECT_EQ(ConvertColour(AVCOL_SPC_BT709, {0, 0, 0}), (Sample{64, 512, 512}));
  // 75 % red of BT.709 and of BT.601, and full blue of BT.2020, computed from the standards.
  EXPECT_EQ(ConvertColour(AVCOL_SPC_BT709, {255, 0, 0}), (Sample{250, 409, 960}));
  EXPECT_EQ(ConvertColour(AVCOL_SPC_SMPTE170M, {255, 0, 0}), (Sample{326, 361, 960}));
  EXPECT_EQ(ConvertColour(AVCOL_SPC_BT2020_NCL, {0, 0, 255}), (Sample{116, 960, 476}));
  EXPECT_EQ(ConvertColour(AVCOL_SPC_BT2020_CL, {0, 0, 255}), (Sample{116, 960, 476}));
}

TEST(PictureConverter, ReadsTheColoursOfPalettes) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_PAL8, 4, 1);
  const UniqueFrame rgb = MakePicture(AV_PIX_FMT_RGB24, 4, 1);
  for (int x = 0; x < 4; ++x) {
    const std::uint32_t entry = 0xFF102030U + 0x00304010U * static_cast<std::uint32_t>(x);
    picture->data[0][x] = static_cast<std::uint8_t>(5 + x);
    reinterpret_cast<std::uint32_t*>(picture->data[1])[5 + x] = entry;
    for (int c = 0; c < 3; ++c) {
      rgb->data[0][3 * x + c] = static_cast<std::uint8_t>(entry >> (16 - 8 * c));
    }
  }
  const PictureTarget target = TargetOf(4, 1);
  EXPECT_EQ(Convert(target, *picture), Convert(target, *rgb));
}

TEST(PictureConverter, LimitsFullRange) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUVJ444P, 256, 2);
  for (int plane = 0; plane < 3; ++plane) {
    for (int i = 0; i < 512; ++i) {
      picture->data[plane][i / 256 * picture->linesize[plane] + i % 256] =
          static_cast<std::uint8_t>(plane == 0 ? i % 256 : 255);
    }
  }
  const PictureTarget target = TargetOf(256, 2);
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  for (int x = 0; x < 256; ++x) {
    EXPECT_NEAR(planes.luma[static_cast<std::size_t>(x)], 64 + x * 876 / 255.0, 0.51) << x;
  }
  // 255 of full range is 127 above the middle: 512 + 127 * 896 / 255.
  EXPECT_EQ(planes.cb[3], 958);
}

TEST(PictureConverter, DithersDeepSamplesAroundTheirValue) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUV422P16LE, 64, 64);
  for (int plane = 0; plane < 3; ++plane) {
    for (int y = 0; y < 64; ++y) {
      auto* const row =
          reinterpret_cast<std::uint16_t*>(picture->data[plane] + y * picture->linesize[plane]);
      std::fill_n(row, plane == 0 ? 64 : 32, std::uint16_t{30000 + 21});
    }
  }
  const PictureTarget target = TargetOf(64, 64);
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  double sum = 0;
  for (const std::uint16_t sample : planes.luma) {
    EXPECT_NEAR(sample, 30021 / 64.0, 1);
    sum += sample;
  }
  EXPECT_NEAR(sum / static_cast<double>(planes.luma.size()), 30021 / 64.0, 0.01);
}

TEST(PictureConverter, KeepsTheFieldsOfInterlacedChromaApart) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_YUV420P, 32, 32);
  picture->interlaced_frame = 1;
  for (int y = 0; y < 32; ++y) {
    std::fill_n(picture->data[0] + y * picture->linesize[0], 32, std::uint8_t{100});
  }
  for (int plane = 1; plane < 3; ++plane) {
    for (int y = 0; y < 16; ++y) {
      std::fill_n(picture->data[plane] + y * picture->linesize[plane], 16,
                  static_cast<std::uint8_t>(y % 2 == 0 ? 60 : 200));
    }
  }
  const PictureTarget target = TargetOf(32, 32, FieldOrder::TopFirst);
  const Planes planes = Unpack(target.format, Convert(target, *picture));
  for (std::size_t y = 0; y < 32; ++y) {
    EXPECT_EQ(planes.cb[y * 16 + 5], y % 2 == 0 ? 240 : 800) << y;
  }
}

TEST(PictureConverter, NamesFormatsThatItDoesNotRead) {
  const UniqueFrame picture = MakePicture(AV_PIX_FMT_GBRPF32LE, 8, 8);
  try {
    Convert(TargetOf(8, 8), *picture);
    FAIL() << "converted";
  } catch (const Failure& failure) {
    EXPECT_NE(std::string(failure.what()).find("gbrpf32le"), std::string::npos) << failure.what();
    EXPECT_NE(std::string(failure.what()).find("--filter"), std::string::npos) << failure.what();
  }
}

}  // namespace
}  // namespace vixprores

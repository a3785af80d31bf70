// SPDX-License-Identifier: BSD-2-Clause
#include "Deep.h"

#include <gtest/gtest.h>

#include <memory>

#include "ProRes/ProResHost.h"

namespace vix::test {
namespace {

constexpr std::size_t kPixelBytes = 8;

PixelBufferRecord DescribePixels(Bytes& picture, const DeepShape& shape) {
  return {picture.data(), std::uint32_t(shape.width * kPixelBytes),
          std::uint32_t(shape.fourcc == kFourCC_b64A ? kWPRPixelFormatB64a : kWPRPixelFormatY416),
          shape.width, shape.height};
}

}  // namespace

Shape PlainOf(const DeepShape& shape) {
  return {shape.width, shape.height, shape.scanMode, shape.fourcc, shape.rate};
}

std::string RawCaps(const DeepShape& shape) {
  return RawCaps(PlainOf(shape));
}

std::string ProResCaps(const DeepShape& shape, const std::string& variant) {
  return ProResCaps(PlainOf(shape), variant);
}

GstBuffer* MakeRawBuffer(const DeepShape& shape, unsigned number) {
  return MakeBuffer(DrawPicture(shape, number), number);
}

GstBuffer* MakePaddedBuffer(const DeepShape& shape, unsigned number, std::size_t padding) {
  return MakePaddedBuffer(PlainOf(shape), number, padding, DrawPicture(shape, number));
}

Bytes EncodeDirectly(const DeepShape& shape, unsigned number, WPRCodecType type, int alphaBits) {
  Bytes source = DrawPicture(shape, number);
  const PixelBufferRecord picture = DescribePixels(source, shape);
  const bool isInterlaced = shape.scanMode == ScanMode::Interlaced;
  const EncodeParamsRecord params{
      std::uint32_t(type), std::uint32_t(isInterlaced ? kWPRTopFieldFirst : kWPRProgressive)};
  const EncodeSettingsRecord settings{sizeof(EncodeSettingsRecord), alphaBits,
                                      std::uint32_t(shape.matrix == 0 ? 2 : shape.matrix)};
  std::uint32_t bytes = 0;
  EXPECT_EQ(WPRGetCompressedFrameSize(type, shape.width, shape.height, &bytes, nullptr),
            kWPRSuccess);
  Bytes frame(bytes);
  const std::unique_ptr<void, decltype(&WPRCloseEncoder)> encoder(WPROpenEncoder(1, nullptr),
                                                                  WPRCloseEncoder);
  EXPECT_EQ(WPRSetEncodeSettings(encoder.get(), &settings), kWPRSuccess);
  EXPECT_EQ(WPREncodeFrame(encoder.get(), &params, &picture, frame.data(), bytes, &bytes),
            kWPRSuccess);
  frame.resize(bytes);
  return frame;
}

GstBuffer* MakeProResBuffer(const DeepShape& shape, unsigned number) {
  return MakeBuffer(EncodeDirectly(shape, number), number);
}

Bytes DecodeDirectly(const Bytes& frame, const Shape& shape, FourCC fourcc) {
  const DeepShape deep{.width = shape.width, .height = shape.height, .fourcc = fourcc};
  Bytes picture(shape.width * shape.height * kPixelBytes);
  PixelBufferRecord destination = DescribePixels(picture, deep);
  const std::unique_ptr<void, decltype(&WPRCloseDecoder)> decoder(WPROpenDecoder(1, nullptr),
                                                                  WPRCloseDecoder);
  EXPECT_EQ(
      WPRDecodeFrame(decoder.get(), frame.data(), std::uint32_t(frame.size()), &destination, 0),
      kWPRSuccess);
  return picture;
}

Bytes RowsOf(const BufferPointer& buffer, const DeepShape& shape) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, FormatOf(shape.fourcc), shape.width, shape.height);
  GstVideoFrame frame;
  if (!gst_video_frame_map(&frame, &info, buffer.get(), GST_MAP_READ)) return {};
  Bytes rows;
  for (std::uint32_t row = 0; row < shape.height; ++row) {
    const auto* const start =
        static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0)) +
        std::size_t{row} * std::size_t(GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0));
    rows.insert(rows.end(), start, start + shape.width * kPixelBytes);
  }
  gst_video_frame_unmap(&frame);
  return rows;
}

void ExpectDecoded(const BufferPointer& buffer, const DeepShape& shape, unsigned number,
                   int alphaBits) {
  ASSERT_TRUE(buffer) << "no picture " << number;
  EXPECT_EQ(GST_BUFFER_PTS(buffer.get()), number * kFrameTime);
  const auto difference = Compare(shape, number, RowsOf(buffer, shape), alphaBits);
  EXPECT_EQ(difference.alpha, 0) << "picture " << number;
  EXPECT_LE(difference.colour, test4444::kMostCodingError) << "picture " << number;
}

}  // namespace vix::test

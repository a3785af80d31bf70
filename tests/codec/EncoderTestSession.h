// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_ENCODERTESTSESSION_H
#define TESTS_CODEC_ENCODERTESTSESSION_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "ProRes/ProResHost.h"

/// @file
/// Encodes and decodes pictures with the codec library's C calls, which are expected to succeed.

namespace prores::test {

inline constexpr std::uint32_t kCodecTypes[] = {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422,
                                                kWPRCodecHQ};
inline constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210};
inline constexpr std::uint32_t kDeepCodecTypes[] = {kWPRCodec4444, kWPRCodec4444XQ};
inline constexpr std::uint32_t kDeepFormats[] = {kWPRPixelFormatY416, kWPRPixelFormatB64a};
inline constexpr std::int32_t kAlphaBits[] = {kWPRAlphaNone, kWPRAlpha8, kWPRAlpha16};
inline constexpr std::uint32_t kModes[] = {kWPRProgressive, kWPRTopFieldFirst};

struct Closer {
  void operator()(WPREncoderHandle encoder) const { WPRCloseEncoder(encoder); }
};
using EncoderOwner = std::unique_ptr<void, Closer>;

inline EncoderOwner Open(int threads = 1) {
  return EncoderOwner(WPROpenEncoder(threads, nullptr));
}

struct FrameSizes {
  std::uint32_t max = 0;
  std::uint32_t target = 0;
};

inline FrameSizes SizesOf(std::uint32_t codecType, const PixelBufferRecord& picture) {
  FrameSizes sizes;
  EXPECT_EQ(WPRGetCompressedFrameSize(codecType, picture.width, picture.height, &sizes.max,
                                      &sizes.target),
            kWPRSuccess);
  return sizes;
}

using Bytes = std::vector<std::uint8_t>;

/// Returns the frame, or no bytes if encoding fails.
inline Bytes Encode(WPREncoderHandle encoder, const EncodeParamsRecord& params,
                    const PictureMemory& picture) {
  const PixelBufferRecord source = picture.Record();
  Bytes frame(SizesOf(params.codecType, source).max);
  std::uint32_t bytes = 0;
  const int result = WPREncodeFrame(encoder, &params, &source, frame.data(),
                                    static_cast<std::uint32_t>(frame.size()), &bytes);
  EXPECT_EQ(result, kWPRSuccess);
  EXPECT_LE(bytes, frame.size());
  frame.resize(result == kWPRSuccess ? bytes : 0);
  return frame;
}

/// Decodes into a picture, with the settings if there are any.
inline void Decode(const Bytes& frame, PictureMemory& picture,
                   const DecodeSettingsRecord* settings = nullptr) {
  PixelBufferRecord destination = picture.MutableRecord();
  WPRDecoderHandle decoder = WPROpenDecoder(1, nullptr);
  if (settings != nullptr) {
    EXPECT_EQ(WPRSetDecodeSettings(decoder, settings), kWPRSuccess);
  }
  EXPECT_EQ(WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                           &destination, 0),
            kWPRSuccess);
  WPRCloseDecoder(decoder);
}

inline SourcePicture Decode(const Bytes& frame, std::uint32_t format,
                            const PixelBufferRecord& like) {
  SourcePicture picture(format, like.width, like.height);
  Decode(frame, picture);
  return picture;
}

inline DeepPicture DecodeDeep(const Bytes& frame, std::uint32_t format,
                              const PixelBufferRecord& like) {
  DeepPicture picture(format, like.width, like.height);
  Decode(frame, picture);
  return picture;
}

inline constexpr std::uint32_t kUnspecifiedMatrix = 2;

/// Sets what an encoder does from its next frame on, which is expected to succeed.
inline void Set(WPREncoderHandle encoder, std::int32_t alphaBits,
                std::uint32_t matrixCoefficients = kUnspecifiedMatrix) {
  const EncodeSettingsRecord settings{sizeof settings, alphaBits, matrixCoefficients};
  EXPECT_EQ(WPRSetEncodeSettings(encoder, &settings), kWPRSuccess);
}

inline std::string Describe(std::uint32_t codecType, std::uint32_t mode,
                            const PixelBufferRecord& p) {
  const auto code = [](std::uint32_t value) {
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 255);
    return text;
  };
  return code(codecType) + " mode " + std::to_string(mode) + " " + code(p.pixelFormat) + " " +
         std::to_string(p.width) + "x" + std::to_string(p.height);
}

}  // namespace prores::test

#endif  // TESTS_CODEC_ENCODERTESTSESSION_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_DECODERTESTSESSION_H
#define TESTS_CODEC_DECODERTESTSESSION_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "PackedPicture.h"
#include "ProRes/ProResHost.h"

/// @file
/// Decodes frames with the codec library's C calls.

namespace decoding {

inline constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210,
                                             kWPRPixelFormatY416, kWPRPixelFormatB64a};

struct CloseDecoder {
  void operator()(void* decoder) const { WPRCloseDecoder(decoder); }
};
using DecoderPtr = std::unique_ptr<void, CloseDecoder>;

inline DecoderPtr Open(int threads) {
  return DecoderPtr(WPROpenDecoder(threads, nullptr));
}

template <typename Number>
std::uint32_t U32(Number value) {
  return static_cast<std::uint32_t>(value);
}

/// Decodes from a buffer that ends with the frame, so that a sanitizer detects any read after it.
inline std::int32_t Decode(void* decoder, const std::vector<std::uint8_t>& frame,
                           PackedPicture& picture, std::uint8_t fieldFlag = 0) {
  const auto exact = std::make_unique<std::uint8_t[]>(frame.size());
  std::ranges::copy(frame, exact.get());
  PixelBufferRecord record = picture.Record();
  return WPRDecodeFrame(decoder, exact.get(), U32(frame.size()), &record, fieldFlag);
}

/// Sets what a decoder does from its next frame on, which is expected to succeed.
inline void Set(void* decoder, std::int32_t alphaBits, std::uint32_t defaultMatrix = 1) {
  const DecodeSettingsRecord settings{sizeof settings, alphaBits, defaultMatrix};
  EXPECT_EQ(WPRSetDecodeSettings(decoder, &settings), kWPRSuccess);
}

}  // namespace decoding

#endif  // TESTS_CODEC_DECODERTESTSESSION_H

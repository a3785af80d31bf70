// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_ENCODING_H
#define FUZZ_ENCODING_H

/// @file
/// Encoder calls whose arguments the input of a target selects.

#include <ProRes/ProResHost.h>

#include <cstdint>
#include <memory>

#include "CodecPictures.h"
#include "FuzzInput.h"

/// Arguments of an encoder call. Bits 3 and 4 are the interlace mode. Without bit 5, bit 0 is the
/// pixel format and bits 1 and 2 the type of 422. With it, bit 0 is the pixel format, bit 1 the
/// type of 4444, bit 2 a pixel format that does not fit the type, and bits 6 and 7 the bits of
/// alpha.
struct EncoderChoice {
  explicit EncoderChoice(std::uint8_t byte)
      : deep((byte & 0x20) != 0),
        params{deep ? kTypes4444[byte >> 1 & 1] : kTypes422[byte >> 1 & 3],
               std::uint32_t{byte} >> 3 & 3},
        format(kFormats[(deep && (byte & 4) == 0 ? 2 : 0) + (byte & 1)]),
        settings{sizeof settings, deep ? kAlphas[byte >> 6] : kWPRAlphaNone, 2} {}

  static constexpr std::uint32_t kTypes422[] = {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422,
                                                kWPRCodecHQ};
  static constexpr std::uint32_t kTypes4444[] = {kWPRCodec4444, kWPRCodec4444XQ};
  static constexpr std::int32_t kAlphas[] = {kWPRAlphaNone, kWPRAlpha8, kWPRAlpha16, kWPRAlpha16};

  bool deep;
  EncodeParamsRecord params;
  std::uint32_t format;
  EncodeSettingsRecord settings;
};

/// What targets of the encoder read first: an EncoderChoice, a byte that selects levels and more,
/// and the size of the picture.
struct EncoderInput {
  explicit EncoderInput(FuzzInput& input)
      : choice(input.Byte()),
        levels(input.Byte()),
        width(input.Word() & 0x3ff),
        height(input.Word() & 0x3ff) {}

  bool IsLarge() const { return width * height > kMostPixels; }

  EncoderChoice choice;
  std::uint8_t levels;
  std::uint32_t width, height;
};

/// Fills a picture with repetitions of `pattern`, or with random bytes if it is empty.
inline void Fill(Bytes& picture, const Bytes& pattern) {
  std::uint32_t state = 0x12345678U;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    picture[i] = pattern.empty() ? static_cast<std::uint8_t>(state) : pattern[i % pattern.size()];
  }
}

/// Result of WPREncodeFrame() and, if it succeeded, the frame in memory of exactly its size.
struct EncodedFrame {
  std::int32_t result;
  Bytes bytes;
  bool operator==(const EncodedFrame&) const = default;
};

/// Encodes into a destination of `capacity` bytes.
inline EncodedFrame Encode(WPREncoderHandle encoder, const EncoderChoice& choice,
                           const PixelBufferRecord& source, std::uint32_t capacity) {
  Require(WPRSetEncodeSettings(encoder, &choice.settings) == kWPRSuccess);
  const auto destination = std::make_unique_for_overwrite<std::uint8_t[]>(capacity);
  std::uint32_t bytes = 0;
  const std::int32_t result =
      WPREncodeFrame(encoder, &choice.params, &source, destination.get(), capacity, &bytes);
  Require(bytes <= capacity && (result == kWPRSuccess || bytes == 0));
  return {result, Bytes(destination.get(), destination.get() + bytes)};
}

/// Returns the promised size of compressed frames, or `fallback` if no frame can be encoded.
inline std::uint32_t MaxFrameBytes(const EncoderChoice& choice, const PixelBufferRecord& source,
                                   std::uint32_t fallback) {
  std::uint32_t bytes = 0;
  return WPRGetCompressedFrameSize(choice.params.codecType, source.width, source.height, &bytes,
                                   nullptr) == kWPRSuccess
             ? bytes
             : fallback;
}

#endif  // FUZZ_ENCODING_H

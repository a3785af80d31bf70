// SPDX-License-Identifier: BSD-2-Clause
// Encodes a picture of arbitrary size, row bytes and content at every CPU level, requires equal
// bytes within the promised size, decodes the frame and compares alpha.
// The first byte selects options. Bits 3 and 4 are the interlace mode. Without bit 5, bit 0 is the
// pixel format and bits 1 and 2 the type of 422. With it, bit 0 is the pixel format, bit 1 the type
// of 4444, bit 2 a pixel format that does not fit the type, and bits 6 and 7 the bits of alpha.
#include <ProRes/ProResHost.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "FuzzInput.h"
#include "RowBytes.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kMaxPixels = 1 << 13;
constexpr std::uint32_t kCodecTypes[] = {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422, kWPRCodecHQ};
constexpr std::uint32_t kDeepCodecTypes[] = {kWPRCodec4444, kWPRCodec4444XQ};
constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210};
constexpr std::uint32_t kDeepFormats[] = {kWPRPixelFormatY416, kWPRPixelFormatB64a};
constexpr std::int32_t kAlphaBits[] = {kWPRAlphaNone, kWPRAlpha8, kWPRAlpha16, kWPRAlpha16};

/// What the first byte selects.
struct Choice {
  explicit Choice(std::uint8_t byte)
      : deep((byte & 0x20) != 0),
        params{deep ? kDeepCodecTypes[byte >> 1 & 1] : kCodecTypes[byte >> 1 & 3],
               std::uint32_t{byte} >> 3 & 3},
        format((deep && (byte & 4) == 0 ? kDeepFormats : kFormats)[byte & 1]),
        alphaBits(deep ? kAlphaBits[byte >> 6] : kWPRAlphaNone) {}

  bool deep;
  EncodeParamsRecord params;
  std::uint32_t format;
  std::int32_t alphaBits;
};

/// Fills the picture with repetitions of `pattern`, or with random bytes if it is empty.
void Fill(Bytes& picture, const Bytes& pattern) {
  std::uint32_t state = 0x12345678U;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    picture[i] = pattern.empty() ? static_cast<std::uint8_t>(state) : pattern[i % pattern.size()];
  }
}

/// One encoder for each level of this machine.
std::vector<WPREncoderHandle> OpenEncoders() {
  std::vector<WPREncoderHandle> encoders;
  for (std::int32_t level = kWPRProcessorScalar; level <= WPRGetHighestProcessorLevel(); ++level) {
    if (WPRSetProcessorLevel(level) != kWPRSuccess) abort();
    encoders.push_back(WPROpenEncoder(2, nullptr));
  }
  return encoders;
}

/// Result of WPREncodeFrame() and, if it succeeded, the frame.
struct Outcome {
  std::int32_t result;
  Bytes frame;
  bool operator==(const Outcome&) const = default;
};

Outcome Encode(WPREncoderHandle encoder, const EncodeSettingsRecord& settings,
               const EncodeParamsRecord& params, const PixelBufferRecord& source,
               std::uint32_t capacity) {
  if (WPRSetEncodeSettings(encoder, &settings) != kWPRSuccess) abort();
  Bytes frame(capacity);
  std::uint32_t bytes = 0;
  const std::int32_t result =
      WPREncodeFrame(encoder, &params, &source, frame.data(), capacity, &bytes);
  if (bytes > capacity) abort();
  frame.resize(bytes);
  frame.shrink_to_fit();
  return {result, std::move(frame)};
}

/// Returns the alpha of pixel x, y.
unsigned AlphaAt(const PixelBufferRecord& picture, std::uint32_t x, std::uint32_t y) {
  const auto* const bytes = static_cast<const std::uint8_t*>(picture.baseAddress) +
                            std::size_t{picture.rowBytes} * y + std::size_t{8} * x;
  const bool bigEndian = picture.pixelFormat == kWPRPixelFormatB64a;
  return bytes[bigEndian ? 1 : 0] + 256U * bytes[bigEndian ? 0 : 1];
}

/// Requires the alpha of the source as coded with that many bits.
void RequireAlpha(const PixelBufferRecord& source, const PixelBufferRecord& decoded,
                  std::int32_t bits) {
  for (std::uint32_t y = 0; y < source.height; ++y) {
    for (std::uint32_t x = 0; x < source.width; ++x) {
      const unsigned alpha = AlphaAt(source, x, y);
      unsigned expected = alpha;
      if (bits == kWPRAlphaNone) expected = 65535;
      if (bits == kWPRAlpha8) expected = (alpha + 128) / 257 * 257;
      if (AlphaAt(decoded, x, y) != expected) abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed, so that the handles stay reachable for the leak check at exit.
  static const auto& encoders = *new std::vector<WPREncoderHandle>(OpenEncoders());
  static WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
  FuzzInput input(data, size);
  const Choice choice(input.Byte());
  const std::uint32_t width = input.Word() & 0x3ff;
  const std::uint32_t height = input.Word() & 0x3ff;
  const std::uint32_t slack = input.Byte();
  const std::uint32_t destinationCut = input.Byte();
  if (width * height > kMaxPixels) return 0;

  const EncodeParamsRecord& params = choice.params;
  const EncodeSettingsRecord settings{sizeof settings, choice.alphaBits,
                                      choice.deep ? input.Byte() : std::uint32_t{2}};
  const std::uint32_t rowBytes = RowBytes(choice.format, width) + slack;
  Bytes picture(std::size_t{rowBytes} * height);
  if (picture.size() >= slack) picture.resize(picture.size() - slack);  // the last row has no slack
  Fill(picture, input.Rest());
  const PixelBufferRecord source{picture.data(), rowBytes, choice.format, width, height};

  std::uint32_t maxBytes = 0;
  if (WPRGetCompressedFrameSize(params.codecType, width, height, &maxBytes, nullptr) != 0) {
    maxBytes = 64;
  }
  const std::uint32_t capacity = destinationCut < 128 ? maxBytes : maxBytes / destinationCut;
  const Outcome outcome = Encode(encoders[0], settings, params, source, capacity);
  for (WPREncoderHandle const encoder : encoders) {
    if (Encode(encoder, settings, params, source, capacity) != outcome) abort();
  }
  if (outcome.result != kWPRSuccess) {
    if (outcome.result == kWPRDestinationTooSmall && capacity == maxBytes) abort();
    return 0;
  }
  Bytes decoded(std::size_t{rowBytes} * height);
  PixelBufferRecord destination = source;
  destination.baseAddress = decoded.data();
  if (WPRDecodeFrame(decoder, outcome.frame.data(),
                     static_cast<std::uint32_t>(outcome.frame.size()), &destination,
                     0) != kWPRSuccess) {
    abort();
  }
  if (choice.deep) RequireAlpha(source, destination, choice.alphaBits);
  return 0;
}

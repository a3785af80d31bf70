// SPDX-License-Identifier: BSD-2-Clause
// Encodes a picture of arbitrary size, row bytes and content at every CPU level, requires equal
// bytes within the promised size, and decodes the frame.
#include <ProRes/ProResHost.h>

#include <cstdint>
#include <cstdlib>
#include <utility>
#include <vector>

#include "FuzzInput.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kMaxPixels = 1 << 13;
constexpr std::uint32_t kCodecTypes[] = {kWPRCodecProxy, kWPRCodecLT, kWPRCodec422, kWPRCodecHQ};

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

Outcome Encode(WPREncoderHandle encoder, const EncodeParamsRecord& params,
               const PixelBufferRecord& source, std::uint32_t capacity) {
  Bytes frame(capacity);
  std::uint32_t bytes = 0;
  const std::int32_t result =
      WPREncodeFrame(encoder, &params, &source, frame.data(), capacity, &bytes);
  if (bytes > capacity) abort();
  frame.resize(bytes);
  frame.shrink_to_fit();
  return {result, std::move(frame)};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed, so that the handles stay reachable for the leak check at exit.
  static const auto& encoders = *new std::vector<WPREncoderHandle>(OpenEncoders());
  static WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const std::uint32_t width = input.Word() & 0x3ff;
  const std::uint32_t height = input.Word() & 0x3ff;
  const std::uint32_t slack = input.Byte();
  const std::uint32_t destinationCut = input.Byte();
  if (width * height > kMaxPixels) return 0;

  const bool v210 = choice & 1;
  const EncodeParamsRecord params{kCodecTypes[choice >> 1 & 3], std::uint32_t{choice} >> 3 & 3};
  const std::uint32_t rowBytes = (v210 ? (width + 5) / 6 * 16 : (width + 1) / 2 * 4) + slack;
  Bytes picture(std::size_t{rowBytes} * height);
  if (picture.size() >= slack) picture.resize(picture.size() - slack);  // the last row has no slack
  Fill(picture, input.Rest());
  PixelBufferRecord source{
      picture.data(), rowBytes,
      static_cast<std::uint32_t>(v210 ? kWPRPixelFormatV210 : kWPRPixelFormat2vuy), width, height};

  std::uint32_t maxBytes = 0;
  if (WPRGetCompressedFrameSize(params.codecType, width, height, &maxBytes, nullptr) != 0) {
    maxBytes = 64;
  }
  const std::uint32_t capacity = destinationCut < 128 ? maxBytes : maxBytes / destinationCut;
  const Outcome outcome = Encode(encoders[0], params, source, capacity);
  for (WPREncoderHandle const encoder : encoders) {
    if (Encode(encoder, params, source, capacity) != outcome) abort();
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
  return 0;
}

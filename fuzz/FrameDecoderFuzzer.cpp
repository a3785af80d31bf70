// SPDX-License-Identifier: BSD-2-Clause
// Decodes arbitrary bytes as one frame at every CPU level, and requires equal results and pictures.
// The first byte selects options: bits 0 and 4 the pixel format, bit 1 one field only, bit 2 two
// threads, bit 3 a destination that does not match the frame, bits 5 and 6 the bits of alpha, bit 7
// the default matrix.
#include <ProRes/ProResHost.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "FuzzInput.h"
#include "RowBytes.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Larger pictures only make the fuzzer slow. Unit tests cover extreme sizes.
constexpr std::uint32_t kMaxPixels = 1 << 18;

constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210, kWPRPixelFormatY416,
                                      kWPRPixelFormatB64a};
constexpr std::int32_t kAlphaBits[] = {kWPRAlpha16, kWPRAlpha8, kWPRAlphaNone, kWPRAlpha16};
constexpr std::uint32_t kDefaultMatrices[] = {1, 9};  // BT.709, BT.2020

std::uint32_t BigEndian16(const Bytes& bytes, std::size_t at) {
  return at + 1 < bytes.size() ? std::uint32_t{bytes[at]} << 8 | bytes[at + 1] : 0;
}

/// One decoder for each level of this machine.
std::vector<WPRDecoderHandle> OpenDecoders(std::int32_t threads) {
  std::vector<WPRDecoderHandle> decoders;
  for (std::int32_t level = kWPRProcessorScalar; level <= WPRGetHighestProcessorLevel(); ++level) {
    if (WPRSetProcessorLevel(level) != kWPRSuccess) abort();
    decoders.push_back(WPROpenDecoder(threads, nullptr));
  }
  return decoders;
}

/// Result of WPRDecodeFrame() and the picture that it left.
struct Outcome {
  std::int32_t result;
  Bytes picture;
  bool operator==(const Outcome&) const = default;
};

/// @param destination the picture to decode into, without its memory.
Outcome Decode(WPRDecoderHandle decoder, const DecodeSettingsRecord& settings, const Bytes& frame,
               PixelBufferRecord destination, std::uint8_t fieldFlag) {
  if (WPRSetDecodeSettings(decoder, &settings) != kWPRSuccess) abort();
  Outcome outcome{0, Bytes(std::size_t{destination.rowBytes} * destination.height)};
  destination.baseAddress = outcome.picture.data();
  outcome.result = WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                                  &destination, fieldFlag);
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Never destroyed: the handles stay reachable for the leak check at the end.
  static const auto& decoders =
      *new std::array<std::vector<WPRDecoderHandle>, 2>{OpenDecoders(1), OpenDecoders(2)};
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const Bytes frame = input.Rest();

  const std::uint32_t format = kFormats[(choice & 1) | (choice >> 3 & 2)];
  const std::uint8_t fieldFlag = choice >> 1 & 1;
  std::uint32_t width = BigEndian16(frame, 16);
  std::uint32_t height = BigEndian16(frame, 18);
  const bool interlaced = frame.size() > 20 && (frame[20] & 0x0c) != 0;
  if (fieldFlag && interlaced) height /= 2;
  if (choice & 8) width ^= 16;
  if (std::uint64_t{width} * height > kMaxPixels) return 0;

  const PixelBufferRecord destination{nullptr, RowBytes(format, width), format, width, height};
  const DecodeSettingsRecord settings{sizeof settings, kAlphaBits[choice >> 5 & 3],
                                      kDefaultMatrices[choice >> 7]};
  const std::vector<WPRDecoderHandle>& levels = decoders[choice >> 2 & 1];
  const Outcome plain = Decode(levels.front(), settings, frame, destination, fieldFlag);
  for (std::size_t i = 1; i < levels.size(); ++i) {
    if (Decode(levels[i], settings, frame, destination, fieldFlag) != plain) abort();
  }
  return 0;
}

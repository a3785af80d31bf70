// SPDX-License-Identifier: BSD-2-Clause
// Decodes arbitrary bytes as one frame. The first byte chooses how: bit 0 the pixel format, bit 1
// one field only, bit 2 two threads, bit 3 a destination that does not match the frame.
#include <ProRes/ProRes.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "FuzzInput.h"

namespace {

/// Larger pictures only make the fuzzer slow; sizes without pixels are the unit tests' business.
constexpr std::uint32_t kMaxPixels = 1 << 18;

std::uint32_t BigEndian16(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  return at + 1 < bytes.size() ? std::uint32_t{bytes[at]} << 8 | bytes[at + 1] : 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static WPRDecoderHandle const decoders[2] = {WPROpenDecoder(1, nullptr),
                                               WPROpenDecoder(2, nullptr)};
  FuzzInput input(data, size);
  const std::uint8_t choice = input.Byte();
  const std::vector<std::uint8_t> frame = input.Rest();

  const bool v210 = choice & 1;
  const std::uint8_t fieldFlag = choice >> 1 & 1;
  std::uint32_t width = BigEndian16(frame, 16);
  std::uint32_t height = BigEndian16(frame, 18);
  const bool interlaced = frame.size() > 20 && (frame[20] & 0x0c) != 0;
  if (fieldFlag && interlaced) height /= 2;
  if (choice & 8) width ^= 16;
  if (std::uint64_t{width} * height > kMaxPixels) return 0;

  const std::uint32_t rowBytes = v210 ? (width + 5) / 6 * 16 : (width + 1) / 2 * 4;
  std::vector<std::uint8_t> picture(std::size_t{rowBytes} * height);
  PixelBufferRecord destination{
      picture.data(), rowBytes,
      static_cast<std::uint32_t>(v210 ? kWPRPixelFormatV210 : kWPRPixelFormat2vuy), width, height};
  WPRDecodeFrame(decoders[choice >> 2 & 1], frame.data(), static_cast<std::uint32_t>(frame.size()),
                 &destination, fieldFlag);
  return 0;
}

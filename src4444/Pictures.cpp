// SPDX-License-Identifier: BSD-2-Clause
#include "Pictures.h"

#include "vix/Diagnostics.h"
#include "vix/RawVideoUtils.h"

namespace vix::prores4444 {
namespace {

/// Returns the characters of a code, with a dot for each that is not printable.
std::string Characters(FourCC code) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) {
    const char character = static_cast<char>(code >> shift & 0xff);
    text += character >= ' ' && character <= '~' ? character : '.';
  }
  return text;
}

/// The host's codes have their first character in the lowest byte, the library's in the highest.
std::uint32_t PixelFormatOf(FourCC fourcc) {
  switch (fourcc) {
    case kFourCC_Y416:
      return kWPRPixelFormatY416;
    case kFourCC_b64A:
      return kWPRPixelFormatB64a;
    default:
      Fail("The pixel format is \"" + Characters(fourcc) + R"("; allowed: "Y416", "b64A")");
  }
}

}  // namespace

PixelBufferRecord DescribePicture(const IVideoParameters_RAW& raw, std::uint8_t* data) {
  PixelBufferRecord picture{};
  picture.baseAddress = data;
  picture.rowBytes = RawVideoUtils::GetStrides(raw.GetFourCC(), VideoChroma::C4444, raw.GetWidth(),
                                               raw.GetHeight())
                         .front();
  picture.pixelFormat = PixelFormatOf(raw.GetFourCC());
  picture.width = raw.GetWidth();
  picture.height = raw.GetHeight();
  return picture;
}

std::uint32_t GetPictureBytes(const IVideoParameters_RAW& raw) {
  return RawVideoUtils::GetFrameBytes(raw.GetFourCC(), VideoChroma::C4444, raw.GetWidth(),
                                      raw.GetHeight());
}

std::string SizeText(std::uint32_t width, std::uint32_t height) {
  return std::to_string(width) + 'x' + std::to_string(height);
}

}  // namespace vix::prores4444

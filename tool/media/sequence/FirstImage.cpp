// SPDX-License-Identifier: BSD-2-Clause
#include "media/sequence/FirstImage.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "base/Errors.h"
#include "base/Limits.h"
#include "base/Text.h"
#include "media/sequence/DpxFile.h"

namespace vixprores {

namespace {

ImageHeader ReadHeader(const std::string& path) {
  if (ToLower(path).ends_with(".dpx")) {
    if (const auto header = ReadUsualDpxHeader(path)) return *header;
  }
  try {
    ImageHeader header = LoadImageModule().ReadHeader(path);
    if (ToLower(path).ends_with(".dpx")) ReadDpxLabels(header);
    return header;
  } catch (const Failure&) {
    throw;
  } catch (const std::runtime_error& error) {
    throw Failure(path + ": " + error.what());
  }
}

}  // namespace

ImageHeader ReadFirstHeader(const ImageFiles& images) {
  ImageHeader header = ReadHeader(images.files.front().path);
  CheckPictureSize(header.path, header.width, header.height);
  return header;
}

std::optional<Rational> FindRate(double rate) {
  constexpr double kError = 0.006;  // 23.97 or 23.98 for 24000/1001
  if (rate < 1) return std::nullopt;
  const auto whole = static_cast<std::int32_t>(std::lround(rate));
  if (std::abs(rate - whole) < 1e-4) return Rational{whole, 1};
  const auto above = static_cast<std::int32_t>(std::ceil(rate));
  if (std::abs(rate - above * 1000.0 / 1001) < kError) return Reduce({above * 1000, 1001});
  return std::nullopt;
}

Rational FindAspect(double aspect) {
  constexpr int kDenominator = 10000;
  if (aspect < 0.01 || aspect > 100 || std::abs(aspect - 1) < 1e-3) return {0, 1};
  return Reduce({static_cast<std::int32_t>(std::lround(aspect * kDenominator)), kDenominator});
}

std::string TimecodeText(std::uint32_t timecode) {
  constexpr std::uint32_t kDropFrame = 0x40;
  const auto digits = [timecode](int shift, std::uint32_t tensMask) {
    return (timecode >> shift & 0xFU) + 10 * (timecode >> (shift + 4) & tensMask);
  };
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%02u:%02u:%02u%c%02u", digits(24, 3), digits(16, 7),
                digits(8, 7), (timecode & kDropFrame) != 0 ? ';' : ':', digits(0, 3));
  return text.data();
}

std::string DescribeStored(const ImageHeader& header) {
  const std::string extension = header.path.substr(header.path.rfind('.'));
  return extension + " images, " + (header.channels < 3 ? "grey" : "RGB") +
         (header.hasAlpha ? " with alpha, " : ", ") + std::to_string(header.bits) + " bits" +
         (header.isFloat ? " (floating point)" : "");
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "TestPicture.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr double kPi = 3.14159265358979;

// UYVY has the byte order U Y V Y.
constexpr std::size_t kFirstLuma = 1;
constexpr std::size_t kLumaStep = 2;

std::uint8_t Wave(double middle, double height, double phase) {
  return static_cast<std::uint8_t>(std::lround(middle + height * std::sin(phase)));
}

}  // namespace

void DrawPicture(std::span<std::uint8_t> picture, unsigned width, unsigned number) {
  const std::size_t rowBytes = std::size_t{2} * width;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const double x = static_cast<double>(i % rowBytes) / 2;
    const double y = static_cast<double>(i / rowBytes);
    const bool isLuma = i % kLumaStep == kFirstLuma;
    picture[i] = isLuma ? Wave(126, 90, (x * y / 900 + number) * kPi / 8)
                        : Wave(128, 60, (x + y + 4 * number) * kPi / 160);
  }
}

double LumaPsnr(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
  double squares = 0;
  for (std::size_t i = kFirstLuma; i < first.size(); i += kLumaStep) {
    const double difference = static_cast<double>(first[i]) - static_cast<double>(second[i]);
    squares += difference * difference;
  }
  const double mean = squares / (static_cast<double>(first.size()) / kLumaStep);
  return 10 * std::log10(255.0 * 255.0 / mean);
}

double MeanLuma(std::span<const std::uint8_t> picture) {
  double sum = 0;
  for (std::size_t i = kFirstLuma; i < picture.size(); i += kLumaStep) sum += picture[i];
  return sum / (static_cast<double>(picture.size()) / kLumaStep);
}

// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/RgbConversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace prores {
namespace {

/// The factors of each of vix::kRgbMatrices.
constexpr auto kFactors = [] {
  std::array<RgbMatrix, vix::kRgbMatrices.size()> factors{};
  std::ranges::transform(vix::kRgbMatrices, factors.begin(), [](const vix::RgbMatrix& matrix) {
    return MakeRgbMatrix(matrix.red, matrix.blue);
  });
  return factors;
}();

const vix::RgbMatrix& ChooseMatrix(unsigned code) {
  return vix::ChooseRgbMatrix(static_cast<std::int32_t>(code));
}

/// Returns value + offset, rounded and clamped to 16 bits.
/// @param offset an integer.
std::uint16_t Rounded(float value, float offset = 0) {
  constexpr std::int32_t kLargest = std::numeric_limits<std::uint16_t>::max();
  const std::int32_t sum = std::bit_cast<std::int32_t>(value + (kRounder + offset)) -
                           std::bit_cast<std::int32_t>(kRounder);
  return static_cast<std::uint16_t>(std::clamp(sum, 0, kLargest));
}

}  // namespace

std::uint8_t CodedRgbMatrix(unsigned matrixCoefficients) {
  return static_cast<std::uint8_t>(ChooseMatrix(matrixCoefficients).coded);
}

const RgbMatrix& RgbMatrixOf(unsigned matrixCoefficients) {
  const std::ptrdiff_t index = &ChooseMatrix(matrixCoefficients) - vix::kRgbMatrices.data();
  return kFactors[static_cast<std::size_t>(index)];
}

void RgbToYCbCr(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row) {
  for (std::size_t x = 0; x < width; ++x) {
    const float green = row.luma[x];
    const float blue = row.cb[x] - green;  // without green
    const float red = row.cr[x] - green;
    const float luma = red * matrix.red + blue * matrix.blue;
    row.luma[x] = Rounded((green + luma) * matrix.lumaOfY, kLumaBlack);
    row.cb[x] = Rounded((blue - luma) * matrix.cbOfBlue, kChromaZero);
    row.cr[x] = Rounded((red - luma) * matrix.crOfRed, kChromaZero);
  }
}

void YCbCrToRgb(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row) {
  for (std::size_t x = 0; x < width; ++x) {
    const float luma = (row.luma[x] - kLumaBlack) * matrix.yOfLuma;
    const float cb = row.cb[x] - kChromaZero;
    const float cr = row.cr[x] - kChromaZero;
    row.luma[x] = Rounded(luma - (cb * matrix.greenOfCb + cr * matrix.greenOfCr));
    row.cb[x] = Rounded(luma + cb * matrix.blueOfCb);
    row.cr[x] = Rounded(luma + cr * matrix.redOfCr);
  }
}

}  // namespace prores

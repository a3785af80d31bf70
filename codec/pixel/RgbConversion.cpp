// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/RgbConversion.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

namespace prores {
namespace {

struct CodedMatrix {
  unsigned code;  ///< ISO/IEC 23091-2, MatrixCoefficients
  RgbMatrix matrix;
};

constexpr RgbMatrix kBt601 = MakeRgbMatrix(0.299, 0.114);  // ITU-R BT.601-7, 2.5.1

/// The first one serves all other codes.
constexpr std::array<CodedMatrix, 4> kMatrices = {{
    {1, MakeRgbMatrix(0.2126, 0.0722)},  // ITU-R BT.709-6, 3.2
    {5, kBt601},
    {6, kBt601},
    {9, MakeRgbMatrix(0.2627, 0.0593)},  // ITU-R BT.2020-2, table 4
}};

const CodedMatrix* FindMatrix(unsigned code) {
  return std::ranges::find(kMatrices, code, &CodedMatrix::code);
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

bool HasRgbMatrix(unsigned matrixCoefficients) {
  return FindMatrix(matrixCoefficients) != kMatrices.end();
}

const RgbMatrix& RgbMatrixOf(unsigned matrixCoefficients) {
  return (HasRgbMatrix(matrixCoefficients) ? FindMatrix(matrixCoefficients) : kMatrices.begin())
      ->matrix;
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

// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_RGBMATRIX_H
#define VIX_RGBMATRIX_H

/// @file
/// The matrices between R'G'B' and Y'CbCr that encoders, decoders and host programs convert with.
/// Any thread may call every function.

#include <array>
#include <cstdint>

namespace vix {

/// Matrix of a code point of ISO/IEC 23091-2 (MatrixCoefficients). Y' = red R' + green G' + blue
/// B', where the three weights add up to 1.
struct RgbMatrix {
  std::int32_t code;   ///< code point that a stream states
  std::int32_t coded;  ///< code point that a stream states after its RGB was converted
  double red;          ///< weight of R' in luma, K_R
  double blue;         ///< weight of B' in luma, K_B

  /// Returns the weight of G' in luma.
  constexpr double GetGreen() const { return 1 - red - blue; }
};

/// All matrices. The first one replaces unspecified and unknown matrices.
///
/// BT.2020 with constant luminance (10) is no matrix: its luma is that of linear light. It has the
/// weights of BT.2020 with non-constant luminance (9), which come closest to its pictures. RGB
/// becomes non-constant luminance, and is labelled as such.
inline constexpr std::array<RgbMatrix, 5> kRgbMatrices = {{
    {1, 1, 0.2126, 0.0722},   // ITU-R BT.709-6, 3.2
    {5, 5, 0.299, 0.114},     // ITU-R BT.601-7, 2.5.1, 625 lines
    {6, 6, 0.299, 0.114},     // ITU-R BT.601-7, 2.5.1, 525 lines
    {9, 9, 0.2627, 0.0593},   // ITU-R BT.2020-2, table 4
    {10, 9, 0.2627, 0.0593},  // ITU-R BT.2020-2, table 4
}};

/// Returns the matrix of a code point, or null if the code point is unspecified or unknown.
constexpr const RgbMatrix* FindRgbMatrix(std::int32_t code) {
  for (const RgbMatrix& matrix : kRgbMatrices) {
    if (matrix.code == code) return &matrix;
  }
  return nullptr;
}

/// Returns the matrix that pictures with that code point are converted with: its own, or that of
/// BT.709 if it has none.
constexpr const RgbMatrix& ChooseRgbMatrix(std::int32_t code) {
  const RgbMatrix* const found = FindRgbMatrix(code);
  return found ? *found : kRgbMatrices.front();
}

}  // namespace vix

#endif  // VIX_RGBMATRIX_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_PIXEL_RGBCONVERSION_H
#define CODEC_PIXEL_RGBCONVERSION_H

/// @file
/// Conversion between RGB of 16 bits in full range and YCbCr of 12 bits in video range, in place.
///
/// Single precision in a fixed order of operations, so that forms of any vector width give the same
/// bits. Differences between components are scaled, not the components, so that R = G = B becomes
/// neutral chroma exactly, and neutral chroma R = G = B.

#include <cstddef>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "pixel/UnpackRows.h"
#include "vix/RgbMatrix.h"

namespace prores {

/// Codes of black and of neutral chroma in 12 bits: 16 and 128 of 8 bits (ITU-R BT.709-6, digital
/// representation), shifted up by 4.
inline constexpr float kLumaBlack = 256;
inline constexpr float kChromaZero = 2048;
/// Codes from the lowest to the highest value of luma and chroma of 12 bits, and of RGB.
inline constexpr double kLumaRange = 3504;
inline constexpr double kChromaRange = 3584;
inline constexpr double kRgbRange = 65535;

/// Factors of both conversions. In codes of RGB, luma is Y = red R + green G + blue B, where the
/// weights add up to 1.
struct RgbMatrix {
  float red;   ///< weights
  float blue;  ///< of luma
  // From codes of RGB to codes of YCbCr.
  float lumaOfY;
  float cbOfBlue;  ///< of B - Y
  float crOfRed;   ///< of R - Y
  // And back.
  float yOfLuma;
  float blueOfCb;   ///< B - Y
  float redOfCr;    ///< R - Y
  float greenOfCb;  ///< Y - G is the sum
  float greenOfCr;  ///< of both
};

/// Returns the matrix of the weights of red and blue.
constexpr RgbMatrix MakeRgbMatrix(double red, double blue) {
  const double green = 1 - red - blue;
  // B - Y goes from blue - 1 to 1 - blue.
  const double blueOfCb = 2 * (1 - blue) * kRgbRange / kChromaRange;
  const double redOfCr = 2 * (1 - red) * kRgbRange / kChromaRange;
  return {.red = static_cast<float>(red),
          .blue = static_cast<float>(blue),
          .lumaOfY = static_cast<float>(kLumaRange / kRgbRange),
          .cbOfBlue = static_cast<float>(1 / blueOfCb),
          .crOfRed = static_cast<float>(1 / redOfCr),
          .yOfLuma = static_cast<float>(kRgbRange / kLumaRange),
          .blueOfCb = static_cast<float>(blueOfCb),
          .redOfCr = static_cast<float>(redOfCr),
          .greenOfCb = static_cast<float>(blueOfCb * blue / green),
          .greenOfCr = static_cast<float>(redOfCr * red / green)};
}

/// Code point of the matrix that frames without one are converted with unless a host sets another.
inline constexpr unsigned kDefaultRgbMatrix = 1;

/// Returns the code point that a frame states after its RGB was converted with
/// RgbMatrixOf(matrixCoefficients).
std::uint8_t CodedRgbMatrix(unsigned matrixCoefficients);

/// Returns the matrix that vix::ChooseRgbMatrix() chooses for a code point of ISO/IEC 23091-2
/// (MatrixCoefficients). It lives for ever.
const RgbMatrix& RgbMatrixOf(unsigned matrixCoefficients);

/// 1.5 x 2^23. A sum of this and a value below 2^22 in magnitude has no fraction bits: it is
/// rounded to the nearest integer, ties to even, which is the difference of their bits.
inline constexpr float kRounder = 12582912.0F;

/// Converts G, B and R of 16 bits, in the planes luma, cb and cr, to Y, Cb and Cr of 12 bits. All
/// RGB lies in the video range. Does not touch alpha.
void RgbToYCbCr(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row);

/// Converts Y, Cb and Cr of 12 bits to G, B and R of 16 bits, in the same planes. Colours out of
/// the range of RGB are clamped. Does not touch alpha.
void YCbCrToRgb(const RgbMatrix& matrix, std::size_t width, const PlanarRow& row);

/// Return the fastest forms of these functions for `level`.
decltype(&RgbToYCbCr) RgbToYCbCrFor(CpuLevel level);
decltype(&YCbCrToRgb) YCbCrToRgbFor(CpuLevel level);

}  // namespace prores

#endif  // CODEC_PIXEL_RGBCONVERSION_H

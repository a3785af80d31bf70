// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_PICTUREQUALITY_H
#define TOOL_CHECK_PICTUREQUALITY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "format/PlanarPicture.h"

namespace vixprores {

/// Difference of one or several planes from the reference.
struct PlaneQuality {
  double squaredError = 0;  ///< sum over the samples
  std::size_t samples = 0;
  double ssim = 1;  ///< structural similarity, 1 = equal; of several planes the mean by samples

  double MeanSquaredError() const { return squaredError / static_cast<double>(samples); }
};

/// Returns the peak signal-to-noise ratio in decibels; the peak is the largest code value of that
/// many bits. Infinity if there is no error.
double ToPsnr(double meanSquaredError, unsigned bits);

/// Depth of the samples of two pictures that are compared.
struct ComparedDepth {
  static constexpr unsigned kAlphaBits = 16;

  unsigned colours = 8;   ///< bits of Y, Cb and Cr: 8, 10 or 12
  bool hasAlpha = false;  ///< alpha is compared, too

  /// Returns the bits of a part of FrameQuality.
  unsigned BitsOf(std::size_t part) const;
  /// Returns the number of parts of FrameQuality that are compared.
  std::size_t CountParts() const;
};

/// Quality of one frame.
struct FrameQuality {
  static constexpr std::size_t kAll = SamplePicture::kPlanes;  ///< index of Y, Cb, Cr together
  static constexpr std::size_t kAlpha = kAll + 1;
  static constexpr std::size_t kParts = kAlpha + 1;

  /// Y, Cb, Cr, all samples of these together, and alpha, which has no samples if it is not
  /// compared.
  std::array<PlaneQuality, kParts> parts;

  bool IsIdentical() const { return SortingError() == std::pair(0.0, 0.0); }
  /// Returns what is larger for a worse frame: the squared errors of the colours, then of alpha.
  std::pair<double, double> SortingError() const {
    return {parts[kAll].squaredError, parts[kAlpha].squaredError};
  }
};

inline unsigned ComparedDepth::BitsOf(std::size_t part) const {
  return part == FrameQuality::kAlpha ? kAlphaBits : colours;
}

inline std::size_t ComparedDepth::CountParts() const {
  return hasAlpha ? FrameQuality::kParts : FrameQuality::kAlpha;
}

/// Compares pictures of the same size and depth. The structural similarity is the mean
/// over windows of 8x8 samples, 4 apart, with the constants 0.01 and 0.03 (Wang et al. 2004, equal
/// weights, sample variances). A plane with a side below 8 samples is one window.
FrameQuality MeasureQuality(const SamplePicture& reference, const SamplePicture& distorted,
                            const ComparedDepth& depth);

}  // namespace vixprores

#endif  // TOOL_CHECK_PICTUREQUALITY_H

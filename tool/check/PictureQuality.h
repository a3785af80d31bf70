// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_PICTUREQUALITY_H
#define TOOL_CHECK_PICTUREQUALITY_H

#include <array>
#include <cstddef>
#include <cstdint>

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

/// Quality of one frame.
struct FrameQuality {
  static constexpr std::size_t kAll = SamplePicture::kPlanes;  ///< index of all samples together

  std::array<PlaneQuality, SamplePicture::kPlanes + 1> parts;  ///< Y, Cb, Cr, all samples together

  bool IsIdentical() const { return parts[kAll].squaredError == 0; }
};

/// Compares pictures of the same size, both of `bits` bits. The structural similarity is the mean
/// over windows of 8x8 samples, 4 apart, with the constants 0.01 and 0.03 (Wang et al. 2004, equal
/// weights, sample variances). A plane with a side below 8 samples is one window.
FrameQuality MeasureQuality(const SamplePicture& reference, const SamplePicture& distorted,
                            unsigned bits);

}  // namespace vixprores

#endif  // TOOL_CHECK_PICTUREQUALITY_H

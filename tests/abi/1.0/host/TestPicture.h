// SPDX-License-Identifier: BSD-2-Clause
#ifndef EXAMPLES_HOST_TESTPICTURE_H
#define EXAMPLES_HOST_TESTPICTURE_H

#include <cstdint>
#include <span>

/// Draws picture `number` of a moving pattern in packed 8-bit UYVY, with `width` pixels per row (an
/// even number) and as many rows as `picture` holds.
void DrawPicture(std::span<std::uint8_t> picture, unsigned width, unsigned number);

/// Returns the peak signal-to-noise ratio of the luma samples of two UYVY pictures of the same size
/// in decibels; infinity if they are equal.
double LumaPsnr(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second);

/// Returns the mean luma sample of a UYVY picture.
double MeanLuma(std::span<const std::uint8_t> picture);

#endif  // EXAMPLES_HOST_TESTPICTURE_H

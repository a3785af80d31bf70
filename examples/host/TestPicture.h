// SPDX-License-Identifier: BSD-2-Clause
#ifndef EXAMPLES_HOST_TESTPICTURE_H
#define EXAMPLES_HOST_TESTPICTURE_H

#include <cstdint>
#include <span>

/// Draws picture `number` of a moving pattern: packed UYVY, 8 bits, `width` pixels a row (an even
/// number), as many rows as `picture` has room for.
void DrawPicture(std::span<std::uint8_t> picture, unsigned width, unsigned number);

/// Peak signal-to-noise ratio of the luma samples of two UYVY pictures of equal size, in decibels;
/// infinite where they are equal.
double LumaPsnr(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second);

/// Mean luma sample of a UYVY picture.
double MeanLuma(std::span<const std::uint8_t> picture);

#endif  // EXAMPLES_HOST_TESTPICTURE_H

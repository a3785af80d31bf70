// SPDX-License-Identifier: BSD-2-Clause
#ifndef CODEC_FRAMELIMITS_H
#define CODEC_FRAMELIMITS_H

#include <cstdint>

namespace prores {

/// Largest frame that a handle takes; initially what the format allows.
struct FrameLimits {
  std::uint32_t width = UINT16_MAX;
  std::uint32_t height = UINT16_MAX;
  std::uint32_t pixels = std::uint32_t{UINT16_MAX} * UINT16_MAX;

  constexpr bool Allow(std::uint32_t frameWidth, std::uint32_t frameHeight) const {
    return frameWidth <= width && frameHeight <= height &&
           std::uint64_t{frameWidth} * frameHeight <= pixels;
  }
};

}  // namespace prores

#endif  // CODEC_FRAMELIMITS_H

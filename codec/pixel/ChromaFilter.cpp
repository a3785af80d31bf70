// SPDX-License-Identifier: BSD-2-Clause
#include "pixel/ChromaFilter.h"

#include <algorithm>

#include "Ensure.h"

namespace prores {

void HalveChroma(std::uint16_t* line, std::uint32_t width, const SampleDepth& depth,
                 std::uint16_t* half) {
  Expect(width >= 1 && depth.bits <= k10Bits.bits);
  RepeatEdges(line, width);
  const int shift = ChromaShift(depth);
  const int rounding = 1 << (shift - 1);
  const int lowest = static_cast<int>(depth.lowest);
  const int highest = static_cast<int>(depth.highest);
  for (std::uint32_t i = 0; i < (width + 1) / 2; ++i) {
    const std::uint16_t* const centre = line + std::size_t{2} * i;
    const int sum = 16 * centre[0] + 9 * (centre[-1] + centre[1]) - centre[-3] - centre[3];
    half[i] = static_cast<std::uint16_t>(std::clamp((sum + rounding) >> shift, lowest, highest));
  }
}

void DoubleChroma(std::uint16_t* half, std::uint32_t width, const SampleDepth& depth,
                  std::uint16_t* line) {
  Expect(width >= 1 && depth.bits <= k12Bits.bits);
  RepeatEdges(half, (width + 1) / 2);
  const int lowest = static_cast<int>(depth.lowest);
  const int highest = static_cast<int>(depth.highest);
  for (std::uint32_t i = 0; i < width / 2; ++i) {
    const std::uint16_t* const left = half + i;
    const int sum = 9 * (left[0] + left[1]) - (left[-1] + left[2]);
    line[2 * i] = left[0];
    line[2 * i + 1] = static_cast<std::uint16_t>(std::clamp((sum + 8) >> 4, lowest, highest));
  }
  if (width % 2 != 0) line[width - 1] = half[width / 2];
}

}  // namespace prores

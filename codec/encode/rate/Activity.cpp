// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/Activity.h"

#include <bit>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"

namespace prores {
namespace {

std::uint32_t BlockActivity(const std::uint16_t* samples, std::size_t stride, int shift) {
  std::uint32_t sum = 0;
  std::uint32_t squares = 0;
  for (std::size_t y = 0; y < kBlockSize; ++y) {
    for (std::size_t x = 0; x < kBlockSize; ++x) {
      const std::uint32_t sample = samples[y * stride + x] >> shift;
      sum += sample;
      squares += sample * sample;
    }
  }
  const std::uint32_t spread = kBlockSamples * squares - sum * sum;
  return std::bit_cast<std::uint32_t>(static_cast<float>(spread + kActivityFloor)) >>
         kFloatToOctaves;
}

}  // namespace

std::uint32_t MeasureActivity(const std::uint16_t* samples, std::size_t stride,
                              std::uint32_t blocks, int shift) {
  Expect(IsBlockCount(blocks, 0));
  std::uint32_t sum = 0;
  for (std::uint32_t block = 0; block < blocks; ++block) {
    const std::size_t line = block % 2 * kBlockSize;
    sum += BlockActivity(samples + line * stride + block / 2 * kBlockSize, stride, shift);
  }
  return sum >> std::countr_zero(blocks);
}

}  // namespace prores

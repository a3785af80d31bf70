// SPDX-License-Identifier: BSD-2-Clause
#include "transform/Quantise.h"

#include <bit>

#include "transform/ForwardTransform.h"

namespace prores {
namespace {

constexpr unsigned kMaxWeight = 63;
constexpr unsigned kMaxScale = 512;
// The dividend of the reciprocal multiplication stays below 2^15.
static_assert(kMaxCoefficient + kMaxWeight * kMaxScale / 2 < 1 << 15);
static_assert(kNearestRounding.dc <= kRoundingUnit / 2 && kNearestRounding.ac <= kRoundingUnit / 2);

}  // namespace

Quantiser::Quantiser(const QuantMatrix& weights, unsigned scale, const ScanTable& scan,
                     RoundingOffsets rounding) {
  for (std::size_t position = 0; position < kBlockSamples; ++position) {
    SetStep(position, weights[scan[position]] * scale, position == 0 ? rounding.dc : rounding.ac);
  }
}

void Quantiser::SetStep(std::size_t position, unsigned step, unsigned offset) {
  const auto bits = static_cast<unsigned>(std::bit_width(step - 1));
  const std::uint32_t power = std::uint32_t{1} << (15 + bits);
  factors_[position] = static_cast<std::uint16_t>(step * offset / kRoundingUnit);
  factors_[kBlockSamples + position] = static_cast<std::uint16_t>((power + step - 1) / step);
  factors_[2 * kBlockSamples + position] = static_cast<std::uint16_t>(1u << (17 - bits));
}

void Quantiser::Quantise(const std::int16_t* coefficients, std::size_t blocks,
                         std::int16_t* levels) const {
  for (std::size_t position = 0; position < kBlockSamples; ++position) {
    const std::uint16_t bias = Biases()[position];
    const std::uint16_t reciprocal = Reciprocals()[position];
    const int shift = 16 - std::countr_zero(Powers()[position]);
    const std::int16_t* const in = coefficients + position * blocks;
    std::int16_t* const out = levels + position * blocks;
    for (std::size_t block = 0; block < blocks; ++block) {
      const int sign = in[block] >> 15;  // 0 or -1
      const auto dividend = static_cast<std::uint16_t>((in[block] ^ sign) - sign + bias);
      const auto product = static_cast<std::uint32_t>(dividend) * reciprocal;
      const auto magnitude = static_cast<int>(static_cast<std::uint16_t>(product >> 16) >> shift);
      out[block] = static_cast<std::int16_t>((magnitude ^ sign) - sign);
    }
  }
}

}  // namespace prores

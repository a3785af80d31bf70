// SPDX-License-Identifier: BSD-2-Clause
#include "entropy/ComponentEncoder.h"

#include <array>

#include "bitstream/BlockOrder.h"
#include "entropy/CoefficientEncoder.h"

namespace prores {
namespace {

/// The levels of a component, on the stack.
class Levels {
 public:
  Levels(const Quantiser& quantiser, std::span<const std::int16_t> coefficients)
      : size_(coefficients.size()) {
    quantiser.Quantise(coefficients.data(), size_ / kBlockSamples, levels_.data());
  }
  std::span<const std::int16_t> All() const { return std::span(levels_).first(size_); }

 private:
  std::size_t size_;
  alignas(8) std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples> levels_;
};

}  // namespace

std::size_t CountComponentBytes(const Quantiser& quantiser,
                                std::span<const std::int16_t> coefficients) {
  return CountCoefficientBytes(Levels(quantiser, coefficients).All());
}

bool WriteComponent(const Quantiser& quantiser, std::span<const std::int16_t> coefficients,
                    std::span<std::uint8_t> destination) {
  return WriteCoefficients(Levels(quantiser, coefficients).All(), destination);
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "encode/ComponentEncoder.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "encode/CoefficientEncoder.h"

namespace prores {
namespace {

/// All levels of a component, on the stack.
class Levels {
 public:
  Levels(const Quantiser& quantiser, const SparseComponent& component)
      : size_(component.blocks * kBlockSamples) {
    Expect(size_ <= levels_.size() && component.count <= size_ - component.blocks);
    std::fill_n(levels_.begin(), size_, std::int16_t{0});
    for (std::size_t block = 0; block < component.blocks; ++block) {
      levels_[block] = quantiser.Level(component.dcs[block], quantiser.DcBias());
    }
    QuantiseAc(quantiser, component);
  }
  std::span<const std::int16_t> All() const { return std::span(levels_).first(size_); }

 private:
  void QuantiseAc(const Quantiser& quantiser, const SparseComponent& component) {
    std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples> values, places;
    std::size_t count = 0;
    for (std::size_t i = 0; i < component.count; ++i) {
      if (std::abs(component.values[i]) < quantiser.LeastAc()) continue;
      values[count] = component.values[i];
      places[count++] = component.places[i];
    }
    const auto place = [&](std::size_t i) { return i < count ? int{places[i]} : kPlaceBehindAll; };
    int before = static_cast<int>(component.blocks) - 1;
    for (std::size_t i = 0; i < count; ++i) {
      const int gap = GapOf(before, place(i), place(i + 1));
      before = place(i);
      if (std::abs(values[i]) < quantiser.LeastAc(gap)) continue;
      levels_[static_cast<std::size_t>(before)] = quantiser.Level(values[i], quantiser.AcBias());
    }
  }

  std::size_t size_;
  alignas(8) std::array<std::int16_t, kMaxSliceBlocks * kBlockSamples> levels_;
};

}  // namespace

std::size_t CountComponentBytes(const Quantiser& quantiser, const SparseComponent& component) {
  return CountCoefficientBytes(Levels(quantiser, component).All());
}

bool WriteComponent(const Quantiser& quantiser, const SparseComponent& component,
                    std::span<std::uint8_t> destination) {
  return WriteCoefficients(Levels(quantiser, component).All(), destination);
}

}  // namespace prores

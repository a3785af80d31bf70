// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/GridDetection.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace prores {
namespace {

/// Least luma values that are evidence.
constexpr std::size_t kLeastValues = 16;
/// Least different levels: slices in which all blocks are alike are no evidence.
constexpr int kLeastLevels = 4;
/// One value in so many may lie off the grid: clipped samples and blocks that lie half outside the
/// picture give other values.
constexpr std::uint32_t kStrayPart = 2;
/// Largest variance of the other values, relative to the noise. Off the grid, values are uniform
/// within the noise's reach, which is nine times the variance.
constexpr std::uint64_t kTolerance = 4;
/// Number of values that excludes most wrong grids.
constexpr std::size_t kFirstLook = 32;

std::span<const std::int16_t> FirstLook(std::span<const std::int16_t> values) {
  return values.first(std::min(kFirstLook, values.size()));
}

/// Counts the different magnitudes, up to 31, of the levels of the first values.
int CountLevels(std::span<const std::int16_t> values, unsigned step) {
  std::uint32_t levels = 0;
  for (const int value : FirstLook(values)) {
    levels |= 1U << std::min((static_cast<unsigned>(std::abs(value)) + step / 2) / step, 31U);
  }
  return std::popcount(levels & ~1U);
}

/// Returns the largest step on whose multiples enough of the first values can lie, or nullopt for
/// too few values.
std::optional<unsigned> LargestStep(std::span<const std::int16_t> values, const GridNoise& noise) {
  std::array<int, kFirstLook> magnitudes{};
  std::size_t count = 0;
  for (const int value : values) {
    magnitudes[count] = std::abs(value);
    if (magnitudes[count] > noise.reach && ++count == kFirstLook) break;
  }
  if (count < kLeastValues) return {};
  const auto at = [&](std::size_t i) {
    return magnitudes.begin() + static_cast<std::ptrdiff_t>(i);
  };
  const auto limit = at(count / kStrayPart);
  std::nth_element(magnitudes.begin(), limit, at(count));
  return static_cast<unsigned>(*limit + noise.reach);
}

}  // namespace

GridDeviations MeasureDeviations(const Quantiser& quantiser, std::span<const std::int16_t> values,
                                 int reach) {
  GridDeviations deviations;
  for (const std::int16_t value : values) {
    const int nearest = quantiser.Level(value, quantiser.DcBias()) * int{quantiser.Step()};
    const int deviation = std::abs(value - nearest);
    if (std::abs(value) <= reach) continue;
    ++deviations.counted;
    if (deviation > reach) {
      ++deviations.strayed;
    } else {
      deviations.squares += static_cast<std::uint32_t>(deviation * deviation);
    }
  }
  return deviations;
}

bool GridSearch::LieOnGrid(std::span<const std::int16_t> values, const Quantiser& quantiser) const {
  const auto [counted, strayed, squares] = measure_(quantiser, values, noise_.reach);
  // Coefficients are rounded too, which adds 1/12 to the variance.
  return strayed * kStrayPart <= counted &&
         std::uint64_t{squares} * 12 <=
             (counted - strayed) * kTolerance * (static_cast<unsigned>(noise_.square) + 1);
}

/// Returns the quarters of a rung's step on whose multiples both chroma components lie, or 0.
unsigned GridSearch::FindChromaQuarters(const SliceValues& values, unsigned rung) const {
  const auto fits = [&](unsigned quarters) {
    const Quantiser& quantiser = QuantiserOf(rung, quarters, true);
    return LieOnGrid(values[1], quantiser) && LieOnGrid(values[2], quantiser);
  };
  return fits(kQuarters) ? kQuarters : fits(kLowerChroma) ? kLowerChroma : 0;
}

/// Returns nullopt for too few values.
std::optional<Grid> GridSearch::Find(const SliceValues& values) const {
  const std::span<const std::int16_t> luma = values[0];
  const std::optional<unsigned> largest = LargestStep(luma, noise_);
  if (!largest) return {};
  for (unsigned rung = kCoarsestPlainRung; rung > 0; --rung) {
    const Quantiser& quantiser = QuantiserOf(rung, kQuarters, true);
    const unsigned step = quantiser.Step();
    if (step > *largest) continue;
    // All values lie on a grid as fine as the noise.
    if (step * step <= 2 * kTolerance * static_cast<unsigned>(noise_.square)) break;
    if (LieOnGrid(FirstLook(luma), quantiser) && CountLevels(luma, step) >= kLeastLevels &&
        LieOnGrid(luma, quantiser)) {
      return Grid{static_cast<std::uint8_t>(rung),
                  static_cast<std::uint8_t>(FindChromaQuarters(values, rung))};
    }
  }
  return Grid{};
}

Grid GridSearch::Next(const SliceValues& values) {
  constexpr unsigned kSkip = 7;
  if (skip_ > 0) {
    --skip_;
    return {};
  }
  const std::optional<Grid> found = Find(values);
  if (!found) return {};
  foundAny_ = foundAny_ || found->rung != 0;
  if (!foundAny_) skip_ = kSkip;
  return *found;
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "encode/SparseComponent.h"

#include <cstdlib>

#include "Ensure.h"

namespace prores {

std::size_t SelectCoefficients(std::span<const std::int16_t> coefficients, std::uint16_t threshold,
                               std::int16_t* values, std::int16_t* places) {
  Expect(threshold >= 1 && coefficients.size() <= kMaxSliceBlocks * kBlockSamples);
  std::size_t count = 0;
  for (std::size_t place = coefficients.size() / kBlockSamples; place < coefficients.size();
       ++place) {
    values[count] = coefficients[place];
    places[count] = static_cast<std::int16_t>(place);
    if (std::abs(coefficients[place]) >= threshold) ++count;
  }
  return count;
}

}  // namespace prores

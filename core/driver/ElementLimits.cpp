// SPDX-License-Identifier: BSD-2-Clause
#include "driver/ElementLimits.h"

#include <algorithm>
#include <limits>

namespace vix {
namespace {

/// The parser of frame headers refuses versions that it does not know.
constexpr unsigned kEveryVersion = std::numeric_limits<unsigned>::max();

constexpr ElementLimits kLimits[] = {
    {"vix", {kFourCC_UYVY, kFourCC_V210}, 0, true},
    {"vix4444", {kFourCC_Y416, kFourCC_b64A}, kEveryVersion, false},
};

}  // namespace

const ElementLimits& LimitsOf(std::string_view implementation) {
  const auto* const found =
      std::ranges::find(kLimits, implementation, &ElementLimits::implementation);
  return found == std::end(kLimits) ? kLimits[0] : *found;
}

}  // namespace vix

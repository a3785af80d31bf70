// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_DRIVER_ELEMENTLIMITS_H
#define CORE_DRIVER_ELEMENTLIMITS_H

#include <array>
#include <string_view>

#include "vix/Types.h"

namespace vix {

/// What the ProRes elements of an implementation take.
struct ElementLimits {
  std::string_view implementation;
  std::array<FourCC, 2> pixelFormats;  ///< of an encoder's input
  unsigned latestVersion;              ///< of the bitstream of decoded frames
  bool takesBareFrames;                ///< true = progressive frames without prefix, too
};

/// Returns the limits of an implementation; those of "vix" if it is unknown.
const ElementLimits& LimitsOf(std::string_view implementation);

}  // namespace vix

#endif  // CORE_DRIVER_ELEMENTLIMITS_H

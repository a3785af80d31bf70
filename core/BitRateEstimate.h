// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_BITRATEESTIMATE_H
#define CORE_BITRATEESTIMATE_H

#include <cstdint>

#include "vix/Types.h"

namespace vix {

/// Returns the data rate that frames of any size aim at, in megabits per second: the published rate
/// of the nearest size, in proportion to the number of pixels. 0 as GetProResVideoRateMbps().
double EstimateProResBitRate(ProResCodecVariant variant, EditRate editRate, std::uint32_t width,
                             std::uint32_t height);

}  // namespace vix

#endif  // CORE_BITRATEESTIMATE_H

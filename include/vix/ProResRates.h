// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESRATES_H
#define VIX_PRORESRATES_H

#include <cstdint>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Nominal data rate of a ProRes variant in megabits per second, rounded to the nearest integer.
///
/// Published target rates stand as they are. A rate between them scales from the nearest listed
/// one in proportion to the frames per second. The field classes (240 and 288 lines) have half the
/// rate of their frame. An unrecognised resolution is rated as 1080 lines. Deterministic; may be
/// called from any thread. Refuses an unknown variant and a rate that is not positive.
VIX_API std::uint32_t GetProResVideoRateMbps(ProResCodecVariant variant, EditRate editRate,
                                             VideoResolution resolution);

}  // namespace vix

#endif  // VIX_PRORESRATES_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESRATES_H
#define VIX_PRORESRATES_H

#include <cstdint>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Returns the nominal data rate of a ProRes variant in megabits per second.
///
/// Each resolution class has the published rates of one picture size: 720x486 for 480 lines,
/// 720x576, 1280x720, 1920x1080 and 3840x2160. The published rates apply to the listed edit rates
/// and to their 1000/1001 forms. For any other edit rate, the rate of the nearest listed one (the
/// lower of two at the same distance) is scaled in proportion to the frames per second. The field
/// classes (240 and 288 lines) have half the rate of the frame. An unrecognised resolution has the
/// rates of 1080 lines, because it includes coded heights such as 1088. The result is rounded to
/// the nearest integer, halves up, and limited to 32 bits.
///
/// Returns 0 for an unknown variant and for an edit rate that is not positive: a stream may be
/// described before both are known. Any thread may call it.
VIX_API std::uint32_t GetProResVideoRateMbps(ProResCodecVariant variant, EditRate editRate,
                                             VideoResolution resolution);

}  // namespace vix

#endif  // VIX_PRORESRATES_H

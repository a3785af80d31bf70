// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_PRORESRATES_H
#define VIX_PRORESRATES_H

#include <cstdint>

#include "vix/Export.h"
#include "vix/Types.h"

namespace vix {

/// Nominal data rate of a ProRes variant in megabits per second, rounded to the nearest integer.
///
/// The resolution class stands for the picture size whose rates are published: 720x486 for 480
/// lines, 720x576, 1280x720, 1920x1080, 3840x2160. Published target rates stand as they are, for
/// the edit rate that they are listed under and for its 1000/1001 form. Any other edit rate scales
/// from the nearest listed one (the lower of two equally near) in proportion to the frames per
/// second. The field classes (240 and 288 lines) have half the rate of their frame. An unrecognised
/// resolution is rated as 1080 lines: coded heights such as 1088 fall into that class. Halves round
/// up; a result above 32 bits is reported as the largest 32-bit value.
///
/// Answers 0, "no rate known", for an unknown variant and for an edit rate that is not positive: a
/// stream may be described before both are settled. Deterministic; may be called from any thread.
VIX_API std::uint32_t GetProResVideoRateMbps(ProResCodecVariant variant, EditRate editRate,
                                             VideoResolution resolution);

}  // namespace vix

#endif  // VIX_PRORESRATES_H

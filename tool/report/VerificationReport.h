// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_VERIFICATIONREPORT_H
#define TOOL_REPORT_VERIFICATIONREPORT_H

#include <span>
#include <string>
#include <vector>

#include "check/Verification.h"

namespace vixprores {

/// "frame 17 (10:00:00:17) at byte 12345: ..." with faults and the first few slices.
std::string DescribeDamage(const DamagedFrame& frame);
/// "picture 1 row 2 slice 1, picture 2 row 0 slice 3": the first few, and how many more there are.
std::string DescribeSlices(std::span<const DamagedSlice> slices);
/// "clip.mov: 240 frames, intact"
std::string DescribeOutcome(const Verification& file);
/// All of it as one JSON object, without a newline.
std::string VerificationJson(const std::vector<Verification>& files);

}  // namespace vixprores

#endif  // TOOL_REPORT_VERIFICATIONREPORT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_VERIFICATIONREPORT_H
#define TOOL_REPORT_VERIFICATIONREPORT_H

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "check/Verification.h"
#include "report/Json.h"

namespace vixprores {

/// Most damaged slices of a frame that text reports list; the JSON report lists all.
inline constexpr std::size_t kMostNamedSlices = 4;

/// Returns "frame 17 (10:00:00:17) at byte 12345: ..." with the faults and the first damaged
/// slices.
std::string DescribeDamage(const DamagedFrame& frame);
/// Returns text like "variant is lt, expected hq".
std::string DescribeShortfall(const Shortfall& shortfall);
/// Returns text like "clip.mov: 240 frames, intact".
std::string DescribeOutcome(const Verification& file);

/// Writes the report as one JSON object without a newline: "command", "intact" and "files": file,
/// intact, error, note, shortfalls (property, found, expected; if expectations were given), frames,
/// damagedFrames, damagedSoundPackets, soundGaps, soundDamage, damage (frame, count, timecode,
/// offset, faults, slices: picture, row, slice, offsetInFrame), indexFaults.
void WriteVerificationJson(const std::vector<Verification>& files, const TextSink& write);

/// Returns all members of a file but "damage" and "indexFaults".
JsonValue SummaryJson(const Verification& file);
/// Returns an element of "damage" with at most `mostSlices` slices; without "slices" if that is 0.
JsonValue DamageJson(const DamagedFrame& frame, std::size_t mostSlices);

}  // namespace vixprores

#endif  // TOOL_REPORT_VERIFICATIONREPORT_H

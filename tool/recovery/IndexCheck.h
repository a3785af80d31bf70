// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_INDEXCHECK_H
#define TOOL_RECOVERY_INDEXCHECK_H

#include <string>
#include <vector>

#include "media/FrameReader.h"

namespace vixprores {

/// What the index of a .mov of this program has lost, by the packet tags (PacketTag.h) that stand
/// beside it: packets, tracks, timecode and metadata. Each is a few words to go behind "index: ".
/// Empty for a whole index, and for files without tags, where nothing is known of it.
/// @param reader of the same file, by its index
/// @throws Failure, Interrupted when the file cannot be read
std::vector<std::string> FindIndexFaults(const std::string& input, FrameReader& reader);

/// Returns "index: FAULT" and what to do about it.
std::string DescribeIndexFault(const std::string& fault);

}  // namespace vixprores

#endif  // TOOL_RECOVERY_INDEXCHECK_H

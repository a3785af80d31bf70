// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_INDEXCHECK_H
#define TOOL_RECOVERY_INDEXCHECK_H

#include <string>
#include <vector>

#include "media/FrameReader.h"

namespace vixprores {

/// Returns what the index of a .mov of this program has lost, compared with its packet tags
/// (PacketTag.h): packets, tracks, timecode and metadata. Each fault is a few words to follow
/// "index: ". Empty for a complete index, and for files without tags. Reads only the index if it
/// leads to all packets; otherwise also the tags.
/// @param reader reader of the same file, by its index
/// @throws Failure, Interrupted if the file cannot be read
std::vector<std::string> FindIndexFaults(const std::string& input, FrameReader& reader);

/// Returns "index: FAULT" and the way to repair it.
std::string DescribeIndexFault(const std::string& fault);

}  // namespace vixprores

#endif  // TOOL_RECOVERY_INDEXCHECK_H

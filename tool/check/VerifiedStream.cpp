// SPDX-License-Identifier: BSD-2-Clause
#include "check/VerifiedStream.h"

#include <utility>

#include "frames/StreamHeaders.h"

namespace vixprores {

void VerifiedStream::Add(const DamagedFrame& frame, std::span<const std::uint8_t> bytes) {
  FrameStatistics seen;
  seen.number = frame.place.number;
  seen.count = frame.place.count;
  seen.offset = frame.place.offset;
  seen.isThere = !bytes.empty();
  seen.bytes = bytes.size();
  seen.fault = frame.check.Describe();
  if (seen.isThere) statistics.bytes.Add(static_cast<double>(seen.bytes));
  if (!frame.check.IsIntact()) statistics.faulty += seen.count;
  statistics.frames.push_back(std::move(seen));
  if (frame.check.IsIntact() && !statistics.header) statistics.header = ParseHeader(bytes);
  if (frame.check.slices.empty() || maps.size() == kMostDamageMaps) return;
  maps.push_back({frame.place, LayOutSlices(ReadFrameStructure(bytes)), frame.check.slices});
}

}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_VERIFIEDSTREAM_H
#define TOOL_CHECK_VERIFIEDSTREAM_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "check/Verification.h"
#include "frames/SliceGrid.h"
#include "frames/StreamStatistics.h"

namespace vixprores {

/// Frames whose damaged slices are kept with their places, the first ones that have any.
inline constexpr std::size_t kMostDamageMaps = 6;

/// The damaged slices of a frame and all slices that it has.
struct DamageMap {
  FramePlace place;
  SliceGrid grid;
  std::vector<DamagedSlice> damaged;
};

/// What there is to show of a stream that is being verified.
struct VerifiedStream {
  explicit VerifiedStream(const FrameReader& reader) : statistics(DescribeInput(reader)) {}

  /// Takes the frames as VerificationEvents::checked gives them.
  void Add(const DamagedFrame& frame, std::span<const std::uint8_t> bytes);

  /// Format, header of the first intact frame, sizes and faults; nothing of slices and quantisers.
  StreamStatistics statistics;
  std::vector<DamageMap> maps;  ///< at most kMostDamageMaps
};

}  // namespace vixprores

#endif  // TOOL_CHECK_VERIFIEDSTREAM_H

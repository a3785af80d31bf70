// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_VERIFICATION_H
#define TOOL_CHECK_VERIFICATION_H

/// @file
/// Verification and inspection: reading a ProRes stream frame by frame and reporting on it.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Limits.h"
#include "check/Expectations.h"
#include "format/FramePlace.h"
#include "format/Sound.h"
#include "format/Values.h"
#include "frames/FrameCheck.h"
#include "frames/FrameStructure.h"
#include "frames/StreamStatistics.h"
#include "media/FrameReader.h"

namespace vixprores {

/// A damaged frame, or several frames missing for one reason.
struct DamagedFrame {
  FramePlace place;
  FrameCheck check;
};

/// Result of verifying one file.
struct Verification {
  std::string file;
  std::string error;               ///< why reading failed or ended early; empty = it did not
  std::int64_t frames = 0;         ///< missing ones included
  std::int64_t damagedFrames = 0;  ///< missing ones included
  std::vector<DamagedFrame> damage;
  std::vector<SoundDamage> soundDamage;
  std::string note;                ///< FrameReader::GetEndNote(); empty = none
  std::vector<std::string> index;  ///< faults of the index, from FindIndexFaults()
  std::vector<Shortfall> shortfalls;
  bool isExpected = false;  ///< `shortfalls` were searched

  bool IsIntact() const {
    return error.empty() && damagedFrames == 0 && soundDamage.empty() && index.empty();
  }
  bool IsAccepted() const { return IsIntact() && shortfalls.empty(); }
};

/// Callbacks of a verification; only one thread at a time calls them.
struct VerificationEvents {
  /// Every frame in order, damaged or not; no bytes if it could not be read. May be empty.
  std::function<void(const DamagedFrame&, std::span<const std::uint8_t> bytes)> checked;
  std::function<void(const DamagedFrame&)> damaged;
  /// Frames and bytes so far.
  std::function<void(std::int64_t frames, std::uint64_t bytes)> progress;
};

/// Checks the remaining frames of `reader` on several threads and adds the findings to `result`, in
/// the order of the frames.
/// @param threads 0 = one per processor
/// @throws Failure, Interrupted if the reader cannot continue; `result` holds the frames before
void VerifyFrames(FrameReader& reader, int threads, const VerificationEvents& events,
                  Verification& result);

/// Returns statistics that hold what the reader states about the stream.
StreamStatistics DescribeInput(FrameReader& reader);

/// Adds the frames of a range, or all frames, to the statistics.
/// @param listSlices keep the slices of each frame, kMostListedSlices in all
/// @throws Failure, Interrupted if the reader cannot continue; `stream` holds the frames before
void InspectFrames(FrameReader& reader, const std::optional<FrameRange>& range, bool listSlices,
                   StreamStatistics& stream, NotableFrames& notable);

/// A frame with damaged slices and the grid of all its slices.
struct DamageMap {
  FramePlace place;
  SliceGrid grid;
  std::vector<DamagedSlice> damaged;
};

/// Everything that a page shows about a stream that is being verified.
struct VerifiedStream {
  static constexpr std::size_t kMostMaps = 6;

  explicit VerifiedStream(FrameReader& reader) : statistics(DescribeInput(reader)) {}

  /// Adds a frame; takes the arguments of VerificationEvents::checked.
  void Add(const DamagedFrame& frame, std::span<const std::uint8_t> bytes);

  /// Format, header of the first intact frame, sizes and faults; no slices and no quantisers.
  StreamStatistics statistics;
  std::vector<DamageMap> maps;  ///< of the first frames with damaged slices, at most kMostMaps
};

}  // namespace vixprores

#endif  // TOOL_CHECK_VERIFICATION_H

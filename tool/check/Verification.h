// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_VERIFICATION_H
#define TOOL_CHECK_VERIFICATION_H

/// @file
/// Whether all frames of a stream are there and intact.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "format/FramePlace.h"
#include "format/SoundDamage.h"
#include "frames/FrameCheck.h"
#include "media/FrameReader.h"

namespace vixprores {

/// A frame that is not intact, or several that are missing for one reason.
struct DamagedFrame {
  FramePlace place;
  FrameCheck check;
};

/// What became of one file.
struct Verification {
  std::string file;
  std::string error;        ///< why it could not be read, or not to its end; empty = it could
  std::int64_t frames = 0;  ///< missing ones included
  std::int64_t damagedFrames = 0;  ///< likewise
  std::vector<DamagedFrame> damage;
  std::vector<SoundDamage> soundDamage;
  std::string note;                ///< as FrameReader::GetEndNote() says; empty = nothing
  std::vector<std::string> index;  ///< what the index has lost, as FindIndexFaults() says it

  bool IsIntact() const {
    return error.empty() && damagedFrames == 0 && soundDamage.empty() && index.empty();
  }
};

/// What is told while a stream is being verified; called by one thread at a time.
struct VerificationEvents {
  /// Of every frame, whether or not it is damaged, in their order; no bytes of what could not be
  /// read. May be empty.
  std::function<void(const DamagedFrame&, std::span<const std::uint8_t> bytes)> checked;
  std::function<void(const DamagedFrame&)> damaged;
  std::function<void(std::int64_t frames, std::uint64_t bytes)> progress;  ///< of both so far
};

/// Checks every frame that is left in `reader`, several side by side, and adds to `result` what it
/// finds, in the order of the frames.
/// @param threads 0 = one per processor
/// @throws Failure, Interrupted when the reader cannot go on; the frames before are in `result`
void VerifyFrames(FrameReader& reader, int threads, const VerificationEvents& events,
                  Verification& result);

}  // namespace vixprores

#endif  // TOOL_CHECK_VERIFICATION_H

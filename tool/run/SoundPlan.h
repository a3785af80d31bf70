// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_SOUNDPLAN_H
#define TOOL_RUN_SOUNDPLAN_H

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "run/Transcode.h"

namespace vixprores {

/// Returns the places of the reader's sound tracks that are kept, from 0.
/// @throws Failure if --audio-tracks asks for one that it does not have
std::vector<std::size_t> ChooseTracks(const TranscodeOptions& options, FrameReader& reader);

/// The pictures that sound files accompany.
struct SoundAnchor {
  TimePoint begin;                     ///< time of the first one on the timeline of the sound
  std::int64_t skipped = 0;            ///< pictures of the input before it that are left out
  std::optional<std::int64_t> frames;  ///< of the input; nullopt = unknown
  std::optional<Timecode> timecode;    ///< of the input's first picture
  Rational rate;                       ///< of that timecode
};

/// Opens the sound files of the options, aligned with the pictures; adds notes on how. Returns null
/// if there are none.
/// @throws Failure if a file has no sound during the pictures
std::shared_ptr<SoundSource> OpenSoundFiles(const TranscodeOptions& options,
                                            const SoundAnchor& anchor,
                                            std::vector<std::string>& notes);

/// Chooses the sound of a run: selects tracks of the input, opens sound files and aligns them with
/// the pictures, and converts tracks. Sets `plan.sound` and `plan.content.sound`, and adds notes.
/// @throws Failure if a track cannot be decoded or the output cannot hold it
void PlanSound(const TranscodeOptions& options, TranscodePlan& plan);

}  // namespace vixprores

#endif  // TOOL_RUN_SOUNDPLAN_H

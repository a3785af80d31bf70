// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_COPY_H
#define TOOL_RUN_COPY_H

#include <memory>
#include <optional>
#include <vector>

#include "format/OutputFormat.h"
#include "format/Values.h"
#include "frames/FrameLabels.h"
#include "media/FrameReader.h"
#include "media/sound/SideTracks.h"
#include "run/Options.h"
#include "run/RunReport.h"

namespace vixprores {

/// An input of a copy.
struct CopyPart {
  std::unique_ptr<FrameReader> reader;
  std::optional<FrameRange> range;  ///< nullopt = all frames
};

/// A copy that is ready to start.
struct CopyPlan {
  std::vector<CopyPart> parts;
  FrameLabels labels;    ///< to write into the headers of frames
  MovieContent content;  ///< of the output
  /// Sound files, whose tracks follow those of the parts; null = none.
  std::shared_ptr<SoundSource> soundFiles = nullptr;
  OutputFormat output;
};

/// Converts label options to the labels of frames. Rejects a progressive field order with a
/// UsageError, because no label makes interlaced frames progressive.
FrameLabels ToFrameLabels(const StreamOverrides& options);

/// Copies the ProRes frames of the inputs bit for bit, one input after the other, with sound,
/// timecode and metadata; corrects labels. Needs no plug-in. Stops after the current frame at an
/// interrupt, and at the first failure; keeps the frames so far under the name of a partial output.
/// Keeps `report` up to date, also when it throws.
/// @throws Failure if nothing was written
void Copy(const CopyOptions& options, RunReport& report, RunObserver& observer);

}  // namespace vixprores

#endif  // TOOL_RUN_COPY_H

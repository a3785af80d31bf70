// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TRANSCODE_H
#define TOOL_RUN_TRANSCODE_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "format/OutputFormat.h"
#include "media/FrameReader.h"
#include "run/Batch.h"
#include "run/Elements.h"
#include "run/Options.h"
#include "run/RunReport.h"

namespace vixprores {

/// Checks encoded frames against their sources; check/ implements it.
class EncodingCheck {
 public:
  virtual ~EncodingCheck() = default;
  /// Compares one frame with its source. May be called from any thread, by one at a time for each
  /// worker.
  /// @throws VIXRuntimeError if the frame cannot be decoded intact
  virtual void Measure(unsigned worker, const vix::IBuffer& source,
                       std::shared_ptr<const vix::IBuffer> encoded, std::int64_t number) = 0;
  /// Adds a measured frame to the quality of all. Called in the order of the frames, by one thread
  /// at a time.
  virtual void Add(std::int64_t number) = 0;
  virtual EncodingQuality GetQuality() const = 0;
};

/// How a run writes images.
struct SequencePlan {
  std::optional<std::int64_t> firstNumber;  ///< nullopt = that of the first frame in the input
  std::optional<ColourSpaces> colours;      ///< nullopt = the colours of the video
};

/// A run that is ready to start: the differences between encode and decode.
struct TranscodePlan {
  std::unique_ptr<FrameReader> reader;
  StreamFormat source;  ///< the reader's with the user's overrides
  ProResElement element;
  MovieContent content;  ///< the elements' output, and the timecode, sound and metadata beside it
  OutputFormat output;
  /// Makes the check of a verified encoding; empty = none.
  std::function<std::unique_ptr<EncodingCheck>(const ThreadShares&)> makeCheck = {};
  std::vector<std::string> notes = {};  ///< for the user
  /// Sound beside the frames, as PlanSound() chooses it; null = that of the reader.
  std::shared_ptr<SoundSource> sound = nullptr;
  DamagePolicy onDamage = DamagePolicy::Stop;
  SequencePlan sequence = {};
  bool isEncoded = false;    ///< the reader's frames are those of the output
  bool keepsPartial = true;  ///< the frames before a failure, as a partial output
};

/// Runs the frames of the plan's reader through elements side by side into the output, which is
/// the same for every number of threads; copies the sound, the timecode and the metadata of the
/// input. Stops after the current frames at an interrupt, and at the first failure; keeps the
/// frames so far under the name of a partial output. Skips an input of a batch whose output is
/// there already. Keeps `report` up to date, also when it throws.
/// @throws Failure, VIXRuntimeError if nothing was written
void Transcode(TranscodeOptions options, TranscodePlan plan, RunReport& report,
               RunObserver& observer);

/// Returns true if the output exists already and matches the plan as far as can be checked without
/// reading its frames: format, picture size, number of frames, labels (colour, field order, rate,
/// timecode) and number of sound tracks. Rejects a different file with a Failure that names the
/// difference.
bool IsMadeAlready(const TranscodeOptions& options, const TranscodePlan& plan);

/// Loads the plug-in, runs `work` on the input of the options, or on each of a batch, and reports
/// the outcome of each to `observer`. Returns the exit code.
int RunReported(const TranscodeOptions& options, const char* command, RunObserver& observer,
                const RunItem& work);

}  // namespace vixprores

#endif  // TOOL_RUN_TRANSCODE_H

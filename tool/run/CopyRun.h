// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_COPYRUN_H
#define TOOL_RUN_COPYRUN_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/FramePool.h"
#include "media/OutputFile.h"
#include "media/container/ContainerWriter.h"
#include "media/sound/SoundJoiner.h"
#include "run/Copy.h"
#include "run/FrameSource.h"

namespace vixprores {

/// Copies the frames of a plan to the output. `options`, `report` and `observer` must outlive it;
/// the report is always up to date.
class CopyRun {
 public:
  CopyRun(const CopyOptions& options, CopyPlan plan, RunReport& report, RunObserver& observer);

  /// Copies all parts. Returns false after an interrupt.
  bool CopyFrames();
  /// Completes the output.
  void Finish();
  /// Keeps the frames so far after the run ended for the given reason.
  void FinishPartial(const std::string& reason);

 private:
  void CopyPartOf(std::size_t place);
  SoundPart PlaceSound(std::size_t place) const;
  void NoteTimecode(std::size_t place, const FrameReader& reader);
  void Relabel(Frame& frame) const;
  void CopyFrame(Frame& frame);
  void DropFrame(const Frame& frame);
  void WriteFrame(const Frame& frame, std::int64_t number);
  void WriteSound(std::vector<SoundPacket> sound);
  void WriteSoundFiles(bool isEnd);
  void EndPart(std::size_t place);
  void StopClock();

  const CopyOptions& options_;
  CopyPlan plan_;
  std::optional<std::int64_t> total_;  ///< frames of all parts; nullopt = unknown
  std::shared_ptr<const vix::IVideoInfo> info_;
  FramePool pool_;
  OutputFile file_;
  ContainerWriter writer_;
  std::size_t joinedTracks_;  ///< sound tracks of the parts
  SoundJoiner sound_;
  std::unique_ptr<FrameSource> source_;  ///< the part that is being copied
  std::int64_t partBegin_ = 0;           ///< number of its first frame in the output
  std::int64_t partFrames_ = 0;          ///< of it so far, with those that are missing
  RunReport& report_;
  RunObserver& observer_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace vixprores

#endif  // TOOL_RUN_COPYRUN_H

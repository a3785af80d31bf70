// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TRANSCODERUN_H
#define TOOL_RUN_TRANSCODERUN_H

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "check/EncodingCheck.h"
#include "media/FrameWriter.h"
#include "media/OutputFile.h"
#include "report/Report.h"
#include "run/ElementTeam.h"
#include "run/FrameSource.h"
#include "run/StandIn.h"
#include "run/Transcode.h"

namespace vixprores {

/// The frames of a plan on their way through elements into the output. `options` and `report` must
/// outlive it; the report always tells how far it came.
class TranscodeRun {
 public:
  TranscodeRun(const TranscodeOptions& options, TranscodePlan plan, RunReport& report);

  const FrameSource& GetSource() const { return source_; }

  /// Returns false when the user asked to stop.
  bool ProcessFrames();
  /// Completes the output.
  void Finish();
  /// Keeps what was written before the run ended for that reason.
  void FinishPartial(const std::string& reason);

 private:
  using Sample = std::shared_ptr<const vix::IVideoSample>;

  void Process(Frame& frame, unsigned element);
  Sample Code(std::shared_ptr<vix::IBuffer> source, Frame& frame, unsigned element);
  Sample CodeAndJudge(Frame& frame, std::shared_ptr<vix::IBuffer> source, unsigned element);
  FrameQuality Check(const vix::IBuffer& source, std::shared_ptr<const vix::IBuffer> encoded,
                     std::int64_t number, unsigned element);
  void Blame(const Frame& frame) const;
  void Write(Frame& frame, const std::exception_ptr& failure);
  void WriteFrame(const Sample& frame);
  void ReportDamage(const Frame& frame);
  void ReportOutput(const std::string& name);
  void StopClock();

  const TranscodeOptions& options_;
  FrameSource source_;
  StreamFormat result_;
  ThreadShares shares_;
  ElementTeam elements_;
  std::optional<EncodingCheck> check_;
  OutputFile file_;
  std::unique_ptr<FrameWriter> writer_;
  DamagePolicy onDamage_;
  StandIn standIn_;
  Progress progress_;
  RunReport& report_;
  std::chrono::steady_clock::time_point start_;
};

}  // namespace vixprores

#endif  // TOOL_RUN_TRANSCODERUN_H

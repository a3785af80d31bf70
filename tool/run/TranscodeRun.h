// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_TRANSCODERUN_H
#define TOOL_RUN_TRANSCODERUN_H

#include <chrono>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include "media/FrameWriter.h"
#include "media/OutputFile.h"
#include "run/EarlierRun.h"
#include "run/Elements.h"
#include "run/FrameSource.h"
#include "run/Transcode.h"

namespace vixprores {

/// Makes the frames that replace lost ones: the last frame again, or a grey picture if there is
/// none. Used by the thread that writes.
class GapFiller {
 public:
  /// @param format of the uncompressed frames
  /// @param writer of the frames; must outlive the object
  GapFiller(const StreamFormat& format, const FrameWriter& writer)
      : format_(format), writer_(writer) {}

  /// Returns true if there is a last frame.
  bool HasLast() const { return last_ != nullptr; }
  /// Sets the last frame, packed for the writer.
  void SetLast(std::shared_ptr<const vix::IVideoSample> frame) { last_ = std::move(frame); }
  /// Returns the frame of that number, packed for the writer.
  std::shared_ptr<const vix::IVideoSample> Make(std::int64_t number);

 private:
  std::shared_ptr<const vix::IVideoSample> MakeGrey() const;

  StreamFormat format_;
  const FrameWriter& writer_;
  std::shared_ptr<const vix::IVideoSample> last_;
};

/// Runs the frames of a plan through elements into the output. `options`, `report` and `observer`
/// must outlive it; the report is always up to date.
class TranscodeRun {
 public:
  TranscodeRun(const TranscodeOptions& options, TranscodePlan plan, RunReport& report,
               RunObserver& observer);

  const FrameSource& GetSource() const { return source_; }
  /// Returns a note on what the finished output could not store; empty = nothing.
  std::string GetOutputNote() const { return writer_->GetEndNote(); }

  /// Processes all frames. Returns false after an interrupt.
  bool ProcessFrames();
  /// Completes the output.
  void Finish();
  /// Keeps the frames so far after the run ended for the given reason.
  void FinishPartial(const std::string& reason);

 private:
  using Sample = std::shared_ptr<const vix::IVideoSample>;

  vix::ElementPoolOptions MakePoolOptions(const StreamFormat& source);
  std::optional<Frame> ReadFrame();
  void Prepare(vix::PoolFrame& job);
  void Complete(vix::PoolFrame& job, unsigned element);
  ElementOutput TakeOutput(const vix::PoolFrame& job, const Frame& frame) const;
  Sample Judge(Frame& frame, const ElementOutput& output) const;
  void Check(const vix::IBuffer& source, std::shared_ptr<const vix::IBuffer> encoded,
             std::int64_t number, unsigned element);
  void StopAtDamage(const Frame& frame) const;
  void Write(Frame& frame, const std::exception_ptr& failure);
  void WriteFrame(const Sample& frame);
  void FillGap(const FramePlace& place);
  void ReportDamage(const Frame& frame);
  void ReportOutput(const std::string& name);
  void StopClock();

  const TranscodeOptions& options_;
  FrameSource source_;
  StreamFormat result_;
  ThreadShares shares_;
  SampleMaker samples_;
  std::unique_ptr<EncodingCheck> check_;  ///< null = none
  EarlierRun earlier_;
  OpenedOutput opened_;
  Output& file_;
  FrameWriter* writer_;
  DamagePolicy onDamage_;
  bool isEncoded_;           ///< see TranscodePlan
  bool keepsPartial_;        ///< see TranscodePlan
  std::int64_t frames_ = 0;  ///< given to the writer
  GapFiller gapFiller_;
  StandInLimit standIns_;
  RunReport& report_;
  RunObserver& observer_;
  std::chrono::steady_clock::time_point start_;
  std::unique_ptr<vix::ElementPool> elements_;  // the last member: its threads use the others
};

}  // namespace vixprores

#endif  // TOOL_RUN_TRANSCODERUN_H

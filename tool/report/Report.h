// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_REPORT_REPORT_H
#define TOOL_REPORT_REPORT_H

/// @file
/// What a run tells its user: the progress line and the summary.

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/EncodingCheck.h"
#include "format/FramePlace.h"
#include "format/Sound.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// A damaged frame of a run's input, or several for one reason.
struct FrameDamage {
  enum class Treatment { Stopped, LeftOut, Concealed, Replaced };

  FramePlace place;
  std::string what;  ///< is wrong with it
  Treatment treatment = Treatment::Stopped;
};

/// "frame 17 at byte 12345: has 2 damaged slices; concealed"
std::string Describe(const FrameDamage& damage);

/// How a run went.
struct RunReport {
  enum class Status { Done, Skipped, Interrupted, Failed };

  const char* command = "";
  Status status = Status::Failed;
  std::string message;  ///< why it did not reach its end; empty when it did
  std::string input;
  std::string output;            ///< name of what was written; empty = nothing was kept
  std::int64_t outputBytes = 0;  ///< size of what was written
  StreamFormat source;
  StreamFormat result;
  bool isLabelled = true;       ///< the output tells field order, aspect or colour
  std::size_t soundTracks = 0;  ///< that go along
  std::string timecode;         ///< of the first frame; empty = none
  std::int64_t frames = 0;
  std::uint64_t sourceBytes = 0;           ///< of the frames that were read
  std::uint64_t resultBytes = 0;           ///< of the frames as the element gave them
  std::optional<EncodingQuality> quality;  ///< of what was encoded, where it was verified
  std::vector<FrameDamage> damage;
  std::int64_t damagedFrames = 0;  ///< of a recovered file
  std::vector<SoundDamage> soundDamage;
  double seconds = 0;  ///< from the first frame to the complete output

  double FramesPerSecond() const;
  /// Speed in units of the video's own.
  double RealTimeFactor() const;
  /// Bit rate of the ProRes side when played, in 10^6 bits per second.
  double MegabitsPerSecond() const;
};

/// The summary as one line, without its newline.
std::string SummaryLine(const RunReport& report);
/// The summary as one JSON object, without a newline.
std::string SummaryJson(const RunReport& report);

/// {"error": "..."}, without a newline.
std::string ErrorJson(const std::string& message);

/// Tells on standard error of the damaged frames that the run went on behind; also to those who
/// want to hear of nothing else.
void PrintDamage(const RunReport& report);

/// A table of several runs: how each ended, its frames, size and speed, its input; and totals.
std::string BatchTable(const std::vector<RunReport>& reports);
/// The summaries as one JSON array, without a newline.
std::string BatchJson(const std::vector<RunReport>& reports);

/// How a run tells how far it is.
enum class ProgressKind { None, Line, Json };

/// Tells on standard error how far a run is: by a line that is drawn anew, where standard error is
/// a terminal, or by lines of JSON.
class Progress {
 public:
  explicit Progress(ProgressKind kind);
  /// Clears the line.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// Shows the state of a run of `total` frames (none = unknown), a few times a second at most.
  void Update(const RunReport& report, std::optional<std::int64_t> total);

 private:
  ProgressKind kind_;
  bool shown_ = false;
  std::chrono::steady_clock::time_point nextUpdate_;
};

/// The progress line's text.
std::string ProgressText(const RunReport& report, std::optional<std::int64_t> total);
/// One line of JSON, without its newline.
std::string ProgressJson(const RunReport& report, std::optional<std::int64_t> total);

}  // namespace vixprores

#endif  // TOOL_REPORT_REPORT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_RUNREPORT_H
#define TOOL_RUN_RUNREPORT_H

/// @file
/// Results of a run; report/ formats them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/FramePlace.h"
#include "format/PlanarPicture.h"
#include "format/Sound.h"
#include "format/StreamFormat.h"

namespace vixprores {

/// A damaged frame of a run's input, or several frames with the same damage.
struct FrameDamage {
  enum class Treatment {
    Stopped,
    LeftOut,
    Concealed,  ///< damaged slices are filled from their neighbours
    Replaced,   ///< the previous picture, or grey
    Kept,       ///< as decoded: no damage was found in its slices
    Opaque,     ///< only alpha is damaged; its slices are opaque
  };

  FramePlace place;
  std::string what;  ///< its fault
  Treatment treatment = Treatment::Stopped;
  std::string input = {};  ///< file of the frame; empty = the only input of the run
};

/// One of several inputs of a run.
struct InputPart {
  std::string input;
  std::int64_t first = 0;   ///< number of its first frame in the output
  std::int64_t frames = 0;  ///< from it, in the output
};

/// Quality of all encoded frames together.
struct EncodingQuality {
  static constexpr std::size_t kAll = SamplePicture::kPlanes;  ///< index of all samples in psnr

  std::int64_t frames = 0;
  std::array<double, SamplePicture::kPlanes + 1> psnr{};  ///< Y, Cb, Cr and all of these, in dB
  std::optional<double> alphaPsnr;                        ///< in dB; nullopt = not compared
  std::int64_t worstFrame = 0;                            ///< number of the frame with least PSNR
  double worstPsnr = 0;                                   ///< of all its samples
};

/// State and outcome of a run.
struct RunReport {
  enum class Status { Done, Skipped, Interrupted, Failed };

  const char* command = "";
  std::size_t place = 0;  ///< of the input in its batch, from 1; 0 = no batch
  Status status = Status::Failed;
  std::string message;           ///< why the run ended early; empty = it did not
  std::string input;             ///< name, or names of all parts
  std::vector<InputPart> parts;  ///< inputs that were joined; empty = one input
  std::string output;            ///< name of the file that was written; empty = none was kept
  std::int64_t outputBytes = 0;  ///< size of that file
  StreamFormat source;
  StreamFormat result;
  bool isLabelled = true;       ///< the output holds field order, aspect or colour
  bool isPlanar = false;        ///< the output holds the samples of `result` in planes
  bool isImages = false;        ///< the output is one image file for each frame
  std::size_t soundTracks = 0;  ///< that are copied
  std::string timecode;         ///< of the first frame; empty = none
  std::int64_t frames = 0;
  std::int64_t resumedFrames = 0;  ///< of these, encoded by an interrupted run before this one
  std::uint64_t sourceBytes = 0;   ///< of the frames that were read
  std::uint64_t resultBytes = 0;   ///< of the frames as the element returned them
  std::optional<EncodingQuality> quality;  ///< of a verified encoding
  std::vector<FrameDamage> damage;
  std::int64_t damagedFrames = 0;  ///< of a recovered file
  std::vector<SoundDamage> soundDamage;
  double seconds = 0;  ///< from the first frame to the complete output

  /// Returns true if the output exists, from this run or an earlier one.
  bool HasOutput() const { return status == Status::Done || status == Status::Skipped; }
  double FramesPerSecond() const { return Ratio(static_cast<double>(frames), seconds); }
  /// Returns the speed as a multiple of the video's own.
  double RealTimeFactor() const { return Ratio(FramesPerSecond(), SourceRate()); }
  /// Returns the bit rate of the ProRes side when played, in 10^6 bits per second.
  double MegabitsPerSecond() const {
    const double bits = 8 * static_cast<double>(result.IsRaw() ? sourceBytes : resultBytes);
    return Ratio(bits, static_cast<double>(frames)) * SourceRate() / 1e6;
  }

  /// Returns 0 if the denominator is 0.
  static double Ratio(double numerator, double denominator) {
    return denominator > 0 ? numerator / denominator : 0;
  }

 private:
  double SourceRate() const { return Ratio(source.rate.numerator, source.rate.denominator); }
};

/// Receives the reports of running runs. The runs of a batch call it from several threads at once.
class RunObserver {
 public:
  virtual ~RunObserver() = default;
  /// Reports something that the user should know about an input or an output.
  virtual void ReportNote(const std::string& text) = 0;
  /// Reports the state of a run of `total` frames (nullopt = unknown), after each frame.
  virtual void ReportProgress(const RunReport& report, std::optional<std::int64_t> total) = 0;
  /// Reports the outcome of a run.
  virtual void ReportEnd(const RunReport& report) = 0;
  /// Reports the outcome of a batch, after the outcome of each run.
  virtual void ReportBatch(const std::vector<RunReport>& reports) = 0;
};

}  // namespace vixprores

#endif  // TOOL_RUN_RUNREPORT_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_VIDEOCOMPARISON_H
#define TOOL_CHECK_VIDEOCOMPARISON_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/PictureQuality.h"
#include "format/Timecode.h"
#include "format/Values.h"
#include "frames/StreamStatistics.h"
#include "media/FrameReader.h"
#include "run/FrameSource.h"

namespace vixprores {

/// One of the two videos.
struct ComparedVideo {
  std::string name;
  StreamFormat format;   ///< of the file
  StreamFormat picture;  ///< of the compared samples
  std::optional<std::int64_t> frames;
  std::vector<DamagedPicture> damage = {};  ///< pictures that are compared although damaged
};

/// Quality of one frame of the distorted video.
struct ComparedFrame {
  std::int64_t number = 0;
  FrameQuality quality;
  std::optional<std::size_t> bytes;  ///< of its ProRes frame; none = not ProRes
};

/// Quality of one plane, or of all samples together, over all frames.
class PartQuality {
 public:
  void Add(const PlaneQuality& part, unsigned bits);

  /// Returns the PSNR of the mean squared error in dB; infinity if all frames are identical.
  double PsnrOfMeanError() const { return ToPsnr(errors_.GetMean(), bits_); }
  /// Returns the PSNR of the frames that are not identical, in dB.
  const Spread& GetPsnr() const { return psnr_; }
  /// Returns the structural similarity of all frames.
  const Spread& GetSsim() const { return ssim_; }

 private:
  unsigned bits_ = 8;
  Spread errors_;
  Spread psnr_;
  Spread ssim_;
};

/// Result of comparing a video with its reference.
struct Comparison {
  ComparedVideo reference;
  ComparedVideo distorted;
  std::optional<Timecode> timecode;  ///< of frame 0
  std::int64_t offset = 0;           ///< frames that the distorted video is later
  std::int64_t firstNumber = 0;      ///< of the distorted video's frames
  ComparedDepth depth;
  std::vector<ComparedFrame> frames;
  std::array<PartQuality, FrameQuality::kParts> parts;  ///< see FrameQuality
  std::int64_t identical = 0;                           ///< frames

  double PsnrOf(const ComparedFrame& frame, std::size_t part) const {
    return ToPsnr(frame.quality.parts[part].MeanSquaredError(), depth.BitsOf(part));
  }
  /// Returns the video whose alpha is not compared because the other one has none; null = neither.
  const ComparedVideo* FindAlphaLeftOut() const;
  /// Returns true if the videos seem to show different pictures.
  bool IsUnrelated() const;
  /// Returns the indices of the at most `most` frames with the lowest PSNR of all samples, then of
  /// alpha, the lowest first. Identical frames are never among them.
  std::vector<std::size_t> FindWorst(std::size_t most) const;
};

void AddFrame(Comparison& comparison, const ComparedFrame& frame);

/// The two frames that differ most.
struct WorstPair {
  std::pair<double, double> error;  ///< FrameQuality::SortingError()
  NumberedFrame reference;
  NumberedFrame distorted;
};

/// Two videos to compare.
struct ComparedInputs {
  std::string reference;
  std::string distorted;
  /// For image sequences, whose matrix is that of the other video.
  SequenceReading images = {};
};

struct ComparedReaders {
  std::unique_ptr<FrameReader> reference;
  std::unique_ptr<FrameReader> distorted;
  bool isDeep = false;  ///< pictures are compared as 4:4:4 in 12 bits, with alpha
};

/// Opens both videos deep if one of them has more than 4:2:2 in 10 bits. What image sequences and
/// pipes of other video have does not count.
ComparedReaders OpenBoth(const ComparedInputs& inputs);

/// Compares two videos frame by frame on several threads. Requires the plug-in.
class VideoComparison {
 public:
  /// Fails if the sizes of the pictures differ or, without `range` and offset, the known numbers of
  /// frames.
  /// @param range  frames of the reference
  /// @param offset number of frames that the distorted video is later
  /// @throws Failure if a file cannot be read
  VideoComparison(const ComparedInputs& inputs, const std::optional<FrameRange>& range,
                  std::int64_t offset, int threads)
      : VideoComparison(OpenBoth(inputs), range, offset, threads) {}

  /// Compares all frames that both videos have. Call it once. Without a range and an offset, fails
  /// if the videos have different lengths.
  Comparison Run();

  // Returns the sources of the pictures, to decode the worst frames after Run().
  PictureSource& GetReference() { return reference_; }
  PictureSource& GetDistorted() { return distorted_; }
  /// Returns nullopt if all frames are identical.
  const std::optional<WorstPair>& GetWorst() const { return worst_; }

 private:
  struct Pair;

  VideoComparison(ComparedReaders readers, const std::optional<FrameRange>& range,
                  std::int64_t offset, int threads);

  void CheckSizes() const;
  void CheckCounts() const;
  std::optional<Pair> Read();
  [[noreturn]] void FailAtDifferentLengths(bool referenceEnded);
  Comparison Describe() const;
  std::int64_t FirstNumber() const { return distorted_.GetReader().GetDescription().firstNumber; }

  ThreadShares shares_;
  std::int64_t offset_;
  PictureSource reference_;
  PictureSource distorted_;
  RangeReader referenceFrames_;
  RangeReader distortedFrames_;
  std::int64_t pairs_ = 0;
  std::optional<WorstPair> worst_;
};

}  // namespace vixprores

#endif  // TOOL_CHECK_VIDEOCOMPARISON_H

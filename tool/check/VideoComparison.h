// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_VIDEOCOMPARISON_H
#define TOOL_CHECK_VIDEOCOMPARISON_H

#include <optional>
#include <string>

#include "check/Comparison.h"
#include "format/Values.h"
#include "run/PictureSource.h"

namespace vixprores {

/// The two frames that differ most.
struct WorstPair {
  double squaredError = 0;
  NumberedFrame reference;
  NumberedFrame distorted;
};

/// Compares two videos frame by frame, by several threads. Needs the plug-in.
class VideoComparison {
 public:
  /// Refuses, with a Failure, pictures of different sizes and, unless `range` is given, videos that
  /// are known to have different numbers of frames.
  VideoComparison(const std::string& reference, const std::string& distorted,
                  const std::optional<FrameRange>& range, int threads);

  /// Compares all frames. To be called once. Videos of different lengths are a Failure unless a
  /// range is given that both hold.
  Comparison Run();

  // After Run(), for pictures of the worst frames:
  PictureSource& GetReference() { return reference_; }
  PictureSource& GetDistorted() { return distorted_; }
  /// None where every frame is identical.
  const std::optional<WorstPair>& GetWorst() const { return worst_; }

 private:
  struct Pair;

  void CheckSizes() const;
  void CheckCounts() const;
  std::optional<Pair> Read();
  [[noreturn]] void FailAtDifferentLengths(bool referenceEnded);
  Comparison Describe() const;

  ThreadShares shares_;
  PictureSource reference_;
  PictureSource distorted_;
  RangeReader referenceFrames_;
  RangeReader distortedFrames_;
  std::int64_t pairs_ = 0;
  std::optional<WorstPair> worst_;
};

}  // namespace vixprores

#endif  // TOOL_CHECK_VIDEOCOMPARISON_H

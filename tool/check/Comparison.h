// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_COMPARISON_H
#define TOOL_CHECK_COMPARISON_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "check/PictureQuality.h"
#include "format/Timecode.h"
#include "frames/Spread.h"
#include "run/PictureSource.h"

namespace vixprores {

/// One of the two videos.
struct ComparedVideo {
  std::string name;
  StreamFormat format;   ///< of the file
  StreamFormat picture;  ///< of what is compared
  std::optional<std::int64_t> frames;
  std::vector<DamagedPicture> damage = {};  ///< of those that are compared all the same
};

/// Quality of one frame of the distorted video.
struct ComparedFrame {
  std::int64_t number = 0;
  FrameQuality quality;
  std::optional<std::size_t> bytes;  ///< of its ProRes frame; none where it is none
};

/// Quality of one plane, or of all samples together, throughout the frames.
class PartQuality {
 public:
  void Add(const PlaneQuality& part, unsigned bits);

  /// Decibels: of the mean squared error; infinity where all frames are identical.
  double PsnrOfMeanError() const { return ToPsnr(errors_.GetMean(), bits_); }
  /// Decibels of the frames that are not identical.
  const Spread& GetPsnr() const { return psnr_; }
  /// Structural similarity of all frames.
  const Spread& GetSsim() const { return ssim_; }

 private:
  unsigned bits_ = 8;
  Spread errors_;
  Spread psnr_;
  Spread ssim_;
};

/// How a video compares with what it should be.
struct Comparison {
  ComparedVideo reference;
  ComparedVideo distorted;
  std::optional<Timecode> timecode;  ///< of frame 0
  unsigned bits = 0;                 ///< of the samples that are compared
  std::vector<ComparedFrame> frames;
  std::array<PartQuality, SamplePicture::kPlanes + 1> parts;  ///< Y, Cb, Cr, all samples together
  std::int64_t identical = 0;                                 ///< frames

  double PsnrOf(const ComparedFrame& frame, std::size_t part) const {
    return ToPsnr(frame.quality.parts[part].MeanSquaredError(), bits);
  }
  /// Indices in `frames` of those with the lowest PSNR of all samples, the lowest first, at most
  /// `most`; identical ones never.
  std::vector<std::size_t> FindWorst(std::size_t most) const;
};

void AddFrame(Comparison& comparison, const ComparedFrame& frame);

}  // namespace vixprores

#endif  // TOOL_CHECK_COMPARISON_H

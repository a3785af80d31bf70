// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CHECK_ENCODINGCHECK_H
#define TOOL_CHECK_ENCODINGCHECK_H

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "check/PictureQuality.h"
#include "run/ElementTeam.h"

namespace vixprores {

/// How good encoded frames are, taken together.
struct EncodingQuality {
  std::int64_t frames = 0;
  std::array<double, SamplePicture::kPlanes + 1> psnr{};  ///< Y, Cb, Cr and all samples, in dB
  std::int64_t worstFrame = 0;                            ///< number of the one with the least PSNR
  double worstPsnr = 0;                                   ///< of all its samples
};

/// Decodes frames that have just been encoded and compares them with what they were made of.
class EncodingCheck {
 public:
  /// @param source  format of the pictures
  /// @param encoded format of the frames
  EncodingCheck(const StreamFormat& source, const StreamFormat& encoded,
                const ThreadShares& shares);

  /// Quality of one frame. May be called from any thread, by one at a time for each worker.
  /// @throws VIXRuntimeError for a frame that cannot be decoded
  FrameQuality Measure(unsigned worker, std::span<const std::uint8_t> source,
                       std::shared_ptr<const vix::IBuffer> encoded, std::int64_t number);

  /// Adds a measured frame. Used by one thread at a time.
  void Add(const FrameQuality& quality, std::int64_t number);
  EncodingQuality GetQuality() const;

 private:
  struct Scratch {
    SamplePicture source;
    SamplePicture decoded;
  };

  StreamFormat source_;
  unsigned bits_;
  ElementTeam decoders_;
  std::vector<Scratch> scratch_;
  std::array<PlaneQuality, SamplePicture::kPlanes + 1> sums_{};
  std::int64_t frames_ = 0;
  std::int64_t worstFrame_ = 0;
  double worstError_ = -1;
};

}  // namespace vixprores

#endif  // TOOL_CHECK_ENCODINGCHECK_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_DECODEDVIDEOREADER_H
#define TOOL_MEDIA_DECODE_DECODEDVIDEOREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/FrameReader.h"
#include "media/container/FrameTimeCheck.h"
#include "media/decode/FilteredPictures.h"
#include "media/decode/FootageReading.h"
#include "media/decode/PictureConverter.h"
#include "media/decode/RateConversion.h"

namespace vixprores {

/// Reads video of any kind: decodes it, applies filters, and brings it to a constant rate. The
/// workers convert the pictures to "V210" (GetConversion()).
///
/// The decoder keeps as many pictures as the coding needs (16 at most) and one for each of its
/// threads; filters keep what they need. Time starts with the first picture: sound has times from
/// there.
class DecodedVideoReader : public FrameReader {
 public:
  /// @param demuxer nothing must have been read from it
  DecodedVideoReader(std::unique_ptr<Demuxer> demuxer, FootageReading reading,
                     const VideoDecoderFactory& makeDecoder);

  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override;
  void CheckRange(const FrameRange& range) const override;
  FrameConversion GetConversion() const override;
  SideTracks* GetSideTracks() override { return &pictures_.GetTrack(); }
  bool CutsSoundToStart() const override { return true; }
  std::string GetEndNote() const override;
  bool ReadsFrom(const std::string& path) const override {
    return GetTrack().GetDemuxer().GetFile().IsSameFile(path);
  }

 private:
  const DecodedTrack& GetTrack() const { return pictures_.GetTrack(); }
  FrameTimes ChooseTimes() const;
  void Describe(const AVFrame& first);
  StreamFormat DescribeFormat(const AVFrame& first) const;
  PictureTarget DescribeTarget(const AVFrame& first) const;
  void CheckLuminance(const Colour& source, const Colour& target) const;
  std::vector<std::string> DescribeChanges() const;
  std::optional<std::int64_t> CountFrames() const;
  std::int64_t NumberAt(std::int64_t time) const;
  std::optional<NumberedPicture> ReadConverted();
  std::optional<NumberedPicture> ReadInTime();
  void FailIfPassed(std::int64_t time) const;
  void FailAtLoss();
  void FailIfCutOff();

  FootageReading reading_;
  FilteredPictures pictures_;
  FrameTimeCheck times_;
  std::optional<RateConversion> conversion_;
  bool isConversionEnded_ = false;
  std::shared_ptr<PictureConverters> converters_;
  Picture ahead_;           ///< a picture that was read ahead
  std::int64_t start_ = 0;  ///< time of frame 0
  std::int64_t framesRead_ = 0;
  std::int64_t skippedTo_ = 0;  ///< frames before it are dropped
  bool isEndChecked_ = false;
  bool isAfterJump_ = false;  ///< the next picture's number follows from its time
  bool hasCaptions_ = false;  ///< frames have captions for a track
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_DECODEDVIDEOREADER_H

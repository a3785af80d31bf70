// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_FILTEREDPICTURES_H
#define TOOL_MEDIA_DECODE_FILTEREDPICTURES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "media/decode/DecodedTrack.h"
#include "media/decode/FilterGraph.h"
#include "media/decode/FootageReading.h"
#include "media/decode/PictureTurn.h"

namespace vixprores {

/// The pictures of a track with the labels that the user gave them, turned as players would show
/// them, deinterlaced and filtered. Used by one thread.
class FilteredPictures {
 public:
  /// @throws Failure if the file holds no picture that can be decoded
  FilteredPictures(std::unique_ptr<Demuxer> demuxer, const FootageReading& reading,
                   const VideoDecoderFactory& makeDecoder);

  DecodedTrack& GetTrack() { return track_; }
  const DecodedTrack& GetTrack() const { return track_; }
  /// Properties of the pictures; the rate is that of the track, or what the filters make of it.
  const PictureStream& GetStream() const { return stream_; }
  /// Rate of the track.
  AVRational GetDecodedRate() const { return decoded_.rate; }
  /// Returns true if pictures are turned.
  bool TurnsPictures() const { return turn_ != nullptr; }
  /// Returns true if each picture depends on few others, so that reading may begin anywhere.
  bool IsTimeless() const;
  /// Returns true if the pictures are those of the track, one for one.
  bool KeepsCount() const;

  /// Returns the first picture; the next Read() returns it too.
  const AVFrame& GetFirst() const { return *ahead_; }
  /// Returns the matrix of the pictures before the filters, a code point; 2 = unknown, or RGB.
  int GetDecodedMatrix() const;
  /// Returns the next picture, null at the end.
  Picture Read();
  /// See DecodedTrack::SeekBefore(). Starts the filters anew.
  bool SeekBefore(std::int64_t time);
  /// Continues at the first picture.
  bool Rewind();

 private:
  Picture ReadDecoded();
  Rational FindRate();
  std::int64_t FindDuration() const;
  void Label(AVFrame& picture) const;
  void CheckSize(const AVFrame& picture) const;
  std::string DescribeGraph() const;
  void BuildGraph(const AVFrame& first);
  void Restart();

  const FootageReading& reading_;
  DecodedTrack track_;
  PictureStream decoded_;  ///< before the filters
  PictureStream stream_;
  const PictureTurn* turn_ = nullptr;  ///< null = none
  std::string turnFilters_;
  std::optional<FilterGraph> graph_;  ///< none = nothing to filter
  bool isGraphEnded_ = false;
  Picture first_;         ///< decoded picture for which the graph was made
  Picture decodedAhead_;  ///< was decoded ahead
  Picture ahead_;         ///< was filtered ahead
  std::int64_t decodedCount_ = 0;
  std::int64_t decodedDuration_ = 0;  ///< of the last picture that went into the filters, in ticks
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_FILTEREDPICTURES_H

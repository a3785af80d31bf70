// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_TEXTTRACKS_H
#define TOOL_MEDIA_CONTAINER_TEXTTRACKS_H

/// @file
/// Reads what accompanies a video beside sound: subtitles, captions and chapters, which outputs may
/// keep, and data, which none keeps.

#include <cstdint>
#include <string>
#include <vector>

#include "format/InputFormat.h"
#include "format/OutputFormat.h"
#include "format/TextTrack.h"
#include "media/container/Libav.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Sets `texts`, `others` and `begin` of the description.
/// @param video the track whose frames are read
/// @param begin time of frame 0 in the file
void DescribeOtherTracks(const AVFormatContext& context, const AVStream& video,
                         const TimePoint& begin, InputDescription& description);

/// Returns true if the output can store packets of the track.
bool HoldsText(const OutputFormat& output, const TextTrack& track);

/// Returns a track for the CEA-608 captions that frames carry; times count frames.
TextTrack MakeCaptionTrack(Rational rate);

/// A stretch of time in a file and its place in an output, in nanoseconds.
struct TextSpan {
  std::int64_t begin = 0;
  std::int64_t end = INT64_MAX;
  std::int64_t at = 0;  ///< time of `begin` in the output
};

/// Returns the chapters of a stretch, cut and moved to the output.
std::vector<Chapter> CutChapters(const std::vector<Chapter>& chapters, const TextSpan& span);

/// Adds the packets of a stretch of a seekable file to the tracks, cut and moved to the output.
/// Reads the file to its end, independently of the video. Returns false if they hold more than
/// 256 MiB.
/// @param tracks as DescribeOtherTracks() found them in the file
/// @throws Failure if the file cannot be read
bool ReadTexts(const std::string& path, const TextSpan& span, std::vector<TextTrack>& tracks);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_TEXTTRACKS_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_TEXTTRACK_H
#define TOOL_FORMAT_TEXTTRACK_H

/// @file
/// Subtitles, captions and chapters.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

struct AVCodecParameters;
struct AVPacket;

namespace vixprores {

/// Place of captions that frames carry (NumberedFrame::captions), not a track.
inline constexpr int kWithinPictures = -1;

/// A track of subtitles or captions. Outputs keep its packets as they are.
struct TextTrack {
  std::shared_ptr<const AVCodecParameters> parameters;
  AVRational timeBase{0, 1};  ///< tick of packet times, in seconds
  std::map<std::string, std::string> metadata;
  int disposition = 0;  ///< flags of the container library: default, forced, ...
  int stream = 0;       ///< place among all tracks of its file; kWithinPictures
  std::vector<std::shared_ptr<const AVPacket>> packets = {};  ///< by their times
};

/// A chapter, with times in nanoseconds.
struct Chapter {
  std::int64_t begin = 0;
  std::int64_t end = 0;
  std::map<std::string, std::string> metadata;  ///< "title"
};

struct TextContent {
  std::vector<TextTrack> tracks;
  std::vector<Chapter> chapters;
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_TEXTTRACK_H

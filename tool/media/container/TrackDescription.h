// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H
#define TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H

/// @file
/// Translates the container library's description of a movie and its video track.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/OutputFormat.h"
#include "media/container/Demuxer.h"

namespace vixprores {

/// Returns true for a video track that is no cover picture.
bool IsVideo(const AVStream& stream);

bool IsMatroska(const AVFormatContext& context);
bool IsAvi(const AVFormatContext& context);
bool IsMxf(const AVFormatContext& context);

/// Returns a video track (never a cover picture), and makes the library discard the packets of all
/// other tracks.
/// @param isTagged the file was written by this program, so it had a video track
/// @param place    of the video track, from 0
AVStream& ChooseVideo(const Demuxer& demuxer, bool isTagged, std::size_t place = 0);
/// Bits of a pixel that the sample description of a .mov states for ProRes with alpha; without, it
/// states 24.
inline constexpr int kBitsWithAlpha = 32;

/// Returns the format that the container states; code and rate are 0.
StreamFormat DescribeVideo(const AVStream& stream);
std::vector<SoundTrack> DescribeSound(const AVFormatContext& context);
/// Returns the texts to copy, without those about the container itself.
Metadata FindMetadata(const AVFormatContext& context);

struct FoundTimecode {
  std::optional<Timecode> timecode;
  std::string note;  ///< why a timecode of the file is not used
};
FoundTimecode FindTimecode(const AVFormatContext& context, Rational rate, const std::string& name);

/// Returns a note that the first of several video tracks is read; empty = there is only one.
std::string FindTrackNote(const AVFormatContext& context, const std::string& name);

/// Reads the movie without media that describes the tracks of a tagged file (PacketTag.h).
MovieContent ReadMovieDescription(std::unique_ptr<InputFile> file);

/// Returns the rate that all frames keep to, or most of them if some are missing; 0 = unknown.
/// @param first    first packet; null = unknown
/// @param hasIndex an index lists all frames
Rational FindRate(AVStream& stream, const AVPacket* first, bool isMatroska, bool hasIndex);

/// Returns the seconds from time 0 to the end of the track that a Matroska file states; the
/// duration of the file is that of its longest track. Returns nullopt for other containers.
std::optional<double> FindStatedDuration(const AVFormatContext& context, const AVStream& stream);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_TRACKDESCRIPTION_H

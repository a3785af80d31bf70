// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_OUTPUTFORMAT_H
#define TOOL_FORMAT_OUTPUTFORMAT_H

/// @file
/// Content of an output file; kinds of output files, their capabilities, and their selection by
/// name.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "format/Sound.h"
#include "format/StreamFormat.h"
#include "format/TextTrack.h"
#include "format/Timecode.h"

namespace vixprores {

/// Texts by their names in the container library: "title", "language", ...
using Metadata = std::map<std::string, std::string>;

/// Default vendor code of the sample description; frame headers of the encoder carry the same.
inline constexpr vix::FourCC kVendor = vix::MakeFourCC("vixp");

/// Content of an output file. Only containers store more than the video.
struct MovieContent {
  StreamFormat video;
  std::optional<Timecode> timecode = std::nullopt;  ///< of the first frame
  std::vector<SoundTrack> sound = {};               ///< times of their packets count samples
  Metadata metadata = {};                           ///< of the file, and "reel_name"
  TextContent texts = {};                           ///< times are those of the output
  std::string compressor = {};   ///< name in the sample description; empty = ours
  vix::FourCC vendor = kVendor;  ///< code in the sample description
};

enum class OutputKind { RawFrames, Y4m, Container, Images };

/// One kind of output file.
struct OutputFormat {
  const char* extension;  ///< of the file name
  OutputKind kind;
  const char* muxer;  ///< the container library's name for it; null where it has no part
  bool takesProRes;
  bool takesRawVideo;
  bool keepsFieldOrder;
  bool keepsColour;  ///< primaries, transfer and matrix
  bool keepsColourRange;
  bool keepsTimecode;
  bool makesTimecode;  ///< has one from 00:00:00:00 on where none is known
  bool keepsChannelLayout;
  bool keepsMasteringDisplay;
  bool keepsContentLight;
  bool keepsTexts;       ///< chapters, and subtitles of some kinds
  vix::FourCC code = 0;  ///< of the raw frames that the name stands for; 0 = any
};

/// Returns the format for a ProRes stream by file name: .mov for "-". Throws a UsageError that
/// lists the accepted extensions for any other one.
const OutputFormat& FindProResOutput(const std::string& path);
/// Returns the format for uncompressed video by file name: raw frames for "-", .uyvy, .v210, .raw
/// and names without an extension. Throws a UsageError that lists the accepted extensions for any
/// other one.
/// @param pipeFormat extension that stands for "-"; empty = none
const OutputFormat& FindRawVideoOutput(const std::string& path, const std::string& pipeFormat = {});
/// Returns the extensions that FindRawVideoOutput() accepts for a pipe, without dots.
std::vector<std::string> PipeFormats();
/// Returns the code of the pictures to write: `wanted`, or else that of the name, or else V210.
/// Throws a UsageError if `wanted` contradicts the name.
vix::FourCC ChooseFourCC(const std::string& path, const std::optional<vix::FourCC>& wanted);

/// Rejects, with a Failure that gives the reason, a stream that the format would store incorrectly.
void CheckStorable(const OutputFormat& output, const StreamFormat& stream);
/// Returns the properties of the stream that the output stores; all others are unknown.
StreamFormat KeptFormat(const OutputFormat& output, StreamFormat stream);
/// Returns the known properties of the content that the format cannot store, in words.
std::vector<std::string> FindLostProperties(const OutputFormat& output,
                                            const MovieContent& content);

}  // namespace vixprores

#endif  // TOOL_FORMAT_OUTPUTFORMAT_H

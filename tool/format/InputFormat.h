// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_INPUTFORMAT_H
#define TOOL_FORMAT_INPUTFORMAT_H

/// @file
/// A video input as its consumers see it, whatever it is stored in; the formats that the encoder
/// accepts, and the command that converts others.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "format/OutputFormat.h"
#include "format/StreamFormat.h"
#include "format/Timecode.h"
#include "format/Values.h"

namespace vixprores {

/// Filters of ffmpeg that convert full range to limited range, which players expect.
inline constexpr const char* kToLimitedRange = "scale=out_range=tv,format=yuv422p10le";

/// Fails if the encoder does not accept the format.
void CheckEncodable(const StreamFormat& format, const std::string& inputName);

/// Throws a Failure with the command that converts an input.
/// @param found   what the input holds, for example "4:2:0 pictures (yuv420p)"
/// @param filters comma-separated filters for the conversion; may be empty
[[noreturn]] void RefuseUnconverted(const std::string& inputName, const std::string& found,
                                    const std::string& filters = {});

/// Returns the command that converts an input to V210 in a .mov, with the sound as PCM.
/// @param inputName name in messages; for standard input the command reads that as well
std::string ConversionCommand(const std::string& inputName, const std::string& filters);

/// Return notes on what becomes of pictures.
std::string DescribeDivision(const std::string& inputName);
std::string DescribeTurn(const std::string& inputName);
/// Returns the note about ProRes without a usable matrix that is converted to RGB with that matrix.
std::string DescribeConversionToRgb(const std::string& inputName, int matrix);

/// Quotes `text` as one word of a shell command, if it needs quotes.
std::string QuoteForShell(const std::string& text);

/// Facts about an input that are known before its frames are read.
struct InputDescription {
  std::string name;  ///< for messages
  StreamFormat format;
  /// How the pictures are stored, as in "h264, yuv420p", if they are converted to `format`.
  std::string stored = {};
  /// What the stored pictures have beyond 4:2:2 in 10 bits, as in "4:4:4 in 12 bits"; empty =
  /// nothing.
  std::string finer = {};
  bool isRgb = false;       ///< the stored pictures are RGB; the matrix of `format` converts them
  bool losesAlpha = false;  ///< the stored pictures have alpha, those of `format` have none
  /// Format that the container alone states; nullopt if there is no container, or if `format` has
  /// no other source.
  std::optional<StreamFormat> container = std::nullopt;
  std::optional<std::int64_t> frames = std::nullopt;  ///< nullopt if only the end shows it
  std::int64_t firstNumber = 0;  ///< of the frames as users count them: that of the first file
  bool isSequence = false;       ///< every frame is a file with a number
  std::vector<FrameRange> missingFiles = {};        ///< numbers between the files of a sequence
  std::optional<Timecode> timecode = std::nullopt;  ///< of frame 0; nullopt = unknown
  Metadata metadata = {};                           ///< of the file, and "reel_name"
  TextContent texts = {};                ///< without the packets; times are those of the file
  std::int64_t begin = 0;                ///< time of frame 0 in the file, in nanoseconds
  std::vector<std::string> others = {};  ///< what else accompanies the video and has no place in
                                         ///< any output: "cover art", ...
  std::string compressor = {};           ///< name of the video's encoder; empty = unknown
  vix::FourCC vendor = 0;                ///< of the video's encoder; 0 = unknown
  std::vector<std::string> notes = {};   ///< how the input is interpreted, with its name
  std::string timecodeNote = {};         ///< why the input's timecode is not used; empty = it is
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_INPUTFORMAT_H

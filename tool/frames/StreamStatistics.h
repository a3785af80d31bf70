// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_STREAMSTATISTICS_H
#define TOOL_FRAMES_STREAMSTATISTICS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "format/Timecode.h"
#include "frames/FrameStatistics.h"
#include "frames/HeaderComparison.h"
#include "media/FrameReader.h"

namespace vixprores {

/// The first frame whose header has another value than that of the first frame.
struct HeaderChange {
  std::string property;
  std::int64_t frame;
  std::string from;
  std::string to;
};

/// What is known of a ProRes stream after looking into some of its frames.
struct StreamStatistics {
  std::string name;  ///< of the input
  StreamFormat format;
  std::optional<StreamFormat> container;      ///< none where there is no container
  std::optional<Timecode> timecode;           ///< of frame 0
  std::optional<std::int64_t> framesInFile;   ///< none where only the end tells
  std::optional<std::uint32_t> targetBytes;   ///< of a frame; none where no variant tells it
  std::optional<prores::FrameHeader> header;  ///< of the first frame that has one
  std::size_t slices = 0;                     ///< of that frame
  std::uint8_t log2SliceWidth = 0;            ///< of that frame's first picture
  std::vector<FrameStatistics> frames;
  std::vector<HeaderChange> changes;
  Spread bytes;             ///< of the frames
  Spread quantisers;        ///< of all their slices
  Spread meanQuantisers;    ///< of the frames
  std::int64_t faulty = 0;  ///< frames with a fault, missing ones included
  std::string note;         ///< as FrameReader::GetEndNote() says; empty = nothing
  std::string failure;      ///< what ended the reading early; empty = nothing

  double MegabitsPerSecond() const;
};

/// Starts the statistics of what `reader` gives.
StreamStatistics DescribeInput(const FrameReader& reader);

/// Adds a frame that was taken apart.
/// @param statistics of that frame
void AddFrame(StreamStatistics& stream, const FrameStructure& frame, FrameStatistics statistics);

/// Adds a frame, or several, that could not be read.
void AddMissing(StreamStatistics& stream, const FrameFailure& failure);

/// Container against the header of the first frame; empty where either is not there.
std::vector<ComparedProperty> CompareProperties(const StreamStatistics& stream);

/// The size that an encoder of that variant aims at; none where the variant is unknown or cannot be
/// encoded here.
std::optional<std::uint32_t> FindTargetBytes(const StreamFormat& format);

}  // namespace vixprores

#endif  // TOOL_FRAMES_STREAMSTATISTICS_H

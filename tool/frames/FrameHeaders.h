// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_FRAMEHEADERS_H
#define TOOL_FRAMES_FRAMEHEADERS_H

/// @file
/// Frame headers (RDD 36, frame header semantics): their codes in the terms of a StreamFormat and
/// back, and what the headers of one stream must have in common; differences between a container
/// and a frame header, and between two frame headers.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/FramePool.h"
#include "bitstream/FrameHeader.h"
#include "format/StreamFormat.h"
#include "vix/Buffers.h"

namespace vixprores {

/// A valid frame header.
struct ParsedHeader : prores::FrameHeader {
  std::size_t headerBytes = 0;  ///< of prefix and header: the first picture follows
};

/// A frame returned by a reader.
struct NumberedFrame {
  std::int64_t number = 0;                            ///< in the input, from 0
  std::optional<std::int64_t> offset = std::nullopt;  ///< in the input, in bytes; nullopt = unknown
  std::shared_ptr<vix::IBuffer> data = nullptr;
  /// Fault of a frame that could be read nevertheless, to follow its number; empty = none.
  std::string fault = {};
  bool isUneven = false;  ///< came at another time than the constant rate requires
  /// Checksum of the data, if the file has one and it is right (HashPacket()).
  std::optional<std::uint64_t> hash = std::nullopt;
  /// Closed captions of the picture, as CEA-708 constructs (cc_data): three bytes each.
  std::vector<std::uint8_t> captions = {};
  /// Header of a ProRes frame: readers parse it once for all consumers. nullopt = invalid.
  std::optional<ParsedHeader> header = std::nullopt;
};

/// Returns the bits of an alpha channel; 0 = none.
int AlphaBitsOf(prores::AlphaType type);

/// Parses prefix and header of a frame; nullopt if they are invalid.
std::optional<ParsedHeader> ParseHeader(std::span<const std::uint8_t> frame);

/// Returns the rate of a frame_rate_code; numerator 0 = unknown.
Rational RateOfCode(std::uint8_t code);

/// Returns the pixel aspect that follows from aspect_ratio_information (square pixels, or a picture
/// of 4:3 or 16:9) and the size; numerator 0 = unknown.
Rational SampleAspectOf(const prores::FrameHeader& header);

/// Returns the aspect_ratio_information of the stream: 1 = square pixels, 2 = a 4:3 picture, 3 = a
/// 16:9 picture, 0 = any other or unknown.
std::uint8_t CodeOfAspect(const StreamFormat& stream);

FieldOrder FieldOrderOf(prores::InterlaceMode mode);

/// Returns the colour code points. The header has 0 for unknown as well, ISO/IEC 23091-2 only 2.
Colour ColourOf(const prores::FrameHeader& header);

/// Returns all properties of the stream that the header contains; the code is left 0.
StreamFormat FormatOf(const prores::FrameHeader& header);

/// Returns the properties of a stream whose container states some and its first frame others. Size,
/// scan and chroma come from the header; for everything else the container takes precedence,
/// because editing programs set and show its values.
StreamFormat CombineFormats(StreamFormat container, const prores::FrameHeader& header);

/// A difference between a frame and its stream that a decoder would not report.
struct HeaderMismatch {
  std::string found;   ///< continues "frame N ..."
  std::string advice;  ///< advice for the user
};

/// Compares a header with its stream.
/// @param stream   format given by the first frame's header
/// @param sameScan whether a change between progressive and interlaced counts
std::optional<HeaderMismatch> FindMismatch(const prores::FrameHeader& header,
                                           const StreamFormat& stream, bool sameScan);

/// Returns a frame with bitstream version 0 in its header (vix::LowerProResVersion()): the frame
/// itself, or a copy.
std::shared_ptr<const vix::IBuffer> LowerVersion(std::shared_ptr<const vix::IBuffer> frame,
                                                 const FramePool& pool);

/// Writes colour, frame rate and aspect of the stream into the header of an encoded frame, in
/// place, and puts the bottom field first if the stream does. The encoder element does not receive
/// these labels, and players prefer the frame's values to the container's. Leaves bytes that are no
/// frame unchanged.
void StampFrameHeader(const StreamFormat& format, std::span<std::uint8_t> frame);

/// One property of a stream in its container and in the header of its first frame.
struct ComparedProperty {
  enum class State {
    Same,
    Unspecified,  ///< in one of them or in both
    Mismatch,
  };

  std::string key;        ///< "colourPrimaries"
  std::string name;       ///< for messages: "colour primaries"
  std::string container;  ///< value in words, "unspecified" included
  std::string header;
  State state;
};

/// Compares every property that both can state.
std::vector<ComparedProperty> CompareWithContainer(const StreamFormat& container,
                                                   const prores::FrameHeader& header);

/// Returns "same", "unspecified" or "mismatch".
const char* ToWord(ComparedProperty::State state);

/// The first frame whose header differs from the first frame's in one property.
struct HeaderChange {
  std::string property;
  std::int64_t frame;
  std::string from;
  std::string to;
};

/// Adds the properties in which `header`, of that frame, differs from `first`, if they are new.
void AddChanges(const prores::FrameHeader& first, const prores::FrameHeader& header,
                std::int64_t frame, std::vector<HeaderChange>& changes);

}  // namespace vixprores

#endif  // TOOL_FRAMES_FRAMEHEADERS_H

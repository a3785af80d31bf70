// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_RAWFORMAT_H
#define TOOL_FORMAT_RAWFORMAT_H

/// @file
/// The packed formats of uncompressed pictures: what the elements take and make.

#include <array>
#include <cstdint>
#include <span>

#include "vix/Types.h"

namespace vixprores {

/// A packed format with its names.
struct RawFormat {
  vix::FourCC code;
  const char* option;      ///< on the command line, and as the extension of raw frames
  const char* name;        ///< the characters of the code
  bool is4444;             ///< 4:4:4 with alpha, for the elements of 4444; else 4:2:2
  bool hasTag;             ///< the container library knows a code for it in a .mov
  unsigned planarBits;     ///< depth as planes, as in Y4M; 0 = never stored as planes
  const char* planarName;  ///< of these planes, for messages
  /// The middle of each component's range, opaque; repeated over a picture.
  std::array<std::uint8_t, 8> grey;
};

/// Their names, for help texts and messages.
inline constexpr const char* kRawFormatNames = "UYVY (8 bits), V210 (10 bits), Y416 or b64A (4444)";

/// Returns the format with that code, or null.
const RawFormat* FindRawFormat(vix::FourCC code);
/// Depth of the alpha channel of packed formats of 4444.
inline constexpr int kPackedAlphaBits = 16;

/// Returns all formats.
std::span<const RawFormat> RawFormats();

}  // namespace vixprores

#endif  // TOOL_FORMAT_RAWFORMAT_H

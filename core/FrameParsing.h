// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_FRAMEPARSING_H
#define CORE_FRAMEPARSING_H

#include <cstdint>
#include <span>

#include "bitstream/FrameHeader.h"

namespace vix {

/// A valid frame header and the bytes after it.
struct ParsedFrame {
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  bool isBare = false;  ///< XT layout, without prefix
};

/// Parses the header of a frame in either layout.
/// @throws VIXError without the name of an element: Truncated, Damaged or Unsupported
ParsedFrame ParseFrame(std::span<const std::uint8_t> frame);

}  // namespace vix

#endif  // CORE_FRAMEPARSING_H

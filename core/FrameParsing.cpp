// SPDX-License-Identifier: BSD-2-Clause
#include "FrameParsing.h"

#include <string>

#include "vix/Error.h"

namespace vix {
namespace {

[[noreturn]] void RejectHeader(std::size_t frameBytes) {
  throw VIXError(ErrorCode::Damaged, "a frame of " + std::to_string(frameBytes) +
                                         " bytes without a valid ProRes frame header");
}

}  // namespace

ParsedFrame ParseFrame(std::span<const std::uint8_t> frame) {
  ParsedFrame found;
  found.isBare = !prores::HasFramePrefix(frame);
  const auto parse = found.isBare ? prores::ParseBareFrameHeader : prores::ParseFrameHeader;
  switch (parse(frame, found.header, found.pictures)) {
    case prores::Status::kSuccess:
      return found;
    case prores::Status::kTruncated:
      throw VIXError(ErrorCode::Truncated, "a frame of " + std::to_string(frame.size()) +
                                               " bytes, which ends within its header");
    case prores::Status::kUnsupported:
      // Bytes without the frame identifier that are no bare frame either are no frame at all.
      if (found.isBare) RejectHeader(frame.size());
      throw VIXError(ErrorCode::Unsupported, "a frame of an unknown version of the bitstream");
    default:
      RejectHeader(frame.size());
  }
}

}  // namespace vix

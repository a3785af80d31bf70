// SPDX-License-Identifier: BSD-2-Clause
#include "frames/StreamHeaders.h"

namespace vixprores {

std::optional<prores::FrameHeader> ParseHeader(std::span<const std::uint8_t> frame) {
  prores::FrameHeader header;
  std::span<const std::uint8_t> pictures;
  const prores::Status status = prores::ParseFrameHeader(frame, header, pictures);
  if (status != prores::Status::kSuccess) return std::nullopt;
  return header;
}

std::optional<HeaderMismatch> FindMismatch(const prores::FrameHeader& header,
                                           const StreamFormat& stream,
                                           const HeaderDemands& demands) {
  if (header.version != 0 && !demands.anyVersion) {
    return HeaderMismatch{"has bitstream version " + std::to_string(header.version),
                          "the decoder reads version 0"};
  }
  if (header.width != stream.width || header.height != stream.height) {
    return HeaderMismatch{"is " + DescribeSize(header.width, header.height) +
                              " although the stream began with " +
                              DescribeSize(stream.width, stream.height),
                          "decode the parts one by one with --frames"};
  }
  const bool isInterlaced = header.interlaceMode != prores::InterlaceMode::kProgressive;
  if (demands.sameScan && isInterlaced != stream.IsInterlaced()) {
    return HeaderMismatch{"is scanned otherwise than the first one", "leave out --skip-field"};
  }
  return std::nullopt;
}

}  // namespace vixprores

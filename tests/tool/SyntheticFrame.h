// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_TOOL_SYNTHETICFRAME_H
#define TESTS_TOOL_SYNTHETICFRAME_H

#include <algorithm>
#include <cstdint>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "bitstream/PictureGeometry.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceLayout.h"

namespace vixprores {

using Bytes = std::vector<std::uint8_t>;

inline prores::FrameHeader HeaderOf(std::uint16_t width, std::uint16_t height) {
  prores::FrameHeader header;
  header.width = width;
  header.height = height;
  header.encoderIdentifier = {'t', 'e', 's', 't'};
  return header;
}

/// Returns a slice with components of 3, 2 and 1 bytes that cannot be decoded.
inline Bytes MakeSlice(std::uint8_t quantiser) {
  Bytes slice(prores::SliceHeader::kLeastBytes + 6, 0x55);
  prores::WriteSliceHeader({prores::SliceHeader::kLeastBytes, quantiser, {3, 2, 1}}, slice.data());
  return slice;
}

/// Returns a picture of slices of one macroblock.
inline Bytes MakePicture(const std::vector<Bytes>& slices) {
  Bytes table;
  Bytes data;
  for (const Bytes& slice : slices) {
    table.push_back(static_cast<std::uint8_t>(slice.size() >> 8));
    table.push_back(static_cast<std::uint8_t>(slice.size() & 0xFF));
    data.insert(data.end(), slice.begin(), slice.end());
  }
  prores::PictureHeader header;
  header.pictureBytes = static_cast<std::uint32_t>(header.headerBytes + table.size() + data.size());
  header.sliceCount = static_cast<std::uint16_t>(slices.size());
  header.log2SliceWidth = 0;
  Bytes picture(prores::PictureHeader::kWrittenBytes);
  prores::WritePictureHeader(header, picture.data());
  picture.insert(picture.end(), table.begin(), table.end());
  picture.insert(picture.end(), data.begin(), data.end());
  return picture;
}

inline Bytes MakeFrame(const prores::FrameHeader& header, const std::vector<Bytes>& pictures) {
  Bytes frame(prores::FrameHeaderBytes(header));
  for (const Bytes& picture : pictures) frame.insert(frame.end(), picture.begin(), picture.end());
  prores::WriteFrameHeader(header, static_cast<std::uint32_t>(frame.size()), frame.data());
  return frame;
}

/// Returns a progressive frame of 32x32 with a slice for each of four quantisers.
inline Bytes MakeFrame(const std::vector<std::uint8_t>& quantisers) {
  std::vector<Bytes> slices;
  std::ranges::transform(quantisers, std::back_inserter(slices), MakeSlice);
  return MakeFrame(HeaderOf(32, 32), {MakePicture(slices)});
}

inline constexpr std::size_t kManySlices = 4096 * 80;

/// Returns a progressive frame of kManySlices slices, all without codewords.
inline Bytes MakeFrameOfManySlices() {
  Bytes slice(prores::SliceHeader::kLeastBytes);
  prores::WriteSliceHeader({prores::SliceHeader::kLeastBytes, 1, {0, 0, 0}}, slice.data());
  return MakeFrame(HeaderOf(65535, 80 * 16), {MakePicture(std::vector<Bytes>(kManySlices, slice))});
}

}  // namespace vixprores

#endif  // TESTS_TOOL_SYNTHETICFRAME_H

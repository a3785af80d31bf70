// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_CODEC_CODEDSLICES_H
#define TESTS_CODEC_CODEDSLICES_H

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "bitstream/FrameHeader.h"
#include "bitstream/PictureHeader.h"
#include "bitstream/SliceHeader.h"
#include "bitstream/SliceTable.h"

/// @file
/// Takes frames that the encoder wrote apart.

namespace prores::test {

/// The parts of a slice.
struct CodedSlice {
  unsigned quantizationIndex;
  std::vector<std::uint8_t> colours;  ///< of the three components, back to back
  std::array<std::uint16_t, 3> componentBytes;
  std::size_t alphaBytes;

  bool HasSameColours(const CodedSlice& other) const {
    return quantizationIndex == other.quantizationIndex && componentBytes == other.componentBytes &&
           colours == other.colours;
  }
};

inline FrameHeader HeaderOf(std::span<const std::uint8_t> frame) {
  FrameHeader header;
  std::span<const std::uint8_t> pictures;
  EXPECT_EQ(ParseFrameHeader(frame, header, pictures), Status::kSuccess);
  return header;
}

/// Returns the slices of all pictures.
inline std::vector<CodedSlice> SlicesOf(std::span<const std::uint8_t> frame) {
  FrameHeader frameHeader;
  std::span<const std::uint8_t> pictures;
  EXPECT_EQ(ParseFrameHeader(frame, frameHeader, pictures), Status::kSuccess);
  std::vector<CodedSlice> slices;
  while (!pictures.empty()) {
    PictureHeader picture;
    if (ParsePictureHeader(pictures, picture) != Status::kSuccess) {
      ADD_FAILURE() << "picture header";
      break;
    }
    std::size_t offset = picture.headerBytes + kSliceTableEntryBytes * picture.sliceCount;
    for (std::size_t i = 0; i < picture.sliceCount; ++i) {
      const auto entry = pictures.subspan(picture.headerBytes + kSliceTableEntryBytes * i);
      const std::size_t bytes = std::size_t{entry[0]} << 8 | entry[1];
      const auto slice = pictures.subspan(offset, bytes);
      offset += bytes;
      SliceHeader header;
      EXPECT_TRUE(ParseSliceHeader(slice, header));
      std::size_t colourBytes = 0;
      for (const std::uint16_t component : header.componentBytes) colourBytes += component;
      const auto colours = slice.subspan(header.headerBytes, colourBytes);
      slices.push_back({header.quantizationIndex,
                        {colours.begin(), colours.end()},
                        header.componentBytes,
                        bytes - header.headerBytes - colourBytes});
    }
    pictures = pictures.subspan(picture.pictureBytes);
  }
  return slices;
}

}  // namespace prores::test

#endif  // TESTS_CODEC_CODEDSLICES_H

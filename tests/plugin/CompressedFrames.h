// SPDX-License-Identifier: BSD-2-Clause
#ifndef TESTS_PLUGIN_COMPRESSEDFRAMES_H
#define TESTS_PLUGIN_COMPRESSEDFRAMES_H

/// @file
/// Compressed frames with the fields that the decoder element parses (RDD 36, frame syntax).

#include <algorithm>
#include <cstdint>
#include <vector>

struct FrameShape {
  bool bare = false;
  std::uint16_t headerSize = 148;
  std::uint8_t bitstreamVersion = 0;
  std::uint8_t encoderIdentifier = 'f';  ///< first of its four bytes
  std::uint16_t width = 1920;
  std::uint16_t height = 1080;
  unsigned chromaFormat = 2;
  unsigned interlaceMode = 0;
  unsigned aspectRatio = 0;
  std::uint8_t matrixCoefficients = 1;
  std::uint32_t pictureSize = 500;
  std::size_t bytes = 1000;  ///< of the whole frame including the prefix
};

inline void PutBigEndian(std::vector<std::uint8_t>& bytes, std::size_t offset, std::uint64_t value,
                         std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    bytes.at(offset + i) = static_cast<std::uint8_t>(value >> 8 * (count - 1 - i));
}

/// Makes the frame. Bytes outside the fields count up, so that copies can be compared.
inline std::vector<std::uint8_t> MakeCompressedFrame(const FrameShape& shape) {
  std::vector<std::uint8_t> frame(shape.bytes);
  for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<std::uint8_t>(i % 251);
  const std::size_t header = shape.bare ? 0 : 8;
  if (!shape.bare) {
    PutBigEndian(frame, 0, shape.bytes, 4);
    std::copy_n("icpf", 4, frame.begin() + 4);
  }
  PutBigEndian(frame, header, shape.headerSize, 2);
  frame[header + 3] = shape.bitstreamVersion;
  frame[header + 4] = shape.encoderIdentifier;
  PutBigEndian(frame, header + 8, shape.width, 2);
  PutBigEndian(frame, header + 10, shape.height, 2);
  frame[header + 12] =
      static_cast<std::uint8_t>(shape.chromaFormat << 6 | shape.interlaceMode << 2 | 0x33);
  frame[header + 13] = static_cast<std::uint8_t>(shape.aspectRatio << 4 | 0x5);
  frame[header + 16] = shape.matrixCoefficients;
  PutBigEndian(frame, header + shape.headerSize + 1, shape.pictureSize, 4);
  return frame;
}

#endif  // TESTS_PLUGIN_COMPRESSEDFRAMES_H

// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/FrameHeader.h"

#include <algorithm>
#include <cstring>

#include "bitstream/BigEndian.h"

namespace prores {
namespace {

constexpr std::array<std::uint8_t, 4> kFrameIdentifier{'i', 'c', 'p', 'f'};
constexpr std::size_t kIdentifierOffset = 4;  // in the prefix
constexpr std::size_t kFixedFieldBytes = 20;  // of the frame header, before the matrices
constexpr std::size_t kMatrixBytes = std::tuple_size_v<QuantMatrix>;
constexpr unsigned kLoadLumaMatrix = 2;
constexpr unsigned kLoadChromaMatrix = 1;

bool LoadMatrix(std::span<const std::uint8_t>& bytes, QuantMatrix& matrix) {
  if (bytes.size() < kMatrixBytes) return false;
  std::copy_n(bytes.begin(), kMatrixBytes, matrix.begin());
  bytes = bytes.subspan(kMatrixBytes);
  return std::ranges::find(matrix, 0) == matrix.end();
}

// `bytes` is what the frame header has after its fixed fields; more than the flags ask for is
// legal and skipped.
bool ParseMatrices(unsigned flags, std::span<const std::uint8_t> bytes, FrameHeader& header) {
  header.lumaMatrix = kDefaultQuantMatrix;
  if ((flags & kLoadLumaMatrix) != 0 && !LoadMatrix(bytes, header.lumaMatrix)) return false;
  header.chromaMatrix = header.lumaMatrix;
  return (flags & kLoadChromaMatrix) == 0 || LoadMatrix(bytes, header.chromaMatrix);
}

bool TransmitsMatrices(const FrameHeader& header) {
  return header.lumaMatrix != kDefaultQuantMatrix || header.chromaMatrix != kDefaultQuantMatrix;
}

}  // namespace

bool HasFramePrefix(std::span<const std::uint8_t> frame) {
  return frame.size() >= kFramePrefixBytes &&
         std::ranges::equal(frame.subspan(kIdentifierOffset, kFrameIdentifier.size()),
                            kFrameIdentifier);
}

void WriteFramePrefix(std::uint32_t frameBytes, std::uint8_t* destination) {
  WriteU32(destination, frameBytes);
  std::ranges::copy(kFrameIdentifier, destination + kIdentifierOffset);
}

Status ParseFrameHeader(std::span<const std::uint8_t> frame, FrameHeader& header,
                        std::span<const std::uint8_t>& pictures) {
  if (frame.size() < kFramePrefixBytes + kFixedFieldBytes) return Status::kTruncated;
  if (!HasFramePrefix(frame)) return Status::kBadHeader;
  return ParseBareFrameHeader(frame.subspan(kFramePrefixBytes), header, pictures);
}

// Offsets are those from the first byte of the frame header.
Status ParseBareFrameHeader(std::span<const std::uint8_t> frame, FrameHeader& header,
                            std::span<const std::uint8_t>& pictures) {
  if (frame.size() < kFixedFieldBytes) return Status::kTruncated;
  const std::uint8_t* const h = frame.data();
  const std::size_t headerBytes = ReadU16(h);
  if (headerBytes < kFixedFieldBytes) return Status::kBadHeader;
  if (headerBytes > frame.size()) return Status::kTruncated;

  // The reserved byte before the version counts as its upper half: a value there can only
  // come from a syntax that is not known here.
  if (ReadU16(h + 2) > 1) return Status::kUnsupported;
  header.version = h[3];
  std::copy_n(h + 4, 4, header.encoderIdentifier.begin());
  header.width = ReadU16(h + 8);
  header.height = ReadU16(h + 10);
  if (header.width == 0 || header.height == 0) return Status::kBadHeader;

  const unsigned chromaFormat = h[12] >> 6;
  const unsigned interlaceMode = h[12] >> 2 & 3u;
  const unsigned alphaType = h[17] & 15u;
  if (chromaFormat < 2 || interlaceMode > 2 || alphaType > 2) return Status::kBadHeader;
  header.chromaFormat = static_cast<ChromaFormat>(chromaFormat);
  header.interlaceMode = static_cast<InterlaceMode>(interlaceMode);
  header.alphaType = static_cast<AlphaType>(alphaType);

  header.aspectRatio = h[13] >> 4;
  header.frameRate = h[13] & 15u;
  header.colorPrimaries = h[14];
  header.transferCharacteristic = h[15];
  header.matrixCoefficients = h[16];

  const auto matrices = frame.subspan(kFixedFieldBytes, headerBytes - kFixedFieldBytes);
  if (!ParseMatrices(h[19], matrices, header)) return Status::kBadHeader;
  pictures = frame.subspan(headerBytes);
  return Status::kSuccess;
}

std::size_t FrameHeaderBytes(const FrameHeader& header) {
  return kFramePrefixBytes + kFixedFieldBytes + (TransmitsMatrices(header) ? 2 * kMatrixBytes : 0);
}

void WriteFrameHeader(const FrameHeader& header, std::uint32_t frameBytes,
                      std::uint8_t* destination) {
  const bool transmitMatrices = TransmitsMatrices(header);
  WriteFramePrefix(frameBytes, destination);
  std::uint8_t* const h = destination + kFramePrefixBytes;
  WriteU16(h, static_cast<std::uint16_t>(FrameHeaderBytes(header) - kFramePrefixBytes));
  WriteU16(h + 2, header.version);
  std::ranges::copy(header.encoderIdentifier, h + 4);
  WriteU16(h + 8, header.width);
  WriteU16(h + 10, header.height);
  h[12] = static_cast<std::uint8_t>(static_cast<unsigned>(header.chromaFormat) << 6 |
                                    static_cast<unsigned>(header.interlaceMode) << 2);
  h[13] = static_cast<std::uint8_t>(header.aspectRatio << 4 | header.frameRate);
  h[14] = header.colorPrimaries;
  h[15] = header.transferCharacteristic;
  h[16] = header.matrixCoefficients;
  h[17] = static_cast<std::uint8_t>(header.alphaType);
  h[18] = 0;
  h[19] = transmitMatrices ? kLoadLumaMatrix | kLoadChromaMatrix : 0;
  if (!transmitMatrices) return;
  std::ranges::copy(header.lumaMatrix, h + kFixedFieldBytes);
  std::ranges::copy(header.chromaMatrix, h + kFixedFieldBytes + kMatrixBytes);
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/FrameHeader.h"

#include <algorithm>
#include <cstring>

#include "bitstream/BigEndian.h"

namespace prores {
namespace {

// Offsets are those from the first byte of the frame.
constexpr std::array<std::uint8_t, 4> kFrameIdentifier{'i', 'c', 'p', 'f'};
constexpr std::size_t kPrefixBytes = 8;       // frame_size and frame_identifier
constexpr std::size_t kFixedFieldBytes = 20;  // of the frame header, before the matrices
constexpr std::size_t kMatrixOffset = kPrefixBytes + kFixedFieldBytes;
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

Status ParseFrameHeader(std::span<const std::uint8_t> frame, FrameHeader& header,
                        std::span<const std::uint8_t>& pictures) {
  if (frame.size() < kMatrixOffset) return Status::kTruncated;
  const std::uint8_t* const f = frame.data();
  if (!std::equal(kFrameIdentifier.begin(), kFrameIdentifier.end(), f + 4)) {
    return Status::kBadHeader;
  }
  const std::size_t headerBytes = ReadU16(f + 8);
  if (headerBytes < kFixedFieldBytes) return Status::kBadHeader;
  if (headerBytes > frame.size() - kPrefixBytes) return Status::kTruncated;

  // The reserved byte before the version counts as its upper half: a value there can only
  // come from a syntax that is not known here.
  if (ReadU16(f + 10) > 1) return Status::kUnsupported;
  header.version = f[11];
  std::copy_n(f + 12, 4, header.encoderIdentifier.begin());
  header.width = ReadU16(f + 16);
  header.height = ReadU16(f + 18);
  if (header.width == 0 || header.height == 0) return Status::kBadHeader;

  const unsigned chromaFormat = f[20] >> 6;
  const unsigned interlaceMode = f[20] >> 2 & 3u;
  const unsigned alphaType = f[25] & 15u;
  if (chromaFormat < 2 || interlaceMode > 2 || alphaType > 2) return Status::kBadHeader;
  header.chromaFormat = static_cast<ChromaFormat>(chromaFormat);
  header.interlaceMode = static_cast<InterlaceMode>(interlaceMode);
  header.alphaType = static_cast<AlphaType>(alphaType);

  header.aspectRatio = f[21] >> 4;
  header.frameRate = f[21] & 15u;
  header.colorPrimaries = f[22];
  header.transferCharacteristic = f[23];
  header.matrixCoefficients = f[24];

  const auto matrices = frame.subspan(kMatrixOffset, headerBytes - kFixedFieldBytes);
  if (!ParseMatrices(f[27], matrices, header)) return Status::kBadHeader;
  pictures = frame.subspan(kPrefixBytes + headerBytes);
  return Status::kSuccess;
}

std::size_t FrameHeaderBytes(const FrameHeader& header) {
  return kMatrixOffset + (TransmitsMatrices(header) ? 2 * kMatrixBytes : 0);
}

void WriteFrameHeader(const FrameHeader& header, std::uint32_t frameBytes,
                      std::uint8_t* destination) {
  const bool transmitMatrices = TransmitsMatrices(header);
  std::uint8_t* const f = destination;
  WriteU32(f, frameBytes);
  std::ranges::copy(kFrameIdentifier, f + 4);
  WriteU16(f + 8, static_cast<std::uint16_t>(FrameHeaderBytes(header) - kPrefixBytes));
  WriteU16(f + 10, header.version);
  std::ranges::copy(header.encoderIdentifier, f + 12);
  WriteU16(f + 16, header.width);
  WriteU16(f + 18, header.height);
  f[20] = static_cast<std::uint8_t>(static_cast<unsigned>(header.chromaFormat) << 6 |
                                    static_cast<unsigned>(header.interlaceMode) << 2);
  f[21] = static_cast<std::uint8_t>(header.aspectRatio << 4 | header.frameRate);
  f[22] = header.colorPrimaries;
  f[23] = header.transferCharacteristic;
  f[24] = header.matrixCoefficients;
  f[25] = static_cast<std::uint8_t>(header.alphaType);
  f[26] = 0;
  f[27] = transmitMatrices ? kLoadLumaMatrix | kLoadChromaMatrix : 0;
  if (!transmitMatrices) return;
  std::ranges::copy(header.lumaMatrix, f + kMatrixOffset);
  std::ranges::copy(header.chromaMatrix, f + kMatrixOffset + kMatrixBytes);
}

}  // namespace prores

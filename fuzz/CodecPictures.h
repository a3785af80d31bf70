// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_CODECPICTURES_H
#define FUZZ_CODECPICTURES_H

/// @file
/// Packed pictures and handles for the targets of the codec library.

#include <ProRes/ProResHost.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Require.h"
#include "RowBytes.h"

using Bytes = std::vector<std::uint8_t>;

inline constexpr std::uint32_t kFormats[] = {kWPRPixelFormat2vuy, kWPRPixelFormatV210,
                                             kWPRPixelFormatY416, kWPRPixelFormatB64a};
/// Larger pictures only take longer. These hold two rows of macroblocks, or one of the widest
/// slice.
inline constexpr std::uint32_t kMostPixels = 1 << 11;
inline constexpr std::int32_t kAlphaBits[] = {kWPRAlpha16, kWPRAlpha8, kWPRAlphaNone};

/// A packed picture in memory that ends with the pixels of its last row, so that the address
/// sanitizer detects accesses after them. Every byte is `fill` at first.
class PackedPicture {
 public:
  /// @param slack bytes from the end of a row's pixels to the next row.
  PackedPicture(std::uint32_t format, std::uint32_t width, std::uint32_t height,
                std::uint32_t slack = 0, std::uint8_t fill = 0)
      : pixelBytes_(RowBytes(format, width)),
        fill_(fill),
        bytes_(height == 0 ? 0 : std::size_t{pixelBytes_ + slack} * (height - 1) + pixelBytes_,
               fill),
        record_{bytes_.data(), pixelBytes_ + slack, format, width, height} {}
  // The record has the address of the bytes.
  PackedPicture(const PackedPicture&) = delete;
  PackedPicture& operator=(const PackedPicture&) = delete;

  Bytes& Content() { return bytes_; }
  const PixelBufferRecord& Record() const { return record_; }

  /// Decodes a frame into the picture.
  std::int32_t Decode(WPRDecoderHandle decoder, const Bytes& frame, std::uint8_t fieldFlag = 0) {
    PixelBufferRecord destination = record_;
    return WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                          &destination, fieldFlag);
  }

  /// Requires what holds after each decoding: the bytes between rows are unchanged, and after a
  /// failure all are.
  void RequireUntouched(std::int32_t result) const {
    const std::size_t first = result < 0 ? 0 : pixelBytes_;
    for (std::size_t row = 0; row + first < bytes_.size(); row += record_.rowBytes) {
      const std::uint8_t* const rest = bytes_.data() + row + first;
      const std::size_t count =
          std::min<std::size_t>(record_.rowBytes - first, bytes_.size() - row - first);
      Require(count == 0 || (*rest == fill_ && std::memcmp(rest, rest + 1, count - 1) == 0));
    }
  }

  /// Returns whether both pictures have the same pixels, whatever their slack.
  bool HasPixelsOf(const PackedPicture& other) const {
    for (std::size_t y = 0; y < record_.height; ++y) {
      if (std::memcmp(bytes_.data() + y * record_.rowBytes,
                      other.bytes_.data() + y * other.record_.rowBytes, pixelBytes_) != 0) {
        return false;
      }
    }
    return true;
  }

 private:
  std::uint32_t pixelBytes_;
  std::uint8_t fill_;
  Bytes bytes_;
  PixelBufferRecord record_;
};

/// Opens a handle at each processor level of this machine, from kWPRProcessorScalar on.
template <typename Handle>
std::vector<Handle> OpenAtAllLevels(Handle (*open)(std::int32_t, void*), std::int32_t threads) {
  std::vector<Handle> handles;
  for (std::int32_t level = kWPRProcessorScalar; level <= WPRGetHighestProcessorLevel(); ++level) {
    Require(WPRSetProcessorLevel(level) == kWPRSuccess);
    handles.push_back(open(threads, nullptr));
  }
  return handles;
}

/// Returns the place of a level among all: for one choice in eight the plain one, which takes ten
/// times as long as the others.
inline std::size_t ChooseLevel(std::uint8_t choice, std::size_t levels) {
  const std::size_t other = choice & 7;
  return other == 0 || levels == 1 ? 0 : 1 + other % (levels - 1);
}

/// Size of the picture that a frame decodes to, as its header states it at fixed places.
struct StatedSize {
  StatedSize(const Bytes& frame, bool oneField) {
    if (frame.size() < 21) return;
    width = std::uint32_t{frame[16]} << 8 | frame[17];
    height = std::uint32_t{frame[18]} << 8 | frame[19];
    if (oneField && (frame[20] & 0x0c) != 0) height /= 2;
  }

  std::uint64_t Pixels() const { return std::uint64_t{width} * height; }

  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

#endif  // FUZZ_CODECPICTURES_H

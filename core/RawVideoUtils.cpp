// SPDX-License-Identifier: BSD-2-Clause
#include "vix/RawVideoUtils.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "pixels/FormatRows.h"
#include "vix/Error.h"

namespace vix::RawVideoUtils {
namespace {

/// Bytes of a pixel of the formats with 16 bits per component.
constexpr std::uint64_t kPixelBytes4444 = 8;

/// Returns 0 for a format that no element handles.
std::uint64_t RowBytes(FourCC fourcc, unsigned int width) {
  switch (fourcc) {
    case kFourCC_UYVY:
    case kFourCC_V210:
      return pixels::FindFormat(PixelFormat{fourcc})->RowBytes(0, width);
    case kFourCC_Y416:
    case kFourCC_b64A:
      return kPixelBytes4444 * width;
    default:
      return 0;
  }
}

std::uint32_t CheckedTo32Bits(std::uint64_t bytes, unsigned int width, unsigned int height) {
  if (bytes > std::numeric_limits<std::uint32_t>::max()) {
    throw VIXError(ErrorCode::Unsupported, "A raw picture of " + std::to_string(width) + 'x' +
                                               std::to_string(height) +
                                               " is larger than the largest buffer (4 GiB - 1)");
  }
  return static_cast<std::uint32_t>(bytes);
}

std::uint32_t GetStride(FourCC fourcc, unsigned int width, unsigned int height) {
  return CheckedTo32Bits(RowBytes(fourcc, width), width, height);
}

}  // namespace

std::vector<std::uint32_t> GetStrides(std::shared_ptr<const IVideoParameters> parameters) {
  const auto raw = std::dynamic_pointer_cast<const IVideoParameters_RAW>(parameters);
  if (!raw) throw VIXRuntimeError("GetStrides needs a description of raw video");
  return {GetStride(raw->GetFourCC(), raw->GetWidth(), raw->GetHeight())};
}

std::vector<std::uint32_t> GetStrides(FourCC fourcc, VideoChroma /*chroma*/, unsigned int width,
                                      unsigned int height) {
  return {GetStride(fourcc, width, height)};
}

std::uint32_t GetFrameBytes(FourCC fourcc, VideoChroma /*chroma*/, unsigned int width,
                            unsigned int height) {
  const std::uint64_t stride = GetStride(fourcc, width, height);
  return CheckedTo32Bits(stride * height, width, height);
}

void ClearRowPadding(FourCC fourcc, unsigned int width, unsigned int height, std::size_t stride,
                     std::uint8_t* picture) {
  if (fourcc != kFourCC_V210) return;
  constexpr std::size_t kGroupPixels = 6;
  constexpr std::size_t kGroupBytes = 16;
  const std::size_t used = (width + kGroupPixels - 1) / kGroupPixels * kGroupBytes;
  const std::size_t padding = GetStride(fourcc, width, height) - used;
  if (padding == 0) return;
  for (std::size_t row = 0; row < height; ++row) {
    std::memset(picture + row * stride + used, 0, padding);
  }
}

}  // namespace vix::RawVideoUtils

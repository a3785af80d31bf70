// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_ROWBYTES_H
#define FUZZ_ROWBYTES_H

#include <ProRes/ProRes.h>

#include <cstdint>

/// Returns the bytes of the pixels of a packed row.
inline std::uint32_t RowBytes(std::uint32_t format, std::uint32_t width) {
  if (format == kWPRPixelFormat2vuy) return (width + 1) / 2 * 4;
  if (format == kWPRPixelFormatV210) return (width + 5) / 6 * 16;
  return 8 * width;  // four words of 16 bits
}

#endif  // FUZZ_ROWBYTES_H

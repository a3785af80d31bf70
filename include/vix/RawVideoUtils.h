// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_RAWVIDEOUTILS_H
#define VIX_RAWVIDEOUTILS_H

#include <cstdint>
#include <memory>
#include <vector>

#include "vix/Export.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// Geometry of uncompressed pictures.
///
/// A "UYVY" row takes 2 bytes a pixel, the width rounded up to even. A "V210" row takes 128 bytes
/// for every 48 pixels begun. Both formats are a single packed plane whatever the chroma of the
/// stream that they come from. Any other FourCC, a null description, one that is not raw, and a
/// result above 32 bits are refused with a VIXRuntimeError.
namespace RawVideoUtils {

/// Bytes per row of each plane of the raw picture described.
VIX_API std::vector<std::uint32_t> GetStrides(std::shared_ptr<const IVideoParameters> parameters);
/// Bytes per row of each plane of such a raw picture.
VIX_API std::vector<std::uint32_t> GetStrides(FourCC fourcc, VideoChroma chroma, unsigned int width,
                                              unsigned int height);
/// Byte size of one such raw picture: stride x height.
VIX_API std::uint32_t GetFrameBytes(FourCC fourcc, VideoChroma chroma, unsigned int width,
                                    unsigned int height);

}  // namespace RawVideoUtils

}  // namespace vix

#endif  // VIX_RAWVIDEOUTILS_H

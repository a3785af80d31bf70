// SPDX-License-Identifier: BSD-2-Clause
#ifndef VIX_RAWVIDEOUTILS_H
#define VIX_RAWVIDEOUTILS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "vix/Export.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix {

/// Memory layout of uncompressed pictures.
///
/// A "UYVY" row has 2 bytes per pixel, with the width rounded up to even. A "V210" row has 128
/// bytes for every 48 pixels or part of them. A "Y416" or "b64A" row has 8 bytes per pixel. Every
/// format is a single packed plane, whatever the chroma sampling of the compressed stream. A
/// picture of any other FourCC has rows of 0 bytes: elements report an unknown format themselves.
/// Everything here throws a VIXRuntimeError if a result does not fit into 32 bits.
namespace RawVideoUtils {

/// Returns the bytes per row of each plane of the picture described.
/// @throws VIXRuntimeError if the description is null or not of raw video
VIX_API std::vector<std::uint32_t> GetStrides(std::shared_ptr<const IVideoParameters> parameters);
/// Returns the bytes per row of each plane.
VIX_API std::vector<std::uint32_t> GetStrides(FourCC fourcc, VideoChroma chroma, unsigned int width,
                                              unsigned int height);
/// Returns the bytes of one picture: stride x height.
VIX_API std::uint32_t GetFrameBytes(FourCC fourcc, VideoChroma chroma, unsigned int width,
                                    unsigned int height);

/// Clears the bytes of each "V210" row that have no pixels. A decoder does not write them, so that
/// they contain whatever was in the memory before. Rows of other formats have no such bytes.
/// @param stride bytes from one row to the next, at least those of GetStrides()
VIX_API void ClearRowPadding(FourCC fourcc, unsigned int width, unsigned int height,
                             std::size_t stride, std::uint8_t* picture);

}  // namespace RawVideoUtils

}  // namespace vix

#endif  // VIX_RAWVIDEOUTILS_H

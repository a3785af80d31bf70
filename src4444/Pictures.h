// SPDX-License-Identifier: BSD-2-Clause
#ifndef SRC4444_PICTURES_H
#define SRC4444_PICTURES_H

#include <cstdint>
#include <string>

#include "ProRes/ProRes.h"
#include "vix/StreamDescription.h"
#include "vix/Types.h"

namespace vix::prores4444 {

/// Returns a picture in memory for the codec library: rows without padding.
/// @param raw  reports a failure for a pixel format other than "Y416" and "b64A"
/// @param data first byte of the first row
PixelBufferRecord DescribePicture(const IVideoParameters_RAW& raw, std::uint8_t* data);

/// Returns the bytes of a picture.
/// @throws VIXRuntimeError if they do not fit into 32 bits
std::uint32_t GetPictureBytes(const IVideoParameters_RAW& raw);

/// Returns for example "1920x1080".
std::string SizeText(std::uint32_t width, std::uint32_t height);

}  // namespace vix::prores4444

#endif  // SRC4444_PICTURES_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_DPXFILE_H
#define TOOL_MEDIA_SEQUENCE_DPXFILE_H

/// @file
/// Reads the usual kind of .dpx (SMPTE ST 268-1: RGB of 10 bits, one pixel in 32 bits) in a
/// fraction of the time that the image module takes, and without loading it.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/sequence/ImageModule.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace vixprores {

/// Sets the labels of a file of any kind in `header`, whose path is set.
void ReadDpxLabels(ImageHeader& header);

/// Returns the header of a file; nullopt if it is of another kind.
/// @throws Failure if the file cannot be read
std::optional<ImageHeader> ReadUsualDpxHeader(const std::string& path);

/// Reads the pixels of a file.
/// @param first   header of the sequence's first file
/// @param bytes   memory for the file, reused from call to call
/// @param picture with the size of the first file; GBRP10
/// @return false, with the picture unspecified, if the file is of another kind or size, or damaged
bool ReadUsualDpx(const std::string& path, const ImageHeader& first,
                  std::vector<std::uint8_t>& bytes, AVFrame& picture);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_DPXFILE_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_MOVFILE_H
#define TOOL_MEDIA_CONTAINER_MOVFILE_H

/// @file
/// Changes to a .mov that the container library has just completed, where it writes something else
/// than it was told, or knows less.

#include <string>
#include <vector>

#include "media/OutputFile.h"
#include "vix/Types.h"

namespace vixprores {

/// Writes `vendor` into the first sample description of type `sampleEntry`, where the container
/// library always puts its own. A file without one is a Failure.
void SetMovVendor(OutputFile& file, vix::FourCC sampleEntry, vix::FourCC vendor);

/// Makes the media data reach up to the index, which starts at `index`: the library counts only
/// the packets that it wrote. What is not laid out as the library does it is a Failure.
void SetMovMediaEnd(OutputFile& file, std::int64_t index);

/// Gives the sound tracks their languages, of which the library only knows those of the first
/// Macintosh: three letters each (ISO 639-2), anything else is passed over.
void SetMovSoundLanguages(OutputFile& file, const std::vector<std::string>& languages);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_MOVFILE_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_MOVFILE_H
#define TOOL_MEDIA_CONTAINER_MOVFILE_H

/// @file
/// Reads the atoms of a .mov, and patches a .mov that the container library has completed where the
/// library cannot write the requested values.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "media/InputFile.h"
#include "media/OutputFile.h"
#include "vix/Types.h"

namespace vixprores {

/// An atom of a .mov: 32-bit size and type, or size 1, type and 64-bit size; then its contents.
struct MovAtom {
  vix::FourCC type = 0;
  std::int64_t contents = 0;  ///< position of the first byte after size and type
  std::int64_t end = 0;       ///< position after the last byte, by the size in the header
  bool isOpen = false;        ///< extends to the end of the file, whatever its size
};

/// Returns the atom at a position of a seekable file; nullopt if there is none.
std::optional<MovAtom> ReadAtom(const InputFile& file, std::int64_t position);
std::optional<MovAtom> ReadAtom(const OutputFile& file, std::int64_t position);

/// Returns the position of the first atom of a file that is damaged or truncated; nullopt if all
/// atoms are complete.
std::optional<std::int64_t> FindBrokenAtom(const InputFile& file);

/// Writes `vendor` into the first sample description of type `sampleEntry`, where the container
/// library always writes its own. Throws a Failure if there is none.
void SetMovVendor(OutputFile& file, vix::FourCC sampleEntry, vix::FourCC vendor);

/// Extends the media data up to the index, which starts at `index`: the library counts only its own
/// packets. Throws a Failure unless the file has the library's layout.
void SetMovMediaEnd(OutputFile& file, std::int64_t index);

/// Sets the languages of the sound tracks: three letters each (ISO 639-2); other values are
/// ignored. The library writes only the original Macintosh languages.
void SetMovSoundLanguages(OutputFile& file, const std::vector<std::string>& languages);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_MOVFILE_H

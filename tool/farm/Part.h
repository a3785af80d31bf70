// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_PART_H
#define TOOL_FARM_PART_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "format/Values.h"
#include "media/FrameReader.h"
#include "media/sequence/SequenceName.h"
#include "run/Options.h"

namespace vixprores {

/// What the part of a job states about itself, in its metadata.
struct PartLabel {
  static constexpr const char* kKey = "vixprores_part";  ///< name of the metadata

  ChunkName chunk;
  FrameRange frames;  ///< of the input, from 0
  std::string state;  ///< of the input when the chunk began

  /// Returns text like "JOB 3/12 150-199 STATE".
  std::string ToText() const;
  /// Reads such a text; nullopt if it is none.
  static std::optional<PartLabel> Parse(const std::string& text);
};

/// Returns the label of a part; nullopt if the file is not one.
std::optional<PartLabel> FindPartLabel(const FrameReader& part);

/// Returns the fault of a frame of a part, with its place; empty = it is what was written.
std::string FindFault(const FrameReader& part, const NumberedFrame& frame);
/// Returns the first fault of all frames of a part; empty = none. Reads all of it.
std::string FindDamage(const std::string& part);

/// Size and time of an input, by which parts of an earlier state are recognised.
class InputState {
 public:
  /// Lists the files of an image sequence.
  explicit InputState(std::string input);

  /// Returns a checksum of the file, or of the files with the images of these frames, which count
  /// from the first file. Empty if there is no such file.
  std::string Of(const FrameRange& frames) const;

 private:
  std::string input_;
  std::optional<ImageFiles> images_;  ///< nullopt = one file
};

/// Returns 16 hexadecimal digits.
std::string HexHash(std::string_view text);

}  // namespace vixprores

#endif  // TOOL_FARM_PART_H

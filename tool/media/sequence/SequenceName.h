// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SEQUENCE_SEQUENCENAME_H
#define TOOL_MEDIA_SEQUENCE_SEQUENCENAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "format/Values.h"

namespace vixprores {

/// Largest number of a file.
inline constexpr std::int64_t kLargestFileNumber = 999'999'999;

/// Name of the files of an image sequence: a number between two fixed parts.
struct SequenceName {
  std::string folder;  ///< empty = the current one, else with a slash at the end
  std::string prefix;  ///< of the file name
  std::string suffix;  ///< of the file name, with the extension
  int digits = 1;      ///< fewest digits of a number, padded with zeros; 0 = any padding

  /// Returns the path of the file with that number.
  std::string PathOf(std::int64_t number) const;
  /// Returns the number in the name of a file of the folder; nullopt if it is not of the sequence.
  std::optional<std::int64_t> NumberIn(std::string_view fileName) const;
  /// Returns the name without folder, number and extension: "a" for "shots/a.%04d.exr", the name
  /// of the folder for "shots/%04d.exr".
  std::string Stem() const;
  /// Returns text like "shots/a.%04d.exr", or "shots/a.*.exr" for any padding.
  std::string ToText() const;

  friend bool operator==(const SequenceName&, const SequenceName&) = default;
};

/// A file of a sequence.
struct NumberedFile {
  std::int64_t number = 0;
  std::string path;
};

/// Image files that belong together, in the order of their numbers.
struct ImageFiles {
  std::string name;  ///< for messages
  std::vector<NumberedFile> files;
};

/// Returns the name of a folder without the folders around it, also of "." and "shots/".
std::string NameOfFolder(const std::string& path);

/// Returns true if the extension is that of an image format.
bool IsImageName(std::string_view path);

/// Parses the name of image files with a place for the number: %04d, %d, #### or *, with %% for a
/// percent sign. Returns nullopt if there is no such place, or if the name is not of
/// images. Rejects two places with a UsageError.
std::optional<SequenceName> ParseSequenceName(const std::string& path);

/// Returns the files of that name.
/// @throws Failure if there are none, if two have the same number, or if the folder is unreadable
ImageFiles FindFiles(const SequenceName& name);

/// Returns the files of the only sequence of a folder. Files with a number that belong to no other
/// file count as a sequence only if there is no longer one.
/// @throws Failure that lists the sequences if there are several, or states that there is none
ImageFiles FindOnlySequence(const std::string& folder);

/// Returns the files that `path` stands for: a name with a place for numbers, a folder, or one
/// image file. Returns nullopt if it is none of these.
std::optional<ImageFiles> FindImages(const std::string& path);

/// Returns the ranges of numbers from `first` to `last` that no file has.
std::vector<FrameRange> FindMissingNumbers(const ImageFiles& images, const FrameRange& range);

/// Returns text like "1005 and 1010-1019"; states only the number of ranges after the first few.
std::string DescribeNumbers(const std::vector<FrameRange>& ranges);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SEQUENCE_SEQUENCENAME_H

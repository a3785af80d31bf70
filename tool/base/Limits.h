// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_BASE_LIMITS_H
#define TOOL_BASE_LIMITS_H

/// @file
/// What a file may ask of the program. A file beyond a limit gets an error that names the limit and
/// the option that raises it, before memory is allocated for it.

#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>

namespace vixprores {

/// Limits that users set with the options of the group "Limits".
struct Limits {
  std::uint32_t width = 16384;          ///< of a picture of an input, in pixels
  std::uint32_t height = 16384;         ///< of a picture of an input, in lines
  std::optional<std::uint64_t> memory;  ///< bytes; nullopt = three quarters of the machine's
  std::optional<std::uint64_t> output;  ///< bytes of an output; nullopt = unlimited
};

/// Sets the limits of the process. Call it before any input is opened and any thread started.
void SetLimits(const Limits& limits);
const Limits& GetLimits();

/// Returns true if an input may have pictures of that size.
bool IsPictureSizeAllowed(std::uint64_t width, std::uint64_t height);
/// Returns what is wrong with a size that is not allowed, and what to do: "pictures of 20000x100
/// exceed ...".
std::string DescribePictureLimit(std::uint64_t width, std::uint64_t height);
/// Fails if the input `name` must not have pictures of that size.
void CheckPictureSize(const std::string& name, std::uint64_t width, std::uint64_t height);

/// The memory limit does not allow what a file asks for. Handled as missing memory, but with the
/// reason.
class MemoryLimitError : public std::bad_alloc {
 public:
  explicit MemoryLimitError(std::string message)
      : message_(std::make_shared<const std::string>(std::move(message))) {}
  const char* what() const noexcept override { return message_->c_str(); }

 private:
  std::shared_ptr<const std::string> message_;  // copies of exceptions must not throw
};

/// Returns the bytes of memory that the program may use.
std::uint64_t GetMemoryLimit();
/// Throws a MemoryLimitError if the program would use more memory than the limit allows.
/// @param purpose plural noun for the message: "8 pictures of 8192x8192"
/// @param bytes   about to be allocated
void CheckMemory(const std::string& purpose, std::uint64_t bytes);

/// Fails if an output of that many bytes exceeds the limit.
void CheckOutputSize(const std::string& name, std::uint64_t bytes);

/// Limits that no user has had a reason to change. Each bounds what a damaged or crafted file can
/// cost; intact files stay far below.

/// Longest gap in sound that is filled with silence, in seconds. A longer one is more likely to be
/// a damaged time.
inline constexpr std::int64_t kLongestSilence = 60;
/// Longest silence in seconds that makes a sound track as long as its pictures: a week.
inline constexpr std::int64_t kLongestFill = 7 * 24 * 3600;
/// Limits of a track's silence: a number of bytes, and a multiple of the bytes of its sound. A few
/// damaged times must not fill a disk.
inline constexpr std::int64_t kMostSilentBytes = 256 << 20;
inline constexpr std::int64_t kMostSilentShare = 10;
/// Channels of a sound track that is decoded.
inline constexpr int kMostSoundChannels = 64;
/// Samples of one channel in a packet; codecs have far fewer, PCM as many as the packet has bytes.
inline constexpr std::int64_t kMostSoundSamples = 1 << 20;
/// Frames of a run that replace lost ones, beside as many again as the run has intact frames: a
/// minute at 60 frames per second.
inline constexpr std::int64_t kMostStandIns = 3600;
/// Longest time in seconds that one picture may fill where a rate is converted, and by which a
/// frame may be late: longer ones are damaged times.
inline constexpr std::int64_t kLongestStill = 3600;
/// Damaged frames at the start of a stream until the first header: all of them are kept in memory.
inline constexpr std::size_t kMostDamagedAtStart = 32;
/// Bytes of the packets of a file, in bytes of the file: an index may lead to the same bytes again
/// and again, which would take the square of the time. Compressed packets may be larger than
/// stored.
inline constexpr std::int64_t kMostReadings = 64;
/// Limits of one allocation of the container library while it opens a file: a number of bytes, and
/// a multiple of the bytes of the file. An entry of an index may take 64 bytes for each byte of
/// sound; a damaged number of entries must not take gigabytes.
inline constexpr std::int64_t kMostIndexBytes = 256 << 20;
inline constexpr std::int64_t kMostIndexShare = 64;
/// Bytes of a frame that --scan finds.
inline constexpr std::int64_t kMostScannedBytes = 256 << 20;
/// Bytes of the description of tracks and texts in a file that is recovered.
inline constexpr std::uint32_t kMostDescriptionBytes = 64U << 20U;
/// Bytes of the packets of all subtitles and chapters of a file. Those of a film take less, even as
/// pictures.
inline constexpr std::int64_t kMostTextBytes = 256 << 20;
/// Bytes of the movie header that is corrected in place; an hour of frames needs less than a
/// megabyte.
inline constexpr std::int64_t kMostMovieHeaderBytes = 256 << 20;
/// Cells of the grid of a frame's slices; pictures of 8192x8192 with the narrowest slices have
/// 262144.
inline constexpr std::size_t kMostGridCells = 300'000;
/// Slices of a stream that are listed one by one, those of about 1000 HD frames. A crafted file of
/// a few MB could otherwise take gigabytes.
inline constexpr std::size_t kMostListedSlices = 1U << 20;
/// Damaged slices of one file whose places are kept, 32 bytes each. Further frames have a fault
/// with the number of their damaged slices instead.
inline constexpr std::size_t kMostKeptSlices = 1'000'000;
/// Pixels of a frame that is decoded for a page: twice 8K.
inline constexpr std::uint64_t kMostPagePixels = std::uint64_t{1} << 26;
/// Pictures of a contact sheet, and its pixels: 2000 pictures of 320x180, which take 450 MB.
inline constexpr std::size_t kMostSheetPictures = 2000;
inline constexpr std::uint64_t kMostSheetPixels = 150'000'000;

}  // namespace vixprores

#endif  // TOOL_BASE_LIMITS_H

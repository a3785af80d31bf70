// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FRAMES_STREAMSTATISTICS_H
#define TOOL_FRAMES_STREAMSTATISTICS_H

/// @file
/// Statistics of the frames of a ProRes stream, collected frame by frame.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Errors.h"
#include "base/Limits.h"
#include "format/OutputFormat.h"
#include "format/Sound.h"
#include "format/Timecode.h"
#include "format/Values.h"
#include "frames/FrameHeaders.h"
#include "frames/FrameStructure.h"

namespace vixprores {

/// Smallest, mean and largest of a sequence of numbers; all 0 if it is empty.
class Spread {
 public:
  void Add(double value) { Merge(Spread(value)); }

  /// Adds the numbers of another sequence.
  void Merge(const Spread& other) {
    if (other.count_ == 0) return;
    min_ = count_ == 0 ? other.min_ : std::min(min_, other.min_);
    max_ = count_ == 0 ? other.max_ : std::max(max_, other.max_);
    sum_ += other.sum_;
    count_ += other.count_;
  }

  std::int64_t GetCount() const { return count_; }
  double GetMin() const { return min_; }
  double GetMax() const { return max_; }
  double GetMean() const { return count_ > 0 ? sum_ / static_cast<double>(count_) : 0; }

  Spread() = default;

 private:
  explicit Spread(double value) : min_(value), max_(value), sum_(value), count_(1) {}

  double min_ = 0;
  double max_ = 0;
  double sum_ = 0;
  std::int64_t count_ = 0;
};

/// One slice, without its bytes.
struct SliceStatistics {
  std::uint32_t picture = 0;  ///< 0, or 1 for the second field
  std::uint32_t row = 0;      ///< macroblock row in its picture
  std::uint32_t index = 0;    ///< in that row, from the left
  prores::SliceSpan span{};   ///< macroblocks in that row
  std::size_t offset = 0;     ///< from the first byte of the frame
  std::size_t bytes = 0;
  bool intact = false;
  prores::SliceHeader header{};  ///< valid if intact
};

/// Returns the bytes after Cr in an intact slice, which are those of alpha.
/// @param bytes size of the whole slice
std::size_t CountAlphaBytes(const prores::SliceHeader& header, std::size_t bytes);

/// Distribution of the bytes of one frame.
struct FrameStatistics {
  std::int64_t number = 0;             ///< in the stream, from 0
  std::optional<std::int64_t> offset;  ///< in the file, in bytes; none = unknown
  std::int64_t count = 1;              ///< of frames; more than 1 are missing for one reason
  bool isThere = true;                 ///< the frame could be read
  std::size_t bytes = 0;
  std::string fault;  ///< why it cannot be parsed to its end; empty = it can
  std::size_t slices = 0;
  Spread quantisers;                            ///< quantization indices of the intact slices
  std::array<std::size_t, 3> componentBytes{};  ///< Y, Cb, Cr
  std::size_t alphaBytes = 0;                   ///< all bytes after Cr in the slices
  /// Bytes that the frame would have without alpha, and without the sizes of Cr that alpha needs.
  std::size_t colourBytes = 0;
  std::vector<SliceStatistics> sliceList;  ///< empty unless the caller sets it
};

/// Lists the slices of a frame, picture by picture and row by row from the left.
std::vector<SliceStatistics> ListSlices(const FrameStructure& structure);

/// Sums up a parsed frame. Leaves number, offset and list of slices to the caller.
/// @param frame the bytes that `structure` borrows
FrameStatistics MeasureFrame(const FrameStructure& structure, std::span<const std::uint8_t> frame);

/// Statistics of a ProRes stream, or of a part of it.
struct StreamStatistics {
  std::string name;  ///< of the input
  StreamFormat format;
  std::string stored;                     ///< how pictures other than ProRes are stored
  std::optional<FrameRange> files;        ///< numbers of an image sequence
  std::vector<FrameRange> missingFiles;   ///< those of them that no file has
  std::optional<StreamFormat> container;  ///< none = no container
  std::optional<Timecode> timecode;       ///< of frame 0
  std::vector<SoundTrack> sound;
  Metadata metadata;                          ///< of the file, and "reel_name"
  std::optional<std::int64_t> framesInFile;   ///< none = known at the end of the input only
  std::optional<std::uint32_t> targetBytes;   ///< of a frame; none = unknown variant
  std::optional<prores::FrameHeader> header;  ///< of the first frame that has one
  std::size_t slices = 0;                     ///< of that frame
  std::uint8_t log2SliceWidth = 0;            ///< of that frame's first picture
  std::vector<FrameStatistics> frames;
  std::optional<std::int64_t> firstUnlisted;  ///< first frame with too many slices to list them
  std::vector<HeaderChange> changes;
  Spread bytes;             ///< of the frames
  Spread colourBytes;       ///< of the frames without their alpha, to compare with targetBytes
  Spread quantisers;        ///< of all their slices
  Spread meanQuantisers;    ///< of the frames
  std::int64_t faulty = 0;  ///< frames with a fault, missing ones included
  std::string note;         ///< the reader's note at the end of the input; empty = none
  std::string failure;      ///< why reading ended early; empty = it did not

  double MegabitsPerSecond() const;
  /// Returns the mean bytes that alpha takes of a frame; nullopt = there is no alpha.
  std::optional<double> MeanAlphaBytes() const;
  /// Returns the duration in seconds; nullopt = unknown.
  std::optional<double> Seconds() const;
};

/// Adds a parsed frame.
/// @param statistics of that frame
void AddFrame(StreamStatistics& stream, const FrameStructure& frame, FrameStatistics statistics);

/// Adds one or more frames that could not be read.
void AddMissing(StreamStatistics& stream, const FrameFailure& failure);

/// Compares the container with the first frame's header; empty if either is missing.
std::vector<ComparedProperty> CompareProperties(const StreamStatistics& stream);

/// Returns the target size of a frame of that variant; nullopt if the variant is unknown or cannot
/// be encoded.
std::optional<std::uint32_t> FindTargetBytes(const StreamFormat& format);

/// Keeps the largest frame of a stream, the smallest one, and the one with the highest mean
/// quantiser. Skips frames with a fault.
class NotableFrames {
 public:
  /// A kept frame with its reasons: "largest", "smallest", "coarsest".
  struct Notable {
    std::vector<std::string> reasons;
    NumberedFrame frame;
  };

  void Add(const NumberedFrame& frame, const FrameStatistics& statistics);
  /// Returns each kept frame once.
  std::vector<Notable> List() const;

 private:
  struct Record {
    const char* reason;
    double value = 0;          // the largest so far
    NumberedFrame frame = {};  // no data = none yet
  };

  std::array<Record, 3> records_{{{"largest"}, {"smallest"}, {"coarsest"}}};
};

}  // namespace vixprores

#endif  // TOOL_FRAMES_STREAMSTATISTICS_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_FRAMESCANNER_H
#define TOOL_RECOVERY_FRAMESCANNER_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "base/FramePool.h"
#include "bitstream/FrameHeader.h"
#include "media/InputFile.h"

namespace vixprores {

/// A frame that a scan found.
struct FoundFrame {
  std::int64_t offset = 0;  ///< of its first byte, in the input
  std::shared_ptr<vix::IBuffer> bytes;
};

/// The bytes that belong to no frame.
struct SkippedBytes {
  std::int64_t bytes = 0;
  std::int64_t places = 0;        ///< where one or more of them are together
  std::int64_t largest = 0;       ///< bytes of the largest place
  std::int64_t largestBegin = 0;  ///< its offset in the input
};

/// Finds ProRes frames in any bytes: by their prefix (size, "icpf"), the frame header behind it,
/// and the sizes of pictures and slices, which have to fit each other. So what only looks like a
/// prefix is passed over, inside a frame above all.
///
/// A frame with a readable header whose pictures do not fit is taken for a damaged one where its
/// size leads to another frame or to the end, or where it is of the same size as a frame next to
/// it. It then reaches as far as it says, but not into the next frame.
///
/// Reads the input once from front to back; keeps one frame in memory, and of what claims to be one
/// 256 MiB at most. Used by one thread; the frames may be used on any.
class FrameScanner {
 public:
  explicit FrameScanner(std::unique_ptr<InputFile> file) : file_(std::move(file)) {}

  const InputFile& GetFile() const { return *file_; }
  /// The next frame; none at the end. A failing read is a Failure.
  std::optional<FoundFrame> Next();
  /// Those before, between and, once Next() gave none, behind the frames.
  const SkippedBytes& GetSkipped() const { return skipped_; }

 private:
  /// A place, counted from where the search stands.
  using Place = std::size_t;

  Place Available() const { return kept_.size() - begin_; }
  const std::uint8_t* At(Place place) const { return kept_.data() + begin_ + place; }
  bool Fill(Place end);
  bool IsEndWithin(Place end) { return !Fill(end + 1); }
  std::span<const std::uint8_t> Bytes(Place begin, Place end) const;
  void GoOnFrom(Place place) { begin_ += place; }
  std::optional<Place> FindPrefix(Place from, Place limit);
  std::optional<prores::FrameHeader> ReadHeader(Place frame);
  std::optional<Place> WalkPictures(Place frame);
  Place FindEnd(Place endOfPictures);
  std::optional<Place> FindNeighbour(const prores::FrameHeader& header, Place limit);
  std::optional<Place> FindEndOfDamaged(const prores::FrameHeader& header);
  std::optional<Place> FindFrame();
  FoundFrame TakeFrame(Place end);
  void CountSkipped(std::int64_t end);

  std::unique_ptr<InputFile> file_;
  std::vector<std::uint8_t> kept_;
  std::size_t begin_ = 0;      ///< where the search stands, in kept_
  std::int64_t keptFrom_ = 0;  ///< offset of the first byte of kept_, in the input
  bool ended_ = false;         ///< nothing is left to read
  /// Of the frame that was found last undamaged.
  std::optional<prores::FrameHeader> lastHeader_;
  std::int64_t endOfLast_ = 0;  ///< frame that was found, in the input
  SkippedBytes skipped_;
  FramePool pool_;
};

}  // namespace vixprores

#endif  // TOOL_RECOVERY_FRAMESCANNER_H

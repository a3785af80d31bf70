// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_FRAMESCANNER_H
#define TOOL_RECOVERY_FRAMESCANNER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <unordered_map>
#include <vector>

#include "base/FramePool.h"
#include "bitstream/FrameHeader.h"
#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"

namespace vixprores {

/// A frame found by a scan.
struct FoundFrame {
  std::int64_t offset = 0;  ///< of its first byte in the input
  std::shared_ptr<vix::IBuffer> bytes;
};

/// The bytes that belong to no frame.
struct SkippedBytes {
  std::int64_t bytes = 0;
  std::int64_t places = 0;        ///< runs of such bytes
  std::int64_t largest = 0;       ///< bytes of the largest run
  std::int64_t largestBegin = 0;  ///< its offset in the input
};

/// Finds ProRes frames in any bytes: by their prefix (size, "icpf"), the frame header after it, and
/// the sizes of pictures and slices, which must be consistent. Bytes that only look like a prefix,
/// as they occur inside frames, are skipped.
///
/// A frame with a readable header and inconsistent pictures counts as a damaged frame if its size
/// leads to another frame or to the end, or if it has the picture size of an adjacent frame. It
/// ends at its stated size, but before the next frame.
///
/// Reads the input once from front to back, in time proportional to its size. Keeps one frame in
/// memory, and at most 256 MiB of bytes that claim to be one. Used by one thread; the frames may be
/// used on any thread.
class FrameScanner {
 public:
  explicit FrameScanner(std::unique_ptr<InputFile> file) : file_(std::move(file)) {}

  const InputFile& GetFile() const { return *file_; }
  /// Returns the next frame; nullopt at the end.
  /// @throws Failure if reading fails, Interrupted if the user asked to stop
  std::optional<FoundFrame> Next();
  /// Returns the bytes before and between the frames so far, and after the last one once Next() has
  /// returned nullopt.
  const SkippedBytes& GetSkipped() const { return skipped_; }

 private:
  /// A position in the input.
  using Offset = std::int64_t;

  /// A place with a readable frame header, at or after the position of the search.
  struct Candidate {
    Offset offset;
    std::optional<Offset> nextOfSize;  ///< next candidate of the same picture size, if met
  };

  Offset Known() const { return keptFrom_ + std::ssize(kept_); }
  const std::uint8_t* At(Offset offset) const { return kept_.data() + (offset - keptFrom_); }
  std::span<const std::uint8_t> Bytes(Offset begin, Offset end) const;
  Offset NextBlock() const;
  bool Fill(Offset end);
  std::optional<Offset> FindPrefix(Offset from, Offset limit);
  std::optional<prores::FrameHeader> ReadHeader(Offset frame);
  std::optional<Offset> WalkPictures(Offset frame);
  Offset FindEnd(Offset endOfPictures);
  bool AddCandidate(Offset limit);
  std::optional<Offset> FindNeighbour(Offset limit);
  std::optional<Offset> FindEndOfDamaged(const prores::FrameHeader& header);
  std::optional<Offset> FindFrame();
  FoundFrame TakeFrame(Offset end);
  void CountSkipped(Offset end);

  std::unique_ptr<InputFile> file_;
  std::vector<std::uint8_t> kept_;
  Offset keptFrom_ = 0;  ///< of the first byte of kept_
  Offset position_ = 0;  ///< of the search
  bool ended_ = false;   ///< nothing is left to read
  /// Slices of inconsistent frames so far. Limiting them bounds the work for overlapping tables.
  std::int64_t slicesWalked_ = 0;

  std::deque<Candidate> candidates_;
  std::int64_t candidatesDropped_ = 0;  ///< before candidates_
  Offset candidatesEnd_ = 0;            ///< candidates are known up to here
  /// Number of the latest candidate of each picture size, counted from the first candidate.
  std::unordered_map<std::uint32_t, std::int64_t> latestOfSize_;
  std::optional<Offset> wholeCandidate_;  ///< the first one whose pictures fit

  std::optional<prores::FrameHeader> lastHeader_;  ///< of the last undamaged frame
  Offset endOfLast_ = 0;                           ///< end of the last frame
  SkippedBytes skipped_;
  FramePool pool_;
};

/// Reads the ProRes frames in any bytes (FrameScanner). Their variant is unknown: the code stays 0.
class ScanReader : public FrameReader {
 public:
  /// @param rate frame rate; nullopt = as the frame headers state
  ScanReader(std::unique_ptr<InputFile> file, bool sameScan, const std::optional<Rational>& rate);

  std::optional<NumberedFrame> Read() override;
  bool ReadsFrom(const std::string& path) const override {
    return scanner_.GetFile().IsSameFile(path);
  }
  std::string GetEndNote() const override;

 private:
  FrameScanner scanner_;
  bool sameScan_;
  std::optional<FoundFrame> first_;  ///< until Read() returns it
  std::int64_t framesRead_ = 0;
  bool isAtEnd_ = false;
};

}  // namespace vixprores

#endif  // TOOL_RECOVERY_FRAMESCANNER_H

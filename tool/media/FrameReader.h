// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FRAMEREADER_H
#define TOOL_MEDIA_FRAMEREADER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "format/FramePlace.h"
#include "format/InputFormat.h"
#include "format/Values.h"
#include "frames/FrameCheck.h"
#include "frames/FrameHeaders.h"
#include "vix/Buffers.h"

namespace vixprores {

class SideTracks;

/// A frame as the elements accept it.
struct ConvertedFrame {
  std::shared_ptr<vix::IBuffer> data;  ///< null = lost
  std::string fault = {};              ///< to follow the frame's number; empty = none
  SliceDamage slices = {};             ///< that a decoder has mended
};

/// Converts a buffer that a reader returned for the elements. May be called from any thread, by
/// several at once, also while the reader reads. Empty = no conversion needed.
using FrameConversion = std::function<ConvertedFrame(const std::shared_ptr<vix::IBuffer>&)>;

/// Reads the frames of one video stream in order. Used by one thread at a time; the buffers may be
/// used and released on any thread and may outlive the reader.
class FrameReader {
 public:
  virtual ~FrameReader() = default;

  const InputDescription& GetDescription() const { return description_; }
  const StreamFormat& GetFormat() const { return description_.format; }
  const std::string& GetName() const { return description_.name; }

  /// Returns the next frame, nullopt at the end. Throws a FrameFailure for a damaged or missing
  /// frame; the next call resumes after it.
  virtual std::optional<NumberedFrame> Read() = 0;
  /// Continues at that frame, which must not have been read yet, if the input can skip the frames
  /// between; its sound continues there too. Returns false, with nothing changed, if it cannot.
  virtual bool SkipTo(std::int64_t /*frame*/) { return false; }
  /// Throws the failure that Read() would throw for missing frames of a range and for the times of
  /// frames up to its last one, as far as they are known without reading. Call it before Read().
  virtual void CheckRange(const FrameRange& /*range*/) const {}
  virtual FrameConversion GetConversion() const { return {}; }
  /// Sound beside the video, or null. It belongs to the reader and its thread.
  virtual SideTracks* GetSideTracks() { return nullptr; }
  /// Returns true if sound from before the first picture is left out.
  virtual bool CutsSoundToStart() const { return false; }
  /// A note to print once Read() has reached the end; empty = none.
  virtual std::string GetEndNote() const { return {}; }
  /// Returns true if `path` leads to a file that is being read.
  virtual bool ReadsFrom(const std::string& /*path*/) const { return false; }
  /// Fails if bytes of returned frames became unreadable while in use and were replaced by zeros.
  /// Call it from any thread before using a result made from a frame.
  virtual void CheckFramesInUse() const {}

 protected:
  InputDescription description_;
};

/// Throws a Failure that states the frames of `name` and the frames that --frames selects.
[[noreturn]] void FailPastTheEnd(const std::string& name, const FrameRange& range,
                                 std::int64_t count);

/// Replaces the timecodes of a range of the reader's frames, and numbers of files, by the numbers
/// of frames from 0.
/// @param start timecode of frame 0; nullopt = unknown
std::optional<FrameRange> ResolveRange(const std::optional<FrameRange>& range,
                                       const FrameReader& reader,
                                       const std::optional<Timecode>& start);
/// Does the same with the reader's own timecode.
std::optional<FrameRange> ResolveRange(const std::optional<FrameRange>& range,
                                       const FrameReader& reader);

/// Returns the frames of a range, or all of them. Used by one thread at a time.
class RangeReader {
 public:
  /// Rejects a range that exceeds the input if the number of frames is known.
  /// @param range nullopt = all frames; from ResolveRange()
  /// @param reader must outlive this; must not have been read from
  RangeReader(FrameReader& reader, const std::optional<FrameRange>& range);

  /// Returns the next frame, nullopt after the last one of the range. Throws a FrameFailure for a
  /// damaged frame of the range (the next call resumes after it), a Failure if the range exceeds
  /// the input or the input has no frame, and Interrupted when the user asks to stop.
  std::optional<NumberedFrame> Read();
  /// Drops the frames before that one, without reading them if the input allows.
  void SkipTo(std::int64_t frame);

 private:
  FrameReader& reader_;
  std::optional<FrameRange> range_;
  std::int64_t first_ = 0;  ///< returned
  std::int64_t next_ = 0;   ///< read
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_FRAMEREADER_H

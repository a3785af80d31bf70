// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FRAMEREADER_H
#define TOOL_MEDIA_FRAMEREADER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "format/FramePlace.h"
#include "format/StreamFormat.h"
#include "format/Timecode.h"
#include "frames/FrameHeaders.h"
#include "vix/Buffers.h"

namespace vixprores {

class SideTracks;

/// Hands out the frames of one video stream in their order. Used by one thread at a time; the
/// buffers may be used and dropped on any thread and may outlive the reader.
class FrameReader {
 public:
  virtual ~FrameReader() = default;

  virtual const StreamFormat& GetFormat() const = 0;
  /// The input's name for messages.
  virtual const std::string& GetName() const = 0;
  /// Frames that the input says it has; none where only its end tells.
  virtual std::optional<std::int64_t> GetFrameCount() const = 0;
  /// True when `path` leads to the file that is being read.
  virtual bool ReadsFrom(const std::string& path) const = 0;
  /// What the container alone says of the stream; none where there is no container, or nothing else
  /// to tell from.
  virtual std::optional<StreamFormat> GetContainerFormat() const { return std::nullopt; }
  /// Timecode of the first frame; none = unknown.
  virtual std::optional<Timecode> GetTimecode() const { return std::nullopt; }
  /// Where the frame that Read() gave last begins in the input, in bytes; none = unknown.
  virtual std::optional<std::int64_t> GetFrameOffset() const { return std::nullopt; }
  /// What is known to be wrong with the frame that Read() gave last, although it could be read: a
  /// few words to go behind its number. Empty = nothing.
  virtual std::string GetFrameFault() const { return {}; }
  /// Frames so far that were taken although they came at odd times.
  virtual std::int64_t CountUnevenFrames() const { return 0; }
  /// Refuses, where that can be told without reading them, frames up to number `last` that Read()
  /// would refuse for their times. To be called before Read().
  virtual void CheckTimes(std::int64_t /*last*/) const {}
  /// Sound and metadata beside the video; null where there are none. They live as long as the
  /// reader and are used by the thread that reads.
  virtual SideTracks* GetSideTracks() { return nullptr; }
  /// What the user should know about how the input was taken; empty = nothing.
  virtual std::string GetNote() const { return {}; }
  /// Why GetTimecode() tells none although the input has one; empty = it does, or has none.
  virtual std::string GetTimecodeNote() const { return {}; }
  /// What the user should know of the input once Read() has come to its end; empty = nothing.
  virtual std::string GetEndNote() const { return {}; }
  /// The next frame, or null at the end. A frame that is damaged or missing is a Failure that names
  /// the input, the frame, and what was found; after a FrameFailure the next call gives what stands
  /// behind it.
  virtual std::shared_ptr<vix::IBuffer> Read() = 0;
  /// Goes on at that frame, which is behind all that Read() gave, where the input leads there
  /// without reading what is between; the sound beside it goes on there, too. False where it does
  /// not: then nothing has changed.
  virtual bool SkipTo(std::int64_t /*frame*/) { return false; }
  /// What the element takes, made of a frame as Read() gave it. May be called from any thread,
  /// several at once, also while another one reads.
  virtual std::shared_ptr<vix::IBuffer> Unpack(std::shared_ptr<vix::IBuffer> frame) const {
    return frame;
  }
  /// Fails where bytes of frames that Read() gave turned out to be unreadable when they were looked
  /// at, and were zeros: to be asked before anything is made of a frame. May be called from any
  /// thread.
  virtual void CheckFramesInUse() const {}
};

/// Describes a headless input: frames one behind the other and nothing else.
struct HeadlessFormat {
  vix::FourCC fourcc = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  Rational rate;
  bool interlaced = false;  ///< two fields, top field first
};

/// Opens uncompressed video: headless frames when `headless` is given, else Y4M or a container,
/// by what the first bytes are. Refuses, with the command that would convert it, what the encoder
/// cannot take. Frames that are taken as they are stay where they are in the file
/// (CheckFramesInUse).
std::unique_ptr<FrameReader> OpenRawVideo(const std::string& path,
                                          const std::optional<HeadlessFormat>& headless,
                                          FrameTimes times = FrameTimes::Checked);

/// How ProRes is opened.
struct ProResOptions {
  HeaderDemands demands = {};         ///< a frame that does not meet them is a FrameFailure
  bool scan = false;                  ///< finds the frames by themselves, whatever is around them
  std::optional<Rational> rate = {};  ///< of frames found so; none = as their headers say
  /// Looks behind damaged frames for the header that tells of the stream. They are read all the
  /// same.
  bool damagedStart = false;
  FrameTimes times = FrameTimes::Checked;
};

/// Opens the ProRes track of a container, or scans for frames. Size and field order are those of
/// the first frame's header; what the container does not tell of the rest comes from there too.
/// Frames have the standard layout, whatever the layout of the samples.
std::unique_ptr<FrameReader> OpenProRes(const std::string& path, const ProResOptions& options = {});

/// Opens either of the two, by what the file holds: Y4M, ProRes in a container (as OpenProRes()
/// without demands), or uncompressed video in one. On a pipe all that is no Y4M is taken for
/// ProRes.
std::unique_ptr<FrameReader> OpenVideo(const std::string& path);

}  // namespace vixprores

#endif  // TOOL_MEDIA_FRAMEREADER_H

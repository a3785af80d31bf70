// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_FRAMESOURCE_H
#define TOOL_RUN_FRAMESOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "check/EncodingCheck.h"
#include "format/FramePlace.h"
#include "format/Values.h"
#include "media/FrameReader.h"
#include "media/sound/SoundCopy.h"
#include "run/TranscodeOptions.h"
#include "vix/Samples.h"

namespace vixprores {

/// A frame on its way from the input to the output, or several that are lost for one reason.
struct Frame {
  FramePlace place;                      ///< in the input
  std::shared_ptr<vix::IBuffer> source;  ///< null = lost
  bool isUneven = false;                 ///< came at an odd time
  std::string fault;                     ///< what is wrong with it; empty = nothing
  std::string advice;
  std::uint64_t sourceBytes = 0;
  /// As the writer takes it; null = none came of it.
  std::shared_ptr<const vix::IVideoSample> result;
  std::uint64_t resultBytes = 0;
  std::vector<SoundPacket> sound;  ///< that came in front of it
  FrameQuality quality = {};       ///< where it is measured
};

/// Frames that are read of a range, or of all; none where only the end of the input tells. Refuses,
/// with a Failure, a range that goes past the end.
std::optional<std::int64_t> CountFrames(const FrameReader& reader,
                                        const std::optional<FrameRange>& range);

/// The frames of a range of an input, with the sound that goes along and their faults. Used by one
/// thread at a time, but for Unpack() and CheckFramesInUse().
class FrameSource {
 public:
  /// @param range    none = all frames
  /// @param onDamage whether a frame that comes at no frame's time ends the run
  FrameSource(std::unique_ptr<FrameReader> reader, const std::optional<FrameRange>& range,
              DamagePolicy onDamage);

  FrameReader& GetReader() const { return *reader_; }
  const std::string& GetName() const { return reader_->GetName(); }
  /// Frames of the range; none where only the end of the input tells.
  std::optional<std::int64_t> GetFrameCount() const { return total_; }
  /// The number of a frame of the input in the output.
  std::int64_t ToOutput(std::int64_t number) const { return number - range_.first; }

  /// The next frame; none at the end. Throws Interrupted when the user asks to stop.
  std::optional<Frame> Read();
  /// What the element takes, made of a frame. May be called from any thread, several at once.
  std::shared_ptr<vix::IBuffer> Unpack(std::shared_ptr<vix::IBuffer> frame) const {
    return convert_ ? convert_(std::move(frame)) : frame;
  }
  /// Number of frames of the range so far that came at odd times and were accepted.
  std::int64_t CountUnevenFrames() const { return unevenFrames_; }
  /// Fails if a frame that was read has become unreadable since. May be called from any thread.
  void CheckFramesInUse() const { reader_->CheckFramesInUse(); }
  /// The sound that is left behind the last frame.
  std::vector<SoundPacket> TakeRestOfSound() { return sound_.TakeRest(); }

 private:
  std::optional<Frame> ReadAny();
  void CheckEnd() const;

  std::unique_ptr<FrameReader> reader_;
  FrameRange range_;
  bool isPart_;  ///< a range was asked for
  DamagePolicy onDamage_;
  FrameConversion convert_;
  SoundCopy sound_;
  std::optional<std::int64_t> total_;
  std::int64_t unevenFrames_ = 0;  ///< of the range
  std::int64_t framesRead_ = 0;    ///< those in front of the range included
};

}  // namespace vixprores

#endif  // TOOL_RUN_FRAMESOURCE_H

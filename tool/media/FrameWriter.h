// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FRAMEWRITER_H
#define TOOL_MEDIA_FRAMEWRITER_H

#include <memory>

#include "format/MovieContent.h"
#include "format/OutputFormat.h"
#include "media/OutputFile.h"
#include "media/sound/SideTracks.h"
#include "vix/Samples.h"

namespace vixprores {

/// Writes the frames of one video stream to an OutputFile. Used by one thread at a time. A failing
/// operation is a Failure that names the output.
class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  /// What Write() takes, made of a frame as the element gave it. May be called from any thread,
  /// several at once, also while another one writes.
  virtual std::shared_ptr<const vix::IVideoSample> Pack(
      std::shared_ptr<const vix::IVideoSample> frame) const {
    return frame;
  }
  /// Writes one frame; its time is that of its first time limit. The writer may hold on to it.
  virtual void Write(const std::shared_ptr<const vix::IVideoSample>& frame) = 0;
  /// Writes a piece of one of the sound tracks, on the clock of samples. Frames and sound come in
  /// about the order in which they are played. Only for outputs that have sound tracks.
  virtual void WriteSound(SoundPacket /*sound*/) {}
  /// True where what was written so far can be made a whole file of, without Finish().
  virtual bool IsRecoverable() const { return false; }
  /// Completes the output, which stays open. No frame may follow.
  virtual void Finish() = 0;
};

/// The writer for that output format. `file` must outlive it.
std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const MovieContent& content);

}  // namespace vixprores

#endif  // TOOL_MEDIA_FRAMEWRITER_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FRAMEWRITER_H
#define TOOL_MEDIA_FRAMEWRITER_H

#include <cstdint>
#include <memory>
#include <string>

#include "format/OutputFormat.h"
#include "media/OutputFile.h"
#include "media/sound/SideTracks.h"
#include "vix/Samples.h"

namespace vixprores {

/// Writes the frames of one video stream to an OutputFile. Used by one thread at a time. Failing
/// operations throw a Failure that names the output.
class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  /// Converts a frame from the element for Write(). May be called from any thread, several at once,
  /// also during Write().
  virtual std::shared_ptr<const vix::IVideoSample> Pack(
      std::shared_ptr<const vix::IVideoSample> frame) const {
    return frame;
  }
  /// Writes one frame at its first time limit. May keep a reference to it.
  virtual void Write(const std::shared_ptr<const vix::IVideoSample>& frame) = 0;
  /// Writes a packet of one sound track, with times in samples. Frames and sound arrive roughly in
  /// playing order. Only for outputs with sound tracks.
  virtual void WriteSound(SoundPacket /*sound*/) {}
  /// Returns true if `recover` can read what was written so far, without Finish().
  virtual bool IsRecoverable() const { return false; }
  /// Completes the output, which stays open. No frame may follow.
  virtual void Finish() = 0;
  /// Returns a note on what the finished output could not store; empty = nothing.
  virtual std::string GetEndNote() const { return {}; }
};

/// Returns the writer for an output format. `file` must outlive it.
std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const MovieContent& content);

/// The result of an output that ended early.
struct KeptFrames {
  std::string name;  ///< of the completed partial output; empty = there is none
  std::string fate;  ///< text that follows the reason in the message
};

/// Completes an output with the `frames` frames so far under another name, or keeps its work file
/// if that fails and the file can be recovered.
KeptFrames KeepFrames(OutputFile& file, FrameWriter& writer, std::int64_t frames);

}  // namespace vixprores

#endif  // TOOL_MEDIA_FRAMEWRITER_H

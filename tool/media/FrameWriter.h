// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_FRAMEWRITER_H
#define TOOL_MEDIA_FRAMEWRITER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "format/OutputFormat.h"
#include "media/OutputFile.h"
#include "media/sequence/ImageModule.h"
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
  /// Writes the captions (NumberedFrame::captions) of a frame, before the frame. Only for outputs
  /// with a track for them.
  virtual void WriteCaptions(std::int64_t /*time*/, std::span<const std::uint8_t> /*captions*/) {}
  /// Returns true if `recover` can read what was written so far, without Finish().
  virtual bool IsRecoverable() const { return false; }
  /// Returns the number of frames that wait to be written: they would be lost with the process.
  virtual std::int64_t CountWaiting() const { return 0; }
  /// Completes the output, which stays open. No frame may follow.
  virtual void Finish() = 0;
  /// Returns a note on what the finished output could not store; empty = nothing.
  virtual std::string GetEndNote() const { return {}; }
};

/// Returns the writer for an output format other than images. `file` must outlive it.
std::unique_ptr<FrameWriter> MakeFrameWriter(OutputFile& file, const OutputFormat& output,
                                             const MovieContent& content);

/// The result of an output that ended early.
struct KeptFrames {
  std::string name;  ///< of the completed partial output; empty = there is none
  std::string fate;  ///< text that follows the reason in the message
};

/// Completes an output with the `frames` frames so far under another name, or keeps its work file
/// if that fails and the file can be recovered.
KeptFrames KeepFrames(Output& file, FrameWriter& writer, std::int64_t frames);

/// How to write a sequence of images.
struct SequenceWriting {
  std::int64_t firstNumber = 0;         ///< of the files
  std::optional<ColourSpaces> colours;  ///< nullopt = the colours of the video
};

/// An output and its writer, which refers to it.
struct OpenedOutput {
  std::shared_ptr<Output> output;
  std::shared_ptr<FrameWriter> writer;
};

/// Creates the output of a format.
/// @param path      as OutputFile takes it, or the name of a sequence
/// @param sequence used if the format is one of images
OpenedOutput CreateOutput(const std::string& path, bool overwrite, const OutputFormat& format,
                          const MovieContent& content, const SequenceWriting& sequence);

}  // namespace vixprores

#endif  // TOOL_MEDIA_FRAMEWRITER_H

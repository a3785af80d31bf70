// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_CONTAINER_CONTAINERTRACK_H
#define TOOL_CONTAINER_CONTAINERTRACK_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "container/Libav.h"
#include "format/StreamFormat.h"
#include "io/InputFile.h"
#include "vix/Buffers.h"

namespace vixprores {

/// The first video track of a container file: what the container says of it, and its packets one
/// by one. Only the container is looked at; no decoder of the container library ever runs.
/// Used by one thread; the packets may be used and dropped on any thread and outlive the track.
class ContainerTrack {
 public:
  /// Refuses, with a Failure, what is no container, and one without a video track with a usable
  /// frame rate.
  explicit ContainerTrack(std::unique_ptr<InputFile> file);
  ~ContainerTrack();

  const std::string& GetName() const { return file_->GetName(); }
  bool IsSameFile(const std::string& path) const { return file_->IsSameFile(path); }
  /// What the library knows of the track's codec.
  const AVCodecParameters& GetParameters() const { return *stream_->codecpar; }
  /// What the container says; the code is left 0.
  const StreamFormat& GetFormat() const { return format_; }
  /// Frames of the track; none on a pipe, where only the part that has come by is known of.
  std::optional<std::int64_t> GetFrameCount() const;
  /// Which of several video tracks is read, and that sound is left out; empty when there is one
  /// video track and no sound.
  std::string GetNote() const;

  /// The next frame's bytes in the container library's own memory, or null at the end. A packet
  /// that is cut short, an end before the announced number of frames, and a frame that breaks the
  /// constant rate are Failures.
  std::shared_ptr<vix::IBuffer> Read();
  /// Where the frame that Read() gave last begins in the file; none = unknown.
  std::optional<std::int64_t> GetLastOffset() const { return lastOffset_; }
  /// Fails with "NAME: frame N " and `found`, N being the frame that Read() gave last.
  [[noreturn]] void FailAtLastFrame(const std::string& found) const;

 private:
  struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

  void Open();
  void ChooseTrack();
  Packet ReadPacket();
  void ReadFirstPacket();
  std::optional<std::int64_t> CountAnnouncedFrames() const;
  void CheckPacket(const AVPacket& packet) const;
  void CheckTime(std::int64_t time) const;
  [[noreturn]] void FailAtFrame(std::int64_t frame, const std::string& found) const;
  [[noreturn]] void FailAtUnreadableFrame(const std::string& reason) const;
  [[noreturn]] void FailAtEarlyEnd() const;

  std::unique_ptr<InputFile> file_;
  LibavStream bytes_;
  std::unique_ptr<AVFormatContext, InputCloser> context_;
  AVStream* stream_ = nullptr;
  int videoTracks_ = 0;
  int soundTracks_ = 0;
  StreamFormat format_;
  std::optional<std::int64_t> announcedFrames_;  ///< those that an edit list hides included
  std::int64_t hiddenFrames_ = 0;                ///< met so far
  Packet pending_;                               ///< the first packet, until Read() hands it out
  std::int64_t firstTime_ = 0;                   ///< of the first packet, in the stream's time base
  std::optional<std::int64_t> lastOffset_;
  std::int64_t framesRead_ = 0;  ///< packets that Read() handed out
};

}  // namespace vixprores

#endif  // TOOL_CONTAINER_CONTAINERTRACK_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_DEMUXER_H
#define TOOL_MEDIA_CONTAINER_DEMUXER_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/Errors.h"
#include "media/InputFile.h"
#include "media/container/Libav.h"

namespace vixprores {

/// A packet that cannot be read although the container announces it. The text is the reason alone.
class UnreadablePacket : public Failure {
 public:
  using Failure::Failure;
};

/// Formats of files that a demuxer reads. None opens other files or addresses.
enum class FileFormats {
  Containers,  ///< mov, mkv, avi, nut and mxf
  Footage,     ///< all of video and of sound
};

/// The tracks of a container file and their packets. Only the container is parsed, unless
/// FindStreamInfo() is called. Used by one thread; packets may be used and released on any
/// thread and may outlive the demuxer.
class Demuxer {
 public:
  /// Throws UnreadableContainer if the file is no container.
  explicit Demuxer(std::unique_ptr<InputFile> file, FileFormats formats = FileFormats::Containers);

  InputFile& GetFile() const { return *file_; }
  const std::string& GetName() const { return file_->GetName(); }
  AVFormatContext& GetContext() const { return *context_; }
  std::span<AVStream* const> GetStreams() const {
    return {context_->streams, context_->nb_streams};
  }

  /// Completes what the container does not state about its tracks from their first packets, which
  /// may be decoded for that. Call it before Read().
  void FindStreamInfo();

  /// Returns the next packet of the tracks that are not discarded; null at the end.
  /// @throws UnreadablePacket; the next call resumes after it, if the container allows
  /// @throws Interrupted when the user asks to stop
  Packet Read();
  /// Continues at the packet of `stream` with that time; returns false if that is not possible.
  bool Seek(const AVStream& stream, std::int64_t time);
  /// Leaves packets of `stream` in the file from now on, if it can be mapped, instead of copying
  /// them. Only for codecs whose packets the library returns as they are stored, and only with an
  /// index: then all large reads of the library are packets.
  void KeepInPlace(const AVStream& stream);

 private:
  struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

  void FillIn(AVPacket& packet, const LibavStream::LeftOut& leftOut);
  void CountBytes(const AVPacket& packet);

  std::unique_ptr<InputFile> file_;
  LibavStream bytes_;
  std::unique_ptr<AVFormatContext, InputCloser> context_;
  std::int64_t bytesRead_ = 0;  ///< of packets, since the last jump
  int inPlace_ = -1;            ///< index of the stream whose packets stay in the file; -1 = none
};

/// Returns the presentation time of a packet, or else its decoding time.
std::int64_t TimeOf(const AVPacket& packet);

/// What a container states about the frames of one track without reading them: their number, and
/// in a .mov an index of all of them. None of it is believed beyond what the file can hold.
class FrameIndex {
 public:
  /// @param demuxer must outlive this, as its stream
  FrameIndex(const Demuxer& demuxer, AVStream& stream) : demuxer_(demuxer), stream_(stream) {}

  /// Returns true if an index lists all frames.
  bool IsPresent() const;
  /// Number of frames in the index or the header, those included that an edit list hides.
  std::optional<std::int64_t> CountIndexed() const;
  /// The same, or else the number that follows from a stated duration.
  /// @param start time of the first frame, in frames
  std::optional<std::int64_t> CountAnnounced(Rational rate, std::int64_t start) const;
  /// Returns the time of a frame by the index; nullopt if it does not fit the constant rate.
  /// @param rate numerator 0 = any time fits
  std::optional<std::int64_t> FindTime(std::int64_t frame, Rational rate) const;
  /// Returns true if the index leads to bytes of the file for that frame or a later one.
  bool LeadsInside(std::int64_t frame) const;
  /// Throws an UnreadableRest if the chain of fragments of a .mov is broken.
  void CheckFragments() const;

 private:
  const Demuxer& demuxer_;
  AVStream& stream_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_DEMUXER_H

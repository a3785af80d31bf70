// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_VIDEODECODER_H
#define TOOL_MEDIA_DECODE_VIDEODECODER_H

#include <cstdint>
#include <memory>
#include <string>

#include "format/StreamFormat.h"
#include "vix/Buffers.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

namespace vixprores {

struct PictureDeleter {
  void operator()(AVFrame* picture) const { av_frame_free(&picture); }
};
/// A decoded picture. It shares its memory with the decoder, which does not change it any more.
using Picture = std::unique_ptr<AVFrame, PictureDeleter>;

/// Returns an empty picture.
Picture MakePicture();
/// Returns a picture over the same memory.
Picture ShareMemory(const AVFrame& picture);

/// Returns a buffer that owns the picture. Its bytes are the description of the picture.
std::shared_ptr<vix::IBuffer> WrapPicture(Picture picture);
/// Returns the picture of such a buffer, which keeps it.
inline const AVFrame& PictureOf(const vix::IBuffer& buffer) {
  return *reinterpret_cast<const AVFrame*>(buffer.GetData());
}

/// Decodes the packets of a video track with libavcodec, on threads of its own. The pictures of
/// intact streams are the same on all machines. Used by one thread.
class VideoDecoder {
 public:
  /// @param threads 0 = one per processor
  /// @param name    of the input, for messages
  /// @throws Failure if there is no decoder for the track
  VideoDecoder(const AVStream& stream, int threads, const std::string& name);

  /// Takes the next packet; null ends the stream. Call Receive() until it returns null between
  /// packets.
  /// @return false if the packet cannot be decoded; the next one may be
  bool Send(const AVPacket* packet);
  /// Returns the next picture in the order of presentation; null if another packet is needed, or
  /// the stream has ended.
  Picture Receive();
  /// Forgets all packets, so that decoding continues at any random access point.
  void Flush() { avcodec_flush_buffers(context_.get()); }

  /// Returns the frame rate that the stream itself states; numerator 0 = none.
  Rational GetRate() const;

 private:
  struct ContextDeleter {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  };

  std::string name_;
  std::unique_ptr<AVCodecContext, ContextDeleter> context_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_VIDEODECODER_H

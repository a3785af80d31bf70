// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_VIDEODECODER_H
#define TOOL_MEDIA_DECODE_VIDEODECODER_H

#include <cstdint>
#include <functional>
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

/// Decodes the packets of a video track. The pictures of intact streams are the same on all
/// machines. Used by one thread.
class VideoDecoder {
 public:
  virtual ~VideoDecoder() = default;

  /// Takes the next packet; null ends the stream. Call Receive() until it returns null between
  /// packets.
  /// @return false if the packet cannot be decoded; the next one may be
  virtual bool Send(const AVPacket* packet) = 0;
  /// Returns the next picture in the order of presentation; null if another packet is needed, or
  /// the stream has ended.
  virtual Picture Receive() = 0;
  /// Forgets all packets, so that decoding continues at any random access point.
  virtual void Flush() = 0;
  /// Returns the frame rate that the stream itself states; numerator 0 = none.
  virtual Rational GetRate() const = 0;
};

/// Makes the decoder of a track, which must outlive it. `threads` is the number of processors
/// for it, 0 = all; `name` is that of the input, for messages.
using VideoDecoderFactory = std::function<std::unique_ptr<VideoDecoder>(
    const AVStream& stream, int threads, const std::string& name)>;

/// Makes a decoder of libavcodec, which decodes on threads of its own.
/// @throws Failure if there is no decoder for the track
std::unique_ptr<VideoDecoder> MakeLibavDecoder(const AVStream& stream, int threads,
                                               const std::string& name);

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_VIDEODECODER_H

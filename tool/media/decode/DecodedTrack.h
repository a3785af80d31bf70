// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_DECODE_DECODEDTRACK_H
#define TOOL_MEDIA_DECODE_DECODEDTRACK_H

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "media/container/Demuxer.h"
#include "media/decode/FootageReading.h"
#include "media/decode/VideoDecoder.h"
#include "media/sound/SoundQueue.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace vixprores {

/// The pictures of a video track of any file that libavformat and libavcodec read, in the order of
/// presentation, and the sound beside them. Used by one thread; the pictures may be used and
/// released on any thread and may outlive the track.
class DecodedTrack : public SideTracks {
 public:
  /// @throws Failure if the file has no such track, or no decoder for it
  DecodedTrack(std::unique_ptr<Demuxer> demuxer, const FootageReading& reading,
               const VideoDecoderFactory& makeDecoder);

  const Demuxer& GetDemuxer() const { return *demuxer_; }
  const AVStream& GetStream() const { return stream_; }
  AVStream& GetStream() { return stream_; }
  /// Rate that the coded stream states, once a picture was read; numerator 0 = none.
  Rational GetCodedRate() const { return decoder_->GetRate(); }

  /// Returns the next picture, null at the end. Its `pts` is its time in ticks of the stream,
  /// AV_NOPTS_VALUE if there is none.
  /// @throws Failure if the file cannot be read on
  Picture Read();
  /// Continues at a random access point from which the picture at `time`, and the sound
  /// before it, can be decoded intact. A file without an index is read up to there, and not
  /// decoded. Returns false, with nothing changed, if there is none.
  bool SeekBefore(std::int64_t time);
  /// Continues at the start of the file. Returns false if that is not possible.
  bool Rewind();

  /// Number of pictures by the container's index; nullopt = unknown.
  std::optional<std::int64_t> CountIndexed() const;
  /// Number of pictures that a container without an index states, which may be one too many; less
  /// than 1 = none.
  /// @param start time of the first picture in ticks of the stream
  std::int64_t CountStated(Rational rate, std::int64_t start);
  /// Number of bytes that the file has by its own words; 0 = unknown.
  std::int64_t CountStatedBytes() const;
  /// Throws the FrameTimeFailure of the first picture up to number `last` that does not follow the
  /// one before it by a frame of that rate, by the index. Does nothing without an index.
  void CheckIndexedTimes(Rational rate, std::int64_t last) const;

  /// Number of packets so far that could not be decoded or found.
  std::int64_t CountLostPackets() const { return lost_; }
  /// Returns why the last of them was lost; empty = nothing was.
  const std::string& GetLossReason() const { return lossReason_; }

  /// Sets the time of the first picture, once: sound has times from there.
  void SetStart(std::int64_t time, AVRational tick) {
    start_ = av_rescale_q(time, tick, stream_.time_base);
    sound_.Shift({-time, tick});
  }

  const std::vector<SoundTrack>& GetSound() const override { return sound_.GetTracks(); }
  void SelectSound(const std::vector<std::size_t>& places) override { sound_.Select(places); }
  void SetSoundPreroll(int seconds) override { soundPreroll_ = seconds; }
  std::vector<SoundDamage> GetSoundDamage() const override { return sound_.GetDamage(); }
  std::vector<SoundPacket> TakeSound() override { return sound_.Take(); }
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

 private:
  Packet ReadFile();
  Packet ReadAny();
  Packet ReadPacket();
  const AVPacket* PeekNext(int stream);
  void PlaceSound(AVPacket& packet);
  bool SkipPackets(std::int64_t time);
  void Lose(const std::string& reason);
  std::optional<std::int64_t> FindEntryPoint(std::int64_t time) const;
  void Restart();

  std::unique_ptr<Demuxer> demuxer_;
  AVStream& stream_;
  std::unique_ptr<VideoDecoder> decoder_;
  SoundQueue sound_;
  std::int64_t start_ = 0;                 ///< time of the first picture, in ticks of the stream
  std::deque<Packet> ahead_;               ///< were read ahead
  std::map<int, std::int64_t> soundEnds_;  ///< of the last sound packet, by stream
  bool hasEnded_ = false;                  ///< the decoder has got all packets
  int soundPreroll_ = 1;                   ///< seconds
  std::int64_t lost_ = 0;
  std::string lossReason_;
  std::int64_t lastFailure_ = -1;  ///< position in the file of the last unreadable packet
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_DECODE_DECODEDTRACK_H

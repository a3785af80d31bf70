// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDDECODER_H
#define TOOL_MEDIA_SOUND_SOUNDDECODER_H

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/Sound.h"
#include "media/container/Libav.h"
#include "media/sound/SoundBlock.h"

struct AVCodecContext;

namespace vixprores {

/// Seconds of packets before a sample after which it is decoded as from the start of the track.
inline constexpr int kDecoderPreroll = 4;

/// Decodes one sound track with the codec library, without the encoder's delay and padding.
///
/// Some decoders add noise that depends on all sound before. To decode a part of a track like the
/// whole of it, and the same on every processor, sound with losses is decoded in segments at fixed
/// times, by a new decoder each that begins a second earlier, with the library's plain code.
class SoundDecoder {
 public:
  /// @param name of the file, for messages
  /// @throws Failure if the library cannot decode the track
  SoundDecoder(const SoundTrack& track, std::string name);

  /// Decodes a packet. Damaged packets leave a gap between the blocks.
  std::vector<SoundBlock> Decode(const AVPacket& packet);
  /// Returns the last samples.
  std::vector<SoundBlock> Finish();
  /// Returns damage that leaves no gap: dropped overlaps, and damage at the end of the track.
  const std::vector<SoundDamage>& GetDamage() const { return damage_; }

 private:
  struct DecoderDeleter {
    void operator()(AVCodecContext* context) const;
  };
  using Decoder = std::unique_ptr<AVCodecContext, DecoderDeleter>;

  Decoder Open() const;
  void EnterSegment(const AVPacket& packet);
  void Remember(const AVPacket& packet);
  bool Send(const AVPacket* packet, std::vector<SoundBlock>* blocks);
  void Place(SoundBlock block, std::int64_t time, std::vector<SoundBlock>& blocks);
  std::int64_t Locate(const SoundBlock& block, std::int64_t time) const;
  void Note(SoundDamage::Kind kind, SoundDamage::Treatment treatment, std::int64_t first,
            std::int64_t count, int rate);

  SoundTrack track_;
  std::string name_;
  Decoder decoder_;
  bool isSegmented_;
  std::int64_t segment_ = INT64_MIN;
  std::deque<Packet> recent_;         ///< the last packets
  std::optional<std::int64_t> next_;  ///< sample after the last block
  int rate_ = 0;                      ///< of the last block
  std::int64_t failedTicks_ = 0;      ///< duration of the packets that failed since the last block
  std::vector<SoundDamage> damage_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDDECODER_H

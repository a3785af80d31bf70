// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SIDETRACKS_H
#define TOOL_MEDIA_SOUND_SIDETRACKS_H

/// @file
/// What a container holds beside its video, and what goes into another one unchanged.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "format/SoundDamage.h"
#include "media/container/Libav.h"

namespace vixprores {

/// Texts by their names in the container library: "title", "language", ...
using Metadata = std::map<std::string, std::string>;

/// Under this name the description in front of tagged packets (PacketTag.h) tells the frame rate,
/// "N" or "N/D", which a movie without frames has no place for.
inline constexpr const char* kRateNote = "vix_rate";

/// A sound track. The data of it is never looked into.
struct SoundTrack {
  std::shared_ptr<const AVCodecParameters> parameters;
  AVRational timeBase{0, 1};  ///< clock of the packets, in seconds
  Metadata metadata;
  std::size_t number = 0;  ///< place among all sound tracks of the file
  bool isTimed = true;     ///< the file tells times of the packets, instead of counting them

  /// Bytes of one sample of all channels; 0 where packets cannot be cut, because they are
  /// compressed.
  int SampleBytes() const;
  /// Name of the layout of more than two channels ("5.1"), where only the container tells it; empty
  /// = no such layout.
  std::string SurroundLayout() const;
};

/// A piece of a sound track, with times in the track's clock.
struct SoundPacket {
  std::size_t track = 0;  ///< in the list of those that are taken
  Packet packet;
};

/// The sound of a container, handed out as its video is read, by the thread that reads it.
class SideTracks {
 public:
  virtual ~SideTracks() = default;
  /// The tracks that are taken, all to begin with.
  virtual const std::vector<SoundTrack>& GetSound() const = 0;
  /// Takes only these of the tracks, by their place among all sound tracks, from 0.
  virtual void SelectSound(const std::vector<std::size_t>& places) = 0;
  /// Title, creation time and so on of the file, and "reel_name".
  virtual const Metadata& GetMetadata() const = 0;
  /// What was met of it that is not what was written, as far as that can be told, and what was
  /// found missing.
  virtual const std::vector<SoundDamage>& GetSoundDamage() const = 0;
  /// The packets that came by with the video since the last call, in their order.
  virtual std::vector<SoundPacket> TakeSound() = 0;
  /// Reads on, past the video, until the sound has reached that time (in ticks of `tick` seconds);
  /// then as TakeSound().
  virtual std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) = 0;
};

/// Copies of the library's objects.
std::shared_ptr<const AVCodecParameters> CopyParameters(const AVCodecParameters& parameters);
Metadata ToMetadata(const AVDictionary* dictionary);

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SIDETRACKS_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDJOINER_H
#define TOOL_MEDIA_SOUND_SOUNDJOINER_H

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "format/Sound.h"
#include "format/StreamFormat.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// A part of a stream on the timeline of an output. Times are in frames.
struct SoundPart {
  std::int64_t begin = 0;  ///< time of its first frame in its file
  std::int64_t at = 0;     ///< time of that frame in the output
  bool isWhole = true;     ///< all frames of the file; false = sound outside belongs to others
  bool keepsHead = true;   ///< keep sound before the first frame
  bool keepsTail = true;   ///< keep sound after the last frame
  bool isLast = true;      ///< no part follows
};

/// Puts the sound of parts of streams, one after the other, on the timeline of an output: PCM to
/// the sample, compressed sound by whole packets. Fills PCM with silence where a part has less
/// sound than pictures and another part follows. Positions that differ by one sample, because
/// frames begin between samples, count as adjacent.
class SoundJoiner {
 public:
  /// @param tracks   of every part
  /// @param rate     frames per second
  /// @param hasEdits the output hides sound before time 0 and after the end of the last packet
  SoundJoiner(const std::vector<SoundTrack>& tracks, Rational rate, bool hasEdits);

  /// Starts a part. Requires that the part before has ended.
  void Begin(const SoundPart& part);
  /// Adds packets of the part, with times in samples of its file.
  void Add(std::vector<SoundPacket> packets);
  /// Returns the sound of the first `frames` frames of the part that has not been returned yet,
  /// as far as it was added, with times in samples of the output.
  std::vector<SoundPacket> TakeUntil(std::int64_t frames);
  /// Ends the part, which has that many frames, and returns its remaining sound.
  std::vector<SoundPacket> End(std::int64_t frames);
  /// Returns notes on sound that was filled, left out or moved since the last call.
  std::vector<std::string> TakeNotes();

 private:
  /// State of one track.
  struct Lane {
    SoundTrack track;  ///< its times count samples
    std::int64_t sampleBytes = 0;
    std::deque<Packet> waiting = {};
    std::optional<std::int64_t> next = std::nullopt;  ///< sample of the output after the last one
    std::int64_t begin = 0;                           ///< first sample of the part in its file
    std::int64_t offset = 0;        ///< from samples of the file to samples of the output
    std::int64_t picturesEnd = 0;   ///< sample of the file after the part's pictures so far
    bool isOpen = false;            ///< a packet of the part has been returned
    std::int64_t last = INT64_MIN;  ///< sample of the output of the last compressed packet
    std::int64_t backward = 0;      ///< packets with times that go back
    std::int64_t longest = 0;       ///< samples of a packet so far
    std::int64_t dropped = 0;       ///< samples before the first and after the last frame
  };

  std::int64_t SampleAt(std::int64_t frame, const Lane& lane) const;
  void TakeLane(std::size_t place, std::int64_t limit, std::vector<SoundPacket>& taken);
  void EndLane(std::size_t place, std::vector<SoundPacket>& taken);
  void Place(std::size_t place, Packet packet, std::vector<SoundPacket>& taken);
  void PlacePcm(std::size_t place, Packet packet, std::vector<SoundPacket>& taken);
  void PlaceCompressed(std::size_t place, Packet packet, std::vector<SoundPacket>& taken);
  void EndCompressed(std::size_t place, std::int64_t limit, std::vector<SoundPacket>& taken);
  void FillUntil(std::size_t place, std::int64_t end, std::vector<SoundPacket>& taken);
  static std::string NameOf(const Lane& lane);
  void NoteBackward(Lane& lane);
  void Note(const Lane& lane, std::int64_t samples, const std::string& before,
            const std::string& after);

  Rational rate_;
  bool hasEdits_;
  SoundPart part_;
  std::deque<Lane> lanes_;  // never moves its elements, which cannot be copied
  std::vector<std::string> notes_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDJOINER_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_SOUND_SOUNDQUEUE_H
#define TOOL_MEDIA_SOUND_SOUNDQUEUE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "media/container/Demuxer.h"
#include "media/sound/SideTracks.h"
#include "media/sound/SoundWatch.h"

namespace vixprores {

/// Queues the packets of a container's sound tracks from the demuxer until they are taken.
class SoundQueue {
 public:
  /// Selects all sound tracks. `demuxer` must outlive this.
  explicit SoundQueue(const Demuxer& demuxer);

  const std::vector<SoundTrack>& GetTracks() const { return tracks_; }
  const std::vector<SoundDamage>& GetDamage() const { return watch_.GetDamage(); }
  /// See SideTracks::SelectSound().
  void Select(const std::vector<std::size_t>& places);

  /// Adds a time to those of all packets, also of those queued.
  void Shift(const TimePoint& by);
  /// Does so with the difference of two times.
  void Move(const TimePoint& from, const TimePoint& to);
  /// Adds a packet, unless it belongs to no selected track.
  void Keep(Packet packet, bool isAltered);
  /// Removes and returns all packets.
  std::vector<SoundPacket> Take();
  /// Returns true if every track is queued up to that time (in ticks of `tick` seconds).
  bool HasUntil(std::int64_t time, AVRational tick) const;
  /// Drops packets that begin before the end of the last one from now on: the file is read again
  /// from an earlier place.
  void SkipRepeated() { skipsRepeated_ = true; }
  /// Drops all packets. The next packets need not be adjacent to them.
  void Jump();
  /// Checks the ends of all tracks with SoundWatch::CheckEnd(), once the file is read to its end.
  std::string CheckEnds(double picturesEnd, double frame);

 private:
  const Demuxer& demuxer_;
  std::vector<SoundTrack> tracks_;     ///< selected ones
  std::vector<int> streams_;           ///< their indices in the container
  std::vector<std::int64_t> reached_;  ///< end of their last packets, in their ticks
  TimePoint shift_{0, {1, 1}};
  bool skipsRepeated_ = false;
  std::vector<SoundPacket> waiting_;
  SoundWatch watch_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_SOUND_SOUNDQUEUE_H

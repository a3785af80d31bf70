// SPDX-License-Identifier: BSD-2-Clause
#include "media/sound/SoundCopy.h"

#include <utility>

namespace vixprores {

SoundCopy::SoundCopy(SideTracks* tracks, const std::optional<TimeSpan>& part)
    : tracks_(tracks), part_(part) {
  if (!tracks_) return;
  for (const SoundTrack& track : tracks_->GetSound()) cutters_.emplace_back(track, part);
}

std::vector<SoundPacket> SoundCopy::Cut(std::vector<SoundPacket> packets) {
  std::vector<SoundPacket> kept;
  for (SoundPacket& sound : packets) {
    if (Packet packet = cutters_[sound.track].Cut(std::move(sound.packet))) {
      kept.push_back({sound.track, std::move(packet)});
    }
  }
  return kept;
}

std::vector<SoundPacket> SoundCopy::Take() {
  return tracks_ ? Cut(tracks_->TakeSound()) : std::vector<SoundPacket>();
}

std::vector<SoundPacket> SoundCopy::TakeRest() {
  if (!tracks_) return {};
  return Cut(part_ ? tracks_->ReadSoundUntil(part_->end, part_->tick) : tracks_->TakeSound());
}

}  // namespace vixprores

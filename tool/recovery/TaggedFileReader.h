// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_TAGGEDFILEREADER_H
#define TOOL_RECOVERY_TAGGEDFILEREADER_H

#include <memory>
#include <optional>
#include <vector>

#include "format/FramePlace.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"
#include "media/container/PacketTag.h"
#include "media/sound/SideTracks.h"
#include "media/sound/SoundWatch.h"

namespace vixprores {

/// A packet that was passed over.
struct TaggedPacket {
  PacketTag tag;
  std::int64_t offset = 0;  ///< of its first byte, in the file
};

/// Frames that Read() does not give.
struct LostFrames {
  FramePlace place;
  const char* what;  ///< is wrong with them
};

/// Reads a .mov of this program by its packet tags alone, without an index: what a run left that
/// was killed, or a file whose index is damaged. Frames that are not what was written, and what is
/// cut off at the end, are left out and counted; damaged sound is counted and kept.
class TaggedFileReader : public FrameReader, private SideTracks {
 public:
  /// True when the file can be gone back in and its first tag, with the description of the tracks,
  /// is there.
  static bool CanRead(InputFile& file);

  /// True when the first undamaged tag, near the start, is that of a packet.
  static bool LacksDescription(InputFile& file);

  /// Refuses, with a Failure, what CanRead() does not find readable.
  explicit TaggedFileReader(std::unique_ptr<InputFile> file);

  bool ReadsFrom(const std::string& path) const override { return file_->IsSameFile(path); }
  SideTracks* GetSideTracks() override { return this; }
  /// The number of a frame is its time: lost frames are counted.
  std::optional<NumberedFrame> Read() override;

  /// Goes behind the next packet, of video or of sound, without a look at it; none at the end.
  std::optional<TaggedPacket> PassPacket();
  /// What the times in the tags of that track count, in seconds; 0 where there is no such track.
  double GetTick(std::uint32_t track) const;
  /// Frames that were passed over because they are damaged or missing, by their times.
  const std::vector<LostFrames>& GetLostFrames() const { return lostFrames_; }
  const std::vector<SoundDamage>& GetSoundDamage() const override {
    return soundWatch_.GetDamage();
  }
  /// Name of the compressor and code of the vendor that the file was written with.
  const std::string& GetCompressor() const { return compressor_; }

 private:
  const std::vector<SoundTrack>& GetSound() const override { return sound_; }
  void SelectSound(const std::vector<std::size_t>& places) override;
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

  void ReadDescription();
  std::optional<PacketTag> NextTag();
  void NoteLost(std::int64_t time, std::int64_t count, std::optional<std::int64_t> offset);
  bool ReadPacket(const PacketTag& tag, std::span<std::uint8_t> bytes);
  void KeepSound(const PacketTag& tag);

  std::unique_ptr<InputFile> file_;
  std::string compressor_;
  std::vector<SoundTrack> sound_;
  std::vector<std::size_t> placeOf_;  ///< in sound_, by the place in the file; SIZE_MAX = not taken
  std::vector<SoundPacket> waiting_;
  std::int64_t nextTime_ = 0;  ///< behind the last frame that was met
  std::vector<LostFrames> lostFrames_;
  SoundWatch soundWatch_;
};

}  // namespace vixprores

#endif  // TOOL_RECOVERY_TAGGEDFILEREADER_H

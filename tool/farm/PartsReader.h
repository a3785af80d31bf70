// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FARM_PARTSREADER_H
#define TOOL_FARM_PARTSREADER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "farm/Job.h"
#include "farm/Part.h"
#include "media/FrameReader.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// The sound of an input whose pictures are not read: follows the video by reading the file.
class FollowingSound : public SideTracks {
 public:
  /// @param tracks of the input; must outlive this
  explicit FollowingSound(SideTracks& tracks) : tracks_(tracks) {}

  const std::vector<SoundTrack>& GetSound() const override { return tracks_.GetSound(); }
  void SelectSound(const std::vector<std::size_t>& places) override { tracks_.SelectSound(places); }
  void SetSoundPreroll(int seconds) override { tracks_.SetSoundPreroll(seconds); }
  std::vector<SoundDamage> GetSoundDamage() const override { return tracks_.GetSoundDamage(); }
  void FollowVideo(const TimePoint& time) override;
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;
  std::vector<SoundPacket> FinishSound() override;

 private:
  SideTracks& tracks_;
  std::vector<SoundPacket> read_;
};

/// The frames of a job's parts as if they were those of its input, which gives all but the frames:
/// description and sound. The frames are encoded already.
class PartsReader : public FrameReader {
 public:
  /// @param source reader of the input; nothing must have been read from it
  /// @param format of the parts
  /// @throws Failure that lists all missing, foreign and outdated parts with the commands that make
  ///         them; must be caught before the output is created
  PartsReader(std::unique_ptr<FrameReader> source, const StreamFormat& format, Job job);

  /// @throws Failure that lists all damaged parts from this frame on, in the same way; they count
  /// as
  ///         failed chunks from then on
  std::optional<NumberedFrame> Read() override;
  bool SkipTo(std::int64_t frame) override;
  SideTracks* GetSideTracks() override { return sound_ ? &*sound_ : nullptr; }
  bool CutsSoundToStart() const override { return source_->CutsSoundToStart(); }
  bool ReadsFrom(const std::string& path) const override;

 private:
  struct Problem {
    std::size_t place = 0;  ///< of the chunk, from 0
    std::string what;       ///< to follow its number
  };
  using Captions = std::map<std::int64_t, std::vector<std::uint8_t>>;  ///< by frame of the part

  std::string Check(const Chunk& chunk, const StreamFormat& format) const;
  void Open(std::size_t place);
  void ReadCaptions();
  [[noreturn]] void Fail(const std::vector<Problem>& problems) const;
  [[noreturn]] void FailAt(const std::string& damage);

  std::unique_ptr<FrameReader> source_;
  std::optional<FollowingSound> sound_;
  Job job_;
  InputState input_;
  bool hasCaptions_ = false;             ///< within the pictures of the input
  std::size_t place_ = 0;                ///< of the chunk that is read, from 0
  std::unique_ptr<FrameReader> reader_;  ///< of its part; null = not yet
  Captions captions_;                    ///< of that part
  std::int64_t next_ = 0;                ///< frame of the input
};

}  // namespace vixprores

#endif  // TOOL_FARM_PARTSREADER_H

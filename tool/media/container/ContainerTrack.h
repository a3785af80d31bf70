// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H
#define TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/InputFormat.h"
#include "frames/FrameHeaders.h"
#include "media/container/Demuxer.h"
#include "media/container/FrameTimeCheck.h"
#include "media/container/PacketTag.h"
#include "media/sound/SoundQueue.h"

namespace vixprores {

/// The first video track of a container file with the sound beside it: packets from a Demuxer,
/// checked against what the container announces (FrameIndex), against a constant rate
/// (FrameTimeCheck) and, in files of this program, against their tags. Used by one thread; the
/// frames may be used and released on any thread and may outlive the track.
class ContainerTrack : public SideTracks {
 public:
  /// Throws a Failure for files that are not containers, and for containers without a video track
  /// with a usable frame rate.
  /// @param demuxer nothing must have been read from it
  ContainerTrack(std::unique_ptr<Demuxer> demuxer, FrameTimes times);

  const std::string& GetName() const { return demuxer_->GetName(); }
  bool IsSameFile(const std::string& path) const { return demuxer_->GetFile().IsSameFile(path); }
  const AVCodecParameters& GetParameters() const { return *stream_.codecpar; }
  /// Format as the container states it; the code is 0.
  const StreamFormat& GetFormat() const { return format_; }
  InputDescription GetDescription() const;

  /// Reads the next frame into the container library's own memory; nullopt at the end. Throws a
  /// FrameFailure for a truncated packet, for an end before the announced number of frames, and for
  /// a frame off the constant rate; the next call resumes after it.
  std::optional<NumberedFrame> Read();
  /// See FrameReader::SkipTo().
  bool SkipTo(std::int64_t frame);
  /// See FrameReader::CheckRange(). Checks a track whose index lists its times.
  void CheckIndexedTimes(std::int64_t last) const;
  /// Leaves frames in the file from now on, if possible (Demuxer::KeepInPlace()).
  void KeepFramesInPlace();
  /// See FrameReader::CheckFramesInUse().
  void CheckFramesInUse() const { demuxer_->GetFile().CheckMappings(); }
  /// Number of frames so far that came at odd times and were accepted.
  std::int64_t CountUnevenFrames() const { return times_.CountUneven(); }
  /// Returns a note on sound that ends before the pictures, after the last Read(); empty = none.
  const std::string& GetSoundNote() const { return soundNote_; }

  const std::vector<SoundTrack>& GetSound() const override { return sound_.GetTracks(); }
  void SelectSound(const std::vector<std::size_t>& places) override { sound_.Select(places); }
  void SetSoundPreroll(int seconds) override { soundPreroll_ = seconds; }
  std::vector<SoundDamage> GetSoundDamage() const override { return sound_.GetDamage(); }
  std::vector<SoundPacket> TakeSound() override { return sound_.Take(); }
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

 private:
  void ReadFirstPacket();
  std::optional<std::int64_t> CountFrames() const;
  Packet ReadAny();
  Packet ReadPacket();
  void KeepSound(Packet packet);
  void ReadPreroll(std::int64_t time);
  void CheckSoundEnds();
  bool EndsEarly() const;
  bool CheckTime(Packet& packet, std::int64_t number);
  std::optional<PacketTag> FindTag(const AVPacket& packet) const;
  void CheckTag(const AVPacket& packet, NumberedFrame& frame) const;
  bool IsDamagedSound(const AVPacket& packet) const;
  [[noreturn]] void FailAtUnreadableFrame(const std::string& reason);
  [[noreturn]] void FailAtEarlyEnd();

  bool isTagged_;  ///< packets are preceded by tags
  std::unique_ptr<Demuxer> demuxer_;
  AVStream& stream_;
  FrameIndex index_;
  bool isRateEvident_;  ///< an index states all times, which may be any
  FrameTimeCheck times_;
  SoundQueue sound_;
  int soundPreroll_ = 0;  ///< seconds of sound to read before a frame that is skipped to
  StreamFormat format_;
  std::optional<std::int64_t> announcedFrames_;  ///< including frames hidden by an edit list
  std::int64_t hiddenFrames_ = 0;                ///< read so far
  std::int64_t begin_ = 0;                       ///< time of the first frame, in ticks
  Packet pending_;                               ///< a packet that was read ahead
  std::exception_ptr pendingFailure_;            ///< thrown by the next Read()
  std::int64_t framesRead_ = 0;                  ///< frames that Read() returned, or failed at
  std::int64_t lastFailure_ = -1;  ///< position in the file of the last unreadable packet
  bool isLost_ = false;            ///< there is no way to continue
  std::string soundNote_;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

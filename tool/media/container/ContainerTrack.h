// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H
#define TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/VideoInput.h"
#include "frames/FrameHeaders.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"
#include "media/container/Libav.h"
#include "media/container/PacketTag.h"
#include "media/sound/SideTracks.h"
#include "media/sound/SoundWatch.h"
#include "vix/Buffers.h"

namespace vixprores {

/// The first video track of a container file: what the container says of it, its packets one by
/// one, and the sound beside it. Only the container is looked at; no decoder of the container
/// library ever runs. Used by one thread; the packets may be used and dropped on any thread and
/// outlive the track.
class ContainerTrack : public SideTracks {
 public:
  /// DescriptionOnly: a movie without media, as it stands in front of the tagged packets of a .mov
  /// of this program.
  enum class Holds { Frames, DescriptionOnly };

  /// Refuses, with a Failure, what is no container, and one without a video track with a usable
  /// frame rate.
  explicit ContainerTrack(std::unique_ptr<InputFile> file, FrameTimes times = FrameTimes::Checked,
                          Holds holds = Holds::Frames);
  ~ContainerTrack() override;

  const std::string& GetName() const { return file_->GetName(); }
  bool IsSameFile(const std::string& path) const { return file_->IsSameFile(path); }
  /// What the library knows of the track's codec.
  const AVCodecParameters& GetParameters() const { return *stream_->codecpar; }
  /// What the container says; the code is left 0.
  const StreamFormat& GetFormat() const { return format_; }
  /// The same as a description of the input.
  InputDescription GetDescription() const;
  /// Timecode of the first frame; nullopt if there is none, or if it does not fit the video's rate.
  std::optional<Timecode> GetTimecode() const { return timecode_; }
  /// Name of the compressor in the sample description; empty = none.
  std::string GetCompressor() const;

  /// Refuses, as Read() would, frames up to number `last` that do not come at a constant rate,
  /// where an index tells so without reading them.
  void CheckIndexedTimes(std::int64_t last) const;

  const std::vector<SoundTrack>& GetSound() const override { return sound_; }
  void SelectSound(const std::vector<std::size_t>& places) override;
  const Metadata& GetMetadata() const { return metadata_; }
  const std::vector<SoundDamage>& GetSoundDamage() const override {
    return soundWatch_.GetDamage();
  }
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

  /// The next frame's bytes in the container library's own memory, or null at the end. A packet
  /// that is cut short, an end before the announced number of frames, and a frame that breaks the
  /// constant rate are FrameFailures; the next call then gives what stands behind.
  std::optional<NumberedFrame> Read();
  /// As FrameReader::SkipTo().
  bool SkipTo(std::int64_t frame);
  /// From now on frames stay where they are in the file, if that allows it, instead of being
  /// copied. For codecs whose frames the library hands out as they stand in the file.
  void KeepFramesInPlace();
  /// Fails where bytes of such frames turned out to be unreadable. May be called from any thread.
  void CheckFramesInUse() const { file_->CheckMappings(); }

 private:
  struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

  std::optional<std::int64_t> GetFrameCount() const;
  std::string FindNote() const;
  std::string FindTimecodeNote() const;
  void Open();
  void ChooseTracks();
  void DescribeVideo();
  void AddSound(AVStream& stream);
  void FindMetadata();
  void FindTimecode();
  void ReadStatedRate();
  std::optional<std::int64_t> FindIndexed(std::int64_t frame) const;
  Packet ReadAny();
  void FillIn(AVPacket& packet, const LibavStream::LeftOut& leftOut);
  Packet ReadPacket();
  void KeepSound(Packet packet);
  bool HasSoundUntil(std::int64_t time, AVRational tick) const;
  void ReadFirstPacket();
  bool HasIndex() const;
  std::optional<std::int64_t> CountIndexedFrames() const;
  std::optional<std::int64_t> CountAnnouncedFrames() const;
  void CheckFragments() const;
  bool EndsEarly() const;
  bool CheckPacket(Packet& packet);
  std::optional<PacketTag> FindTag(const AVPacket& packet) const;
  std::string FindFault(const AVPacket& packet) const;
  bool IsDamagedSound(const AVPacket& packet) const;
  std::int64_t ExpectTime(std::int64_t number) const;
  bool IsAbout(std::int64_t time, std::int64_t expected) const;
  std::int64_t CountLeftOut(std::int64_t time, std::int64_t expected) const;
  bool CheckTime(Packet& packet);
  [[noreturn]] void FailAtTime(std::int64_t number, std::int64_t time, std::int64_t expected,
                               std::int64_t missing, std::optional<std::int64_t> offset) const;
  [[noreturn]] void FailAtUnreadableFrame(const std::string& reason);
  [[noreturn]] void FailAtEarlyEnd();

  std::unique_ptr<InputFile> file_;
  LibavStream bytes_;
  bool isTagged_;  ///< packets have tags in front of them
  std::unique_ptr<AVFormatContext, InputCloser> context_;
  AVStream* stream_ = nullptr;
  int videoTracks_ = 0;
  StreamFormat format_;
  std::vector<SoundTrack> sound_;           ///< those that are taken
  std::vector<int> soundStreams_;           ///< their streams' indices
  std::vector<std::int64_t> soundReached_;  ///< end of their last packet, in their clock
  std::vector<SoundPacket> waiting_;        ///< sound that was met and not taken yet
  Metadata metadata_;
  std::optional<Timecode> timecode_;
  bool isTimecodeUnread_ = false;
  std::string unusedTimecode_;                   ///< a text that is no timecode of the video
  std::optional<std::int64_t> announcedFrames_;  ///< those that an edit list hides included
  std::int64_t hiddenFrames_ = 0;                ///< met so far
  Packet pending_;                               ///< a packet that was read ahead
  std::exception_ptr pendingFailure_;            ///< why there is none, until Read() throws it
  std::int64_t firstTime_ = 0;                   ///< of the first packet, in the stream's time base
  SoundWatch soundWatch_;
  std::int64_t framesRead_ = 0;  ///< packets that Read() handed out, or failed at
  FrameTimes times_;
  std::int64_t unevenFrames_ = 0;
  bool keepsInPlace_ = false;
  bool lost_ = false;  ///< nothing is known of how to go on
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

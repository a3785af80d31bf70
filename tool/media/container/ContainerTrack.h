// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H
#define TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/FramePlace.h"
#include "format/StreamFormat.h"
#include "format/Timecode.h"
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
  explicit ContainerTrack(std::unique_ptr<InputFile> file, Holds holds = Holds::Frames);
  ~ContainerTrack() override;

  const std::string& GetName() const { return file_->GetName(); }
  bool IsSameFile(const std::string& path) const { return file_->IsSameFile(path); }
  /// What the library knows of the track's codec.
  const AVCodecParameters& GetParameters() const { return *stream_->codecpar; }
  /// What the container says; the code is left 0.
  const StreamFormat& GetFormat() const { return format_; }
  /// Frames of the track; none on a pipe, where only the part that has come by is known of.
  std::optional<std::int64_t> GetFrameCount() const;
  /// Timecode of the first frame that Read() gives; none where the container has none, or one
  /// that is no label of the video's rate.
  std::optional<Timecode> GetTimecode() const { return timecode_; }
  /// Name of the compressor in the sample description; empty = none.
  std::string GetCompressor() const;
  /// Which of several video tracks is read, and which tracks cannot be taken over; empty = nothing
  /// of it.
  std::string GetNote() const;
  /// As FrameReader::GetTimecodeNote().
  std::string GetTimecodeNote() const;

  /// To be called before Read(), which else checks the times.
  void SetTimes(FrameTimes times) { times_ = times; }
  /// Refuses, as Read() would, frames up to number `last` that do not come at a constant rate,
  /// where an index tells so without reading them.
  void CheckIndexedTimes(std::int64_t last) const;
  /// Frames so far that came at odd times and were taken.
  std::int64_t CountUnevenFrames() const { return unevenFrames_; }

  const std::vector<SoundTrack>& GetSound() const override { return sound_; }
  void SelectSound(const std::vector<std::size_t>& places) override;
  const Metadata& GetMetadata() const override { return metadata_; }
  const std::vector<SoundDamage>& GetSoundDamage() const override {
    return soundWatch_.GetDamage();
  }
  std::vector<SoundPacket> TakeSound() override;
  std::vector<SoundPacket> ReadSoundUntil(std::int64_t time, AVRational tick) override;

  /// The next frame's bytes in the container library's own memory, or null at the end. A packet
  /// that is cut short, an end before the announced number of frames, and a frame that breaks the
  /// constant rate are FrameFailures; the next call then gives what stands behind.
  std::shared_ptr<vix::IBuffer> Read();
  /// As FrameReader::SkipTo().
  bool SkipTo(std::int64_t frame);
  /// From now on frames stay where they are in the file, if that allows it, instead of being
  /// copied. For codecs whose frames the library hands out as they stand in the file.
  void KeepFramesInPlace();
  /// Fails where bytes of such frames turned out to be unreadable. May be called from any thread.
  void CheckFramesInUse() const { file_->CheckMappings(); }
  /// Where the frame that Read() gave last begins in the file; none = unknown.
  std::optional<std::int64_t> GetLastOffset() const { return lastOffset_; }
  /// Where the frame that Read() gave last is not the one that this program wrote: what shows it,
  /// in a few words to go behind its number. Empty = nothing is known against it.
  const std::string& GetLastFault() const { return lastFault_; }
  /// Fails with "NAME: frame N ", `found` and `advice`, N being the frame that Read() gave last.
  [[noreturn]] void FailAtLastFrame(const std::string& found, const std::string& advice = {}) const;

 private:
  struct InputCloser {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  };

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
  void CheckPacket(Packet& packet);
  std::optional<PacketTag> FindTag(const AVPacket& packet) const;
  std::string FindFault(const AVPacket& packet) const;
  bool IsDamagedSound(const AVPacket& packet) const;
  std::int64_t ExpectTime(std::int64_t number) const;
  bool IsAbout(std::int64_t time, std::int64_t expected) const;
  std::int64_t CountLeftOut(std::int64_t time, std::int64_t expected) const;
  void CheckTime(Packet& packet);
  [[noreturn]] void FailAtTime(std::int64_t number, std::int64_t time, std::int64_t expected,
                               std::int64_t missing) const;
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
  std::optional<std::int64_t> lastOffset_;
  std::string lastFault_;
  SoundWatch soundWatch_;
  std::int64_t framesRead_ = 0;  ///< packets that Read() handed out, or failed at
  FrameTimes times_ = FrameTimes::Checked;
  std::int64_t unevenFrames_ = 0;
  bool keepsInPlace_ = false;
  bool lost_ = false;  ///< nothing is known of how to go on
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_CONTAINERTRACK_H

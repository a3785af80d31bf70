// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_INTERLEAVER_H
#define TOOL_MEDIA_CONTAINER_INTERLEAVER_H

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "format/OutputFormat.h"
#include "media/container/Libav.h"
#include "media/sound/SideTracks.h"

namespace vixprores {

/// Orders the packets of a file: after each frame comes the sound that starts during it, one track
/// after the other, PCM in packets of kPcmSamples. So order and packets depend on the content
/// alone, however the packets arrive, if sound arrives no more than kMostFrames frames after its
/// frame. Holds frames that wait for sound, and sound that waits for frames, within fixed limits.
class Interleaver {
 public:
  /// Samples of a packet of PCM, which starts at a multiple of them. The demuxer of .mov returns as
  /// many at once, so that it returns packets as they were written and their tags can be checked.
  static constexpr std::int64_t kPcmSamples = 1024;
  /// Most frames, and bytes of frames, that wait for sound.
  static constexpr std::size_t kMostFrames = 16;
  static constexpr std::int64_t kMostFrameBytes = std::int64_t{32} << 20;
  /// Most seconds of a track that wait for frames.
  static constexpr std::int64_t kMostSeconds = 2;

  /// A packet in its place.
  struct Item {
    std::size_t stream = 0;  ///< 0 = video, then the sound tracks
    Packet packet;
    std::optional<std::uint64_t> hash = std::nullopt;  ///< of the packet, if it is known
  };

  explicit Interleaver(const MovieContent& content);

  /// Adds a frame, with times in frames.
  /// @param hash of the frame; nullopt = unknown
  void AddFrame(Packet frame, const std::optional<std::uint64_t>& hash);
  /// Adds sound, with times in samples.
  void AddSound(SoundPacket sound);
  /// Makes Take() return everything that is left.
  void Finish();
  /// Returns the number of frames that Take() has not returned.
  std::size_t CountFrames() const { return frames_.size(); }
  /// Returns the next packet; nullopt = it has not arrived yet.
  std::optional<Item> Take();

 private:
  struct Lane {
    AVRational sample{1, 1};
    int sampleBytes = 0;
    std::deque<Packet> waiting = {};  ///< complete packets
    Packet open = nullptr;            ///< PCM of a frame so far
    std::int64_t room = 0;            ///< samples that `open` still takes
    std::int64_t end = INT64_MIN;     ///< sample after the last one
  };

  std::int64_t SampleAt(std::int64_t frame, const Lane& lane) const;
  void OpenPacket(Lane& lane, const AVPacket& like, std::int64_t first) const;
  void Close(Lane& lane) const;
  void AddPcm(Lane& lane, const AVPacket& packet) const;
  bool IsComplete(const AVPacket& frame) const;
  std::optional<Item> TakeSound();

  AVRational frame_;
  std::deque<Item> frames_;
  std::int64_t frameBytes_ = 0;
  std::optional<std::int64_t> picturesEnd_;  ///< of the last frame taken, in frames
  std::deque<Lane> lanes_;
  bool isFinished_ = false;
};

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_INTERLEAVER_H

// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_FORMAT_SOUND_H
#define TOOL_FORMAT_SOUND_H

/// @file
/// Sound tracks, their conversion, the times of their packets, and their damage.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

extern "C" {
#include <libavutil/rational.h>
}

struct AVCodecParameters;
struct AVPacket;

namespace vixprores {

/// Description of a sound track.
struct SoundTrack {
  std::shared_ptr<const AVCodecParameters> parameters;
  AVRational timeBase{0, 1};  ///< tick of packet times, in seconds
  std::map<std::string, std::string> metadata;
  std::size_t number = 0;  ///< place among all sound tracks of the file
  bool isTimed = true;     ///< the file stores packet times; otherwise samples are counted
  std::optional<double> seconds = std::nullopt;  ///< duration that the file states
  /// Time after the last sample as the file states it: compressed sound is padded to whole packets.
  std::optional<std::int64_t> end = std::nullopt;

  /// Returns the bytes of one sample of all channels; 0 if packets cannot be cut because they are
  /// compressed.
  int SampleBytes() const;
  /// Returns text like "pcm_s24le, 48000 Hz, stereo, 24 bits, 00:00:10.000, eng".
  std::string Describe() const;
  /// Returns the name of the layout of the channels, or their number as in "3 channels".
  std::string LayoutName() const;
  /// Returns the bits of a sample; 0 = compressed.
  int SampleBits() const;
  /// Returns the name of a layout of more than two channels ("5.1") that only the container states;
  /// empty if there is none.
  std::string SurroundLayout() const;
};

/// Uncompressed formats that the program makes of other sound.
enum class PcmFormat { Pcm16, Pcm24, Pcm32f };

/// Returns the container library's code (AVCodecID) of the format.
int CodecOf(PcmFormat format);

/// Conversion of sound tracks.
struct SoundConversion {
  bool copies = false;                             ///< keep every track as it is
  bool decodes = false;                            ///< make PCM of compressed sound
  std::optional<PcmFormat> format = std::nullopt;  ///< of every track; nullopt = as suits it
  std::optional<int> rate = std::nullopt;          ///< samples per second; nullopt = as they are

  /// Returns the format to convert the track to; nullopt if the track is kept as it is.
  std::optional<PcmFormat> FormatOf(const SoundTrack& track) const;
};

/// A stretch of a sound track that was altered or is missing.
struct SoundDamage {
  enum class Kind { Altered, Missing };
  enum class Treatment { Kept, Silenced, ClosedUp, LeftOut };

  Kind kind = Kind::Missing;
  Treatment treatment = Treatment::ClosedUp;  ///< in copies of the track
  std::size_t track = 0;                      ///< place among all sound tracks of the file, from 0
  double begin = 0;                           ///< in seconds
  double seconds = 0;                         ///< duration
};

/// Returns the first few entries, for text reports; JSON reports list all of them.
inline std::span<const SoundDamage> FirstOf(const std::vector<SoundDamage>& damage) {
  constexpr std::size_t kMostListed = 8;
  return std::span(damage).first(std::min(damage.size(), kMostListed));
}

/// Returns text like "sound track 1 lacks 21 ms at 00:00:01.480".
std::string Describe(const SoundDamage& damage);
/// Returns text like "sound track 1 ends at 00:00:01.480, 520 ms before the pictures".
/// @param end     of the track, in seconds
/// @param missing seconds from there to the end of the pictures
std::string DescribeEarlyEnd(const SoundTrack& track, double end, double missing);
/// Returns how copies of the track treat the damage: "filled with silence".
const char* ToWord(SoundDamage::Treatment treatment);

/// Returns the number of entries of that kind.
std::int64_t CountSoundDamage(const std::vector<SoundDamage>& damage, SoundDamage::Kind kind);
/// Returns text like "1 damaged packet of sound, 2 gaps in the sound"; empty = no damage.
std::string SumUp(const std::vector<SoundDamage>& damage);

/// Position of the packets of one sound track, in samples. Clocks of containers may be coarser:
/// packets without a gap that such a clock could show are counted as adjacent.
class SampleClock {
 public:
  explicit SampleClock(const SoundTrack& track);

  /// Returns the first sample of the packet.
  std::int64_t Locate(const AVPacket& packet) const;
  /// Returns the number of samples in the packet; 0 = unknown.
  std::int64_t Count(const AVPacket& packet) const;
  /// Moves past a packet with that many samples.
  void Pass(std::int64_t first, std::int64_t count);

  /// Returns the sample after the last packet; nullopt = unknown.
  std::optional<std::int64_t> GetNext() const { return next_; }
  /// Returns the samples per tick of the container's clock, at least 1.
  std::int64_t GetTick() const { return tick_; }

 private:
  int sampleBytes_;
  AVRational timeBase_;
  AVRational samples_;
  std::int64_t tick_;
  std::optional<std::int64_t> next_;
};

}  // namespace vixprores

#endif  // TOOL_FORMAT_SOUND_H

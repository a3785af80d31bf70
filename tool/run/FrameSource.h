// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RUN_FRAMESOURCE_H
#define TOOL_RUN_FRAMESOURCE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "format/FramePlace.h"
#include "format/Values.h"
#include "media/FrameReader.h"
#include "media/sound/SoundCutter.h"
#include "run/Elements.h"
#include "run/Options.h"
#include "vix/Samples.h"

namespace vixprores {

/// A frame between input and output, or several frames lost for one reason.
struct Frame {
  FramePlace place;                      ///< in the input
  std::shared_ptr<vix::IBuffer> source;  ///< null = lost
  std::optional<ParsedHeader> header;    ///< of a ProRes frame; none = invalid
  std::optional<std::uint64_t> hash;     ///< checksum of `source` (NumberedFrame)
  bool isUneven = false;                 ///< its time is between those of frames
  std::string fault;                     ///< empty = none
  SliceDamage slices;                    ///< that a decoder has mended
  std::string advice;
  std::string file;                    ///< of the frame; empty = the input
  std::vector<std::uint8_t> captions;  ///< see NumberedFrame
  std::uint64_t sourceBytes = 0;
  /// Packed for the writer; null = nothing to write.
  std::shared_ptr<const vix::IVideoSample> result;
  std::uint64_t resultBytes = 0;
  bool isResumed = false;          ///< `result` is that of an earlier run
  std::vector<SoundPacket> sound;  ///< that the input has before it
};

/// Returns the sound of a reader, which must outlive it; null = the reader has none.
std::shared_ptr<SoundSource> BorrowSound(FrameReader& reader);

/// Returns the number of frames of a range, or of all; none if it is unknown before the end of the
/// input. Rejects a range that exceeds the input with a Failure.
std::optional<std::int64_t> CountFrames(const FrameReader& reader,
                                        const std::optional<FrameRange>& range);

/// Sound to read beside a range of frames.
struct SoundRange {
  std::optional<TimeSpan> span;  ///< nullopt = all of it
  std::int64_t leadIn = 0;       ///< frames before the range from which on sound is read
};

/// Reads the frames of a range with their faults and their sound. Used by one thread at a time,
/// except for Unpack() and CheckFramesInUse().
class FrameSource {
 public:
  /// @param range    nullopt = all frames
  /// @param onDamage whether a frame at an uneven time ends the run
  /// @param soundRange sound to read; nullopt = that of the range, from time 0 on
  /// @param sound      sound beside the frames; null = that of the reader
  FrameSource(std::unique_ptr<FrameReader> reader, const std::optional<FrameRange>& range,
              DamagePolicy onDamage, const std::optional<SoundRange>& soundRange = std::nullopt,
              std::shared_ptr<SoundSource> sound = nullptr);

  FrameReader& GetReader() const { return *reader_; }
  const std::string& GetName() const { return reader_->GetName(); }
  /// Returns the number of frames of the range; nullopt = unknown.
  std::optional<std::int64_t> GetFrameCount() const { return total_; }
  /// Returns the number in the output of a frame of the input.
  std::int64_t ToOutput(std::int64_t number) const { return number - range_.first; }

  /// Returns the next frame; nullopt at the end.
  /// @throws Interrupted, Failure
  std::optional<Frame> Read();
  /// Converts a frame for the element. May be called from any thread, several at once.
  ConvertedFrame Unpack(const std::shared_ptr<vix::IBuffer>& frame) const {
    return convert_ ? convert_(frame) : ConvertedFrame{frame};
  }
  /// Returns the number of frames of the range so far that were accepted at uneven times.
  std::int64_t CountUnevenFrames() const { return unevenFrames_; }
  /// Fails if a frame that was read has become unreadable. May be called from any thread.
  void CheckFramesInUse() const { reader_->CheckFramesInUse(); }
  /// Returns the damage of the sound so far.
  std::vector<SoundDamage> GetSoundDamage() const {
    return soundSource_ ? soundSource_->GetSoundDamage() : std::vector<SoundDamage>();
  }
  /// Returns the sound after the last frame.
  std::vector<SoundPacket> TakeRestOfSound() { return sound_.TakeRest(); }

 private:
  std::optional<Frame> ReadAny();
  void CheckEnd() const;

  std::unique_ptr<FrameReader> reader_;
  FrameRange range_;
  bool isPart_;  ///< a range was given
  DamagePolicy onDamage_;
  FrameConversion convert_;
  std::shared_ptr<SoundSource> soundSource_;  ///< null = none
  SoundCopy sound_;
  std::vector<SoundPacket> soundRead_;  ///< since the last frame of the range
  std::optional<std::int64_t> total_;
  std::int64_t unevenFrames_ = 0;  ///< of the range
  std::int64_t framesRead_ = 0;    ///< including those before the range
};

/// The fault of a frame that was decoded nevertheless.
struct DamagedPicture {
  FramePlace place;
  std::string what;  ///< to follow its place
};

/// Returns text like "frame 17 (10:00:00:17) at byte 12345: has 2 damaged slices, which are
/// concealed".
std::string Describe(const DamagedPicture& damaged);

/// An uncompressed picture.
struct DecodedPicture {
  std::shared_ptr<const vix::IBuffer> bytes;
  std::optional<DamagedPicture> damage;
};

/// Returns the frames of a video, ProRes or not, as uncompressed pictures. Requires the plug-in.
class PictureSource {
 public:
  /// @param shares threads of the decoders; `shares.elements` workers may decode at once
  /// @param isDeep decode ProRes to "Y416" with its alpha
  PictureSource(std::unique_ptr<FrameReader> reader, const ThreadShares& shares, bool isDeep);

  FrameReader& GetReader() const { return *reader_; }
  /// Returns the format of the file.
  const StreamFormat& GetStreamFormat() const { return reader_->GetFormat(); }
  /// Returns the format of the pictures: "V210" or "Y416" for ProRes.
  const StreamFormat& GetPictureFormat() const { return format_; }
  bool IsProRes() const { return decoders_.has_value(); }

  /// Returns the packed picture of a frame. May be called for different workers at once.
  /// @throws Failure that names the input, the frame and its fault, if it cannot be decoded
  DecodedPicture Decode(const NumberedFrame& frame, unsigned worker);

 private:
  FramePlace PlaceOf(const NumberedFrame& frame) const;
  [[noreturn]] void FailToDecode(const NumberedFrame& frame, const std::string& fault) const;

  std::unique_ptr<FrameReader> reader_;
  FrameConversion convert_;
  StreamFormat format_;
  std::optional<DecoderTeam> decoders_;  ///< of ProRes
};

}  // namespace vixprores

#endif  // TOOL_RUN_FRAMESOURCE_H

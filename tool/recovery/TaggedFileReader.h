// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_RECOVERY_TAGGEDFILEREADER_H
#define TOOL_RECOVERY_TAGGEDFILEREADER_H

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "format/FramePlace.h"
#include "format/OutputFormat.h"
#include "media/FrameReader.h"
#include "media/InputFile.h"
#include "media/container/PacketTag.h"
#include "media/sound/SoundCutter.h"
#include "media/sound/SoundWatch.h"
#include "vix/Buffers.h"

namespace vixprores {

/// Reads the description of the tracks before the tagged packets of a .mov.
/// @throws Failure if it is missing or damaged
MovieContent ReadTaggedDescription(const InputFile& file);

/// Frames of a tagged file that cannot be used.
struct LostFrames {
  FramePlace place;
  std::string what;  ///< is wrong with them
};

/// The next item of a tagged file: a frame or some sound.
struct TaggedItem {
  std::shared_ptr<vix::IBuffer> frame;  ///< null for sound, and after the last packet
  std::int64_t time = 0;                ///< of the frame, in frames
  std::vector<LostFrames> lost;         ///< between the last frame and this one
  std::vector<SoundPacket> sound;       ///< on a clock of samples
};

/// Reads a .mov of this program by its packet tags alone, without an index: the output of a killed
/// run, or a file with a damaged index. Drops and lists frames that differ from what was written,
/// and frames whose times are out of order; keeps and lists damaged sound; drops and lists sound
/// that is out of order. Used by one thread.
class TaggedFileReader {
 public:
  /// @throws Failure if the file has no readable description (ReadTaggedDescription)
  explicit TaggedFileReader(std::unique_ptr<InputFile> file);

  const InputFile& GetFile() const { return *file_; }
  /// Returns the description of the tracks, completed by the header of the first intact frame: a
  /// .mov has no place for some labels.
  const MovieContent& GetContent() const { return content_; }
  /// Returns the next frame or sound. Returns neither, once, with the frames lost after the last
  /// one; then nullopt.
  /// @throws Interrupted if the user asked to stop
  std::optional<TaggedItem> Read();
  const std::vector<SoundDamage>& GetSoundDamage() const { return soundWatch_.GetDamage(); }

 private:
  /// Position of a track, in ticks of its packets' times.
  struct Clock {
    std::int64_t next;     ///< earliest time of the next packet
    std::int64_t longest;  ///< distance of two packets that containers can express

    bool Takes(std::int64_t time) const {
      return time >= next && time <= std::max<std::int64_t>(next, 0) + longest;
    }
  };

  bool ReadPacket(const TagScanner::FoundTag& found, std::span<std::uint8_t> bytes) const;
  void TakeFrameLabels();
  bool TakeTime(const TagScanner::FoundTag& found);
  void ReadFrame(const TagScanner::FoundTag& found, TaggedItem& item);
  void NoteTruncated(const TagScanner::FoundTag& found);
  void ReadSound(const TagScanner::FoundTag& found, TaggedItem& item);
  void NoteLost(const FramePlace& place, const std::string& what);

  std::unique_ptr<InputFile> file_;
  MovieContent content_;
  TagScanner tags_;
  bool isAtEnd_ = false;
  bool isComplete_ = true;  ///< no bytes had to be skipped so far
  Clock frames_;
  std::vector<LostFrames> lost_;
  std::vector<Clock> soundClocks_;
  std::vector<SoundCutter> cutters_;
  SoundWatch soundWatch_;
};

/// Returns what the index of a .mov of this program has lost, compared with its packet tags
/// (PacketTag.h): packets, tracks, timecode and metadata. Each fault is a few words to follow
/// "index: ". Empty for a complete index, and for files without tags. Reads only the index if it
/// leads to all packets; otherwise also the tags.
/// @param reader reader of the same file, by its index
/// @throws Failure, Interrupted if the file cannot be read
std::vector<std::string> FindIndexFaults(const std::string& input, FrameReader& reader);

/// Returns "index: FAULT" and the way to repair it.
std::string DescribeIndexFault(const std::string& fault);

}  // namespace vixprores

#endif  // TOOL_RECOVERY_TAGGEDFILEREADER_H

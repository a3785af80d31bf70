// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_PACKETTAG_H
#define TOOL_MEDIA_CONTAINER_PACKETTAG_H

/// @file
/// Tags before the packets of every .mov that this program writes to a file. They lie in the
/// media data between the packets, where no index points, so players skip them. They make a file
/// readable before it has an index, and show whether a packet still is what was written.
///
/// The first tag belongs to the description: a movie without media that holds the tracks. The tags
/// of packets follow, each directly before its packet. Integers are big-endian:
///
/// | bytes | |
/// |---|---|
/// | 8 | the mark |
/// | 4 | track: 0 = the description, 1 = video, 2 and above = sound tracks in their order |
/// | 4 | bytes of the packet |
/// | 8 | time of the packet in ticks of its track (1 / frames per second, 1 / samples per second) |
/// | 8 | its duration in the same ticks |
/// | 8 | XXH3 (64 bits) of the packet |
/// | 8 | XXH3 (64 bits) of the 40 bytes before |

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "media/InputFile.h"

namespace vixprores {

struct PacketTag {
  static constexpr std::size_t kBytes = 48;
  static constexpr std::array<std::uint8_t, 8> kMark{0xF7, 'v', 'i', 'x', 'p', 'k', 't', 0x1A};
  static constexpr std::uint32_t kDescription = 0;
  static constexpr std::uint32_t kVideo = 1;
  static constexpr std::uint32_t kFirstSound = 2;

  std::uint32_t track = 0;
  std::uint32_t packetBytes = 0;
  std::int64_t time = 0;
  std::int64_t duration = 0;
  std::uint64_t packetHash = 0;

  friend bool operator==(const PacketTag&, const PacketTag&) = default;
};

/// Metadata name under which the description stores the frame rate, "N" or "N/D"; a movie without
/// frames has no other place for it.
inline constexpr const char* kRateNote = "vix_rate";

/// Returns the checksum of a packet for its tag.
std::uint64_t HashPacket(std::span<const std::uint8_t> bytes);

std::array<std::uint8_t, PacketTag::kBytes> WritePacketTag(const PacketTag& tag);

/// Returns the tag at the start of `bytes`; nullopt if there is none, or a damaged one.
std::optional<PacketTag> ReadPacketTag(std::span<const std::uint8_t> bytes);

/// Finds the undamaged tags of a seekable file, front to back. Leaves the file's read position
/// alone. Takes time in proportion to the bytes that it reads: those of the tags, and of all that
/// is neither a tag nor a packet after one.
class TagScanner {
 public:
  struct FoundTag {
    PacketTag tag;
    std::int64_t packet = 0;     ///< offset of the first byte after the tag
    bool followsPacket = false;  ///< no bytes were skipped to find the tag
  };

  explicit TagScanner(const InputFile& file, std::int64_t position = 0)
      : file_(file), position_(position) {}

  /// Returns the next tag that starts before `end`, and moves past its packet. Skips tags whose
  /// packet is incomplete.
  /// @throws Interrupted if the user asked to stop
  std::optional<FoundTag> Next(std::int64_t end = INT64_MAX);
  /// Returns the tag after which the input ends inside its packet, once Next() has returned
  /// nullopt; nullopt if there is none.
  const std::optional<FoundTag>& GetTruncated() const { return truncated_; }

 private:
  std::span<const std::uint8_t> Load(std::size_t bytes, std::size_t ahead);
  bool FindMark(std::int64_t end);

  const InputFile& file_;
  std::int64_t position_;            ///< position of the search
  std::vector<std::uint8_t> block_;  ///< bytes of the file that were read last
  std::int64_t blockBegin_ = 0;      ///< their offset
  std::optional<FoundTag> truncated_;
};

/// Returns the first tag of a file, which is near its start: the tag of the description, or of a
/// packet if the description is damaged. Returns nullopt for files of other programs and for pipes.
std::optional<TagScanner::FoundTag> FindFirstTag(const InputFile& file);

/// Returns true if the file starts with an undamaged description, so that its packets have tags.
bool HasPacketTags(const InputFile& file);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_PACKETTAG_H

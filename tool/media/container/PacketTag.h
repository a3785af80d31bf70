// SPDX-License-Identifier: BSD-2-Clause
#ifndef TOOL_MEDIA_CONTAINER_PACKETTAG_H
#define TOOL_MEDIA_CONTAINER_PACKETTAG_H

/// @file
/// Tags in front of the packets of a .mov that this program writes. They lie in the media data
/// between the packets, where no index points, so that players pass over them. With them the file
/// tells what is in it before it has an index, and whether what is in it is still what was written.
///
/// The first tag is that of the description: a movie without media that holds the tracks. The tags
/// of packets follow, each directly before its packet. Integers are big-endian:
///
/// | bytes | |
/// |---|---|
/// | 8 | the mark |
/// | 4 | track: 0 = the description, 1 = video, 2 and more = sound tracks in their order |
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

/// Metadata name under which the description stores the frame rate, "N" or "N/D", for which a movie
/// without frames has no other place.
inline constexpr const char* kRateNote = "vix_rate";

/// The number by which a change of `bytes` shows.
std::uint64_t HashPacket(std::span<const std::uint8_t> bytes);

std::array<std::uint8_t, PacketTag::kBytes> WritePacketTag(const PacketTag& tag);

/// The tag at the start of `bytes`; none where there is no undamaged one.
std::optional<PacketTag> ReadPacketTag(std::span<const std::uint8_t> bytes);

}  // namespace vixprores

#endif  // TOOL_MEDIA_CONTAINER_PACKETTAG_H

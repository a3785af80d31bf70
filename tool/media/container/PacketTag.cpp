// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/PacketTag.h"

#include <algorithm>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

constexpr std::size_t kHashedBytes = 40;

}  // namespace

std::uint64_t HashPacket(std::span<const std::uint8_t> bytes) {
  return XXH3_64bits(bytes.data(), bytes.size());
}

std::array<std::uint8_t, PacketTag::kBytes> WritePacketTag(const PacketTag& tag) {
  std::array<std::uint8_t, PacketTag::kBytes> bytes{};
  std::ranges::copy(PacketTag::kMark, bytes.begin());
  prores::WriteU32(bytes.data() + 8, tag.track);
  prores::WriteU32(bytes.data() + 12, tag.packetBytes);
  prores::WriteU64(bytes.data() + 16, static_cast<std::uint64_t>(tag.time));
  prores::WriteU64(bytes.data() + 24, static_cast<std::uint64_t>(tag.duration));
  prores::WriteU64(bytes.data() + 32, tag.packetHash);
  prores::WriteU64(bytes.data() + kHashedBytes, HashPacket(std::span(bytes).first(kHashedBytes)));
  return bytes;
}

std::optional<PacketTag> ReadPacketTag(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < PacketTag::kBytes) return std::nullopt;
  if (!std::ranges::equal(bytes.first(PacketTag::kMark.size()), PacketTag::kMark)) {
    return std::nullopt;
  }
  if (prores::ReadU64(bytes.data() + kHashedBytes) != HashPacket(bytes.first(kHashedBytes))) {
    return std::nullopt;
  }
  return PacketTag{prores::ReadU32(bytes.data() + 8), prores::ReadU32(bytes.data() + 12),
                   static_cast<std::int64_t>(prores::ReadU64(bytes.data() + 16)),
                   static_cast<std::int64_t>(prores::ReadU64(bytes.data() + 24)),
                   prores::ReadU64(bytes.data() + 32)};
}

}  // namespace vixprores

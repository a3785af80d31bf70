// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/PacketTag.h"

#include <algorithm>
#include <cstring>

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "base/Errors.h"
#include "base/Interrupt.h"
#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

constexpr std::size_t kHashedBytes = 40;
constexpr std::size_t kBlockBytes = std::size_t{1} << 20;
// The description stands after a few short atoms.
constexpr std::int64_t kLatestFirstTag = std::int64_t{1} << 16;

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

// Returns at least `bytes` bytes at the position, unless the file ends earlier. Reads `ahead` bytes
// at once if it has to read.
std::span<const std::uint8_t> TagScanner::Load(std::size_t bytes, std::size_t ahead) {
  const std::int64_t blockEnd = blockBegin_ + std::ssize(block_);
  if (position_ < blockBegin_ || position_ + static_cast<std::int64_t>(bytes) > blockEnd) {
    CheckInterrupt();
    const std::int64_t left = file_.GetSize().value_or(0) - position_;
    block_.resize(std::min(ahead, static_cast<std::size_t>(std::max<std::int64_t>(left, 0))));
    block_.resize(file_.ReadAt(position_, block_));
    blockBegin_ = position_;
  }
  return std::span(block_).subspan(static_cast<std::size_t>(position_ - blockBegin_));
}

// Moves to the next mark before `end`.
bool TagScanner::FindMark(std::int64_t end) {
  constexpr std::size_t kMarkBytes = PacketTag::kMark.size();
  while (position_ < end) {
    const auto bytes = Load(kMarkBytes, kBlockBytes);
    if (bytes.size() < kMarkBytes) return false;
    const auto* const found = static_cast<const std::uint8_t*>(
        memmem(bytes.data(), bytes.size(), PacketTag::kMark.data(), kMarkBytes));
    if (found) {
      position_ += found - bytes.data();
      return position_ < end;
    }
    position_ += static_cast<std::int64_t>(bytes.size() - kMarkBytes + 1);
  }
  return false;
}

std::optional<TagScanner::FoundTag> TagScanner::Next(std::int64_t end) {
  const std::int64_t size = file_.GetSize().value_or(0);
  std::size_t ahead = PacketTag::kBytes;  // tags follow packets, whose bytes are not needed
  while (position_ < std::min(end, size)) {
    const auto tag = ReadPacketTag(Load(PacketTag::kBytes, ahead));
    const std::int64_t packet = position_ + static_cast<std::int64_t>(PacketTag::kBytes);
    const FoundTag found{tag.value_or(PacketTag()), packet, ahead == PacketTag::kBytes};
    if (tag && tag->packetBytes <= std::min<std::int64_t>(INT32_MAX, size - packet)) {
      position_ = packet + tag->packetBytes;
      truncated_.reset();
      return found;
    }
    if (tag && tag->packetBytes > size - packet) truncated_ = found;
    ++position_;  // a damaged or truncated packet, or the index
    ahead = kBlockBytes;
    if (!FindMark(end)) return std::nullopt;
  }
  return std::nullopt;
}

std::optional<TagScanner::FoundTag> FindFirstTag(const InputFile& file) {
  return file.IsSeekable() ? TagScanner(file).Next(kLatestFirstTag) : std::nullopt;
}

bool HasPacketTags(const InputFile& file) {
  const auto first = FindFirstTag(file);
  return first && first->tag.track == PacketTag::kDescription;
}

}  // namespace vixprores

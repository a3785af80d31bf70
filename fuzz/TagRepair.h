// SPDX-License-Identifier: BSD-2-Clause
#ifndef FUZZ_TAGREPAIR_H
#define FUZZ_TAGREPAIR_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>

#include "bitstream/BigEndian.h"
#include "media/container/PacketTag.h"

/// Writes correct checksums, and on request sizes, into the packet tags of a changed file: random
/// changes alone do not get past the checksums. Every fourth value of `choice`, two bits a tag,
/// leaves a tag as it is.
class TagRepair {
 public:
  TagRepair(std::span<std::uint8_t> file, std::uint32_t choice) : file_(file), choice_(choice) {}

  /// Repairs from the back, so that the checksum of a packet covers the repaired tags inside.
  void RepairAll() {
    std::size_t next = file_.size();
    for (unsigned number = 0;; ++number) {
      const auto mark = vixprores::PacketTag::kMark;
      const auto before = file_.first(next);
      const auto found = std::find_end(before.begin(), before.end(), mark.begin(), mark.end());
      if (found == before.end()) return;
      const auto place = static_cast<std::size_t>(found - before.begin());
      if (file_.size() - place >= vixprores::PacketTag::kBytes) {
        Repair(place, next, choice_ >> 2 * (number % 8) & 3);
      }
      next = place;
    }
  }

 private:
  enum Change { kWhole, kOwnSize, kDamagedPacket, kNone };

  void Repair(std::size_t place, std::size_t next, std::uint32_t change) {
    if (change == kNone) return;
    std::uint8_t* const tag = file_.data() + place;
    const std::size_t packet = place + vixprores::PacketTag::kBytes;
    std::size_t bytes = prores::ReadU32(tag + 12);
    if (change == kWhole) bytes = std::max(next, packet) - packet;
    const auto rest = file_.subspan(packet);
    const bool isComplete = bytes <= rest.size();
    auto hash = prores::ReadU64(tag + 32);
    if (isComplete && change != kDamagedPacket) hash = vixprores::HashPacket(rest.first(bytes));
    const vixprores::PacketTag repaired{prores::ReadU32(tag + 8), static_cast<std::uint32_t>(bytes),
                                        static_cast<std::int64_t>(prores::ReadU64(tag + 16)),
                                        static_cast<std::int64_t>(prores::ReadU64(tag + 24)), hash};
    std::ranges::copy(vixprores::WritePacketTag(repaired), tag);
  }

  std::span<std::uint8_t> file_;
  std::uint32_t choice_;
};

#endif  // FUZZ_TAGREPAIR_H

// SPDX-License-Identifier: BSD-2-Clause
// Finds the packet tags in arbitrary bytes, and compares them with those of a search that looks at
// every byte.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "Require.h"
#include "TagRepair.h"
#include "media/InputFile.h"
#include "media/container/PacketTag.h"

namespace {

using vixprores::PacketTag;
using FoundTag = vixprores::TagScanner::FoundTag;

struct Tags {
  std::vector<FoundTag> complete;
  std::optional<FoundTag> truncated;
};

bool AreSame(const FoundTag& a, const FoundTag& b) {
  return a.tag == b.tag && a.packet == b.packet && a.followsPacket == b.followsPacket;
}

Tags FindSlowly(std::span<const std::uint8_t> bytes) {
  Tags tags;
  std::size_t end = 0;  // of the last packet
  for (std::size_t place = 0; place < bytes.size();) {
    const auto tag = vixprores::ReadPacketTag(bytes.subspan(place));
    const std::size_t packet = place + PacketTag::kBytes;
    const bool isComplete = tag && tag->packetBytes <= bytes.size() - packet;
    if (tag) {
      const FoundTag found{*tag, static_cast<std::int64_t>(packet), place == end};
      tags.truncated.reset();
      if (isComplete) {
        tags.complete.push_back(found);
      } else {
        tags.truncated = found;
      }
    }
    place = isComplete ? end = packet + tag->packetBytes : place + 1;
  }
  return tags;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzInput input(data, size);
  const std::uint32_t choice = input.Word();
  auto bytes = input.Rest();
  TagRepair(bytes, choice).RepairAll();
  const Tags expected = FindSlowly(bytes);
  const auto file = vixprores::InputFile::OverBytes("input", bytes);
  vixprores::TagScanner scanner(*file);
  for (const FoundTag& tag : expected.complete) {
    const auto found = scanner.Next();
    Require(found && AreSame(*found, tag));
  }
  Require(!scanner.Next());
  const auto& truncated = scanner.GetTruncated();
  Require(truncated.has_value() == expected.truncated.has_value());
  Require(!truncated || AreSame(*truncated, *expected.truncated));
  Require(HasPacketTags(*file) ==
          (FindFirstTag(*file) && FindFirstTag(*file)->tag.track == PacketTag::kDescription));
  return 0;
}

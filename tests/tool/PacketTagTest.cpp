// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <vector>

#include "media/container/PacketTag.h"

namespace vixprores {
namespace {

constexpr PacketTag kTag{3, 70000, -5, 1602, 0x123456789ABCDEF0};

TEST(PacketTag, IsReadAsItWasWritten) {
  const auto bytes = WritePacketTag(kTag);
  EXPECT_EQ(ReadPacketTag(bytes), kTag);
}

TEST(PacketTag, StandsInTheFirstBytes) {
  auto bytes = WritePacketTag(kTag);
  std::vector<std::uint8_t> longer(bytes.begin(), bytes.end());
  longer.push_back(1);
  EXPECT_EQ(ReadPacketTag(longer), kTag);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_EQ(ReadPacketTag(std::span(bytes).first(length)), std::nullopt) << length;
  }
}

TEST(PacketTag, ShowsAnyDamageOfItself) {
  for (std::size_t bit = 0; bit < 8 * PacketTag::kBytes; ++bit) {
    auto bytes = WritePacketTag(kTag);
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(ReadPacketTag(bytes), std::nullopt) << bit;
  }
}

TEST(HashPacket, ShowsEveryChangedBit) {
  std::vector<std::uint8_t> packet(300, 7);
  const auto hash = HashPacket(packet);
  for (std::size_t bit = 0; bit < 8 * packet.size(); ++bit) {
    packet[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_NE(HashPacket(packet), hash) << bit;
    packet[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
  }
  EXPECT_NE(HashPacket(std::span(packet).first(299)), hash);
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScratchFolder.h"
#include "media/container/PacketTag.h"

namespace vixprores {
namespace {

constexpr PacketTag kTag{3, 70000, -5, 1602, 0x123456789ABCDEF0};

TEST(PacketTag, IsReadAsItWasWritten) {
  const auto bytes = WritePacketTag(kTag);
  EXPECT_EQ(ReadPacketTag(bytes), kTag);
}

TEST(PacketTag, OccupiesTheFirstBytes) {
  auto bytes = WritePacketTag(kTag);
  std::vector<std::uint8_t> longer(bytes.begin(), bytes.end());
  longer.push_back(1);
  EXPECT_EQ(ReadPacketTag(longer), kTag);
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_EQ(ReadPacketTag(std::span(bytes).first(length)), std::nullopt) << length;
  }
}

TEST(PacketTag, DetectsItsOwnDamage) {
  for (std::size_t bit = 0; bit < 8 * PacketTag::kBytes; ++bit) {
    auto bytes = WritePacketTag(kTag);
    bytes[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_EQ(ReadPacketTag(bytes), std::nullopt) << bit;
  }
}

TEST(HashPacket, ChangesWithEveryBit) {
  std::vector<std::uint8_t> packet(300, 7);
  const auto hash = HashPacket(packet);
  for (std::size_t bit = 0; bit < 8 * packet.size(); ++bit) {
    packet[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
    EXPECT_NE(HashPacket(packet), hash) << bit;
    packet[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
  }
  EXPECT_NE(HashPacket(std::span(packet).first(299)), hash);
}

class TagScannerTest : public testing::Test {
 protected:
  static std::string Tagged(const std::string& packet, std::uint32_t bytes) {
    const auto tag = WritePacketTag({PacketTag::kVideo, bytes, 0, 1, 0});
    return std::string(tag.begin(), tag.end()) + packet;
  }
  static std::string Tagged(const std::string& packet) {
    return Tagged(packet, static_cast<std::uint32_t>(packet.size()));
  }

  // Returns the offsets of the packets found.
  std::vector<std::int64_t> Scan(const std::string& contents) {
    WriteText(folder_ / "input", contents);
    const InputFile file(folder_ / "input");
    TagScanner tags(file);
    std::vector<std::int64_t> offsets;
    while (const auto found = tags.Next()) offsets.push_back(found->packet);
    return offsets;
  }

  ScratchFolder folder_;
  const std::string mark_{PacketTag::kMark.begin(), PacketTag::kMark.end()};
};

TEST_F(TagScannerTest, FindsTagsAfterPacketsAndOtherBytes) {
  EXPECT_THAT(Scan(""), testing::IsEmpty());
  EXPECT_THAT(Scan(mark_), testing::IsEmpty());
  EXPECT_THAT(Scan(Tagged("packet") + Tagged("") + "noise" + Tagged("x")),
              testing::ElementsAre(48, 102, 155));
  EXPECT_THAT(Scan(mark_ + mark_ + "noise" + Tagged("x")), testing::ElementsAre(69));
}

TEST_F(TagScannerTest, FindsTagsAcrossTheBordersOfItsBlocks) {
  constexpr std::size_t kBlock = 1 << 20;
  for (std::size_t before = 0; before < 50; ++before) {
    const std::string noise(1 + kBlock - before, 'n');
    EXPECT_THAT(Scan(noise + Tagged("x")), testing::ElementsAre(std::ssize(noise) + 48)) << before;
  }
}

TEST_F(TagScannerTest, SkipsPacketsInsidePackets) {
  EXPECT_THAT(Scan(Tagged("around " + Tagged("inside")) + Tagged("x")),
              testing::ElementsAre(48, 48 + 7 + 54 + 48));
}

TEST_F(TagScannerTest, SearchesAfterTagsWithoutPackets) {
  for (const std::uint32_t bytes : {100U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_THAT(Scan(Tagged("cut", bytes) + Tagged("x")), testing::ElementsAre(99)) << bytes;
  }
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "encode/BitWriter.h"

namespace prores {
namespace {

struct Field {
  std::uint64_t code;
  unsigned length;
};

std::vector<Field> RandomFields(std::size_t count, unsigned maxLength) {
  std::mt19937_64 random(count);
  std::vector<Field> fields(count);
  for (Field& field : fields) {
    field.length = static_cast<unsigned>(random() % maxLength) + 1;
    field.code = random() >> (64 - field.length);
  }
  return fields;
}

/// Writes the same bits one at a time.
std::vector<std::uint8_t> Expected(const std::vector<Field>& fields) {
  std::vector<std::uint8_t> bytes;
  std::size_t bits = 0;
  for (const Field& field : fields) {
    for (unsigned i = field.length; i-- > 0; ++bits) {
      if (bits % 8 == 0) bytes.push_back(0);
      const auto bit = static_cast<unsigned>(field.code >> i & 1);
      bytes.back() = static_cast<std::uint8_t>(bytes.back() | bit << (7 - bits % 8));
    }
  }
  return bytes;
}

TEST(BitWriter, WritesFieldsOfEveryLengthMostSignificantBitFirst) {
  for (const unsigned maxLength : {1U, 5U, 32U, 64U}) {
    for (std::size_t count = 0; count < 200; ++count) {
      const std::vector<Field> fields = RandomFields(count, maxLength);
      const std::vector<std::uint8_t> expected = Expected(fields);
      std::vector<std::uint8_t> bytes(expected.size(), 0xAA);
      BitWriter writer(bytes);
      for (const Field& field : fields) writer.Put(field.code, field.length);
      ASSERT_TRUE(writer.Finish());
      EXPECT_EQ(writer.Position(), bytes.data() + bytes.size());
      ASSERT_EQ(bytes, expected) << count << " fields up to " << maxLength << " bits";
    }
  }
}

TEST(BitWriter, FillsTheLastByteWithZeros) {
  std::vector<std::uint8_t> bytes(1, 0xFF);
  BitWriter writer(bytes);
  writer.Put(0b101, 3);
  ASSERT_TRUE(writer.Finish());
  EXPECT_EQ(bytes[0], 0b1010'0000);
}

TEST(BitWriter, WritesNothingBeyondItsBuffer) {
  const std::vector<Field> fields = RandomFields(60, 30);
  const std::vector<std::uint8_t> expected = Expected(fields);
  for (std::size_t room = 0; room < expected.size(); ++room) {
    std::vector<std::uint8_t> bytes(expected.size() + 16, 0xAA);
    BitWriter writer{std::span(bytes).first(room)};
    for (const Field& field : fields) writer.Put(field.code, field.length);
    EXPECT_FALSE(writer.Finish()) << room;
    const auto behind = bytes.begin() + static_cast<std::ptrdiff_t>(room);
    EXPECT_TRUE(std::all_of(behind, bytes.end(), [](int byte) { return byte == 0xAA; })) << room;
  }
}

}  // namespace
}  // namespace prores

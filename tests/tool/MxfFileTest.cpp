// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "BigEndianText.h"
#include "ScratchFolder.h"
#include "base/Errors.h"
#include "media/container/MxfFile.h"

namespace vixprores {
namespace {

// Returns a universal label from its parts after the common first four bytes.
std::string Label(const std::string& rest) {
  return "\x06\x0E\x2B\x34" + rest;
}

std::string Klv(const std::string& label, const std::string& value) {
  return label + "\x83" + BigEndian(value.size(), 3) + value;
}

std::string Property(int tag, const std::string& value) {
  return BigEndian(static_cast<std::uint64_t>(tag), 2) + BigEndian(value.size(), 2) + value;
}

const std::string kDescriptor = Label({"\x02\x53\x01\x01\x0D\x01\x01\x01\x01\x01\x28\0", 12});

// Returns a file whose descriptor has these values.
std::string File(std::uint64_t stored, std::uint64_t lines, int layout, std::uint64_t first,
                 std::uint64_t second) {
  return Klv(Label(std::string(12, 'a')), "another set") +
         Klv(kDescriptor,
             Property(0x3C0A, std::string(16, 'u')) + Property(0x3202, BigEndian(stored, 4)) +
                 Property(0x3204, BigEndian(lines, 4)) + Property(0x3208, BigEndian(lines, 4)) +
                 Property(0x320C, std::string(1, static_cast<char>(layout))) +
                 Property(0x320D, BigEndian(2, 4) + BigEndian(4, 4) + BigEndian(first, 4) +
                                      BigEndian(second, 4))) +
         "pictures, more than 25 bytes";
}

std::string Patched(const std::string& contents, FieldOrder order, std::uint32_t height) {
  const ScratchFolder folder;
  const std::string path = folder / "a.mxf";
  OutputFile file(path, false);
  file.Write(std::vector<std::uint8_t>(contents.begin(), contents.end()));
  SetMxfFields(file, order, height);
  file.Commit();
  return ReadText(path);
}

TEST(SetMxfFields, StatesHeightAndLinesOfFields) {
  const auto top = FieldOrder::TopFirst;
  EXPECT_EQ(Patched(File(1088, 1080, 0, 42, 0), top, 1080), File(544, 540, 1, 21, 584));
  EXPECT_EQ(Patched(File(576, 576, 0, 42, 0), top, 576), File(288, 288, 1, 23, 336));
  // Each field of 243 lines has whole macroblocks.
  EXPECT_EQ(Patched(File(496, 486, 0, 42, 0), top, 486), File(256, 243, 1, 21, 284));
}

TEST(SetMxfFields, StatesByAnEvenSumOfLinesThatTheBottomFieldIsFirst) {
  const auto bottom = FieldOrder::BottomFirst;
  EXPECT_EQ(Patched(File(1088, 1080, 0, 42, 0), bottom, 1080), File(544, 540, 1, 21, 583));
  EXPECT_EQ(Patched(File(480, 480, 0, 42, 0), bottom, 480), File(240, 240, 1, 23, 285));
}

TEST(SetMxfFields, KeepsTheOrderAtOtherHeights) {
  EXPECT_EQ(Patched(File(96, 96, 0, 1, 0), FieldOrder::TopFirst, 96), File(48, 48, 1, 1, 50));
  EXPECT_EQ(Patched(File(96, 96, 0, 1, 0), FieldOrder::BottomFirst, 96), File(48, 48, 1, 1, 49));
  EXPECT_EQ(Patched(File(112, 98, 0, 1, 0), FieldOrder::TopFirst, 98), File(64, 49, 1, 1, 50));
}

TEST(SetMxfFields, RejectsAFileWithoutDescription) {
  for (const std::string& contents :
       {std::string("no file"), std::string(100, '\xFF'), Klv(kDescriptor, "short"),
        Klv(kDescriptor, Property(0x320C, "")), kDescriptor + std::string(9, '\x88')}) {
    EXPECT_THROW(Patched(contents, FieldOrder::TopFirst, 1080), Failure);
  }
}

}  // namespace
}  // namespace vixprores

// SPDX-License-Identifier: BSD-2-Clause
#include "media/container/MxfFile.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "base/Errors.h"
#include "bitstream/BigEndian.h"

namespace vixprores {
namespace {

using Label = std::array<std::uint8_t, 16>;

// Universal label of the set that describes the pictures (SMPTE ST 377-1).
constexpr Label kPictureDescriptor{0x06, 0x0E, 0x2B, 0x34, 0x02, 0x53, 0x01, 0x01,
                                   0x0D, 0x01, 0x01, 0x01, 0x01, 0x01, 0x28, 0x00};

// Local tags of the properties.
constexpr std::uint16_t kStoredHeight = 0x3202;
constexpr std::uint16_t kSampledHeight = 0x3204;
constexpr std::uint16_t kDisplayHeight = 0x3208;
constexpr std::uint16_t kFrameLayout = 0x320C;
constexpr std::uint16_t kVideoLineMap = 0x320D;

constexpr std::uint8_t kSeparateFields = 1;
constexpr std::uint32_t kMacroblockLines = 16;
constexpr std::int64_t kMostHeaderBytes = 1 << 20;  // far more than the library writes
constexpr std::size_t kPropertyHeadBytes = 4;       // of a property: tag and size

std::uint16_t ReadU16(std::span<const std::uint8_t> bytes) {
  return static_cast<std::uint16_t>(bytes[0] << 8U | bytes[1]);
}

// A set of the header, in memory.
struct MxfSet {
  std::int64_t position = 0;  // of its first value in the file
  std::vector<std::uint8_t> bytes;
};

[[noreturn]] void FailWithoutDescription(const OutputFile& file) {
  throw Failure(file.GetName() + ": cannot find the description that was just written");
}

// Reads the length of a value (BER). Returns its own bytes, or 0 if it is invalid.
std::size_t ReadLength(std::span<const std::uint8_t> bytes, std::int64_t& length) {
  length = bytes[0];
  if (length < 0x80) return 1;
  const std::size_t count = bytes[0] & 0x7FU;
  if (count > 8 || count >= bytes.size()) return 0;
  length = 0;
  for (const std::uint8_t byte : bytes.subspan(1, count)) length = (length << 8U) | byte;
  return length < 0 ? 0 : 1 + count;
}

MxfSet FindSet(const OutputFile& file, const Label& label) {
  std::array<std::uint8_t, 25> head{};
  for (std::int64_t position = 0; position < kMostHeaderBytes;) {
    if (file.ReadAt(position, head) < head.size()) break;
    std::int64_t length = 0;
    const std::size_t bytes = ReadLength(std::span(head).subspan(label.size()), length);
    if (bytes == 0 || length > kMostHeaderBytes) break;
    position += static_cast<std::int64_t>(label.size() + bytes);
    if (std::equal(label.begin(), label.end(), head.begin())) {
      MxfSet set{position, std::vector<std::uint8_t>(static_cast<std::size_t>(length))};
      if (file.ReadAt(position, set.bytes) < set.bytes.size()) break;
      return set;
    }
    position += length;
  }
  FailWithoutDescription(file);
}

// Returns the value of a property that has at least `bytes` bytes.
std::span<std::uint8_t> FindValue(const OutputFile& file, MxfSet& set, std::uint16_t tag,
                                  std::size_t bytes) {
  std::span<std::uint8_t> rest = set.bytes;
  while (rest.size() >= kPropertyHeadBytes) {
    const std::size_t size = ReadU16(rest.subspan(2));
    const auto values = rest.subspan(kPropertyHeadBytes);
    if (size > values.size()) break;
    if (ReadU16(rest) == tag && size >= bytes) return values.first(size);
    rest = values.subspan(size);
  }
  FailWithoutDescription(file);
}

// Returns the first lines of both fields in the video signal. Readers see by them which field is
// above the other: the first one if their sum is odd.
std::array<std::uint32_t, 2> FirstLines(std::uint32_t height, FieldOrder order) {
  struct Signal {
    std::uint32_t height, first, second;  // with the top field first
  };
  static constexpr std::array<Signal, 4> kSignals{
      {{1080, 21, 584}, {576, 23, 336}, {486, 21, 284}, {480, 23, 286}}};
  const auto* const known = std::ranges::find(kSignals, height, &Signal::height);
  // Other heights have no standard; an even line after the first field follows line 1.
  const Signal signal =
      known != kSignals.end() ? *known : Signal{height, 1, ((height / 2) | 1U) + 1};
  return {signal.first, signal.second - (order == FieldOrder::BottomFirst ? 1 : 0)};
}

}  // namespace

void SetMxfFields(OutputFile& file, FieldOrder order, std::uint32_t height) {
  MxfSet descriptor = FindSet(file, kPictureDescriptor);
  const std::uint32_t lines = height / 2;
  const std::uint32_t stored = (lines + kMacroblockLines - 1) / kMacroblockLines * kMacroblockLines;
  FindValue(file, descriptor, kFrameLayout, 1)[0] = kSeparateFields;
  prores::WriteU32(FindValue(file, descriptor, kStoredHeight, 4).data(), stored);
  prores::WriteU32(FindValue(file, descriptor, kSampledHeight, 4).data(), lines);
  prores::WriteU32(FindValue(file, descriptor, kDisplayHeight, 4).data(), lines);
  // An array: its number of elements, their size, and the elements.
  const auto map = FindValue(file, descriptor, kVideoLineMap, 16);
  const auto [first, second] = FirstLines(height, order);
  prores::WriteU32(map.data() + 8, first);
  prores::WriteU32(map.data() + 12, second);
  file.Seek(descriptor.position);
  file.Write(descriptor.bytes);
}

}  // namespace vixprores

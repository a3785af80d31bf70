// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/AlphaDecoder.h"

#include <algorithm>
#include <cstddef>

#include "Ensure.h"
#include "bitstream/AlphaCodes.h"
#include "bitstream/BitReader.h"

namespace prores {
namespace {

/// Returns the `count` bits after the first `skipped` bits of the window.
std::uint32_t BitsAfter(const BitReader& reader, std::uint32_t skipped, std::uint32_t count) {
  return static_cast<std::uint32_t>(reader.Window() << skipped >> (64 - count));
}

bool StartsWithOne(const BitReader& reader) {
  return reader.Window() >> 63 != 0;
}

/// Reads a difference, modulo 2^32.
template <AlphaCode kCode>
std::uint32_t ReadDifference(BitReader& reader) {
  if (StartsWithOne(reader)) {
    const std::uint32_t difference = BitsAfter(reader, 1, kCode.sampleBits);
    reader.Skip(kCode.LongDifferenceLength());
    return difference;
  }
  const std::uint32_t folded = BitsAfter(reader, 1, kCode.shortDifferenceBits);
  reader.Skip(kCode.ShortDifferenceLength());
  return static_cast<std::uint32_t>(UnfoldDifference(folded));
}

/// Reads a run that starts with a zero.
std::uint32_t ReadRun(BitReader& reader) {
  const std::uint32_t shortRun = BitsAfter(reader, 1, kShortRunBits);
  if (shortRun != 0) {
    reader.Skip(kShortRunLength);
    return shortRun;
  }
  const std::uint32_t longRun = BitsAfter(reader, kShortRunLength, kLongRunBits);
  reader.Skip(kLongRunLength);
  return longRun;
}

template <AlphaCode kCode>
bool DecodeWith(std::span<const std::uint8_t> data, std::span<std::uint16_t> samples) {
  static_assert(kCode.LongDifferenceLength() + kLongRunLength <= BitReader::kRefilledBits);
  BitReader reader(data);
  std::uint32_t coded = kCode.Opaque();
  std::uint16_t* next = samples.data();
  std::uint16_t* const end = next + samples.size();
  while (next != end && !reader.PastEnd()) {
    reader.Refill();
    coded = (coded + ReadDifference<kCode>(reader)) & kCode.Opaque();
    const auto sample = static_cast<std::uint16_t>(coded * kCode.StepIn16Bits());
    *next++ = sample;
    if (next == end) break;
    if (StartsWithOne(reader)) {
      reader.Skip(1);
      continue;
    }
    const std::size_t left = static_cast<std::size_t>(end - next);
    next = std::fill_n(next, std::min<std::size_t>(ReadRun(reader), left), sample);
  }
  return !reader.PastEnd();
}

}  // namespace

bool DecodeAlpha(std::span<const std::uint8_t> data, AlphaType type,
                 std::span<std::uint16_t> samples) {
  Expect(type != AlphaType::kNone);
  return type == AlphaType::k8Bit ? DecodeWith<kAlphaCode8>(data, samples)
                                  : DecodeWith<kAlphaCode16>(data, samples);
}

}  // namespace prores

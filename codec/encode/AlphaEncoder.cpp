// SPDX-License-Identifier: BSD-2-Clause
#include "encode/AlphaEncoder.h"

#include <algorithm>
#include <cstring>

#include "Ensure.h"
#include "bitstream/AlphaCodes.h"
#include "encode/BitWriter.h"

namespace prores {
namespace {

/// Returns the number of samples from the first on that equal it.
std::size_t CountEqual(std::span<const std::uint16_t> samples) {
  if (samples.size() == 1 || samples[1] != samples[0]) return 1;
  const std::uint64_t four = samples[0] * 0x0001'0001'0001'0001u;
  std::size_t equal = 2;
  for (; equal + 4 <= samples.size(); equal += 4) {
    std::uint64_t next;
    std::memcpy(&next, samples.data() + equal, sizeof next);
    if (next != four) break;
  }
  while (equal < samples.size() && samples[equal] == samples[0]) ++equal;
  return equal;
}

/// Returns the number of samples from the first on that are coded as the same value.
template <AlphaCode kCode>
std::size_t CountCodedAlike(std::span<const std::uint16_t> samples) {
  std::size_t count = CountEqual(samples);
  if constexpr (kCode.StepIn16Bits() != 1) {
    const std::uint32_t coded = kCode.Nearest(samples[0]);
    while (count < samples.size() && kCode.Nearest(samples[count]) == coded) {
      count += CountEqual(samples.subspan(count));
    }
  }
  return count;
}

template <AlphaCode kCode>
Codeword DifferenceCode(std::uint32_t coded, std::uint32_t previous) {
  constexpr std::uint32_t kUnusedBits = 32 - kCode.sampleBits;
  const std::uint32_t aligned = (coded - previous) << kUnusedBits;
  const std::uint32_t folded = FoldDifference(static_cast<std::int32_t>(aligned) >> kUnusedBits);
  return folded >> kCode.shortDifferenceBits == 0
             ? Codeword{folded, kCode.ShortDifferenceLength()}
             : Codeword{1u << kCode.sampleBits | aligned >> kUnusedBits,
                        kCode.LongDifferenceLength()};
}

Codeword RunCode(std::uint32_t repeats) {
  if (repeats == 0) return {1, 1};
  return {repeats, repeats <= kMostShortRun ? kShortRunLength : kLongRunLength};
}

template <AlphaCode kCode>
std::size_t EncodeWith(std::span<const std::uint16_t> samples,
                       std::span<std::uint8_t> destination) {
  BitWriter writer(destination);
  std::uint32_t previous = kCode.Opaque();
  while (!samples.empty()) {
    const std::uint32_t coded = kCode.Nearest(samples[0]);
    const Codeword difference = DifferenceCode<kCode>(coded, previous);
    previous = coded;
    if (samples.size() == 1) {
      writer.Put(difference.bits, difference.length);
      break;
    }
    const std::size_t alike = CountCodedAlike<kCode>(
        samples.first(std::min<std::size_t>(samples.size(), kMostLongRun + 1)));
    const Codeword run = RunCode(static_cast<std::uint32_t>(alike - 1));
    writer.Put(std::uint64_t{difference.bits} << run.length | run.bits,
               difference.length + run.length);
    samples = samples.subspan(alike);
  }
  const bool complete = writer.Finish();
  Expect(complete);
  return static_cast<std::size_t>(writer.Position() - destination.data());
}

}  // namespace

std::size_t EncodeAlpha(std::span<const std::uint16_t> samples, AlphaType type,
                        std::span<std::uint8_t> destination) {
  Expect(type != AlphaType::kNone);
  return type == AlphaType::k8Bit ? EncodeWith<kAlphaCode8>(samples, destination)
                                  : EncodeWith<kAlphaCode16>(samples, destination);
}

}  // namespace prores

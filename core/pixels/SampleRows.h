// SPDX-License-Identifier: BSD-2-Clause
#ifndef CORE_PIXELS_SAMPLEROWS_H
#define CORE_PIXELS_SAMPLEROWS_H

/// @file
/// Kernels that convert rows of samples. Pointers to words and bytes of pictures need no alignment.

#include <cstddef>
#include <cstdint>

#include "cpu/CpuLevel.h"
#include "pixel/PackRows.h"
#include "pixel/UnpackRows.h"

namespace vix::pixels {

/// Change of depth and position of 16-bit samples: min((v + half) >> down, largest) << up, where
/// the sum saturates.
struct SampleScale {
  std::uint16_t half = 0;
  int down = 0;
  std::uint16_t largest = UINT16_MAX;
  int up = 0;
};

/// Returns the scale from samples of `from` bits to `to` bits. Rounds halves up.
/// @param shift place of the lowest bit of the result
constexpr SampleScale MakeSampleScale(int from, int to, int shift = 0) {
  const auto largest = static_cast<std::uint16_t>((1u << to) - 1);
  if (from <= to) return {.half = 0, .down = 0, .largest = largest, .up = to - from + shift};
  const int down = from - to;
  return {static_cast<std::uint16_t>(1u << (down - 1)), down, largest, shift};
}

/// Returns the scaled sample.
constexpr std::uint16_t Scaled(std::uint16_t sample, const SampleScale& scale) {
  const std::uint32_t sum = std::uint32_t{sample} + scale.half;
  const std::uint32_t value = (sum < UINT16_MAX ? sum : UINT16_MAX) >> scale.down;
  return static_cast<std::uint16_t>((value < scale.largest ? value : scale.largest) << scale.up);
}

/// Separates `count` pairs of bytes.
void SeparateBytes(const std::uint8_t* pairs, std::uint8_t* first, std::uint8_t* second,
                   std::size_t count);
/// Joins `count` pairs of bytes.
void InterleaveBytes(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* pairs,
                     std::size_t count);
/// Converts samples of 8 bits to 10 bits.
void WidenBytes(const std::uint8_t* in, std::uint16_t* out, std::size_t count);
/// Separates `count` pairs of samples of 8 bits and converts them to 10 bits.
void WidenPairs(const std::uint8_t* pairs, std::uint16_t* first, std::uint16_t* second,
                std::size_t count);
/// Scales samples to 8 bits.
void NarrowWords(const std::uint16_t* in, std::uint8_t* out, std::size_t count,
                 const SampleScale& scale);
/// Scales samples to 8 bits and joins them to `count` pairs.
void NarrowToPairs(const std::uint16_t* first, const std::uint16_t* second, std::uint8_t* pairs,
                   std::size_t count, const SampleScale& scale);
/// Scales words. `in` may be `out`.
void ScaleWords(const void* in, void* out, std::size_t count, const SampleScale& scale);
/// Separates `count` pairs of words and scales them.
void SeparateWords(const void* pairs, std::uint16_t* first, std::uint16_t* second,
                   std::size_t count, const SampleScale& scale);
/// Scales words and joins them to `count` pairs.
void InterleaveWords(const std::uint16_t* first, const std::uint16_t* second, void* pairs,
                     std::size_t count, const SampleScale& scale);

/// The kernels in their fastest forms for a processor level. Each gives the results of the plain
/// function with its name, bit for bit.
struct RowKernels {
  prores::UnpackRow unpackV210;
  prores::PackRow packV210;
  decltype(&SeparateBytes) separateBytes;
  decltype(&InterleaveBytes) interleaveBytes;
  decltype(&WidenBytes) widenBytes;
  decltype(&WidenPairs) widenPairs;
  decltype(&NarrowWords) narrowWords;
  decltype(&NarrowToPairs) narrowToPairs;
  decltype(&ScaleWords) scaleWords;
  decltype(&SeparateWords) separateWords;
  decltype(&InterleaveWords) interleaveWords;
};

/// Returns the kernels of a level that the processor supports.
RowKernels RowKernelsFor(prores::CpuLevel level);

}  // namespace vix::pixels

#endif  // CORE_PIXELS_SAMPLEROWS_H

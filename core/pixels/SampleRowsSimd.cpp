// SPDX-License-Identifier: BSD-2-Clause
#include <cstddef>
#include <cstdint>

#include "pixels/SampleRows.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixels/SampleRowsSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace vix::pixels::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<std::uint16_t>;
using Bytes = hn::ScalableTag<std::uint8_t>;
using HalfBytes = hn::Rebind<std::uint8_t, Words>;
constexpr std::size_t kStep = hn::MaxLanes(Words());
constexpr std::size_t kByteStep = hn::MaxLanes(Bytes());

const std::uint8_t* BytesAt(const void* words, std::size_t index) {
  return static_cast<const std::uint8_t*>(words) + sizeof(std::uint16_t) * index;
}
std::uint8_t* BytesAt(void* words, std::size_t index) {
  return static_cast<std::uint8_t*>(words) + sizeof(std::uint16_t) * index;
}

HWY_INLINE hn::Vec<Words> Load(const void* words, std::size_t index) {
  return hn::LoadU(Words(), reinterpret_cast<const std::uint16_t*>(BytesAt(words, index)));
}
HWY_INLINE void Store(hn::Vec<Words> values, void* words, std::size_t index) {
  hn::StoreU(values, Words(), reinterpret_cast<std::uint16_t*>(BytesAt(words, index)));
}

HWY_INLINE hn::Vec<Words> ScaledLanes(hn::Vec<Words> samples, const SampleScale& scale) {
  const auto sum = hn::SaturatedAdd(samples, hn::Set(Words(), scale.half));
  const auto value = hn::ShiftRightSame(sum, scale.down);
  return hn::ShiftLeftSame(hn::Min(value, hn::Set(Words(), scale.largest)), scale.up);
}

// Each loop converts whole vectors; the plain function converts the rest.

void SeparateAllBytes(const std::uint8_t* pairs, std::uint8_t* first, std::uint8_t* second,
                      std::size_t count) {
  std::size_t i = 0;
  for (; i + kByteStep <= count; i += kByteStep) {
    hn::Vec<Bytes> low;
    hn::Vec<Bytes> high;
    hn::LoadInterleaved2(Bytes(), pairs + 2 * i, low, high);
    hn::StoreU(low, Bytes(), first + i);
    hn::StoreU(high, Bytes(), second + i);
  }
  SeparateBytes(pairs + 2 * i, first + i, second + i, count - i);
}

void InterleaveAllBytes(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* pairs,
                        std::size_t count) {
  std::size_t i = 0;
  for (; i + kByteStep <= count; i += kByteStep) {
    const auto low = hn::LoadU(Bytes(), first + i);
    const auto high = hn::LoadU(Bytes(), second + i);
    hn::StoreInterleaved2(low, high, Bytes(), pairs + 2 * i);
  }
  InterleaveBytes(first + i, second + i, pairs + 2 * i, count - i);
}

void WidenAllBytes(const std::uint8_t* in, std::uint16_t* out, std::size_t count) {
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto samples = hn::PromoteTo(Words(), hn::LoadU(HalfBytes(), in + i));
    Store(hn::ShiftLeft<2>(samples), out, i);
  }
  WidenBytes(in + i, out + i, count - i);
}

void WidenAllPairs(const std::uint8_t* pairs, std::uint16_t* first, std::uint16_t* second,
                   std::size_t count) {
  const auto mask = hn::Set(Words(), 0xFF << 2);
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto words = Load(pairs, i);
    Store(hn::And(hn::ShiftLeft<2>(words), mask), first, i);
    Store(hn::And(hn::ShiftRight<6>(words), mask), second, i);
  }
  WidenPairs(pairs + 2 * i, first + i, second + i, count - i);
}

void NarrowAllWords(const std::uint16_t* in, std::uint8_t* out, std::size_t count,
                    const SampleScale& scale) {
  constexpr hn::RebindToSigned<Words> kSigned;
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto samples = hn::BitCast(kSigned, ScaledLanes(Load(in, i), scale));
    hn::StoreU(hn::DemoteTo(HalfBytes(), samples), HalfBytes(), out + i);
  }
  NarrowWords(in + i, out + i, count - i, scale);
}

void NarrowAllToPairs(const std::uint16_t* first, const std::uint16_t* second, std::uint8_t* pairs,
                      std::size_t count, const SampleScale& scale) {
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto low = ScaledLanes(Load(first, i), scale);
    const auto high = ScaledLanes(Load(second, i), scale);
    Store(hn::Or(low, hn::ShiftLeft<8>(high)), pairs, i);
  }
  NarrowToPairs(first + i, second + i, pairs + 2 * i, count - i, scale);
}

void ScaleAllWords(const void* in, void* out, std::size_t count, const SampleScale& scale) {
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) Store(ScaledLanes(Load(in, i), scale), out, i);
  ScaleWords(BytesAt(in, i), BytesAt(out, i), count - i, scale);
}

void SeparateAllWords(const void* pairs, std::uint16_t* first, std::uint16_t* second,
                      std::size_t count, const SampleScale& scale) {
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    hn::Vec<Words> low;
    hn::Vec<Words> high;
    const auto* const words = reinterpret_cast<const std::uint16_t*>(BytesAt(pairs, 2 * i));
    hn::LoadInterleaved2(Words(), words, low, high);
    Store(ScaledLanes(low, scale), first, i);
    Store(ScaledLanes(high, scale), second, i);
  }
  SeparateWords(BytesAt(pairs, 2 * i), first + i, second + i, count - i, scale);
}

void InterleaveAllWords(const std::uint16_t* first, const std::uint16_t* second, void* pairs,
                        std::size_t count, const SampleScale& scale) {
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    const auto low = ScaledLanes(Load(first, i), scale);
    const auto high = ScaledLanes(Load(second, i), scale);
    auto* const words = reinterpret_cast<std::uint16_t*>(BytesAt(pairs, 2 * i));
    hn::StoreInterleaved2(low, high, Words(), words);
  }
  InterleaveWords(first + i, second + i, BytesAt(pairs, 2 * i), count - i, scale);
}

}  // namespace

void SetSimdForms(RowKernels& kernels) {
  kernels.separateBytes = SeparateAllBytes;
  kernels.interleaveBytes = InterleaveAllBytes;
  kernels.widenBytes = WidenAllBytes;
  kernels.widenPairs = WidenAllPairs;
  kernels.narrowWords = NarrowAllWords;
  kernels.narrowToPairs = NarrowAllToPairs;
  kernels.scaleWords = ScaleAllWords;
  kernels.separateWords = SeparateAllWords;
  kernels.interleaveWords = InterleaveAllWords;
}

}  // namespace vix::pixels::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace vix::pixels {

RowKernels RowKernelsFor(prores::CpuLevel level) {
  RowKernels kernels{
      .unpackV210 = prores::UnpackRowV210For(level),
      .packV210 = prores::PackRowV210For(level),
      .separateBytes = SeparateBytes,
      .interleaveBytes = InterleaveBytes,
      .widenBytes = WidenBytes,
      .widenPairs = WidenPairs,
      .narrowWords = NarrowWords,
      .narrowToPairs = NarrowToPairs,
      .scaleWords = ScaleWords,
      .separateWords = SeparateWords,
      .interleaveWords = InterleaveWords,
  };
  const auto setSimdForms = prores::ForLevel<void (*)(RowKernels&)>(
      level, [](RowKernels&) {}, N_SSE4::SetSimdForms, N_AVX2::SetSimdForms,
      N_AVX3_DL::SetSimdForms);
  setSimdForms(kernels);
  return kernels;
}

}  // namespace vix::pixels
#endif

// SPDX-License-Identifier: BSD-2-Clause
#include "entropy/ComponentEncoderSimd.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "bitstream/BlockOrder.h"
#include "entropy/ComponentEncoder.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "entropy/ComponentEncoderSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "entropy/CodewordWriter-inl.h"
#include "entropy/EncoderCodewords-inl.h"
#include "entropy/EncoderLengths-inl.h"
#include "entropy/EncoderLevels-inl.h"
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

/// Most bits of a run, a level and its sign, rounded up to whole bytes.
constexpr std::size_t kMaxBytesPerValue = 7;
/// The most that a component can take, and what a BitAppender writes behind it.
constexpr std::size_t kMaxComponentBytes =
    kMaxSliceBlocks * kBlockSamples * kMaxBytesPerValue + sizeof(std::uint64_t);

std::size_t CountBytes(const Quantiser& quantiser, const SparseComponent& component) {
  Levels levels;
  Collect(quantiser, component, levels);
  BitCounter dcs;
  CodeDcs(levels, component.blocks, dcs);
  return (CodeFirstDc(levels).length + dcs.Bits() + CountPairBits(levels) + 7) / 8;
}

bool Write(const Quantiser& quantiser, const SparseComponent& component,
           std::span<std::uint8_t> destination) {
  Levels levels;
  Collect(quantiser, component, levels);
  alignas(64) std::array<std::uint8_t, kMaxComponentBytes> bytes;
  CodewordWriter writer(bytes.data());
  writer.Put(CodeFirstDc(levels));
  CodeDcs(levels, component.blocks, writer);
  CodePairs(levels, 0, levels.count, writer);
  const auto size = static_cast<std::size_t>(writer.End() - bytes.data());
  if (size != destination.size()) return false;
  std::memcpy(destination.data(), bytes.data(), size);
  return true;
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

void InstallComponentEncoderKernels(CpuLevel level, Kernels& kernels) {
  kernels.selectCoefficients = ForLevel(level, N_SSE4::Select, N_AVX2::Select, N_AVX3_DL::Select);
  kernels.countComponentBytes =
      ForLevel(level, N_SSE4::CountBytes, N_AVX2::CountBytes, N_AVX3_DL::CountBytes);
  kernels.writeComponent = ForLevel(level, N_SSE4::Write, N_AVX2::Write, N_AVX3_DL::Write);
}

}  // namespace prores
#endif

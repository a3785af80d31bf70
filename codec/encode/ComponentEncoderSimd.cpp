// SPDX-License-Identifier: BSD-2-Clause
#include <array>
#include <cstddef>
#include <cstring>
#include <span>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "encode/ComponentEncoder.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "encode/ComponentEncoderSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
#include "encode/CodewordWriter-inl.h"
#include "encode/ComponentCodewords-inl.h"
#include "encode/CodewordLengths-inl.h"
#include "encode/QuantisedLevels-inl.h"
// clang-format on

#if HWY_TARGET != HWY_STATIC_TARGET
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {

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
  // A BitAppender writes up to eight bytes after the component.
  alignas(64) std::array<std::uint8_t, kMaxComponentBytes + sizeof(std::uint64_t)> bytes;
  CodewordWriter writer(bytes.data());
  writer.Put(CodeFirstDc(levels));
  CodeDcs(levels, component.blocks, writer);
  CodePairs(levels, 0, levels.count, writer);
  const auto size = static_cast<std::size_t>(writer.End() - bytes.data());
  Expect(size <= kMaxComponentBytes);
  if (size != destination.size()) return false;
  std::memcpy(destination.data(), bytes.data(), size);
  return true;
}

}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&SelectCoefficients) SelectCoefficientsFor(CpuLevel level) {
  return ForLevel<decltype(&SelectCoefficients)>(level, SelectCoefficients, N_SSE4::Select,
                                                 N_AVX2::Select, N_AVX3_DL::Select);
}

decltype(&CountComponentBytes) CountComponentBytesFor(CpuLevel level) {
  return ForLevel<decltype(&CountComponentBytes)>(level, CountComponentBytes, N_SSE4::CountBytes,
                                                  N_AVX2::CountBytes, N_AVX3_DL::CountBytes);
}

decltype(&WriteComponent) WriteComponentFor(CpuLevel level) {
  return ForLevel<decltype(&WriteComponent)>(level, WriteComponent, N_SSE4::Write, N_AVX2::Write,
                                             N_AVX3_DL::Write);
}

}  // namespace prores
#endif

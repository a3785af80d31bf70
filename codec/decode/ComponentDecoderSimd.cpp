// SPDX-License-Identifier: BSD-2-Clause
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "decode/ComponentDecoder.h"
#include "decode/DecoderLanes.h"
#include "decode/DecodingTable.h"

// clang-format off
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "decode/ComponentDecoderSimd.cpp"
#include "cpu/Targets.h"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>
// clang-format on

// AVX-512 offers no gain here; its level uses the AVX2 form.
#if HWY_TARGET != HWY_STATIC_TARGET && HWY_TARGET != HWY_AVX3_DL
HWY_BEFORE_NAMESPACE();
namespace prores::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

/// Cursors of the first kCount lanes. Arrays of scalars stay in registers, copies of LaneCursor
/// would not.
template <std::size_t kCount>
struct Cursors {
  std::uint64_t window[kCount];
  std::uint32_t row[kCount];
  std::int16_t* next[kCount];

  HWY_INLINE void Load(std::size_t i, const Lane& lane) {
    window[i] = lane.cursor.window;
    row[i] = lane.cursor.row;
    next[i] = lane.cursor.next;
  }

  HWY_INLINE void Save(std::size_t i, Lane& lane) const {
    lane.cursor.window = window[i];
    lane.cursor.row = row[i];
    lane.cursor.next = next[i];
  }

  /// Does one lookup. Writes four coefficients from `next` on; those after the last level are zero
  /// and are overwritten later.
  /// @return the entry's `move`.
  HWY_INLINE std::uint32_t Step(std::size_t i, const Entry* table) {
    const hn::CappedTag<std::int16_t, 4> four;
    const hn::Rebind<std::int8_t, decltype(four)> narrow;
    const Entry& entry = table[row[i] + (window[i] >> (64 - kIndexBits))];
    const std::uint32_t move = entry.move;
    hn::StoreU(hn::PromoteTo(four, hn::LoadU(narrow, entry.levels.data())), four, next[i]);
    window[i] <<= Entry::Length(move);
    row[i] = Entry::Row(move);
    next[i] += Entry::Advance(move);
    return move;
  }
};

/// Runs the first kCount lanes until one has no component left, and removes it.
template <std::size_t kCount>
HWY_NOINLINE void RunLanes(const Entry* table, LaneSet& lanes) {
  Cursors<kCount> cursors;
  std::uint32_t moves[kCount];  // after a round, a length of 0 marks a lane that is stuck
  HWY_UNROLL(8)
  for (std::size_t i = 0; i < kCount; ++i) {
    cursors.Load(i, lanes[i]);
    moves[i] = 1;
  }
  for (;;) {
    HWY_UNROLL(8)
    for (std::size_t i = 0; i < kCount; ++i) {
      Lane& lane = lanes[i];
      const bool stuck = Entry::Length(moves[i]) == 0;
      if (HWY_LIKELY(lane.Pass(cursors.window[i], cursors.next[i]) && !stuck)) {
        cursors.window[i] = lane.Refilled(cursors.window[i]);
        continue;
      }
      cursors.Save(i, lane);
      if (HWY_UNLIKELY(!lanes.Continue(i, stuck))) {
        HWY_UNROLL(8)
        for (std::size_t k = 0; k < kCount; ++k) cursors.Save(k, lanes[k]);
        return lanes.Remove(i);
      }
      cursors.Load(i, lane);
    }
    for (std::uint32_t step = 0; step < kRoundSteps; ++step) {
      HWY_UNROLL(8)
      for (std::size_t i = 0; i < kCount; ++i) moves[i] = cursors.Step(i, table);
    }
  }
}

template <std::size_t kCount>
void RunAll(const Entry* table, LaneSet& lanes) {
  if (lanes.Active() == kCount) RunLanes<kCount>(table, lanes);
  if constexpr (kCount > 1) RunAll<kCount - 1>(table, lanes);
}

void Decode(std::span<CodedComponent> components) {
  LaneSet lanes(components);
  RunAll<LaneSet::kMaxLanes>(DecodingTable().data(), lanes);
}

}  // namespace
// Outside the unnamed namespace, for ForLevel() below.
constexpr auto kDecode = Decode;
}  // namespace prores::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();
#endif

#if HWY_ONCE
namespace prores {

decltype(&DecodeComponents) DecodeComponentsFor(CpuLevel level) {
  return ForLevel<decltype(&DecodeComponents)>(level, DecodeComponents, N_SSE4::kDecode,
                                               N_AVX2::kDecode, N_AVX2::kDecode);
}

}  // namespace prores
#endif

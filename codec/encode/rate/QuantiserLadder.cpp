// SPDX-License-Identifier: BSD-2-Clause
#include "encode/rate/QuantiserLadder.h"

#include <array>
#include <cstddef>
#include <utility>

#include "Ensure.h"

namespace prores {
namespace {

using Ladder = std::array<Quantiser, kCoarsestRung + 1>;

constexpr Quantiser MakeQuantiser(unsigned rung, unsigned quarters, bool nearest) {
  return {kUnitWeight * ScaleOf(rung) * quarters / kQuarters,
          nearest || rung == 0 ? kNearestRounding : kDeadZoneRounding};
}

template <std::size_t... kRungs>
constexpr Ladder MakeLadder(unsigned quarters, bool nearest, std::index_sequence<kRungs...>) {
  return {MakeQuantiser(kRungs, quarters, nearest)...};
}

constexpr Ladder MakeLadder(unsigned quarters, bool nearest) {
  return MakeLadder(quarters, nearest, std::make_index_sequence<kCoarsestRung + 1>());
}

/// Made at compile time, because every slice uses several.
constexpr std::array<std::array<Ladder, 2>, 2> kLadders{
    {{MakeLadder(kQuarters, false), MakeLadder(kQuarters, true)},
     {MakeLadder(kLowerChroma, false), MakeLadder(kLowerChroma, true)}}};

constexpr Quantiser kHalvedQuantiser(kUnitWeight / 2, kNearestRounding);

}  // namespace

const Quantiser& HalvedQuantiser() {
  return kHalvedQuantiser;
}

const Quantiser& QuantiserOf(unsigned rung, unsigned quarters, bool nearest) {
  Expect(rung <= kCoarsestRung && (quarters == kQuarters || quarters == kLowerChroma));
  return kLadders[quarters == kLowerChroma ? 1 : 0][nearest ? 1 : 0][rung];
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "rate/QuantiserLadder.h"

#include <array>
#include <cstddef>
#include <utility>

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

/// They are made once: many are used for each slice.
constexpr std::array<std::array<Ladder, 2>, 2> kLadders{
    {{MakeLadder(kQuarters, false), MakeLadder(kQuarters, true)},
     {MakeLadder(kLowerChroma, false), MakeLadder(kLowerChroma, true)}}};

}  // namespace

const Quantiser& QuantiserOf(unsigned rung, unsigned quarters, bool nearest) {
  return kLadders[quarters == kLowerChroma ? 1 : 0][nearest ? 1 : 0][rung];
}

}  // namespace prores

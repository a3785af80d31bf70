// SPDX-License-Identifier: BSD-2-Clause
#include "decode/DecoderLanes.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "Ensure.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/CodewordDecoding.h"
#include "bitstream/CoefficientDecoder.h"

namespace prores {
namespace {

constexpr bool FitsCoefficient(std::int32_t value) {
  constexpr std::int32_t kMaxMagnitude = std::numeric_limits<std::int16_t>::max();
  return value >= -kMaxMagnitude && value <= kMaxMagnitude;
}

/// Converts the first DC and the differences of the others to DCs.
/// @return whether all are within range.
bool SumUp(std::span<std::int16_t> dcs) {
  std::int32_t sum = 0;
  bool fit = true;
  for (std::int16_t& dc : dcs) {
    sum += dc;
    fit &= FitsCoefficient(sum);
    dc = static_cast<std::int16_t>(sum);
  }
  return fit;
}

}  // namespace

bool Lane::Start(CodedComponent& component) {
  component_ = &component;
  return Settle(Begin());
}

bool Lane::Continue(bool stuck) {
  // A round passes the last coefficient by less than the slack.
  Expect(cursor.next <=
         component_->coefficients + component_->blocks * kBlockSamples + kCoefficientSlack);
  skip_ = std::countr_zero(cursor.window) & 7;
  return Settle(Advance(stuck));
}

bool Lane::Settle(Outcome outcome) {
  if (outcome == Outcome::kUnclear) {
    std::fill_n(component_->coefficients, component_->blocks * kBlockSamples + kCoefficientSlack,
                std::int16_t{0});
    DecodeComponents({component_, 1});
  }
  return outcome == Outcome::kGoesOn;
}

Lane::Outcome Lane::Begin() {
  const CodedComponent& component = *component_;
  bytes_ = component.data.data();
  end_ = bytes_ + component.data.size();
  lastLoad_ = end_ - std::min(component.data.size(), sizeof(std::uint64_t));
  skip_ = 0;
  if (component.data.size() < sizeof(std::uint64_t)) EnterTail();

  const auto [value, length] = ReadCodeword(ComingBits(), kFirstDcCode);
  const std::int32_t dc = UnfoldSign(value);
  if (!FitsCoefficient(dc)) return Outcome::kUnclear;
  *component.coefficients = static_cast<std::int16_t>(dc);
  Skip(length);
  cursor.next = component.coefficients + 1;
  cursor.row = RowOf(StateAfterDc(kInitialDcDifference));
  // A round decodes at most kRoundSteps DCs, and must not reach the AC coefficients.
  limit_ = component.coefficients + component.blocks - std::min(component.blocks, kRoundSteps);
  return Advance(false);
}

Lane::Outcome Lane::Advance(bool stuck) {
  if (cursor.next > limit_ && !(InDcs() && FinishDcs())) return Outcome::kUnclear;
  if (bytes_ > lastLoad_) EnterTail();
  if (!stuck) {
    cursor.window = Load(skip_);
    return Outcome::kGoesOn;
  }
  if (ComingBits() != 0) return ReadOne() ? Advance(false) : Outcome::kUnclear;
  if (!IsAtEnd()) return Outcome::kUnclear;
  const auto count = static_cast<std::uint32_t>(cursor.next - component_->coefficients);
  component_->positions = ScanPositions(count, component_->blocks);
  component_->intact = true;
  return Outcome::kEnded;
}

void Lane::Skip(std::int32_t bits) {
  skip_ += bits;
  bytes_ += skip_ >> 3;
  skip_ &= 7;
}

void Lane::EnterTail() {
  const auto size = static_cast<std::size_t>(end_ - bytes_);
  tail_.fill(0);
  std::copy(bytes_, end_, tail_.begin());
  bytes_ = tail_.data();
  end_ = bytes_ + size;
  lastLoad_ = bytes_ + kLastTailLoad;
}

/// Reads one codeword without the table.
/// @return false when it exceeds the component or the range of coefficients.
bool Lane::ReadOne() {
  if (bytes_ > lastLoad_) EnterTail();
  const RowMeaning row = MeaningOf(cursor.row);
  const Symbol symbol = ReadInState(ComingBits() >> row.zeros, row.state);
  Skip(symbol.length - row.zeros);
  cursor.row = RowOf(symbol.next);
  if (ComesRun(row.state)) {
    if (std::int64_t{symbol.run} > limit_ - cursor.next) return false;
    cursor.next += symbol.run;
    return true;
  }
  *cursor.next++ = static_cast<std::int16_t>(symbol.level);
  return FitsCoefficient(symbol.level);
}

bool Lane::FinishDcs() {
  const CodedComponent& component = *component_;
  while (cursor.next != component.coefficients + component.blocks) {
    if (!ReadOne()) return false;
  }
  cursor.row = RowOf(InitialRunState());
  limit_ = component.coefficients + component.blocks * kBlockSamples;
  return SumUp({component.coefficients, component.blocks});
}

/// Whether only zeros are left and no bit after the end was used. The window has only zeros.
bool Lane::IsAtEnd() const {
  if (!ComesRun(MeaningOf(cursor.row).state) || (end_ - bytes_) * 8 < skip_) return false;
  return end_ - bytes_ <= 8 || std::all_of(bytes_ + 8, end_, [](auto byte) { return byte == 0; });
}

LaneSet::LaneSet(std::span<CodedComponent> components) : waiting_(components) {
  for (Lane& lane : memory_) {
    if (!Start(lane)) return;
    lanes_[active_++] = &lane;
  }
}

bool LaneSet::Start(Lane& lane) {
  while (!waiting_.empty()) {
    CodedComponent& component = waiting_.front();
    waiting_ = waiting_.subspan(1);
    if (lane.Start(component)) return true;
  }
  return false;
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "entropy/CoefficientDecoder.h"

#include <array>
#include <bit>
#include <limits>

#include "bitstream/BlockOrder.h"
#include "entropy/BitReader.h"
#include "entropy/Codewords.h"

namespace prores {
namespace {

constexpr std::int32_t kMaxMagnitude = std::numeric_limits<std::int16_t>::max();

/// How to read the codewords that start with a given number of zeros: all have the same length,
/// and their value is what the first `length` bits hold as a number, less `offset`. One formula
/// covers both parts of a code.
struct PrefixClass {
  std::int32_t length;
  std::uint32_t offset;
};

/// Longer codewords are damage. A coefficient of 10-bit samples is at most 16384 in units of weight
/// times scale, so 8192 over the least legal weight of 2; levels and folded differences of DCs stay
/// within 2^15, which takes 31 bits in the codes that grow fastest.
constexpr int kMaxCodewordBits = 32;
static_assert(CodewordOf(kCodes[kEG0], 1 << 15).length < kMaxCodewordBits);
static_assert(CodewordOf(kCodes[kC201], 1 << 15).length <= kMaxCodewordBits);

/// What the codewords of more bits read as; above all values in use.
constexpr std::uint32_t kNoValue = 1u << 20;

/// Entries by number of leading zeros among 32 bits.
using PrefixTable = std::array<PrefixClass, 33>;

constexpr PrefixClass ClassOf(const Code& code, int zeros) {
  const int golombBits = zeros - (code.lastRicePrefix + 1) + code.golombOrder;
  const bool isRice = zeros <= code.lastRicePrefix;
  const int length = zeros + 1 + (isRice ? code.riceBits : golombBits);
  if (length > kMaxCodewordBits) return {kMaxCodewordBits, 0u - kNoValue};
  const std::uint32_t first = 1u << (isRice ? code.riceBits : code.golombOrder);
  const std::uint32_t below =
      isRice ? static_cast<std::uint32_t>(zeros) << code.riceBits : code.FirstGolombValue();
  return {length, first - below};
}

constexpr std::array<PrefixTable, kCodes.size()> kPrefixTables = [] {
  std::array<PrefixTable, kCodes.size()> tables{};
  for (std::size_t code = 0; code < tables.size(); ++code) {
    for (std::size_t zeros = 0; zeros < tables[code].size(); ++zeros) {
      tables[code][zeros] = ClassOf(kCodes[code], static_cast<int>(zeros));
    }
  }
  return tables;
}();

/// Reads one codeword; at most kMaxCodewordBits bits.
std::uint32_t ReadValue(BitReader& reader, CodeId code) {
  const std::uint64_t window = reader.Window();
  const int zeros = std::countl_zero(static_cast<std::uint32_t>(window >> 32));
  const PrefixClass prefix = kPrefixTables[code][static_cast<std::size_t>(zeros)];
  reader.Skip(prefix.length);
  return static_cast<std::uint32_t>(window >> (64 - prefix.length)) - prefix.offset;
}

bool DecodeDcs(BitReader& reader, std::uint32_t blocks, std::int16_t* coefficients) {
  reader.Refill();
  std::int32_t dc = UnfoldSign(ReadValue(reader, kFirstDcCode));
  std::int32_t difference = kInitialDcDifference;
  for (std::uint32_t block = 0;; ++block) {
    if (dc < -kMaxMagnitude || dc > kMaxMagnitude) return false;
    coefficients[block] = static_cast<std::int16_t>(dc);
    if (block + 1 == blocks) return true;

    reader.Refill();
    const auto magnitude = static_cast<std::uint32_t>(difference < 0 ? -difference : difference);
    const std::int32_t coded = UnfoldSign(ReadValue(reader, CodeAfter(kDcCodes, magnitude)));
    // The coded sign is relative to that of the previous difference.
    difference = difference < 0 ? -coded : coded;
    dc += difference;
  }
}

// A pair of run and level must not need a second refill: a run that passes the check below has a
// codeword of at most 23 bits (a run of 2047 in kEG0 or kC201).
constexpr int kMaxRunBits = 23;
static_assert(CodewordOf(kCodes[kEG0], 2047).length == kMaxRunBits);
static_assert(CodewordOf(kCodes[kC201], 2047).length == kMaxRunBits);
static_assert(kMaxRunBits + kMaxCodewordBits + 1 <= BitReader::kRefilledBits);

bool DecodeAcs(BitReader& reader, std::uint32_t blocks, std::int16_t* coefficients) {
  const std::uint32_t end = 64 * blocks;
  std::uint32_t position = blocks;
  std::uint32_t run = kInitialRun;
  std::uint32_t symbol = kInitialLevelSymbol;
  for (;; ++position) {
    reader.Refill();
    // There is no end code: every codeword contains a one, so zeros alone are padding.
    if (reader.Window() == 0) return reader.OnlyZerosLeft();

    run = ReadValue(reader, CodeAfter(kRunCodes, run));
    position += run;
    if (position >= end) return false;

    symbol = ReadValue(reader, CodeAfter(kLevelCodes, symbol));
    if (symbol >= kMaxMagnitude) return false;
    const auto level = static_cast<std::int32_t>(symbol) + 1;
    const auto sign = static_cast<std::int32_t>(reader.Window() >> 63);
    reader.Skip(1);
    coefficients[position] = static_cast<std::int16_t>((level ^ -sign) + sign);
  }
}

}  // namespace

bool DecodeCoefficients(std::span<const std::uint8_t> data, std::uint32_t blocks,
                        std::int16_t* coefficients) {
  BitReader reader(data);
  return DecodeDcs(reader, blocks, coefficients) && DecodeAcs(reader, blocks, coefficients);
}

void DecodeComponents(std::span<CodedComponent> components) {
  for (CodedComponent& component : components) {
    component.intact = DecodeCoefficients(component.data, component.blocks, component.coefficients);
    component.positions = kBlockSamples;
  }
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "bitstream/CoefficientDecoder.h"

#include <limits>

#include "Ensure.h"
#include "bitstream/BitReader.h"
#include "bitstream/BlockOrder.h"
#include "bitstream/CodewordDecoding.h"
#include "bitstream/Codewords.h"

namespace prores {
namespace {

constexpr std::int32_t kMaxMagnitude = std::numeric_limits<std::int16_t>::max();

/// Reads one codeword; at most kMaxCodewordBits bits.
std::uint32_t ReadValue(BitReader& reader, CodeId code) {
  const DecodedValue decoded = ReadCodeword(reader.Window(), code);
  reader.Skip(decoded.length);
  return decoded.value;
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

// A pair of run and level must not need a second refill: a run that passes the check below has at
// most 23 bits (a run of 2047 in kEG0 or kC201).
constexpr int kMaxRunBits = 23;
static_assert(CodewordOf(kCodes[kEG0], 2047).length == kMaxRunBits);
static_assert(CodewordOf(kCodes[kC201], 2047).length == kMaxRunBits);
static_assert(kMaxRunBits + kMaxCodewordBits + 1 <= BitReader::kRefilledBits);

/// @return the scan positions in use, including that of the DCs; 0 for damaged data.
std::uint32_t DecodeAcs(BitReader& reader, std::uint32_t blocks, std::int16_t* coefficients) {
  const std::uint32_t end = 64 * blocks;
  std::uint32_t position = blocks;
  std::uint32_t run = kInitialRun;
  std::uint32_t symbol = kInitialLevelSymbol;
  for (;; ++position) {
    reader.Refill();
    // There is no end code: every codeword contains a one, so zeros alone are padding.
    if (reader.Window() == 0) break;

    run = ReadValue(reader, CodeAfter(kRunCodes, run));
    position += run;
    if (position >= end) return 0;

    symbol = ReadValue(reader, CodeAfter(kLevelCodes, symbol));
    if (symbol >= kMaxMagnitude) return 0;
    const auto level = static_cast<std::int32_t>(symbol) + 1;
    const auto sign = static_cast<std::int32_t>(reader.Window() >> 63);
    reader.Skip(1);
    coefficients[position] = static_cast<std::int16_t>((level ^ -sign) + sign);
  }
  return reader.OnlyZerosLeft() ? ScanPositions(position, blocks) : 0;
}

}  // namespace

std::uint32_t DecodeCoefficients(std::span<const std::uint8_t> data, std::uint32_t blocks,
                                 std::int16_t* coefficients) {
  Expect(IsBlockCount(blocks, 1));
  BitReader reader(data);
  return DecodeDcs(reader, blocks, coefficients) ? DecodeAcs(reader, blocks, coefficients) : 0;
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "encode/CoefficientEncoder.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>

#include "bitstream/BlockOrder.h"
#include "bitstream/Codewords.h"
#include "encode/BitWriter.h"

namespace prores {
namespace {

/// Takes codewords and only adds up their lengths.
class BitCounter {
 public:
  void Put(std::uint64_t /*code*/, unsigned length) { bits_ += length; }
  std::size_t Bytes() const { return (bits_ + 7) / 8; }

 private:
  std::size_t bits_ = 0;
};

/// The codewords of all codes for small values, which nearly all values are.
constexpr std::size_t kTableValues = 64;
using CodewordTable = std::array<std::array<Codeword, kTableValues>, kCodes.size()>;
constexpr CodewordTable kCodewords = [] {
  CodewordTable table{};
  for (std::size_t code = 0; code < kCodes.size(); ++code) {
    for (std::uint32_t value = 0; value < kTableValues; ++value) {
      table[code][value] = CodewordOf(kCodes[code], value);
    }
  }
  return table;
}();

inline Codeword Lookup(CodeId code, std::uint32_t value) {
  return value < kTableValues ? kCodewords[code][value] : CodewordOf(kCodes[code], value);
}

template <typename Sink>
void CodeDc(std::span<const std::int16_t> dcs, Sink& sink) {
  const auto put = [&sink](CodeId code, std::int32_t value) {
    const Codeword word = Lookup(code, FoldSign(value));
    sink.Put(word.bits, word.length);
  };
  put(kFirstDcCode, dcs[0]);
  std::int32_t previous = kInitialDcDifference;
  for (std::size_t block = 1; block < dcs.size(); ++block) {
    const std::int32_t difference = dcs[block] - dcs[block - 1];
    const CodeId code = CodeAfter(kDcCodes, static_cast<std::uint32_t>(std::abs(previous)));
    // The sign counts from that of the previous difference.
    put(code, previous < 0 ? -difference : difference);
    previous = difference;
  }
}

/// Codes run, level and sign of each non-zero AC level.
template <typename Sink>
class AcCoder {
 public:
  AcCoder(std::size_t dcs, Sink& sink) : last_(dcs - 1), sink_(sink) {}

  void Code(std::size_t position, std::int16_t level) {
    const auto run = static_cast<std::uint32_t>(position - last_ - 1);
    const auto symbol = static_cast<std::uint32_t>(std::abs(level)) - 1;
    const Codeword runWord = Lookup(CodeAfter(kRunCodes, run_), run);
    const Codeword levelWord = Lookup(CodeAfter(kLevelCodes, symbol_), symbol);
    // At most 23 + 29 + 1 bits.
    const std::uint64_t runAndLevel =
        std::uint64_t{runWord.bits} << levelWord.length | levelWord.bits;
    sink_.Put(runAndLevel << 1 | (level < 0 ? 1 : 0), runWord.length + levelWord.length + 1);
    last_ = position;
    run_ = run;
    symbol_ = symbol;
  }

 private:
  std::size_t last_;  ///< position of the level before
  std::uint32_t run_ = kInitialRun;
  std::uint32_t symbol_ = kInitialLevelSymbol;
  Sink& sink_;
};

template <typename Sink>
void CodeAc(std::span<const std::int16_t> levels, std::size_t dcs, Sink& sink) {
  AcCoder coder(dcs, sink);
  // Most levels are zero: look for others four at a time.
  static_assert(std::endian::native == std::endian::little);
  constexpr std::size_t kLevelsPerWord = 4;
  constexpr unsigned kLevelBits = 16;
  std::size_t position = dcs;
  while (position < levels.size()) {
    const std::size_t base = position / kLevelsPerWord * kLevelsPerWord;
    std::uint64_t word = 0;
    std::memcpy(&word, levels.data() + base, sizeof word);
    word &= ~std::uint64_t{0} << (position - base) * kLevelBits;
    while (word != 0) {
      const auto offset = static_cast<unsigned>(std::countr_zero(word)) / kLevelBits;
      coder.Code(base + offset, levels[base + offset]);
      word &= ~(std::uint64_t{0xFFFF} << offset * kLevelBits);
    }
    position = base + kLevelsPerWord;
  }
}

template <typename Sink>
void CodeComponent(std::span<const std::int16_t> levels, Sink& sink) {
  const std::size_t blocks = levels.size() / kBlockSamples;
  CodeDc(levels.first(blocks), sink);
  CodeAc(levels, blocks, sink);
}

}  // namespace

std::size_t CountCoefficientBytes(std::span<const std::int16_t> levels) {
  BitCounter counter;
  CodeComponent(levels, counter);
  return counter.Bytes();
}

bool WriteCoefficients(std::span<const std::int16_t> levels, std::span<std::uint8_t> destination) {
  BitWriter writer(destination);
  CodeComponent(levels, writer);
  return writer.Finish() && writer.Position() == destination.data() + destination.size();
}

}  // namespace prores

// SPDX-License-Identifier: BSD-2-Clause
#include "pixels/SampleRows.h"

#include <cstring>

namespace vix::pixels {
namespace {

std::uint16_t LoadWord(const void* words, std::size_t index) {
  std::uint16_t word = 0;
  std::memcpy(&word, static_cast<const std::uint8_t*>(words) + sizeof word * index, sizeof word);
  return word;
}

void StoreWord(void* words, std::size_t index, std::uint16_t word) {
  std::memcpy(static_cast<std::uint8_t*>(words) + sizeof word * index, &word, sizeof word);
}

constexpr std::uint16_t TenBits(std::uint8_t sample) {
  return static_cast<std::uint16_t>(sample << 2);
}

std::uint8_t EightBits(std::uint16_t sample, const SampleScale& scale) {
  return static_cast<std::uint8_t>(Scaled(sample, scale));
}

}  // namespace

void SeparateBytes(const std::uint8_t* pairs, std::uint8_t* first, std::uint8_t* second,
                   std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = pairs[2 * i];
    second[i] = pairs[2 * i + 1];
  }
}

void InterleaveBytes(const std::uint8_t* first, const std::uint8_t* second, std::uint8_t* pairs,
                     std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    pairs[2 * i] = first[i];
    pairs[2 * i + 1] = second[i];
  }
}

void WidenBytes(const std::uint8_t* in, std::uint16_t* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) out[i] = TenBits(in[i]);
}

void WidenPairs(const std::uint8_t* pairs, std::uint16_t* first, std::uint16_t* second,
                std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = TenBits(pairs[2 * i]);
    second[i] = TenBits(pairs[2 * i + 1]);
  }
}

void NarrowWords(const std::uint16_t* in, std::uint8_t* out, std::size_t count,
                 const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) out[i] = EightBits(in[i], scale);
}

void NarrowToPairs(const std::uint16_t* first, const std::uint16_t* second, std::uint8_t* pairs,
                   std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    pairs[2 * i] = EightBits(first[i], scale);
    pairs[2 * i + 1] = EightBits(second[i], scale);
  }
}

void ScaleWords(const void* in, void* out, std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) StoreWord(out, i, Scaled(LoadWord(in, i), scale));
}

void SeparateWords(const void* pairs, std::uint16_t* first, std::uint16_t* second,
                   std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = Scaled(LoadWord(pairs, 2 * i), scale);
    second[i] = Scaled(LoadWord(pairs, 2 * i + 1), scale);
  }
}

void InterleaveWords(const std::uint16_t* first, const std::uint16_t* second, void* pairs,
                     std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    StoreWord(pairs, 2 * i, Scaled(first[i], scale));
    StoreWord(pairs, 2 * i + 1, Scaled(second[i], scale));
  }
}

}  // namespace vix::pixels

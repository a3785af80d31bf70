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

}  // namespace

void SwapBytes(const void* in, void* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) StoreWord(out, i, __builtin_bswap16(LoadWord(in, i)));
}

void ScaleWords(const void* in, void* out, std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) StoreWord(out, i, Scaled(LoadWord(in, i), scale));
}

void WidenBytes(const std::uint8_t* in, std::uint16_t* out, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) out[i] = in[i];
}

void NarrowWords(const std::uint16_t* in, std::uint8_t* out, std::size_t count,
                 const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) out[i] = static_cast<std::uint8_t>(Scaled(in[i], scale));
}

void SplitBytes(const std::uint8_t* pairs, std::uint16_t* first, std::uint16_t* second,
                std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = pairs[2 * i];
    second[i] = pairs[2 * i + 1];
  }
}

void JoinBytes(const std::uint16_t* first, const std::uint16_t* second, std::uint8_t* pairs,
               std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    pairs[2 * i] = static_cast<std::uint8_t>(Scaled(first[i], scale));
    pairs[2 * i + 1] = static_cast<std::uint8_t>(Scaled(second[i], scale));
  }
}

void SplitWords(const void* pairs, std::uint16_t* first, std::uint16_t* second, std::size_t count,
                const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    first[i] = Scaled(LoadWord(pairs, 2 * i), scale);
    second[i] = Scaled(LoadWord(pairs, 2 * i + 1), scale);
  }
}

void JoinWords(const std::uint16_t* first, const std::uint16_t* second, void* pairs,
               std::size_t count, const SampleScale& scale) {
  for (std::size_t i = 0; i < count; ++i) {
    StoreWord(pairs, 2 * i, Scaled(first[i], scale));
    StoreWord(pairs, 2 * i + 1, Scaled(second[i], scale));
  }
}

}  // namespace vix::pixels

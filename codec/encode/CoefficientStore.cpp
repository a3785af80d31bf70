// SPDX-License-Identifier: BSD-2-Clause
#include "encode/CoefficientStore.h"

#include <algorithm>

#include "Ensure.h"
#include "cpu/AlignedVector.h"

namespace prores {

void CoefficientStore::Reset(std::uint32_t strips, std::uint32_t slicesPerStrip,
                             std::size_t coefficients) {
  slicesPerStrip_ = slicesPerStrip;
  stripValues_ = coefficients + kSparseSlack;
  values_.resize(strips * stripValues_);
  ends_.resize(strips);
  entries_.resize(std::size_t{strips} * slicesPerStrip);
  for (std::uint32_t strip = 0; strip < strips; ++strip) ClearStrip(strip);
}

void CoefficientStore::Append(std::uint32_t slice, unsigned component,
                              std::span<const std::int16_t> coefficients,
                              const std::int16_t* values, const std::int16_t* places,
                              std::size_t count) {
  std::size_t& end = ends_[slice / slicesPerStrip_];
  const std::size_t blocks = coefficients.size() / kBlockSamples;
  const std::size_t allCount = coefficients.size() - blocks;
  const bool whole = 2 * count > allCount;
  // The values of a strip are followed by those of the next one.
  Expect(end + std::min(blocks + 2 * count, coefficients.size()) <=
         (slice / slicesPerStrip_ + 1) * stripValues_ - kSparseSlack);
  entries_[slice][component] = {end, static_cast<std::uint16_t>(blocks),
                                static_cast<std::uint16_t>(whole ? allCount : count)};
  const auto append = [&](const std::int16_t* from, std::size_t size) {
    std::copy_n(from, size, values_.data() + end);
    end += size;
  };
  if (whole) return append(coefficients.data(), coefficients.size());
  append(coefficients.data(), blocks);
  append(values, count);
  append(places, count);
}

SparseComponent CoefficientStore::Component(std::uint32_t slice, unsigned component) const {
  const Entry& entry = entries_[slice][component];
  const std::int16_t* const dcs = values_.data() + entry.begin;
  const std::int16_t* const values = dcs + entry.blocks;
  const std::size_t allCount = entry.blocks * (kBlockSamples - 1);
  return {
      .blocks = entry.blocks,
      .count = entry.count,
      .dcs = dcs,
      .values = values,
      .places = entry.count == allCount ? kAllPlaces.data() + entry.blocks : values + entry.count};
}

void CoefficientStore::Prefetch(std::uint32_t slice) const {
  const SparseComponent last = Component(slice, kComponents - 1);
  const std::int16_t* const end = last.values + 2 * last.count;
  constexpr std::size_t kValuesPerLine = kVectorAlignment / sizeof(std::int16_t);
  for (const std::int16_t* p = Component(slice, 0).dcs; p < end; p += kValuesPerLine) {
    __builtin_prefetch(p);
  }
}

}  // namespace prores

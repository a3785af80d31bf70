// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "encode/CoefficientStore.h"

namespace prores {
namespace {

constexpr std::uint32_t kStrips = 3;
constexpr std::uint32_t kSlices = 2;
constexpr std::array<std::size_t, kComponents> kBlocks{8, 4, 4};
constexpr std::size_t kStripCoefficients = kSlices * (8 + 4 + 4) * 64;
constexpr std::uint16_t kThreshold = 10;

/// Returns coefficients of a component; `share` in 100 reach the threshold.
std::vector<std::int16_t> Coefficients(unsigned component, unsigned share, std::mt19937& random) {
  std::vector<std::int16_t> coefficients(64 * kBlocks[component]);
  for (std::int16_t& coefficient : coefficients) {
    const auto magnitude = static_cast<int>(random() % kThreshold);
    const int value = random() % 100 < share ? magnitude + kThreshold : magnitude;
    coefficient = static_cast<std::int16_t>(random() % 2 == 0 ? value : -value);
  }
  return coefficients;
}

/// Returns the coefficients, with zeros where none is stored.
std::vector<std::int16_t> Restore(const SparseComponent& component) {
  std::vector<std::int16_t> coefficients(64 * component.blocks);
  std::copy_n(component.dcs, component.blocks, coefficients.begin());
  for (std::size_t i = 0; i < component.count; ++i) {
    coefficients[static_cast<std::size_t>(component.places[i])] = component.values[i];
  }
  return coefficients;
}

class Frame {
 public:
  void AppendStrip(CoefficientStore& store, std::uint32_t strip, unsigned share) {
    for (std::uint32_t slice = strip * kSlices; slice < (strip + 1) * kSlices; ++slice) {
      AppendSlice(store, slice, share);
    }
  }

  void AppendSlice(CoefficientStore& store, std::uint32_t slice, unsigned share) {
    for (unsigned c = 0; c < kComponents; ++c) {
      std::vector<std::int16_t> all = Coefficients(c, share, random_);
      std::vector<std::int16_t> values(all.size() + kSparseSlack);
      std::vector<std::int16_t> places(all.size() + kSparseSlack);
      const std::size_t count = SelectCoefficients(all, kThreshold, values.data(), places.data());
      store.Append(slice, c, all, values.data(), places.data(), count);
      appended_[slice][c] = std::move(all);
    }
  }

  /// Expects all coefficients that reach the threshold, and no others than those appended.
  void ExpectStored(const CoefficientStore& store) const {
    for (std::uint32_t slice = 0; slice < kStrips * kSlices; ++slice) {
      for (unsigned c = 0; c < kComponents; ++c) {
        const std::vector<std::int16_t> stored = Restore(store.Component(slice, c));
        ASSERT_EQ(stored.size(), appended_[slice][c].size());
        for (std::size_t i = 0; i < stored.size(); ++i) {
          const std::int16_t expected = appended_[slice][c][i];
          const bool needed = i < kBlocks[c] || std::abs(expected) >= kThreshold;
          ASSERT_TRUE(stored[i] == expected || (!needed && stored[i] == 0))
              << "slice " << slice << ", component " << c << ", place " << i;
        }
      }
    }
  }

 private:
  std::mt19937 random_{1};
  std::array<std::array<std::vector<std::int16_t>, kComponents>, kStrips * kSlices> appended_;
};

TEST(CoefficientStore, StoresSparseAndFullStrips) {
  CoefficientStore store;
  Frame frame;
  for (const unsigned share : {0U, 10U, 49U, 50U, 51U, 100U}) {
    store.Reset(kStrips, kSlices, kStripCoefficients);
    for (const std::uint32_t strip : {2U, 0U, 1U}) frame.AppendStrip(store, strip, share);
    frame.ExpectStored(store);
  }
}

TEST(CoefficientStore, ReplacesAStripAndKeepsTheOthers) {
  CoefficientStore store;
  Frame frame;
  store.Reset(kStrips, kSlices, kStripCoefficients);
  for (std::uint32_t strip = 0; strip < kStrips; ++strip) frame.AppendStrip(store, strip, 30);
  store.ClearStrip(1);
  frame.AppendStrip(store, 1, 100);
  frame.ExpectStored(store);
}

TEST(CoefficientStore, ReplacesTheLastSliceOfAStrip) {
  CoefficientStore store;
  Frame frame;
  store.Reset(kStrips, kSlices, kStripCoefficients);
  for (std::uint32_t strip = 0; strip < kStrips; ++strip) frame.AppendStrip(store, strip, 30);
  for (int turn = 0; turn < 5; ++turn) {
    store.DropSlice(2 * kSlices - 1);
    frame.AppendSlice(store, 2 * kSlices - 1, 100);
    frame.ExpectStored(store);
  }
}

}  // namespace
}  // namespace prores

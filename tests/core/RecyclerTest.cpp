// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <deque>
#include <limits>
#include <memory>
#include <thread>
#include <vector>

#include "ErrorText.h"
#include "SystemMemory.h"
#include "vix/Buffers.h"
#include "vix/Registry.h"

namespace vix {
namespace {

using ::testing::HasSubstr;

constexpr std::size_t kMiB = std::size_t{1} << 20;

std::shared_ptr<IMemoryBlockAllocator> MakeRecycler() {
  constexpr auto kType = ElementFactoryType::MemoryBlockAllocator;
  const auto factory =
      std::dynamic_pointer_cast<ElementFactory<kType>>(GetFactory(kType, "vix", "Recycler"));
  return factory->GetCreator()(GetManifest(kType, "vix", "Recycler"));
}

RecyclerStatistics StatisticsOf(const std::shared_ptr<IMemoryBlockAllocator>& recycler) {
  return std::dynamic_pointer_cast<IRecyclerStatistics>(recycler)->GetStatistics();
}

TEST(Recycler, ReturnsAlignedBlocksOfExactlyTheRequestedSize) {
  const auto recycler = MakeRecycler();
  for (const std::size_t bytes : {0u, 1u, 63u, 64u, 4096u, 4097u, 1000003u}) {
    const auto block = recycler->AllocateBlock(bytes);
    EXPECT_EQ(block->GetSize(), bytes);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block->GetData()) % 64, 0u);
    if (bytes > 0) std::memset(block->GetData(), 1, bytes);
  }
}

TEST(Recycler, ReusesMemory) {
  const auto recycler = MakeRecycler();
  auto block = recycler->AllocateBlock(100000);
  const auto* data = block->GetData();
  EXPECT_EQ(StatisticsOf(recycler).blocksInUse, 1u);
  block.reset();
  EXPECT_GE(StatisticsOf(recycler).idleBytes, 100000u);
  block = recycler->AllocateBlock(100001);
  EXPECT_EQ(block->GetData(), data) << "a slightly larger frame shares the class";
  EXPECT_EQ(block->GetSize(), 100001u);
  const auto statistics = StatisticsOf(recycler);
  EXPECT_EQ(statistics.blocksFromSystem, 1u);
  EXPECT_EQ(statistics.blocksRecycled, 1u);
  EXPECT_EQ(statistics.blocksInUse, 1u);
  EXPECT_EQ(statistics.idleBytes, 0u);
}

TEST(Recycler, AllocatesNothingInTheSteadyState) {
  const auto recycler = MakeRecycler();
  std::deque<std::shared_ptr<IMemoryBlock>> inFlight;
  unsigned long afterWarmUp = 0;
  for (std::size_t frame = 0; frame < 1000; ++frame) {
    if (frame == 8) afterWarmUp = CountSystemAllocations();
    // The sizes differ slightly, like the bounds of compressed frames.
    const std::size_t bytes = 2 * kMiB - 5000 * (frame % 7);
    inFlight.push_back(recycler->AllocateBlock(bytes));
    if (inFlight.size() > 4) inFlight.pop_front();
  }
  EXPECT_EQ(CountSystemAllocations(), afterWarmUp);
  const auto statistics = StatisticsOf(recycler);
  EXPECT_LE(statistics.blocksFromSystem, 5u);
  EXPECT_EQ(statistics.blocksFromSystem + statistics.blocksRecycled, 1000u);
}

TEST(Recycler, WastesLessThanAQuarter) {
  const auto recycler = MakeRecycler();
  std::uint64_t before = 0;
  for (std::size_t bytes = 4097; bytes < 3 * kMiB; bytes += bytes / 9) {
    const auto block = recycler->AllocateBlock(bytes);
    block->GetData()[bytes - 1] = 1;
    const std::uint64_t after = StatisticsOf(recycler).bytesFromSystem;
    if (after != before) {
      EXPECT_GE(after - before, bytes);
      EXPECT_LT(static_cast<double>(after - before), 1.25 * static_cast<double>(bytes));
    }
    before = after;
  }
}

TEST(Recycler, FreesTheLongestIdleMemoryAboveItsLimit) {
  const auto recycler = MakeRecycler();
  std::vector<std::shared_ptr<IMemoryBlock>> blocks;
  blocks.push_back(recycler->AllocateBlock(2 * kMiB));
  for (int i = 0; i < 8; ++i) blocks.push_back(recycler->AllocateBlock(64 * kMiB));
  for (auto& block : blocks) block.reset();
  EXPECT_EQ(StatisticsOf(recycler).idleBytes, 512 * kMiB);
  recycler->AllocateBlock(64 * kMiB);
  EXPECT_EQ(StatisticsOf(recycler).blocksFromSystem, 9u) << "the newer memory is kept";
  recycler->AllocateBlock(2 * kMiB);
  EXPECT_EQ(StatisticsOf(recycler).blocksFromSystem, 10u) << "the oldest memory is freed";
}

TEST(Recycler, KeepsOneBlockOfAnySize) {
  const auto recycler = MakeRecycler();
  recycler->AllocateBlock(600 * kMiB);
  EXPECT_GE(StatisticsOf(recycler).idleBytes, 600 * kMiB);
  recycler->AllocateBlock(600 * kMiB);
  EXPECT_EQ(StatisticsOf(recycler).blocksFromSystem, 1u);
}

TEST(Recycler, EveryElementHasItsOwnPool) {
  const auto first = MakeRecycler();
  const auto second = MakeRecycler();
  first->AllocateBlock(1000);
  EXPECT_EQ(StatisticsOf(second).blocksFromSystem, 0u);
}

TEST(Recycler, BlocksOutliveTheirAllocatorAndFreeTheirMemory) {
  const auto before = CountSystemBlocks();
  auto recycler = MakeRecycler();
  recycler->AllocateBlock(5000);
  auto first = recycler->AllocateBlock(100000);
  auto second = recycler->AllocateBlock(100000);
  EXPECT_EQ(CountSystemBlocks(), before + 3);
  recycler.reset();
  EXPECT_EQ(CountSystemBlocks(), before + 2) << "the allocator frees idle memory";
  std::memset(first->GetData(), 1, first->GetSize());
  first.reset();
  EXPECT_EQ(CountSystemBlocks(), before + 1);
  second.reset();
  EXPECT_EQ(CountSystemBlocks(), before);
}

TEST(Recycler, ReusesMemoryFromOtherThreads) {
  const auto recycler = MakeRecycler();
  auto block = recycler->AllocateBlock(5000);
  std::thread([held = std::move(block)]() mutable { held.reset(); }).join();
  EXPECT_EQ(StatisticsOf(recycler).blocksInUse, 0u);
  recycler->AllocateBlock(5000);
  EXPECT_EQ(StatisticsOf(recycler).blocksFromSystem, 1u);
}

TEST(Recycler, FreesItsIdleMemoryBeforeItFails) {
  const auto recycler = MakeRecycler();
  recycler->AllocateBlock(kMiB);
  {
    const SystemMemoryShortage shortage(1);
    EXPECT_EQ(recycler->AllocateBlock(2 * kMiB)->GetSize(), 2 * kMiB);
  }
  EXPECT_EQ(StatisticsOf(recycler).idleBytes, 2 * kMiB);
  const SystemMemoryShortage shortage(2);
  EXPECT_THAT(ErrorTextOf([&] { recycler->AllocateBlock(3 * kMiB); }), HasSubstr("3145728 bytes"));
  EXPECT_EQ(StatisticsOf(recycler).blocksInUse, 0u);
}

TEST(Recycler, RejectsSizesBeyondTheAddressSpace) {
  const auto recycler = MakeRecycler();
  constexpr std::size_t kLargest = std::numeric_limits<std::size_t>::max();
  for (const std::size_t bytes : {kLargest, kLargest / 2, kLargest / 4}) {
    EXPECT_THAT(ErrorTextOf([&] { recycler->AllocateBlock(bytes); }),
                HasSubstr(std::to_string(bytes)));
  }
}

}  // namespace
}  // namespace vix

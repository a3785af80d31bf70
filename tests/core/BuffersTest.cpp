// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "ErrorText.h"
#include "SystemMemory.h"
#include "vix/Buffers.h"

namespace vix {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;

/// Returns blocks as configured and records the requested sizes.
class ScriptedAllocator : public IMemoryBlockAllocator {
 public:
  std::shared_ptr<IMemoryBlock> AllocateBlock(std::size_t bytes) override {
    requests.push_back(bytes);
    if (fail) return nullptr;
    memory.push_back(std::make_unique<std::vector<std::uint8_t>>(bytes - shortBy));
    return CreateMemoryBlock(memory.back()->data(), memory.back()->size(), {});
  }
  bool fail = false;
  std::size_t shortBy = 0;
  std::vector<std::size_t> requests;
  std::vector<std::unique_ptr<std::vector<std::uint8_t>>> memory;
};

TEST(Buffer, HasNoMemoryAtFirst) {
  const auto buffer = CreateBuffer(nullptr, nullptr);
  EXPECT_EQ(buffer->GetData(), nullptr);
  EXPECT_EQ(buffer->GetSize(), 0u);
  EXPECT_EQ(buffer->GetCapacity(), 0u);
  EXPECT_THAT(ErrorTextOf([&] { buffer->SetSize(1); }), HasSubstr("capacity of the buffer is 0"));
}

TEST(Buffer, CoversItsWholeBlock) {
  std::uint8_t memory[10];
  const auto buffer = CreateBuffer(nullptr, CreateMemoryBlock(memory, sizeof memory, {}));
  EXPECT_EQ(buffer->GetData(), memory);
  EXPECT_EQ(buffer->GetSize(), 10u);
  EXPECT_EQ(buffer->GetCapacity(), 10u);
}

TEST(Buffer, AllocatesANewBlockFromItsAllocator) {
  const auto allocator = std::make_shared<ScriptedAllocator>();
  const auto buffer = CreateBuffer(allocator, nullptr);
  buffer->Allocate(100);
  EXPECT_EQ(buffer->GetData(), allocator->memory[0]->data());
  EXPECT_EQ(buffer->GetSize(), 100u);
  buffer->Allocate(50);
  EXPECT_EQ(buffer->GetData(), allocator->memory[1]->data());
  EXPECT_EQ(buffer->GetSize(), 50u);
  EXPECT_EQ(buffer->GetCapacity(), 50u);
}

TEST(Buffer, AllocatesAlignedMemoryFromTheSystemWithoutAnAllocator) {
  const auto buffer = CreateBuffer(nullptr, nullptr);
  buffer->Allocate(1000);
  std::memset(buffer->GetData(), 1, 1000);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer->GetData()) % 64, 0u);
  buffer->Allocate(0);
  EXPECT_EQ(buffer->GetSize(), 0u);
}

TEST(Buffer, DistinguishesValidBytesFromCapacity) {
  const auto buffer = CreateBuffer(nullptr, nullptr);
  buffer->Allocate(100);
  buffer->SetSize(40);
  EXPECT_EQ(buffer->GetSize(), 40u);
  EXPECT_EQ(buffer->GetCapacity(), 100u);
  buffer->SetSize(100);
  EXPECT_EQ(buffer->GetSize(), 100u);
}

TEST(Buffer, RejectsMoreValidBytesThanItsCapacity) {
  const auto buffer = CreateBuffer(nullptr, nullptr);
  buffer->Allocate(100);
  EXPECT_THAT(ErrorTextOf([&] { buffer->SetSize(101); }),
              AllOf(HasSubstr("100"), HasSubstr("101")));
  EXPECT_EQ(buffer->GetSize(), 100u);
}

TEST(Buffer, ResizesInPlaceWithinItsCapacity) {
  const auto buffer = CreateBuffer(nullptr, nullptr);
  buffer->Allocate(100);
  const auto* data = buffer->GetData();
  buffer->SetSize(10);
  buffer->Resize(90);
  EXPECT_EQ(buffer->GetData(), data);
  EXPECT_EQ(buffer->GetSize(), 90u);
  buffer->Resize(20);
  EXPECT_EQ(buffer->GetSize(), 20u);
  EXPECT_EQ(buffer->GetCapacity(), 100u);
}

TEST(Buffer, GrowsAndKeepsTheValidBytes) {
  const auto buffer = CreateBuffer(std::make_shared<ScriptedAllocator>(), nullptr);
  buffer->Resize(3);
  std::memcpy(buffer->GetData(), "abc", 3);
  buffer->SetSize(2);
  buffer->Resize(1000);
  EXPECT_EQ(std::memcmp(buffer->GetData(), "ab\0", 3), 0) << "only the valid bytes are copied";
  EXPECT_EQ(buffer->GetSize(), 1000u);
  EXPECT_EQ(buffer->GetCapacity(), 1000u);
}

TEST(Buffer, DoesNotChangeIfAnAllocationFails) {
  const auto allocator = std::make_shared<ScriptedAllocator>();
  const auto buffer = CreateBuffer(allocator, nullptr);
  buffer->Allocate(10);
  const auto* data = buffer->GetData();
  allocator->fail = true;
  EXPECT_THAT(ErrorTextOf([&] { buffer->Allocate(20); }), HasSubstr("20 bytes"));
  EXPECT_THAT(ErrorTextOf([&] { buffer->Resize(30); }), HasSubstr("30 bytes"));
  EXPECT_EQ(buffer->GetData(), data);
  EXPECT_EQ(buffer->GetSize(), 10u);
}

TEST(Buffer, RejectsABlockThatIsTooSmall) {
  const auto allocator = std::make_shared<ScriptedAllocator>();
  allocator->shortBy = 1;
  const auto buffer = CreateBuffer(allocator, nullptr);
  EXPECT_THAT(ErrorTextOf([&] { buffer->Allocate(20); }), HasSubstr("20 bytes"));
  EXPECT_EQ(buffer->GetData(), nullptr);
}

TEST(Buffer, ReportsThatThereIsNoMemory) {
  const SystemMemoryShortage shortage(1);
  const auto buffer = CreateBuffer(nullptr, nullptr);
  EXPECT_THAT(ErrorTextOf([&] { buffer->Allocate(4711); }), HasSubstr("4711 bytes"));
}

TEST(Buffer, RejectsABlockOf4GiB) {
  std::uint8_t memory[1];
  const auto block = CreateMemoryBlock(memory, std::size_t{1} << 32, {});
  EXPECT_THAT(ErrorTextOf([&] { CreateBuffer(nullptr, block); }), HasSubstr("4294967296"));
}

TEST(MemoryBlock, ReleasesTheCallersMemoryOnce) {
  std::uint8_t memory[4];
  int releases = 0;
  auto block = CreateMemoryBlock(memory, sizeof memory, [&] { ++releases; });
  EXPECT_EQ(block->GetData(), memory);
  EXPECT_EQ(block->GetSize(), 4u);
  auto buffer = CreateBuffer(nullptr, block);
  block.reset();
  EXPECT_EQ(releases, 0);
  buffer.reset();
  EXPECT_EQ(releases, 1);
}

TEST(MemoryBlock, MayBeEmptyButNotStartAtNull) {
  EXPECT_EQ(CreateMemoryBlock(nullptr, 0, {})->GetSize(), 0u);
  bool released = false;
  EXPECT_THAT(ErrorTextOf([&] { CreateMemoryBlock(nullptr, 5, [&] { released = true; }); }),
              HasSubstr("5 bytes"));
  EXPECT_FALSE(released);
}

/// A buffer of another program with the pure virtual operations only.
class ForeignBuffer : public IBuffer {
 public:
  std::uint8_t* GetData() const override { return nullptr; }
  std::uint32_t GetSize() const override { return 17; }
  void SetSize(std::uint32_t) override {}
  void Allocate(std::uint32_t) override {}
  void Resize(std::uint32_t) override {}
};

TEST(Buffer, CapacityOfAForeignBufferIsItsSize) {
  EXPECT_EQ(ForeignBuffer().GetCapacity(), 17u);
}

}  // namespace
}  // namespace vix

// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>

#include "ErrorText.h"
#include "SystemMemory.h"
#include "vix/Buffers.h"

namespace vix {
namespace {

using ::testing::HasSubstr;

/// Frame memory of a host program: one array, returned as a whole.
struct HostMemory {
  std::array<std::uint8_t, 256> bytes{};
  int allocated = 0;
  int released = 0;

  ExtBufferCallbacks Callbacks() {
    return {[this](std::size_t wanted) {
              if (wanted > bytes.size()) return static_cast<std::uint8_t*>(nullptr);
              ++allocated;
              return bytes.data();
            },
            [this](std::uint8_t* data, std::size_t) {
              if (data == bytes.data()) ++released;
            }};
  }
};

class ExtBufferAllocator : public ::testing::Test {
 protected:
  ~ExtBufferAllocator() override { SetExtBufferCallbacks({}); }
};

TEST_F(ExtBufferAllocator, ExistsWhileCallbacksAreSet) {
  EXPECT_EQ(GetAllocator("ExtBufferAllocator"), nullptr);
  HostMemory memory;
  SetExtBufferCallbacks(memory.Callbacks());
  EXPECT_NE(GetAllocator("ExtBufferAllocator"), nullptr);
  SetExtBufferCallbacks({});
  EXPECT_EQ(GetAllocator("ExtBufferAllocator"), nullptr);
}

TEST_F(ExtBufferAllocator, IsTheOnlyNamedAllocator) {
  HostMemory memory;
  SetExtBufferCallbacks(memory.Callbacks());
  EXPECT_EQ(GetAllocator(""), nullptr);
  EXPECT_EQ(GetAllocator("Recycler"), nullptr);
  EXPECT_EQ(GetAllocator("extbufferallocator"), nullptr);
}

TEST_F(ExtBufferAllocator, WritesFramesDirectlyIntoTheCallersMemory) {
  HostMemory memory;
  SetExtBufferCallbacks(memory.Callbacks());
  const auto allocationsBefore = CountSystemAllocations();
  auto frame = CreateBuffer(GetAllocator("ExtBufferAllocator"), nullptr);
  frame->Allocate(200);
  ASSERT_EQ(frame->GetData(), memory.bytes.data());
  EXPECT_EQ(frame->GetSize(), 200u);
  std::memset(frame->GetData(), 0xA5, 200);
  EXPECT_EQ(memory.bytes[199], 0xA5);
  EXPECT_EQ(memory.bytes[200], 0);
  EXPECT_EQ(memory.released, 0);
  frame.reset();
  EXPECT_EQ(memory.allocated, 1);
  EXPECT_EQ(memory.released, 1);
  EXPECT_EQ(CountSystemAllocations(), allocationsBefore);
}

TEST_F(ExtBufferAllocator, ThrowsIfTheCallerHasNoMemory) {
  HostMemory memory;
  SetExtBufferCallbacks(memory.Callbacks());
  const auto allocator = GetAllocator("ExtBufferAllocator");
  EXPECT_THAT(ErrorTextOf([&] { allocator->AllocateBlock(257); }), HasSubstr("257 bytes"));
  EXPECT_EQ(memory.released, 0);
}

TEST_F(ExtBufferAllocator, BlocksKeepTheirCallbacks) {
  HostMemory first;
  HostMemory second;
  SetExtBufferCallbacks(first.Callbacks());
  auto allocator = GetAllocator("ExtBufferAllocator");
  auto block = allocator->AllocateBlock(1);
  SetExtBufferCallbacks(second.Callbacks());
  auto later = allocator->AllocateBlock(2);
  EXPECT_EQ(later->GetData(), first.bytes.data());
  EXPECT_EQ(later->GetSize(), 2u);
  allocator.reset();
  block.reset();
  later.reset();
  EXPECT_EQ(first.released, 2);
  EXPECT_EQ(second.allocated, 0);
  EXPECT_EQ(GetAllocator("ExtBufferAllocator")->AllocateBlock(1)->GetData(), second.bytes.data());
}

TEST_F(ExtBufferAllocator, RejectsOneCallbackWithoutTheOther) {
  HostMemory memory;
  SetExtBufferCallbacks(memory.Callbacks());
  EXPECT_THAT(ErrorTextOf([&] {
                SetExtBufferCallbacks({memory.Callbacks().allocate, {}});
              }),
              HasSubstr("both callbacks"));
  EXPECT_THAT(ErrorTextOf([&] {
                SetExtBufferCallbacks({{}, memory.Callbacks().release});
              }),
              HasSubstr("both callbacks"));
  EXPECT_NE(GetAllocator("ExtBufferAllocator"), nullptr) << "a rejected call changes nothing";
}

/// Looks up the allocator in its destructor, as an object in a callback may do.
struct AllocatorLookup {
  ~AllocatorLookup() { found = GetAllocator("ExtBufferAllocator") != nullptr; }
  static inline bool found = true;
};

TEST_F(ExtBufferAllocator, DestroysOldCallbacksOutsideItsLock) {
  HostMemory memory;
  ExtBufferCallbacks callbacks = memory.Callbacks();
  callbacks.release = [lookup = std::make_shared<AllocatorLookup>(), release = callbacks.release](
                          std::uint8_t* data, std::size_t bytes) { release(data, bytes); };
  SetExtBufferCallbacks(std::move(callbacks));
  callbacks = {};
  SetExtBufferCallbacks({});
  EXPECT_FALSE(AllocatorLookup::found);
}

}  // namespace
}  // namespace vix

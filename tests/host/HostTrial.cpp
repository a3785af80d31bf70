// SPDX-License-Identifier: BSD-2-Clause
#include "HostTrial.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "vix/RawVideoUtils.h"

namespace vix::test {
namespace {

/// Before each block: its size.
constexpr std::size_t kBlockHeaderBytes = 64;

constexpr std::uint32_t kWidths[] = {2, 16, 30, 48, 64, 65, 96, 110};
constexpr std::uint32_t kHeights[] = {2, 16, 18, 32, 34, 64};
constexpr EditRate kRates[] = {{25, 1}, {30000, 1001}, {50, 1}};

}  // namespace

const TrialSettings& RandomSettings::Next() {
  Shape& shape = settings_.shape;
  if (Chance(8)) shape.width = kWidths[Below(std::size(kWidths))];
  if (Chance(8)) shape.height = kHeights[Below(std::size(kHeights))];
  if (Chance(8)) shape.scanMode = Chance(2) ? ScanMode::Interlaced : ScanMode::Progressive;
  // Fields with different numbers of macroblock rows cannot be encoded.
  if (shape.height == 2 || shape.height == 34) shape.scanMode = ScanMode::Progressive;
  if (Chance(8)) shape.fourcc = Chance(2) ? kFourCC_UYVY : kFourCC_V210;
  if (Chance(8)) settings_.variant = ProResCodecVariant{static_cast<std::int32_t>(1 + Below(4))};
  if (Chance(8)) settings_.fourcc = Chance(2) ? kFourCC_UYVY : kFourCC_V210;
  if (Chance(8)) settings_.skipField = Chance(2);
  if (Chance(16)) shape.rate = kRates[Below(std::size(kRates))];
  return settings_;
}

FrameMemoryCallbacks CountedMemory::GetCallbacks() {
  return {this,
          [](void* user, const FrameMemoryRequest& request) {
            return static_cast<CountedMemory*>(user)->Allocate(request);
          },
          [](void* user, std::uint8_t* data) { static_cast<CountedMemory*>(user)->Release(data); }};
}

FrameMemory CountedMemory::Allocate(const FrameMemoryRequest& request) {
  const std::uint32_t stride =
      request.fourcc != 0 && allocations_++ % 3 == 0 ? request.stride + kPadding : request.stride;
  const std::size_t bytes =
      std::max<std::size_t>(request.bytes, std::size_t{stride} * request.height);
  auto* const block = static_cast<std::uint8_t*>(std::malloc(kBlockHeaderBytes + bytes));
  std::memcpy(block, &bytes, sizeof(bytes));
  liveBytes_ += bytes;
  return {block + kBlockHeaderBytes, stride};
}

void CountedMemory::Release(std::uint8_t* data) {
  std::uint8_t* const block = data - kBlockHeaderBytes;
  std::size_t bytes = 0;
  std::memcpy(&bytes, block, sizeof(bytes));
  liveBytes_ -= bytes;
  std::free(block);
}

void TrialSample::Check() const {
  if (!isPicture) {
    ExpectFrame(container, settings.shape, number, settings.variant);
    return;
  }
  ASSERT_TRUE(container);
  Decoding decoding{.fourcc = settings.fourcc, .skipField = settings.skipField};
  const auto raw = RawOf(container);
  ASSERT_TRUE(raw);
  const std::uint32_t packed = RawVideoUtils::GetStrides(raw).front();
  const auto buffer = SampleOf(container)->GetBuffer();
  // Pictures without an own stride have exactly the packed size.
  const std::uint32_t padded = packed + CountedMemory::kPadding;
  if (buffer->GetSize() == padded * raw->GetHeight()) decoding.stride = padded;
  ExpectPicture(container, settings.shape, number, decoding);
}

}  // namespace vix::test

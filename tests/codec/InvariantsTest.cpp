// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "EncoderTestPicture.h"
#include "Ensure.h"
#include "Kernels.h"
#include "encode/Encoder.h"
#include "encode/rate/FrameTarget.h"
#include "encode/rate/Variant.h"

namespace prores {
namespace {

constexpr const char* kViolated = "invariant violated";

TEST(Ensure, ReturnsWhetherTheInvariantHoldsOrAborts) {
  EXPECT_TRUE(Ensure(true));
  if constexpr (kChecked) {
    EXPECT_DEATH(static_cast<void>(Ensure(false)), kViolated);
  } else {
    EXPECT_FALSE(Ensure(false));
  }
}

TEST(Ensure, PreconditionsAreCheckedInCheckedBuildsOnly) {
  Expect(true);
  if constexpr (kChecked) {
    EXPECT_DEATH(Expect(false), kViolated);
  } else {
    Expect(false);
  }
}

/// Encodes a picture with kernels that have a fault, which must not lead to a frame.
void ExpectInternalError(const Kernels& kernels) {
  const test::SourcePicture picture(kWPRPixelFormat2vuy, 64, 48, test::Busy(1));
  const PixelBufferRecord source = picture.Record();
  std::vector<std::uint8_t> frame(MaxFrameBytes(*FindVariant(kWPRCodecHQ), 64, 48));
  std::uint32_t bytes = 12345;
  Encoder encoder(1, kernels);
  const auto encode = [&] {
    return encoder.Encode({kWPRCodecHQ, kWPRProgressive}, source, frame, bytes);
  };
  if constexpr (kChecked) {
    EXPECT_DEATH(static_cast<void>(encode()), kViolated);
  } else {
    EXPECT_EQ(encode(), Status::kInternalError);
    EXPECT_EQ(bytes, 12345u);
  }
}

TEST(EncoderInvariants, CountingOneByteTooManyIsAnError) {
  Kernels kernels = KernelsFor(CpuLevel::kScalar);
  kernels.countComponentBytes = [](const Quantiser& quantiser, const SparseComponent& component) {
    return CountComponentBytes(quantiser, component) + 1;
  };
  ExpectInternalError(kernels);
}

TEST(EncoderInvariants, CountingOneByteTooFewIsAnError) {
  Kernels kernels = KernelsFor(CpuLevel::kScalar);
  kernels.countComponentBytes = [](const Quantiser& quantiser, const SparseComponent& component) {
    return CountComponentBytes(quantiser, component) - 1;
  };
  ExpectInternalError(kernels);
}

TEST(EncoderInvariants, AFrameLargerThanItsBoundIsAnError) {
  Kernels kernels = KernelsFor(CpuLevel::kScalar);
  kernels.countComponentBytes = [](const Quantiser&, const SparseComponent&) {
    return std::size_t{14000};
  };
  ExpectInternalError(kernels);
}

}  // namespace
}  // namespace prores

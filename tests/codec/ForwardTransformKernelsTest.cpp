// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <random>

#include "CpuLevelTest.h"
#include "GuardedMemory.h"
#include "Kernels.h"

namespace prores {
namespace {

using test::Guard;
using test::GuardedMemory;

class ForwardTransformKernels : public test::CpuLevelTest {
 protected:
  /// Compares this level with the plain form for every shape of a component. Samples of `bits` bits
  /// and coefficients lie next to inaccessible memory.
  void ExpectPlainCoefficients(int bits, const std::function<std::uint16_t()>& nextSample) {
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      for (const unsigned component : {0u, 1u, 2u}) {
        for (std::uint32_t blocks = component == 0 ? 4 : 2; blocks <= 32; blocks *= 2) {
          for (const auto* positions : {&kProgressivePositions, &kInterlacedPositions}) {
            ExpectPlainCoefficients(bits, nextSample, guard, component, blocks, *positions);
          }
        }
      }
    }
  }

  std::mt19937 random_{1};

 private:
  void ExpectPlainCoefficients(int bits, const std::function<std::uint16_t()>& nextSample,
                               Guard guard, unsigned component, std::uint32_t blocks,
                               const PositionTable& positions) {
    const std::size_t width = std::size_t{kBlockSize} * blocks / 2;
    const std::size_t stride = width + random_() % 9;
    const GuardedMemory<std::uint16_t> samples(15 * stride + width, guard);
    std::ranges::generate(samples.Values(), nextSample);
    const GuardedMemory<std::int16_t> coefficients(std::size_t{64} * blocks, guard);
    const GuardedMemory<std::int16_t> expected(std::size_t{64} * blocks, guard);
    QuantMatrix weights;
    for (std::uint8_t& weight : weights) weight = static_cast<std::uint8_t>(4 + random_() % 60);
    const ForwardPlan plan = MakeForwardPlan(weights, positions, bits);
    KernelsFor(GetParam())
        .forwardTransform(samples.Values().data(), stride, blocks, component, plan,
                          coefficients.Values().data());
    ForwardTransform(samples.Values().data(), stride, blocks, component, plan,
                     expected.Values().data());
    ASSERT_TRUE(std::ranges::equal(coefficients.Values(), expected.Values()))
        << blocks << " blocks, component " << component;
  }
};

TEST_P(ForwardTransformKernels, EqualThePlainFormOnRandomSamples) {
  for (const int bits : {10, 12}) {
    const unsigned values = 1u << bits;
    for (const unsigned range : {2u, 5u, 60u, values}) {
      for (int repetition = 0; repetition < 5; ++repetition) {
        const auto least = static_cast<unsigned>(random_() % (values + 1 - range));
        ExpectPlainCoefficients(
            bits, [&] { return static_cast<std::uint16_t>(least + random_() % range); });
      }
    }
  }
}

TEST_P(ForwardTransformKernels, EqualThePlainFormOnExtremeSamples) {
  for (const int bits : {10, 12}) {
    const unsigned largest = (1u << bits) - 1;
    for (int repetition = 0; repetition < 10; ++repetition) {
      ExpectPlainCoefficients(bits,
                              [&] { return static_cast<std::uint16_t>(random_() % 2 * largest); });
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, ForwardTransformKernels, testing::ValuesIn(kCpuLevels),
                         [](const auto& level) { return NameOf(level.param); });

}  // namespace
}  // namespace prores

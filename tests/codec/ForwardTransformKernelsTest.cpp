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
  /// Compares this level with the plain form for every shape of a component. Samples and
  /// coefficients lie next to inaccessible memory.
  void ExpectPlainCoefficients(const std::function<std::uint16_t()>& nextSample) {
    for (const Guard guard : {Guard::kInFront, Guard::kBehind}) {
      for (const unsigned component : {0u, 1u, 2u}) {
        for (std::uint32_t blocks = component == 0 ? 4 : 2; blocks <= 32; blocks *= 2) {
          for (const auto* positions : {&kProgressivePositions, &kInterlacedPositions}) {
            ExpectPlainCoefficients(nextSample, guard, component, blocks, *positions);
          }
        }
      }
    }
  }

  std::mt19937 random_{1};

 private:
  void ExpectPlainCoefficients(const std::function<std::uint16_t()>& nextSample, Guard guard,
                               unsigned component, std::uint32_t blocks,
                               const PositionTable& positions) {
    const std::size_t width = std::size_t{kBlockSize} * blocks / 2;
    const std::size_t stride = width + random_() % 9;
    const GuardedMemory<std::uint16_t> samples(15 * stride + width, guard);
    std::ranges::generate(samples.Values(), nextSample);
    const GuardedMemory<std::int16_t> coefficients(std::size_t{64} * blocks, guard);
    const GuardedMemory<std::int16_t> expected(std::size_t{64} * blocks, guard);
    QuantMatrix weights;
    for (std::uint8_t& weight : weights) weight = static_cast<std::uint8_t>(4 + random_() % 60);
    const ForwardPlan plan = MakeForwardPlan(weights, positions, random_() % 2 == 0 ? 10 : 12);
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
  for (const unsigned range : {2u, 5u, 60u, 1024u}) {
    for (int repetition = 0; repetition < 10; ++repetition) {
      const auto least = static_cast<unsigned>(random_() % (1025 - range));
      ExpectPlainCoefficients(
          [&] { return static_cast<std::uint16_t>(least + random_() % range); });
    }
  }
}

TEST_P(ForwardTransformKernels, EqualThePlainFormOnExtremeSamples) {
  for (int repetition = 0; repetition < 20; ++repetition) {
    ExpectPlainCoefficients([&] { return static_cast<std::uint16_t>(random_() % 2 * 1023); });
  }
}

INSTANTIATE_TEST_SUITE_P(Levels, ForwardTransformKernels, testing::ValuesIn(kCpuLevels),
                         [](const auto& level) { return NameOf(level.param); });

}  // namespace
}  // namespace prores

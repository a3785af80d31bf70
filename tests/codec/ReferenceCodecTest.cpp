// SPDX-License-Identifier: BSD-2-Clause
// Compares the reference model with examples worked out by hand. The other tests compare the
// library with the model.
#include <gtest/gtest.h>

#include <cmath>
#include <stdexcept>

#include "ReferenceCodec.h"
#include "WorkedExamples.h"

namespace {

TEST(ReferenceCodec, CodesAndDecodesTheWorkedComponents) {
  for (const WorkedComponent& example : kWorkedComponents) {
    SCOPED_TRACE(example.name);
    const auto coefficients = CoefficientsOf(example);
    EXPECT_EQ(reference::CodeComponent(coefficients, example.blocks), example.bytes);
    EXPECT_EQ(reference::DecodeComponent(example.bytes, example.blocks), coefficients);
  }
}

TEST(ReferenceCodec, DecodesTheWorkedFrames) {
  for (const WorkedFrame& example : kWorkedFrames) {
    SCOPED_TRACE(example.name);
    const reference::Image image = reference::Decode(example.bytes);
    ASSERT_EQ(image.width, example.width);
    for (int x = 0; x < image.width; ++x) {
      EXPECT_NEAR(image.Sample(0, x, 0, 10), example.firstLine[static_cast<std::size_t>(x)], 1);
      EXPECT_EQ(image.Sample(1, x / 2, 0, 10), 512);
      EXPECT_EQ(image.Sample(2, x / 2, 0, 10), 512);
    }
  }
}

TEST(ReferenceCodec, ReproducesItsSourceAtTheFinestQuantizer) {
  const auto source = reference::NaturalSource(1);
  for (const bool chroma444 : {false, true}) {
    for (int interlaceMode = 0; interlaceMode < 3; ++interlaceMode) {
      reference::StreamSpec spec;
      spec.width = 50;
      spec.height = 35;
      spec.chroma444 = chroma444;
      spec.interlaceMode = interlaceMode;
      spec.alphaType = 2;
      spec.quantizationIndex = [](int) { return 1; };
      const auto image = reference::Decode(reference::MakeStream(spec, source).bytes);
      for (int y = 0; y < spec.height; ++y) {
        for (int x = 0; x < spec.width; ++x) {
          for (int c = 0; c < 3; ++c) {
            if (x >= (c == 0 ? image.width : image.chromaWidth)) continue;
            ASSERT_NEAR(image.Sample(c, x, y, 10), source(c, x, y), 1);
          }
          const auto place = static_cast<std::size_t>(y * spec.width + x);
          ASSERT_EQ(image.alpha[place], source(3, x, y));
        }
      }
    }
  }
}

TEST(ReferenceCodec, InverseUndoesForward) {
  std::array<double, 64> samples{};
  for (std::size_t i = 0; i < 64; ++i) samples[i] = std::sin(static_cast<double>(i * i));
  const auto back = reference::InverseDct(reference::ForwardDct(samples));
  for (std::size_t i = 0; i < 64; ++i) EXPECT_NEAR(back[i], samples[i], 1e-12);
}

TEST(ReferenceCodec, RejectsDamagedData) {
  EXPECT_THROW((void)reference::DecodeComponent({}, 2), std::runtime_error);
  EXPECT_THROW((void)reference::Decode({}), std::runtime_error);
}

}  // namespace

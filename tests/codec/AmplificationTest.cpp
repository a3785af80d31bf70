// SPDX-License-Identifier: BSD-2-Clause
// Bounds of the memory and the work that a frame can cause, as docs/host-guide.md states them.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>
#include <vector>

#include "Allocations.h"
#include "DeepPicture.h"
#include "EncoderTestPicture.h"
#include "EncoderTestSession.h"
#include "Kernels.h"
#include "MemoryBounds.h"
#include "PackedPicture.h"
#include "ProRes/ProResHost.h"
#include "ReferenceCodec.h"
#include "decode/Decoder.h"

namespace prores {
namespace {

using test::allocations;

struct Size {
  std::uint32_t width, height;
};
constexpr Size kSizes[] = {{16, 16}, {1280, 16}, {16, 1280}, {500, 300}, {4096, 48}};

reference::StreamSpec Spec(const Size& size, bool deep) {
  reference::StreamSpec spec;
  spec.width = static_cast<int>(size.width);
  spec.height = static_cast<int>(size.height);
  spec.chroma444 = deep;
  spec.alphaType = deep ? 2 : 0;
  spec.log2SliceSize = 0;  // most slices
  return spec;
}

TEST(Amplification, ADecoderNeedsMemoryForARowOfMacroblocksPerThread) {
  for (const Size& size : kSizes) {
    for (const bool deep : {false, true}) {
      const auto frame = MakeStream(Spec(size, deep), reference::NaturalSource(1)).bytes;
      for (const std::uint32_t format :
           {kWPRPixelFormat2vuy, kWPRPixelFormatV210, kWPRPixelFormatY416, kWPRPixelFormatB64a}) {
        for (const std::uint32_t threads : {1U, 4U}) {
          PackedPicture picture(format, size.width, size.height);
          PixelBufferRecord record = picture.Record();
          const std::size_t before = allocations.bytes;
          WPRDecoderHandle const decoder =
              WPROpenDecoder(static_cast<std::int32_t>(threads), nullptr);
          EXPECT_EQ(WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()),
                                   &record, 0),
                    kWPRSuccess);
          WPRCloseDecoder(decoder);
          EXPECT_LT(allocations.bytes - before,
                    test::MostDecoderBytes(size.width, size.height, threads))
              << size.width << "x" << size.height << " deep " << deep << " threads " << threads;
        }
      }
    }
  }
}

template <typename Picture>
void ExpectEncoderMemory(const Picture& picture, const EncodeParamsRecord& params,
                         std::int32_t threads) {
  const PixelBufferRecord source = picture.Record();
  std::vector<std::uint8_t> frame(test::SizesOf(params.codecType, source).max);
  std::uint32_t bytes = 0;
  const std::size_t before = allocations.bytes;
  WPREncoderHandle const encoder = WPROpenEncoder(threads, nullptr);
  const bool deep = params.codecType == kWPRCodec4444XQ;
  if (deep) test::Set(encoder, kWPRAlpha16);
  EXPECT_EQ(WPREncodeFrame(encoder, &params, &source, frame.data(),
                           static_cast<std::uint32_t>(frame.size()), &bytes),
            kWPRSuccess);
  WPRCloseEncoder(encoder);
  EXPECT_LT(allocations.bytes - before, test::MostEncoderBytes(source.width, source.height, deep,
                                                               static_cast<std::uint32_t>(threads)))
      << source.width << "x" << source.height << " deep " << deep << " threads " << threads;
}

TEST(Amplification, AnEncoderNeedsMemoryForTheSamplesOfAFrame) {
  for (const Size& size : kSizes) {
    const test::SourcePicture picture(kWPRPixelFormatV210, size.width, size.height, test::Noise(1));
    const test::DeepPicture deep(
        kWPRPixelFormatB64a, size.width, size.height,
        test::WithAlpha(test::Colours(test::Noise(1)),
                        [](int, int x, int y) { return (x * 40503 + y * 30011) & 0xFFFF; }));
    for (const std::uint32_t mode : test::kModes) {
      for (const std::int32_t threads : {1, 4}) {
        ExpectEncoderMemory(picture, {kWPRCodecHQ, mode}, threads);
        ExpectEncoderMemory(deep, {kWPRCodec4444XQ, mode}, threads);
      }
    }
  }
}

/// Returns the start of a frame whose header claims the largest size: 100 bytes.
std::vector<std::uint8_t> HugeClaim(unsigned interlaceMode) {
  reference::StreamSpec spec;
  spec.interlaceMode = static_cast<int>(interlaceMode);
  auto frame = MakeStream(spec, reference::NaturalSource(1)).bytes;
  frame.resize(100);
  const std::size_t headerPlace = 8;
  for (std::size_t i = 8; i < 12; ++i) frame[headerPlace + i] = 0xFF;  // width and height
  // The picture ends with the bytes there are, so that only its slice table can be missing.
  const std::size_t picture =
      headerPlace + std::size_t{frame[headerPlace]} * 256 + frame[headerPlace + 1];
  const std::size_t pictureBytes = frame.size() - picture;
  const std::uint8_t size[] = {0, 0, static_cast<std::uint8_t>(pictureBytes >> 8U),
                               static_cast<std::uint8_t>(pictureBytes & 0xFFU)};
  std::memcpy(frame.data() + picture + 1, size, sizeof size);
  return frame;
}

TEST(Amplification, AHundredBytesThatClaimTheLargestSizeAllocateNothing) {
  std::uint8_t pixels[4] = {};
  for (const unsigned mode : {0U, 1U}) {
    const auto frame = HugeClaim(mode);
    PixelBufferRecord record{pixels, 65535U / 2 * 4 + 4, kWPRPixelFormat2vuy, 65535, 65535};
    WPRDecoderHandle const decoder = WPROpenDecoder(1, nullptr);
    const std::size_t before = allocations.bytes;
    // The destination is not touched, and need not be there.
    const std::int32_t result =
        WPRDecodeFrame(decoder, frame.data(), static_cast<std::uint32_t>(frame.size()), &record, 0);
    EXPECT_LT(result, 0);
    EXPECT_NE(result, kWPRBadArgument) << "the header was not reached";
    EXPECT_EQ(allocations.bytes, before);
    WPRCloseDecoder(decoder);
  }
}

/// Work of a decoder.
struct Work {
  std::size_t components = 0;
  std::size_t bytes = 0;
  std::size_t blocks = 0;
};
Work work;

/// Returns kernels that count what they are given.
Kernels CountingKernels() {
  Kernels kernels = KernelsFor(CpuLevel::kScalar);
  kernels.decodeComponents = [](std::span<CodedComponent> components) {
    for (const CodedComponent& component : components) {
      ++work.components;
      work.bytes += component.data.size();
      work.blocks += component.blocks;
    }
    DecodeComponents(components);
  };
  return kernels;
}

/// Decodes a frame of that width in which every bit of the slices' codewords is `bits`.
Work DecodeFilledWith(std::uint8_t bits, int width) {
  reference::StreamSpec spec;
  spec.width = width;
  spec.height = 64;
  const auto stream = MakeStream(spec, reference::NaturalSource(1));
  std::vector<std::uint8_t> frame = stream.bytes;
  for (const auto& slice : stream.slices) {
    constexpr std::size_t kSliceHeader = 8;
    for (std::size_t i = kSliceHeader; i < slice.bytes; ++i) frame[slice.offset + i] = bits;
  }
  const Kernels kernels = CountingKernels();
  Decoder decoder(1, kernels);
  PackedPicture picture(kWPRPixelFormat2vuy, static_cast<std::uint32_t>(width), 64);
  work = {};
  static_cast<void>(decoder.Decode(frame, picture.Record(), false));
  EXPECT_LE(work.bytes, frame.size());
  return work;
}

TEST(Amplification, EachByteAndBlockIsDecodedOnce) {
  for (const std::uint8_t bits : std::initializer_list<std::uint8_t>{0x00, 0x55, 0xAA, 0xFF}) {
    const Work small = DecodeFilledWith(bits, 512);
    const Work large = DecodeFilledWith(bits, 2048);
    EXPECT_EQ(small.blocks, 2U * 512 * 64 / 64);
    EXPECT_EQ(large.blocks, 4 * small.blocks);
    EXPECT_EQ(large.components, 4 * small.components);
  }
}

}  // namespace
}  // namespace prores

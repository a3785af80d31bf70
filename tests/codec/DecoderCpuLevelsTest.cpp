// SPDX-License-Identifier: BSD-2-Clause
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "CpuLevelTest.h"
#include "DecoderTestSession.h"
#include "PackedPicture.h"
#include "ProRes/ProRes.h"
#include "ReferenceCodec.h"
#include "cpu/CpuLevel.h"

namespace prores {
namespace {

using Bytes = std::vector<std::uint8_t>;
using reference::StreamSpec;

/// A decoder of a CPU level.
class LevelDecoder {
 public:
  LevelDecoder(CpuLevel level, int threads)
      : name_(std::string(NameOf(level)) + ", " + std::to_string(threads) + " threads") {
    SetCpuLevelLimit(level);
    decoder_ = WPROpenDecoder(threads, nullptr);
    SetCpuLevelLimit(kCpuLevels.back());
  }
  ~LevelDecoder() { WPRCloseDecoder(decoder_); }
  LevelDecoder(const LevelDecoder&) = delete;
  LevelDecoder& operator=(const LevelDecoder&) = delete;

  const std::string& Name() const { return name_; }

  std::int32_t Decode(const Bytes& frame, PackedPicture& picture, bool firstFieldOnly) const {
    PixelBufferRecord record = picture.Record();
    return WPRDecodeFrame(decoder_, frame.data(), static_cast<std::uint32_t>(frame.size()), &record,
                          firstFieldOnly ? 1 : 0);
  }

 private:
  std::string name_;
  WPRDecoderHandle decoder_;
};

/// Returns streams of every structure. Odd sizes produce slices of every width and incomplete rows.
std::vector<StreamSpec> Specs() {
  std::vector<StreamSpec> specs;
  for (const bool chroma444 : {false, true}) {
    for (int mode = 0; mode <= 2; ++mode) {
      for (int log2SliceSize = 0; log2SliceSize <= 3; ++log2SliceSize) {
        StreamSpec spec;
        spec.width = 247;
        spec.height = 45;
        spec.chroma444 = chroma444;
        spec.interlaceMode = mode;
        spec.log2SliceSize = log2SliceSize;
        spec.quantizationIndex = [](int slice) { return slice % 3 == 0 ? 1 : slice * 5 % 224 + 1; };
        if (log2SliceSize == 2) spec.lumaMatrix.emplace().fill(13);
        if (log2SliceSize == 1) spec.trailingZeroBytes = 9;
        spec.alphaType = log2SliceSize % 3;
        specs.push_back(spec);
      }
    }
  }
  return specs;
}

std::vector<Bytes> Frames() {
  std::vector<Bytes> frames;
  unsigned seed = 0;
  for (const StreamSpec& spec : Specs()) {
    frames.push_back(MakeStream(spec, reference::NaturalSource(++seed)).bytes);
    frames.push_back(MakeStream(spec, [](int c, int x, int y) {
                       return (x * 7919 + y * 104729 + c) % (c == 3 ? 65536 : 1024);
                     }).bytes);
  }
  return frames;
}

/// One way to decode a frame, and its outcome.
struct Decoding {
  const Bytes* frame;
  bool firstFieldOnly;
  std::int32_t result;
  PackedPicture picture;
};

/// Decodes the frames in every format with the plain kernels on one thread.
std::vector<Decoding> DecodeAll(const std::vector<Bytes>& frames) {
  const LevelDecoder plain(CpuLevel::kScalar, 1);
  std::vector<Decoding> decodings;
  for (const Bytes& frame : frames) {
    for (const std::uint32_t format : decoding::kFormats) {
      for (const bool firstFieldOnly : {false, true}) {
        const bool half = firstFieldOnly && (frame[20] & 0x0C) != 0;
        PackedPicture picture(format, 247, half ? 22 : 45);
        const std::int32_t result = plain.Decode(frame, picture, firstFieldOnly);
        decodings.push_back({&frame, firstFieldOnly, result, picture});
      }
    }
  }
  return decodings;
}

void ExpectSame(const LevelDecoder& decoder, const Decoding& expected) {
  PackedPicture picture = expected.picture;
  picture.Reset();
  ASSERT_EQ(decoder.Decode(*expected.frame, picture, expected.firstFieldOnly), expected.result)
      << decoder.Name();
  ASSERT_TRUE(picture == expected.picture) << decoder.Name();
}

void ExpectSamePictures(CpuLevel level, int threads) {
  static const std::vector<Bytes> kFrames = Frames();
  static const std::vector<Decoding> kDecodings = DecodeAll(kFrames);
  const LevelDecoder decoder(level, threads);
  for (const Decoding& decoding : kDecodings) ExpectSame(decoder, decoding);
}

/// Returns the frames, each with twelve random bytes after the headers and most of the slice table.
std::vector<Bytes> DamagedFrames() {
  constexpr std::size_t kFirstCodedByte = 150;
  std::vector<Bytes> frames = Frames();
  std::mt19937 random(1);
  for (Bytes& frame : frames) {
    for (int damage = 0; damage < 12; ++damage) {
      const std::size_t place = kFirstCodedByte + random() % (frame.size() - kFirstCodedByte);
      frame[place] = static_cast<std::uint8_t>(random());
    }
  }
  return frames;
}

void ExpectSameResultsForDamage(CpuLevel level, int threads) {
  static const std::vector<Bytes> kFrames = DamagedFrames();
  static const std::vector<Decoding> kDecodings = DecodeAll(kFrames);
  ASSERT_GT(std::ranges::count_if(kDecodings, [](const Decoding& d) { return d.result > 0; }), 10);
  const LevelDecoder decoder(level, threads);
  for (const Decoding& decoding : kDecodings) ExpectSame(decoder, decoding);
}

class DecoderCpuLevels : public test::CpuLevelTest {};

TEST_P(DecoderCpuLevels, DecodeTheSamePictures) {
  ExpectSamePictures(GetParam(), 2);
}

TEST_P(DecoderCpuLevels, ReturnTheSameResultsForDamagedFrames) {
  ExpectSameResultsForDamage(GetParam(), 2);
}

INSTANTIATE_TEST_SUITE_P(CpuLevels, DecoderCpuLevels, testing::ValuesIn(kCpuLevels),
                         test::NameOfLevel);

TEST(DecoderThreadCounts, DecodeTheSamePictures) {
  for (const int threads : test::kThreadCounts) ExpectSamePictures(DetectCpuLevel(), threads);
}

TEST(DecoderThreadCounts, ReturnTheSameResultsForDamagedFrames) {
  for (const int threads : test::kThreadCounts)
    ExpectSameResultsForDamage(DetectCpuLevel(), threads);
}

}  // namespace
}  // namespace prores

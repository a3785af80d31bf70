// SPDX-License-Identifier: BSD-2-Clause
// Frames of 4444 of our encoder and of an independent one, decoded by the independent decoder and
// by ours, in 12 bits and with alpha.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include "Command.h"
#include "TestPicture.h"

namespace interop {
namespace {

using Bytes = std::vector<std::uint8_t>;

// The independent decoder clamps to 4..4091.
constexpr int kLeast = 16;
constexpr int kMost = 4079;

struct DeepSize {
  int width;
  int height;
  std::string Text() const { return std::to_string(width) + "x" + std::to_string(height); }
  std::size_t Pixels() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
};

std::uint16_t WordAt(const Bytes& bytes, std::size_t word) {
  return static_cast<std::uint16_t>(bytes[2 * word] | bytes[2 * word + 1] << 8);
}

void AppendWord(Bytes& bytes, int word) {
  bytes.push_back(static_cast<std::uint8_t>(word));
  bytes.push_back(static_cast<std::uint8_t>(word >> 8));
}

/// A mixture of opaque and transparent areas, soft edges and noise, of 16 bits.
int AlphaAt(int x, int y, unsigned frame) {
  switch ((x / 16 + y / 16 + static_cast<int>(frame)) % 4) {
    case 0:
      return 65535;
    case 1:
      return 0;
    case 2:
      return (x * 4099 + y * 37) & 0xFFFF;
    default:
      return static_cast<int>((static_cast<unsigned>(x * 7919 + y * 104729) * 2654435761U) >> 16);
  }
}

/// Returns packed "Y416" frames of 12 bits.
Bytes MakeFrames(const DeepSize& size, int frames) {
  Bytes bytes;
  bytes.reserve(8 * size.Pixels() * static_cast<std::size_t>(frames));
  for (int frame = 0; frame < frames; ++frame) {
    const auto number = static_cast<unsigned>(frame);
    const Picture picture = MakePicture(size.width, size.height, size.width, number);
    for (std::size_t i = 0; i < size.Pixels(); ++i) {
      const int x = static_cast<int>(i) % size.width, y = static_cast<int>(i) / size.width;
      AppendWord(bytes, AlphaAt(x, y, number));
      // Two more bits below the ten of the picture.
      for (const auto& plane : picture.planes) AppendWord(bytes, (4 * plane[i] + x % 4) << 4);
    }
  }
  return bytes;
}

/// What the independent decoder makes of alpha: 12 bits, of which it cuts off those of 16 and
/// repeats those of 8.
int PeerAlpha(int alpha, int bits) {
  const int eight = alpha / 257;
  return bits == 8 ? eight << 4 | eight >> 4 : alpha >> 4;
}

/// Compares packed "Y416" frames with planes of the independent decoder.
/// @param alphaBits of the stream
void ExpectSamePictures(const Bytes& ours, const Bytes& peer, const DeepSize& size, int alphaBits) {
  const std::size_t planes = alphaBits > 0 ? 4 : 3;
  const std::size_t frames = ours.size() / (8 * size.Pixels());
  ASSERT_EQ(peer.size(), frames * planes * 2 * size.Pixels());
  std::size_t wrongAlpha = 0;
  int largest = 0;
  for (std::size_t frame = 0; frame < frames; ++frame) {
    for (std::size_t i = 0; i < size.Pixels(); ++i) {
      const std::size_t pixel = 4 * (frame * size.Pixels() + i);
      for (std::size_t plane = 0; plane < 3; ++plane) {
        const int theirs = WordAt(peer, (frame * planes + plane) * size.Pixels() + i);
        const int own = WordAt(ours, pixel + 1 + plane) >> 4;
        largest = std::max(largest, std::abs(std::clamp(theirs, kLeast, kMost) - own));
      }
      const int alpha = WordAt(ours, pixel);
      const bool isSame = alphaBits == 0 ? alpha == 65535
                                         : WordAt(peer, (frame * planes + 3) * size.Pixels() + i) ==
                                               PeerAlpha(alpha, alphaBits);
      if (!isSame) ++wrongAlpha;
    }
  }
  EXPECT_LE(largest, 1);
  EXPECT_EQ(wrongAlpha, 0u);
}

CommandResult DecodeToY416(const std::string& from, const std::string& to) {
  return RunCommand(VIXPRORES " decode --quiet --fourcc Y416 " + from + " " + to);
}

CommandResult DecodeWithPeer(const std::string& from, const std::string& to, int alphaBits) {
  return RunCommand("ffmpeg -v warning -nostdin -i " + from +
                    " -fps_mode passthrough -f rawvideo -pix_fmt " +
                    (alphaBits > 0 ? "yuva444p12le " : "yuv444p12le ") + to);
}

using DeepCase = std::tuple<const char*, bool, int, DeepSize>;  // variant, interlaced, alpha, size

std::string DeepCaseName(const testing::TestParamInfo<DeepCase>& info) {
  const auto& [variant, interlaced, alphaBits, size] = info.param;
  return std::string("v") + variant + (interlaced ? "_interlaced_" : "_progressive_") + "alpha" +
         std::to_string(alphaBits) + "_" + size.Text();
}

class DeepStream : public testing::TestWithParam<DeepCase> {};

TEST_P(DeepStream, DecodesWithoutWarningsToOurPictureAndAlpha) {
  const auto& [variant, interlaced, alphaBits, size] = GetParam();
  const int frames = std::clamp(static_cast<int>(8000 / size.Pixels()), 1, 60);
  const ScratchDirectory scratch;
  const Bytes source = MakeFrames(size, frames);
  WriteFile(scratch / "source.y416", source);
  const CommandResult encoded =
      RunCommand(VIXPRORES " encode --quiet --fourcc Y416 --rate 25 --size " + size.Text() +
                 (interlaced ? " --interlaced" : "") + " --variant " + variant + " --alpha " +
                 (alphaBits == 0 ? "none" : std::to_string(alphaBits)) + " " +
                 scratch / "source.y416" + " " + scratch / "encoded.mov");
  ASSERT_EQ(encoded.exitCode, 0) << encoded.output;

  const CommandResult played =
      DecodeWithPeer(scratch / "encoded.mov", scratch / "peer.yuv", alphaBits);
  ASSERT_EQ(played.exitCode, 0) << played.output;
  EXPECT_EQ(played.output, "");
  const CommandResult decoded = DecodeToY416(scratch / "encoded.mov", scratch / "ours.y416");
  ASSERT_EQ(decoded.exitCode, 0) << decoded.output;

  const Bytes ours = ReadFile(scratch / "ours.y416");
  ASSERT_EQ(ours.size(), source.size());
  ExpectSamePictures(ours, ReadFile(scratch / "peer.yuv"), size, alphaBits);
  if (alphaBits < 16) return;
  for (std::size_t pixel = 0; pixel < ours.size() / 8; ++pixel) {
    ASSERT_EQ(WordAt(ours, 4 * pixel), WordAt(source, 4 * pixel));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Matrix, DeepStream,
    testing::Combine(testing::Values("4444", "4444xq"), testing::Bool(), testing::Values(0, 8, 16),
                     testing::Values(DeepSize{2, 2}, DeepSize{17, 20}, DeepSize{50, 34},
                                     DeepSize{130, 66}, DeepSize{350, 242}, DeepSize{720, 486},
                                     DeepSize{720, 576}, DeepSize{1280, 720}, DeepSize{1919, 1078},
                                     DeepSize{1920, 1080})),
    DeepCaseName);

class FlatStream : public testing::TestWithParam<const char*> {};

TEST_P(FlatStream, KeepsEveryLevelOfEveryComponent) {
  const DeepSize size{16, 16};
  const ScratchDirectory scratch;
  Bytes source;
  for (int level = kLeast; level <= kMost; ++level) {
    // Each component has every level, all three another one.
    const auto other = [&](int by) {
      return kLeast + (level - kLeast + by) % (kMost - kLeast + 1);
    };
    for (std::size_t i = 0; i < size.Pixels(); ++i) {
      AppendWord(source, 65535);
      for (const int sample : {level, other(1000), other(2500)}) AppendWord(source, sample << 4);
    }
  }
  WriteFile(scratch / "source.y416", source);
  const CommandResult encoded = RunCommand(
      VIXPRORES " encode --quiet --fourcc Y416 --rate 25 --alpha none --size " + size.Text() +
      " --variant " + GetParam() + " " + scratch / "source.y416" + " " + scratch / "encoded.mov");
  ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
  const CommandResult decoded = DecodeToY416(scratch / "encoded.mov", scratch / "ours.y416");
  ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
  EXPECT_TRUE(ReadFile(scratch / "ours.y416") == source);

  const CommandResult played = DecodeWithPeer(scratch / "encoded.mov", scratch / "peer.yuv", 0);
  ASSERT_EQ(played.output, "");
  const Bytes peer = ReadFile(scratch / "peer.yuv");
  ASSERT_EQ(peer.size(), source.size() / 8 * 6);
  std::size_t wrong = 0;
  for (std::size_t i = 0; i < source.size() / 8; ++i) {
    const std::size_t frame = i / size.Pixels();
    for (std::size_t plane = 0; plane < 3; ++plane) {
      const std::size_t place = (3 * frame + plane) * size.Pixels() + i % size.Pixels();
      if (WordAt(peer, place) != WordAt(source, 4 * i + 1 + plane) >> 4) ++wrong;
    }
  }
  EXPECT_EQ(wrong, 0u);
}

INSTANTIATE_TEST_SUITE_P(Variants, FlatStream, testing::Values("4444", "4444xq"),
                         [](const auto& variant) { return std::string("v") + variant.param; });

struct DeepPeerStream {
  const char* name;
  DeepSize size;
  const char* options;
  int alphaBits;
};

class DeepPeer : public testing::TestWithParam<DeepPeerStream> {};

TEST_P(DeepPeer, StreamDecodesToItsOwnDecodersPictureAndAlpha) {
  const DeepPeerStream& stream = GetParam();
  const ScratchDirectory scratch;
  WriteFile(scratch / "source.y416", MakeFrames(stream.size, 2));
  const CommandResult encoded = RunCommand(
      "ffmpeg -v error -nostdin -f rawvideo -framerate 25 -pix_fmt ayuv64le -video_size " +
      stream.size.Text() + " -i " + scratch / "source.y416" + " -c:v prores_ks " + stream.options +
      (stream.alphaBits > 0 ? " -pix_fmt yuva444p10le " : " -pix_fmt yuv444p10le ") +
      scratch / "peer.mov");
  ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
  ASSERT_EQ(DecodeWithPeer(scratch / "peer.mov", scratch / "peer.yuv", stream.alphaBits).exitCode,
            0);
  const CommandResult decoded = DecodeToY416(scratch / "peer.mov", scratch / "ours.y416");
  ASSERT_EQ(decoded.exitCode, 0) << decoded.output;
  ExpectSamePictures(ReadFile(scratch / "ours.y416"), ReadFile(scratch / "peer.yuv"), stream.size,
                     stream.alphaBits);
}

INSTANTIATE_TEST_SUITE_P(
    Streams, DeepPeer,
    testing::Values(
        DeepPeerStream{"plain", {352, 288}, "-profile:v 4444", 0},
        DeepPeerStream{"xq", {352, 288}, "-profile:v 4444xq", 0},
        DeepPeerStream{"alpha8", {352, 288}, "-profile:v 4444 -alpha_bits 8", 8},
        DeepPeerStream{"alpha16", {352, 288}, "-profile:v 4444 -alpha_bits 16", 16},
        DeepPeerStream{"xq_alpha16", {720, 576}, "-profile:v 4444xq -alpha_bits 16", 16},
        DeepPeerStream{"narrow", {130, 66}, "-profile:v 4444 -mbs_per_slice 2 -alpha_bits 16", 16},
        DeepPeerStream{"odd", {53, 37}, "-profile:v 4444 -alpha_bits 16", 16},
        DeepPeerStream{"top", {130, 66}, "-profile:v 4444 -alpha_bits 16 -flags +ildct -top 1", 16},
        DeepPeerStream{
            "bottom", {720, 486}, "-profile:v 4444xq -alpha_bits 8 -flags +ildct -top 0", 8}),
    [](const auto& stream) { return std::string(stream.param.name); });

}  // namespace
}  // namespace interop

// SPDX-License-Identifier: BSD-2-Clause
// Frames of our encoder, decoded by an independent decoder and by ours.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include "Command.h"
#include "TestPicture.h"

namespace interop {
namespace {

struct Size {
  int width;
  int height;
};

using Case = std::tuple<const char*, bool, Size>;  // variant, interlaced, size

std::string CaseName(const testing::TestParamInfo<Case>& info) {
  const auto& [variant, interlaced, size] = info.param;
  return std::string(variant) + (interlaced ? "_interlaced_" : "_progressive_") +
         std::to_string(size.width) + "x" + std::to_string(size.height);
}

class EncodedStream : public testing::TestWithParam<Case> {};

TEST_P(EncodedStream, DecodesWithoutWarningsToOurPicture) {
  const auto& [variant, interlaced, size] = GetParam();
  const std::string dimensions = std::to_string(size.width) + "x" + std::to_string(size.height);
  // Small pictures need more frames for a meaningful share of differing samples.
  const int frames = std::clamp(30000 / (size.width * size.height), 1, 500);

  const ScratchDirectory scratch;
  std::vector<std::uint8_t> source;
  for (int frame = 0; frame < frames; ++frame) {
    const auto packed = PackV210(
        MakePicture(size.width, size.height, (size.width + 1) / 2, static_cast<unsigned>(frame)));
    source.insert(source.end(), packed.begin(), packed.end());
  }
  WriteFile(scratch / "source.v210", source);

  const CommandResult encoded =
      RunCommand(VIXPRORES " encode --quiet --fourcc V210 --rate 25 --size " + dimensions +
                 (interlaced ? " --interlaced" : "") + " --variant " + variant + " " +
                 scratch / "source.v210" + " " + scratch / "encoded.mov");
  ASSERT_EQ(encoded.exitCode, 0) << encoded.output;

  const CommandResult played =
      RunCommand("ffmpeg -v warning -nostdin -i " + scratch / "encoded.mov" +
                 " -fps_mode passthrough -f rawvideo -pix_fmt yuv422p10le " + scratch / "peer.yuv");
  ASSERT_EQ(played.exitCode, 0) << played.output;
  EXPECT_EQ(played.output, "");

  const CommandResult decoded = RunCommand(VIXPRORES " decode --quiet " + scratch / "encoded.mov" +
                                           " " + scratch / "ours.v210");
  ASSERT_EQ(decoded.exitCode, 0) << decoded.output;

  const auto ours = UnpackV210(ReadFile(scratch / "ours.v210"), size.width, size.height);
  const auto peer =
      FromPlanar(ReadFile(scratch / "peer.yuv"), size.width, size.height, (size.width + 1) / 2);
  ASSERT_EQ(ours.size(), static_cast<std::size_t>(frames));
  const Difference difference = Compare(ours, peer);
  EXPECT_LE(difference.largest, 1);
  EXPECT_LE(difference.share, 0.06);
  RecordProperty("share", std::to_string(difference.share));
}

INSTANTIATE_TEST_SUITE_P(
    Matrix, EncodedStream,
    testing::Combine(testing::Values("proxy", "lt", "422", "hq"), testing::Bool(),
                     testing::Values(Size{2, 2}, Size{18, 16}, Size{50, 34}, Size{720, 486},
                                     Size{720, 576}, Size{1280, 720}, Size{1918, 1078},
                                     Size{1920, 1080}, Size{2048, 1080}, Size{3840, 2160})),
    CaseName);

}  // namespace
}  // namespace interop

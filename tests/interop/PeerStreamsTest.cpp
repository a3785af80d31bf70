// SPDX-License-Identifier: BSD-2-Clause
// Frames of an independent encoder, decoded by its own decoder and by ours.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "Command.h"
#include "TestPicture.h"

namespace interop {
namespace {

struct PeerStream {
  const char* name;
  int width;
  int height;
  const char* options;  ///< encoder and its options
  bool fullChroma;      ///< 4:4:4
  bool alpha;
};

std::string StreamName(const testing::TestParamInfo<PeerStream>& test) {
  return test.param.name;
}

void PrintTo(const PeerStream& stream, std::ostream* out) {
  *out << stream.options;
}

/// Encodes test pictures with the peer.
std::string EncodeWithPeer(const PeerStream& stream, const ScratchDirectory& scratch, int frames) {
  const int chromaWidth = stream.fullChroma ? stream.width : (stream.width + 1) / 2;
  std::vector<std::uint8_t> source;
  for (int frame = 0; frame < frames; ++frame) {
    const Picture picture =
        MakePicture(stream.width, stream.height, chromaWidth, static_cast<unsigned>(frame));
    const auto planar = ToPlanar(picture);
    source.insert(source.end(), planar.begin(), planar.end());
    if (stream.alpha) {  // alpha: the luma plane of another picture
      const auto ramp = ToPlanar(MakePicture(stream.width, stream.height, chromaWidth, 77));
      source.insert(source.end(), ramp.begin(),
                    ramp.begin() + std::ptrdiff_t{2} * stream.width * stream.height);
    }
  }
  WriteFile(scratch / "source.yuv", source);
  const std::string format = stream.alpha        ? "yuva444p10le"
                             : stream.fullChroma ? "yuv444p10le"
                                                 : "yuv422p10le";
  return "ffmpeg -v error -nostdin -f rawvideo -framerate 25 -pix_fmt " + format + " -video_size " +
         std::to_string(stream.width) + "x" + std::to_string(stream.height) + " -i " +
         scratch / "source.yuv" + " " + stream.options + " " + scratch / "peer.mov";
}

/// Sets the bitstream version of all frames of a file to 0. The elements accept no other; ffmpeg
/// writes version 1 into 4:4:4 frames since version 7.
void SetBitstreamVersion0(const std::string& path) {
  auto bytes = ReadFile(path);
  const std::string_view identifier = "icpf";
  auto frame = bytes.begin();
  while (true) {
    frame = std::search(frame, bytes.end(), identifier.begin(), identifier.end());
    if (bytes.end() - frame < 8) break;
    if (frame[6] == 0) frame[7] = 0;
    frame += 8;
  }
  WriteFile(path, bytes);
}

/// Returns a 4:2:2 chroma sample of a 4:4:4 row in exact arithmetic: the documented half-band
/// filter [-1 0 9 16 9 0 -1] / 32 with repeated edges.
double HalfBand(const std::vector<std::uint16_t>& plane, int width, int row, int column) {
  constexpr int kTaps[7] = {-1, 0, 9, 16, 9, 0, -1};
  double sum = 0;
  for (int tap = 0; tap < 7; ++tap) {
    const int at = std::clamp(column + tap - 3, 0, width - 1);
    sum += kTaps[tap] * plane[static_cast<std::size_t>(row * width + at)];
  }
  return sum / 32;
}

/// Returns the largest difference of our 10-bit 4:2:2 picture from the peer's 12-bit 4:4:4 picture.
double LargestDistance(const Picture& ours, const Picture& peer) {
  double largest = 0;
  for (int plane = 0; plane < 3; ++plane) {
    for (int row = 0; row < ours.height; ++row) {
      for (int column = 0; column < ours.PlaneWidth(plane); ++column) {
        const auto index = static_cast<std::size_t>(row * ours.PlaneWidth(plane) + column);
        const double expected = plane == 0
                                    ? peer.planes[0][index]
                                    : HalfBand(peer.planes[plane], peer.width, row, 2 * column);
        largest = std::max(largest, std::abs(ours.planes[plane][index] - expected / 4));
      }
    }
  }
  return largest;
}

class Peer : public testing::TestWithParam<PeerStream> {};

TEST_P(Peer, StreamDecodesToItsOwnDecodersPicture) {
  const PeerStream& stream = GetParam();
  const int frames = std::clamp(60000 / (stream.width * stream.height), 1, 100);
  const ScratchDirectory scratch;
  const CommandResult encoded = RunCommand(EncodeWithPeer(stream, scratch, frames));
  ASSERT_EQ(encoded.exitCode, 0) << encoded.output;
  SetBitstreamVersion0(scratch / "peer.mov");

  const std::string format = stream.fullChroma ? "yuv444p12le" : "yuv422p10le";
  // Decode with alpha and ignore its plane: a conversion could blend it.
  const CommandResult played = RunCommand("ffmpeg -v error -nostdin -i " + scratch / "peer.mov" +
                                          " -fps_mode passthrough -f rawvideo -pix_fmt " +
                                          (stream.alpha ? std::string("yuva444p12le") : format) +
                                          " " + scratch / "peer.yuv");
  ASSERT_EQ(played.exitCode, 0) << played.output;
  const CommandResult decoded =
      RunCommand(VIXPRORES " decode --quiet " + scratch / "peer.mov" + " " + scratch / "ours.v210");
  ASSERT_EQ(decoded.exitCode, 0) << decoded.output;

  const auto ours = UnpackV210(ReadFile(scratch / "ours.v210"), stream.width, stream.height);
  const auto peer =
      FromPlanar(ReadFile(scratch / "peer.yuv"), stream.width, stream.height,
                 stream.fullChroma ? stream.width : (stream.width + 1) / 2, stream.alpha ? 4 : 3);
  ASSERT_EQ(ours.size(), static_cast<std::size_t>(frames));
  ASSERT_EQ(peer.size(), ours.size());
  if (stream.fullChroma) {
    // Half a code value per rounding, plus the peer's 12-bit error of up to 1.35 / 4.
    for (std::size_t i = 0; i < ours.size(); ++i)
      EXPECT_LE(LargestDistance(ours[i], peer[i]), 1.35);
  } else {
    const Difference difference = Compare(ours, peer);
    EXPECT_LE(difference.largest, 1);
    EXPECT_LE(difference.share, 0.06);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Profiles, Peer,
    testing::Values(
        PeerStream{"ks_proxy", 352, 288, "-c:v prores_ks -profile:v proxy", false, false},
        PeerStream{"ks_lt", 352, 288, "-c:v prores_ks -profile:v lt", false, false},
        PeerStream{"ks_422", 352, 288, "-c:v prores_ks -profile:v standard", false, false},
        PeerStream{"ks_hq", 1920, 1080, "-c:v prores_ks -profile:v hq -qscale:v 4", false, false},
        PeerStream{"ks_4444", 352, 288, "-c:v prores_ks -profile:v 4444", true, false},
        PeerStream{"ks_4444xq", 352, 288, "-c:v prores_ks -profile:v 4444xq", true, false},
        PeerStream{"aw_proxy", 352, 288, "-c:v prores_aw -profile:v 0", false, false},
        PeerStream{"aw_lt", 352, 288, "-c:v prores_aw -profile:v 1", false, false},
        PeerStream{"aw_422", 720, 576, "-c:v prores_aw -profile:v 2", false, false},
        PeerStream{"aw_hq", 1920, 1080, "-c:v prores_aw -profile:v 3", false, false},
        PeerStream{"aw_4444", 352, 288, "-c:v prores_aw -profile:v 4", true, false},
        PeerStream{"aw_4444xq", 352, 288, "-c:v prores_aw -profile:v 5", true, false}),
    StreamName);

INSTANTIATE_TEST_SUITE_P(
    SliceWidths, Peer,
    testing::Values(
        PeerStream{"mbs1", 352, 288, "-c:v prores_ks -profile:v hq -mbs_per_slice 1", false, false},
        PeerStream{"mbs2", 352, 288, "-c:v prores_ks -profile:v hq -mbs_per_slice 2", false, false},
        PeerStream{"mbs4", 352, 288, "-c:v prores_ks -profile:v hq -mbs_per_slice 4", false, false},
        PeerStream{"mbs8", 352, 288, "-c:v prores_ks -profile:v hq -mbs_per_slice 8", false, false},
        PeerStream{"mbs2_4444", 130, 66, "-c:v prores_ks -profile:v 4444 -mbs_per_slice 2", true,
                   false}),
    StreamName);

INSTANTIATE_TEST_SUITE_P(
    Interlaced, Peer,
    testing::Values(PeerStream{"ks_top", 720, 576,
                               "-c:v prores_ks -profile:v hq -flags +ildct -top 1", false, false},
                    PeerStream{"ks_bottom", 720, 486,
                               "-c:v prores_ks -profile:v standard -flags +ildct -top 0", false,
                               false},
                    PeerStream{"aw_top", 720, 576,
                               "-c:v prores_aw -profile:v 2 -flags +ildct -top 1", false, false},
                    PeerStream{"aw_bottom", 720, 576,
                               "-c:v prores_aw -profile:v 2 -flags +ildct -top 0", false, false},
                    PeerStream{"ks_top_4444", 130, 66,
                               "-c:v prores_ks -profile:v 4444 -flags +ildct -top 1", true, false},
                    PeerStream{"ks_short_bottom_field", 64, 33,
                               "-c:v prores_ks -profile:v hq -flags +ildct -top 1", false, false}),
    StreamName);

INSTANTIATE_TEST_SUITE_P(
    Alpha, Peer,
    testing::Values(PeerStream{"alpha8", 352, 288, "-c:v prores_ks -profile:v 4444 -alpha_bits 8",
                               true, true},
                    PeerStream{"alpha16", 352, 288, "-c:v prores_ks -profile:v 4444 -alpha_bits 16",
                               true, true},
                    PeerStream{"alpha16_interlaced", 130, 66,
                               "-c:v prores_ks -profile:v 4444 -alpha_bits 16 -flags +ildct -top 0",
                               true, true}),
    StreamName);

INSTANTIATE_TEST_SUITE_P(
    OddSizes, Peer,
    testing::Values(PeerStream{"w17h19", 17, 19, "-c:v prores_ks -profile:v hq", false, false},
                    PeerStream{"w719h575", 719, 575, "-c:v prores_ks -profile:v hq", false, false},
                    PeerStream{"w130h16", 130, 16, "-c:v prores_aw -profile:v 2", false, false},
                    PeerStream{"w16h130", 16, 130, "-c:v prores_ks -profile:v lt", false, false},
                    PeerStream{"w51h35_interlaced", 51, 35,
                               "-c:v prores_ks -profile:v hq -flags +ildct -top 1", false, false},
                    PeerStream{"w53h37_4444", 53, 37, "-c:v prores_ks -profile:v 4444", true,
                               false}),
    StreamName);

}  // namespace
}  // namespace interop

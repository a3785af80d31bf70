// SPDX-License-Identifier: BSD-2-Clause
// Files beyond the 4 GiB that 32 bits count. They have a hole, so that they take little room.
#include <gtest/gtest.h>

#include <filesystem>

#include "ScratchFolder.h"
#include "format/OutputFormat.h"
#include "media/container/ContainerTrack.h"
#include "media/container/ContainerWriter.h"
#include "run/Elements.h"

extern "C" {
#include <libavformat/avio.h>
}

namespace vixprores {

/// Leaves bytes of a movie that is being written as a hole.
struct ContainerWriterPeer {
  static void Skip(ContainerWriter& writer, std::int64_t bytes) {
    avio_skip(writer.context_->pb, bytes);
  }
};

namespace {

constexpr std::int64_t kHole = std::int64_t{5} << 30;

StreamFormat MakeFormat() {
  StreamFormat format;
  format.code = vix::MakeFourCC("apcn");
  format.width = 64;
  format.height = 48;
  format.rate = {25, 1};
  format.fieldOrder = FieldOrder::Progressive;
  return format;
}

std::shared_ptr<const vix::IVideoSample> MakeFrame(std::int64_t number) {
  const auto info = DescribeStream(MakeFormat());
  auto buffer = vix::CreateBuffer(nullptr, nullptr);
  buffer->Allocate(1000);
  std::fill_n(buffer->GetData(), 1000, static_cast<std::uint8_t>(number));
  return vix::CreateVideoSample(info->GetVideoParameters(), info, buffer,
                                {{number, number + 1, {25, 1}}}, {});
}

TEST(LargeMovie, FramesBeyondFourGibibytesAreFound) {
  const ScratchFolder folder;
  const std::string path = folder / "large.mov";
  {
    OutputFile file(path, false);
    MovieContent content;
    content.video = MakeFormat();
    ContainerWriter writer(file, FindProResOutput(path), content);
    writer.Write(MakeFrame(0));
    ContainerWriterPeer::Skip(writer, kHole);
    writer.Write(MakeFrame(1));
    writer.Finish();
    file.Commit();
  }
  EXPECT_GT(std::filesystem::file_size(path), static_cast<std::uintmax_t>(kHole));
  ContainerTrack track(std::make_unique<Demuxer>(std::make_unique<InputFile>(path)),
                       FrameTimes::Checked);
  for (std::uint8_t number = 0; number < 2; ++number) {
    const auto frame = track.Read();
    ASSERT_TRUE(frame);
    EXPECT_EQ(frame->data->GetSize(), 1000u);
    EXPECT_EQ(frame->data->GetData()[999], number);
    EXPECT_EQ(frame->fault, "");
    EXPECT_EQ(*frame->offset > kHole, number == 1);
  }
  EXPECT_FALSE(track.Read());
}

}  // namespace
}  // namespace vixprores

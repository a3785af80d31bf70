// SPDX-License-Identifier: BSD-2-Clause
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "vix/Samples.h"

namespace vix {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Track : ITrack {};

struct Metadata : IMetadata {};

struct OtherSample : ISample {
  std::shared_ptr<const IBuffer> GetBuffer() const override { return nullptr; }
  const std::vector<TimeLimits>& GetTimeLimits() const override { return timeLimits; }
  std::vector<TimeLimits> timeLimits;
};

TEST(VideoSample, KeepsItsProperties) {
  const auto parameters = CreateVideoParameters(VCodecFamily::Raw);
  const auto info = CreateVideoInfo(parameters, nullptr, {}, {});
  const auto buffer = CreateBuffer(nullptr, nullptr);
  const std::shared_ptr<const IMetadata> metadata = std::make_shared<Metadata>();
  const TimeLimits first{1, 2, {25, 1}};
  const TimeLimits second{2, 3, {25, 1}};
  const auto sample = CreateVideoSample(parameters, info, buffer, {first, second}, {metadata});
  EXPECT_EQ(sample->GetVideoParameters(), parameters);
  EXPECT_EQ(sample->GetVideoInfo(), info);
  EXPECT_EQ(sample->GetBuffer(), buffer);
  EXPECT_THAT(sample->GetTimeLimits(), ElementsAre(first, second));
  EXPECT_THAT(sample->GetMetadata(), ElementsAre(metadata));
}

TEST(VideoSample, KeepsNullPointers) {
  const auto sample = CreateVideoSample(nullptr, nullptr, nullptr, {}, {});
  EXPECT_EQ(sample->GetVideoParameters(), nullptr);
  EXPECT_EQ(sample->GetVideoInfo(), nullptr);
  EXPECT_EQ(sample->GetBuffer(), nullptr);
  EXPECT_THAT(sample->GetTimeLimits(), IsEmpty());
}

TEST(SampleContainer, HoldsItsVideoSample) {
  const std::shared_ptr<const IVideoSample> sample =
      CreateVideoSample(nullptr, nullptr, nullptr, {}, {});
  EXPECT_THAT(CreateSampleContainer(sample, nullptr)->GetVideoSamples(nullptr, nullptr),
              ElementsAre(sample));
  EXPECT_THAT(CreateSampleContainer(nullptr, nullptr)->GetVideoSamples(nullptr, nullptr),
              IsEmpty());
  EXPECT_THAT(CreateSampleContainer(std::make_shared<OtherSample>(), nullptr)
                  ->GetVideoSamples(nullptr, nullptr),
              IsEmpty());
}

TEST(SampleContainer, SelectsByTrackAndChannel) {
  const auto track = std::make_shared<Track>();
  const auto otherTrack = std::make_shared<Track>();
  const auto channel = CreateChannelInfo(track, 0);
  const auto otherChannel = CreateChannelInfo(track, 0);
  const std::shared_ptr<const IVideoSample> sample =
      CreateVideoSample(nullptr, CreateVideoInfo(nullptr, channel, {}, {}), nullptr, {}, {});
  const auto container = CreateSampleContainer(sample, nullptr);
  EXPECT_THAT(container->GetVideoSamples(track, nullptr), ElementsAre(sample));
  EXPECT_THAT(container->GetVideoSamples(nullptr, channel), ElementsAre(sample));
  EXPECT_THAT(container->GetVideoSamples(track, channel), ElementsAre(sample));
  EXPECT_THAT(container->GetVideoSamples(otherTrack, nullptr), IsEmpty());
  EXPECT_THAT(container->GetVideoSamples(track, otherChannel), IsEmpty());
}

TEST(SampleContainer, ASampleWithoutInfoBelongsToNoTrack) {
  const auto container =
      CreateSampleContainer(CreateVideoSample(nullptr, nullptr, nullptr, {}, {}), nullptr);
  EXPECT_THAT(container->GetVideoSamples(std::make_shared<Track>(), nullptr), IsEmpty());
}

}  // namespace
}  // namespace vix
